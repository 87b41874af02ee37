// The lexer: logical lines to tokens.
#include "input/lexer.h"

#include <cstdio>
#include <cstring>

#include "core/names.h"
#include "core/debug.h"
#include "input/charclass.h"
#include "input/diag.h"
#include "input/input.h"
#include "input/reader.h"
#include "input/steering.h"

int lineMode;
int braceDepth;
int commandMode;

const Operator operators[10] = {
    {"&&", AND},        {"||", OR},      {"==", EQUAL},      {"=+", APPEND},
    {"!=", NOTEQUAL},   {"?=", CONDASSIGN}, {"+=", PREPEND}, {"-=", MINUSEQUAL},
    {"~=", PATTERNCHECK}, {"=", ASSIGN},
};

LineToken lineTokens[8];
int lineTokenCount;

namespace {

struct Keyword {
    const char *text;  // an istring once keywordInit has run
    int token;
};

Keyword keywords[38] = {
    {".DUMPVARS", DUMPVARS},
    {"build", BUILD},
    {"by", BY},
    {"call", CALL},
    {"current", CURRENT},
    {"dynamic", DYNAMIC},
    {"echo", ECHO},
    {"else", ELSE},
    {"emit", EMIT},
    {"error", ERROR},
    {"exists", EXISTS},
    {"exit", EXIT},
    {"-expand", EXPAND},
    {"fake", FAKE},
    {"for", FOR},
    {"function", FUNCTION},
    {"global", GLOBAL},
    {"import", IMPORT},
    {"in", IN},
    {"include", INCLUDE},
    {"intermediate", INTERMEDIATE},
    {"is", IS},
    {"new", NEW},
    {"not", NOT},
    {"-now", NOW},
    {"-output", OUTPUT},
    {"postprocess", POSTPROCESS},
    {"-pretty", PRETTY},
    {"scope", SCOPE},
    {"set", SET},
    {"-strip", STRIP},
    {"-tag", TAG},
    {"template", TEMPLATE},
    {"to", TO},
    {"unset", UNSET},
    {"uses", USES},
    {"when", WHEN},
    {"with", WITH},
};

// Position in the current logical line; NULL when the next call must read a
// new line. Words are written back in place into the reader's buffer.
char *lexCursor;

// The first operator of the table that the text begins with, or NULL.
const Operator *operatorFind(const char *text) {
    for (const Operator &op : operators)
        if (startsWith(text, op.text))
            return &op;
    return nullptr;
}

int lexRecord(int token) {
    if (lineTokenCount < 8) {
        lineTokens[lineTokenCount].token = token;
        lineTokens[lineTokenCount].value = yylval;
        lineTokenCount++;
    }
    return token;
}

bool lexOnlyBlanks(const char *p) {
    while (isClass(*p, CC_BLANK))
        p++;
    return *p == '\0';
}

// Starts a new logical line. Returns the token that takes the whole line
// (-1, EOC, FREETEXT, SOL) or 0 when the line's tokens are to be read.
int lexLineStart() {
    lineTokenCount = 0;
    char *line;
    for (;;) {
        line = inputGetLine();
        if (!line)
            return -1;
        if (debugOn('i'))
            printf("%s:%d %s\n", inputFile, inputLine, line);
        if (inputPrefix)
            break;
        size_t tabs = strspn(line, "\t");
        if (tabs == 0) {
            if (*line)
                inputPrefix = names.empty;
            break;
        }
        inputPrefix = istringNewN(line, static_cast<unsigned>(tabs));
        if (!startsWith(line + tabs, names.Column0))
            break;
    }

    bool stripped = false;
    if (inputPrefix && *inputPrefix) {
        if (int n = startsWith(line, inputPrefix)) {
            line += n;
            stripped = true;
        } else if (lexChunkEnd(line)) {
            return EOC;
        } else if (*line && !isClass(*line, CC_LINE_END)) {
            warning("%s:%d missing prefix string (%s)", inputFile, inputLine, line);
        }
    } else if (lexChunkEnd(line)) {
        return EOC;
    }

    if (lineMode != 0 && commandMode == 0) {
        istring text = istringNew(line);
        yylval.value = reinterpret_cast<intptr_t>(text);
        if (!stripped && braceDepth != 0 && lexOpensChunk(text))
            braceDepth++;
        return FREETEXT;
    }
    lexCursor = line;
    if (*line && !isClass(*line, CC_BLANK))
        return SOL;
    return 0;
}

// Reads one word at the cursor, writing it in place, and returns its token.
int lexWord(bool valueContext) {
    char *start = lexCursor;
    char *r = lexCursor;
    char *w = lexCursor;
    bool quoted = false;
    while (*r) {
        char c = *r;
        if (isClass(c, CC_DQUOTE)) {
            quoted = true;
            r++;
            while (*r && !isClass(*r, CC_DQUOTE)) {
                if (isClass(*r, CC_ESCAPE)) {
                    if (!r[1]) {
                        r++;
                        break;
                    }
                    *w++ = static_cast<char>(escapeMap[static_cast<unsigned char>(r[1])]);
                    r += 2;
                } else {
                    *w++ = *r++;
                }
            }
            if (*r)
                r++;
        } else if (isClass(c, CC_SQUOTE)) {
            quoted = true;
            *w++ = *r++;
            while (*r && !isClass(*r, CC_SQUOTE))
                *w++ = *r++;
            if (*r)
                *w++ = *r++;
        } else if (isClass(c, CC_ESCAPE)) {
            // The escaped character is translated here and then read again
            // by these same rules.
            quoted = true;
            r++;
            if (*r)
                *w++ = static_cast<char>(escapeMap[static_cast<unsigned char>(*r)]);
        } else if (!valueContext &&
                   (isClass(c, CC_SINGLE) || (isClass(c, CC_OPERATOR) && operatorFind(r)))) {
            break;
        } else if (isClass(c, CC_BLANK)) {
            r++;
            break;
        } else {
            *w++ = *r++;
        }
    }
    lexCursor = r;
    istring word = istringNewN(start, static_cast<unsigned>(w - start));
    yylval.value = reinterpret_cast<intptr_t>(word);
    if (valueContext || quoted)
        return STRING;
    int keyword = keywordLookup(word);
    return keyword ? keyword : STRING;
}

// The next token of the current line.
int lexToken() {
    while (isClass(*lexCursor, CC_BLANK))
        lexCursor++;
    if (!*lexCursor) {
        lexCursor = nullptr;
        return EOL;
    }
    if (commandMode) {
        yylval.value = reinterpret_cast<intptr_t>(istringNew(lexCursor));
        lexCursor = nullptr;
        return COMMAND_LINE;
    }
    bool valueContext = lexAssignmentContext();
    if (!valueContext) {
        char c = *lexCursor;
        if (isClass(c, CC_OPERATOR)) {
            if (const Operator *op = operatorFind(lexCursor)) {
                lexCursor += strlen(op->text);
                return op->token;
            }
        }
        if (isClass(c, CC_SINGLE)) {
            lexCursor++;
            return static_cast<unsigned char>(c);
        }
        if (c == '{' && lexOnlyBlanks(lexCursor + 1)) {
            lexCursor = nullptr;
            return SOC;
        }
    }
    return lexWord(valueContext);
}

}  // namespace

void keywordInit() {
    for (Keyword &keyword : keywords)
        keyword.text = istringNew(keyword.text);
}

int keywordLookup(istring word) {
    for (const Keyword &keyword : keywords)
        if (keyword.text == word)
            return keyword.token;
    return 0;
}

int operatorMatch(const char *text) {
    const Operator *op = operatorFind(text);
    return op ? static_cast<int>(strlen(op->text)) : 0;
}

int startsWith(const char *text, const char *prefix) {
    size_t n = strlen(prefix);
    if (n == 0 || strncmp(text, prefix, n) != 0)
        return 0;
    return static_cast<int>(n);
}

int lexAssignmentContext() {
    int i = 0;
    if (i < lineTokenCount && lineTokens[i].token == SOL)
        i++;
    if (i < lineTokenCount && lineTokens[i].token == GLOBAL)
        i++;
    if (i + 1 >= lineTokenCount || lineTokens[i].token != STRING)
        return 0;
    switch (lineTokens[i + 1].token) {
    case ASSIGN:
    case APPEND:
    case PREPEND:
    case MINUSEQUAL:
    case CONDASSIGN:
        return 1;
    default:
        return 0;
    }
}

int lexChunkEnd(const char *line) {
    while (isClass(*line, CC_BLANK))
        line++;
    if (!isClass(*line, CC_CLOSE_BLOCK))
        return 0;
    line++;
    while (isClass(*line, CC_BLANK | CC_LINE_END))
        line++;
    if (*line)
        return 0;
    if (braceDepth == 0)
        return 1;
    braceDepth--;
    return braceDepth == 0;
}

int lexOpensChunk(istring text) {
    const char *last = nullptr;
    for (const char *p = text; *p; p++)
        if (!isClass(*p, CC_BLANK | CC_LINE_END))
            last = p;
    return last && isClass(*last, CC_OPEN_BLOCK);
}

void lexReset() {
    lexCursor = nullptr;
}

int yylex() {
    if (!lexCursor) {
        int token = lexLineStart();
        if (token)
            return lexRecord(token);
    }
    return lexRecord(lexToken());
}
