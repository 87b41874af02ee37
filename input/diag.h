// Diagnostics: located fatal errors, location names and the statement
// history printed under debug letter t. fatal and warning come from below.
#pragma once
#include "core/istring.h"
#include "core/report.h"

struct StatementEntry {
    istring file;
    int line;
    StatementEntry *next;
};

[[noreturn]] void fatalAt(const char *format, ...) __attribute__((format(printf, 1, 2)));

// "%s:%d" of a location, interned.
istring lineRecordName(istring file, int line);

void StatementStart();
void StatementEnd();
void StatementTrace(StatementEntry *entry, int number);
// The whole trace after a fatal error's message (the hook fatal calls).
void statementTraceAll();

// The history, for tests and the trace.
extern StatementEntry *statementHistory;
extern int statementCount;
