// Token numbers shared by the lexer and the grammar, and the parser's
// semantic value.
#pragma once
#include <cstdint>

enum Token {
    AND = 257, APPEND, ASSIGN, BUILD, BY, CALL, COMMAND_LINE, CONDASSIGN, CURRENT,
    DUMPVARS, DYNAMIC, ECHO, ELSE, EMIT, EOC, EOL, EQUAL, ERROR, EXISTS, EXIT,
    EXPAND, EXPORT, FAKE, FOR, FUNCTION, FREETEXT, GLOBAL, IMPORT, IN, INCLUDE,
    INTERMEDIATE, IS, MINUSEQUAL, NEW, NOT, NOTEQUAL, NOW, OR, OUTPUT,
    PATTERNCHECK, POSTPROCESS, PREPEND, PRETTY, SCOPE, SET, SOC, SOL, STRING,
    STRIP, TAG, TEMPLATE, TO, UNSET, USES, WHEN, WITH
};
static_assert(WITH == 312, "token numbering");
static_assert(SOL == 303, "token numbering");

// Three machine words: the value of every symbol, and two extras used only by
// the for statement.
struct YYSTYPE {
    intptr_t value;
    intptr_t extra1;
    intptr_t extra2;
};
#define YYSTYPE_IS_DECLARED 1

extern YYSTYPE yylval;
// Parser trace level, taken from the environment variable YYDEBUG.
extern int yydebug;
int yylex();
int yyparse();
