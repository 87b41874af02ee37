// The lexer: logical lines to tokens.
#include "input/lexer.h"

const Operator operators[10] = {
    {"&&", AND},        {"||", OR},      {"==", EQUAL},      {"=+", APPEND},
    {"!=", NOTEQUAL},   {"?=", CONDASSIGN}, {"+=", PREPEND}, {"-=", MINUSEQUAL},
    {"~=", PATTERNCHECK}, {"=", ASSIGN},
};
