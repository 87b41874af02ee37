// The stack of input sources (files and in-memory line lists), the current
// location, and the include search along BRISK_PATH.
#pragma once
#include <cstdio>
#include <cstdint>
#include "core/istring.h"

struct TextLine;

struct InputRecord {
    FILE *stream;        // the file being read; NULL for an in-memory source
    TextLine *lines;     // in-memory sources: next line record to deliver
    istring file;        // location to restore when this record is on top again
    int32_t line;
    istring prefix;      // inputPrefix to restore
    InputRecord *next;   // record beneath
};

extern InputRecord *inputStack;
extern istring inputFile;
extern int inputLine;
// Indentation prefix the lexer strips: NULL = decide from the next line,
// the empty istring = no prefix.
extern istring inputPrefix;

// The -M file, when one is open: every configuration file opened is listed.
extern FILE *dependStream;
extern const char *dependName;
// Writes `last` to the -M file and closes it; a failed write or close ends
// the program with the file's name and the system's reason.
void inputDependEnd(const char *last);

// Asked when the last source has ended: the lines to read after everything
// else (the post-processing text), taken from their owner, or NULL. Set by
// the layer that keeps those lines; none until set.
extern TextLine *(*inputPendingLines)();

InputRecord *inputAdd(FILE *stream, const char *name);
InputRecord *inputInsert(TextLine *lines, int line);
InputRecord *inputInsertAfter(InputRecord *record, TextLine *lines, int line);
void inputInclude(istring name);
// Next raw physical line (valid until the next call), or NULL at the end.
char *inputRawLine(int *length);
const char *safepath(const char *path);
