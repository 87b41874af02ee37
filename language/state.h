// State of the statement actions while a body is read; the lexer's own
// steering state (lineMode, braceDepth, commandMode) lives with the lexer.
#pragma once
#include "input/steering.h"

struct TextObject;

extern TextObject *currentSection;
extern int blockKind;     // EMIT, FUNCTION or POSTPROCESS while reading such a body
extern unsigned textFlags;// 1 pretty, 2 expand
