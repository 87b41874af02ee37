// Character classes and the escape map.
#include "input/charclass.h"
#include "input/lexer.h"

uint16_t charClass[256];
unsigned char escapeMap[256];

static void classAdd(const char *members, uint16_t cls) {
    for (const char *p = members; *p; p++)
        charClass[(unsigned char)*p] |= cls;
}

void charClassInit() {
    for (int c = 0; c < 256; c++) {
        charClass[c] = 0;
        escapeMap[c] = (unsigned char)c;
    }
    classAdd("():=!", CC_SINGLE);
    classAdd("\"", CC_DQUOTE);
    classAdd("{", CC_OPEN_BLOCK);
    classAdd("}", CC_CLOSE_BLOCK);
    classAdd("\\", CC_ESCAPE);
    classAdd("$", CC_DOLLAR);
    classAdd("(", CC_OPEN_PAREN);
    classAdd(")", CC_CLOSE_PAREN);
    classAdd("\r\n", CC_LINE_END);
    classAdd("#", CC_COMMENT);
    classAdd(" \t", CC_BLANK);
    for (const Operator &op : operators)
        charClass[(unsigned char)op.text[0]] |= CC_OPERATOR;
    classAdd("%", CC_PERCENT);
    classAdd("'", CC_SQUOTE);
    classAdd(" \t", CC_DELIMITER);
    classAdd(" \t\\", CC_PATH_SPECIAL);
    escapeMap[(unsigned char)'t'] = '\t';
    escapeMap[(unsigned char)'n'] = '\n';
    escapeMap[(unsigned char)'r'] = '\r';
    escapeMap[(unsigned char)'b'] = '\b';
    escapeMap[(unsigned char)'f'] = '\f';
}
