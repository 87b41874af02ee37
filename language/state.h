// Parser state shared with the lexer and the statement actions.
#pragma once

struct TextObject;

extern int lineMode;      // 0 statements, 1 raw free text, 2 expanded free text
extern int braceDepth;    // brace nesting inside counted free-text bodies
extern int commandMode;   // template command lines
extern TextObject *currentSection;
extern int blockKind;     // EMIT, FUNCTION or POSTPROCESS while reading such a body
extern unsigned textFlags;// 1 pretty, 2 expand
