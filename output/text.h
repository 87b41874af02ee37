// Named sections of line records and the output files they are bound to.
#pragma once
#include <cstdio>
#include "core/istring.h"
#include "core/hashtable.h"
#include "core/textline.h"


struct OutputFile {
    istring name;
    FILE *stream;
};

struct BuildRecord;
struct TextObject;
typedef void (*TextWriter)(TextObject *);

struct TextObject {
    OutputFile *output;   // NULL: never written
    istring name;
    TextLine *lines;
    BuildRecord *builds;  // .OBJS and .RULES: the build records
    TextWriter writer;
};

extern HashTable *sectionTable;
extern HashTable *outputTable;

void textInit();
TextObject *textCreate(istring name, istring outputName, FILE *stream);
void textAppend(TextObject *section, istring text, unsigned flags);
void textPrepend(TextObject *section, istring text, unsigned flags);
void textDropFirst(TextObject *section);
TextObject *sectionFind(istring name);
FILE *textOutput(TextObject *section);
void sectionsEmit();
// Closes every open output file (standard output is flushed); a failed write
// or close ends the program with the file's name and the system's reason.
void textCloseAll();
// Standard output also carries echo and debug text; losing it silently would
// hide a full disk from the script that ran us. Flushes and checks it.
void textCheckStdout();
// A fresh line record stamped with the current location (label names the caller).
TextLine *textLineNew(istring text, unsigned flags, const char *label);
