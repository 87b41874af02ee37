// How the grammar's actions steer the line reader and the lexer: which kind
// of lines come next and how deep the braces of a kept body are.
#pragma once

extern int lineMode;      // 0 statements, 1 raw free text, 2 expanded free text
extern int braceDepth;    // brace nesting inside counted free-text bodies
extern int commandMode;   // template command lines
