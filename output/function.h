// The store of user functions, and the search for the program's directory.
#pragma once
#include <cstddef>
#include "core/istring.h"

struct TextLine;

struct FunctionRecord {
    istring name;
    istring file;
    TextLine *lines;
    int line;
    FunctionRecord *next;
};

extern FunctionRecord *functionList;

void FunctionAdd(istring name, TextLine *lines, int line);
int FunctionCall(istring name);

// Directory of the running program (malloc'ed), or NULL.
char *findProgramDirectory(const char *program);
bool isAbsolutePath(const char *path);
bool isRegularFile(const char *path);
char *joinPath(const char *prefix, size_t length, const char *name);

namespace host {
// Case-insensitive comparison of at most n characters.
int strncasecmp(const char *a, const char *b, size_t n);
}
