// Character classes and the escape map shared by the reader, the lexer,
// expansion, the build statements and the writers.
#pragma once
#include <cstdint>

enum : uint16_t {
    CC_SINGLE = 0x0001,
    CC_DQUOTE = 0x0002,
    CC_OPEN_BLOCK = 0x0004,
    CC_CLOSE_BLOCK = 0x0008,
    CC_ESCAPE = 0x0010,
    CC_DOLLAR = 0x0020,
    CC_OPEN_PAREN = 0x0040,
    CC_CLOSE_PAREN = 0x0080,
    CC_LINE_END = 0x0100,
    CC_COMMENT = 0x0200,
    CC_BLANK = 0x0400,
    CC_OPERATOR = 0x0800,
    CC_PERCENT = 0x1000,
    CC_SQUOTE = 0x2000,
    CC_DELIMITER = 0x4000,
    CC_PATH_SPECIAL = 0x8000,
};

extern uint16_t charClass[256];
extern unsigned char escapeMap[256];

void charClassInit();

inline bool isClass(int c, uint16_t cls) { return (charClass[(unsigned char)c] & cls) != 0; }
