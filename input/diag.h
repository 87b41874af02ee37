// Diagnostics: fatal errors, located fatal errors, warnings, location names
// and the statement history printed under debug letter t.
#pragma once
#include "core/istring.h"

struct StatementEntry {
    istring file;
    int line;
    StatementEntry *next;
};

[[noreturn]] void fatal(const char *format, ...) __attribute__((format(printf, 1, 2)));
[[noreturn]] void fatalAt(const char *format, ...) __attribute__((format(printf, 1, 2)));
void warning(const char *format, ...) __attribute__((format(printf, 1, 2)));

// "%s:%d" of a location, interned.
istring lineRecordName(istring file, int line);

void StatementStart();
void StatementEnd();
void StatementTrace(StatementEntry *entry, int number);

// The history, for tests and the trace.
extern StatementEntry *statementHistory;
extern int statementCount;
