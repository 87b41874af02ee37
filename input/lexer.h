// The lexer: logical lines to tokens, with the keyword and operator tables.
#pragma once
#include "core/istring.h"
#include "input/tokens.h"

struct LineToken {
    int token;
    YYSTYPE value;
};

extern LineToken lineTokens[8];
extern int lineTokenCount;

void keywordInit();
int keywordLookup(istring word);
int operatorMatch(const char *text);
int startsWith(const char *text, const char *prefix);
int lexAssignmentContext();
int lexChunkEnd(const char *line);
int lexOpensChunk(istring text);
// Forget the current line (the next yylex call reads a new one).
void lexReset();

struct Operator {
    const char *text;
    int token;
};
// Tried in order; the first whose text the input begins with wins.
extern const Operator operators[10];
