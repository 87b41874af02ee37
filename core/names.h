// The built-in names, interned once at start-up in a fixed order and compared
// by identity everywhere, and the global variable table.
#pragma once
#include "core/istring.h"
#include "core/hashtable.h"

struct BuiltinNames {
    istring ARGC;           // ".ARGC"
    istring ARGV;           // ".ARGV"
    istring FILE_;          // ".FILE"
    istring LINE;           // ".LINE"
    istring CURRENT_SCOPE;  // ".CURRENT_SCOPE"
    istring Column0;        // "|Column0" (a lexer marker, never a variable)
    istring CFFILE;         // ".CFFILE"
    istring HOSTNAME;       // ".HOSTNAME"
    istring PWD;            // ".PWD"
    istring TIME;           // ".TIME"
    istring USER;           // ".USER"
    istring DELIMITER;      // ".DELIMITER"
    istring DEPFILES;       // ".DEPFILES"
    istring DEBUGFLAGS;     // ".DEBUGFLAGS"
    istring EMIT;           // ".EMIT"
    istring IOBJS;          // "IOBJS"
    istring MATCH;          // ".MATCH"
    istring empty;          // "" (also the shared empty value)
    istring OBJS;           // "OBJS"
    istring Source;         // "/Source"
    istring Suffix;         // "/Suffix"
    istring SOURCE;         // ".SOURCE"
    istring blank;          // " " (default list separator)
    istring SRCPATH;        // ".SRCPATH"
    istring BRISK_DIR;      // "BRISK_DIR"
    istring BRISK_PATH;     // "BRISK_PATH"
    istring TRUE_;          // ".TRUE"
    istring FALSE_;         // ".FALSE"
    istring True;           // "True"
    istring False;          // "False"
    istring SEPARATOR;      // ".SEPARATOR"
    istring TERN_BASE;      // "TERN_BASE"
    istring TERN_HOME;      // "TERN_HOME"
    istring TERN_HOST_TYPE; // "TERN_HOST_TYPE"
    istring TERN_TOOLS;     // "TERN_TOOLS"
    istring newScopeLine;   // "in new scope {"
    istring closeBraceLine; // "}"
    istring emitDebugLine;  // "#EMIT $(.FILE):$(.LINE)"
    istring star;           // "*"
};

extern BuiltinNames names;
extern HashTable *globalTable;

// Interns the names in their fixed order and creates the (empty) global
// table. Requires istringInit.
void namesInit();
