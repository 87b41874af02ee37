// Process-wide state owned by the driver and consulted elsewhere.
#pragma once
#include <cstdio>
#include "core/istring.h"

extern istring defaultOutputName;  // "Makefile", the -o argument, or "<STDOUT>"
extern FILE *defaultOutputStream;  // stdout after -o -, else NULL

// Start-up before any variable is set: the string table, character classes,
// keywords, built-in names and global table, sections, the outermost scope.
void driverStartUp();

// The whole program: start-up, options, parse, output. Returns the exit status.
int briskMain(int argc, char **argv);
