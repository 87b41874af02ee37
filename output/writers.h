// The writers that turn sections into make text, byte for byte.
#pragma once
#include <cstdio>

struct TextObject;
struct BuildRecord;

enum { WRAP_LIMIT = 69 };

void textEmit(TextObject *section);
void objEmit(TextObject *section);
void rulesEmit(TextObject *section);
void emitVariableList(const char *name, FILE *stream, BuildRecord *first, const char *filter);
void emitWrapped(FILE *stream, const char *text);
