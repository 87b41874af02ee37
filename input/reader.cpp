// The line reader: raw physical lines to logical lines.
#include "input/reader.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include "core/alloc.h"
#include "core/stack.h"
#include "core/names.h"
#include "core/debug.h"
#include "input/charclass.h"
#include "input/diag.h"
#include "input/input.h"
#include "input/steering.h"
#include "variables/expand.h"
#include "variables/variable.h"

namespace {

// The logical-line buffer: created at the first need, only ever grown.
struct LineBuffer {
    char *text = nullptr;
    int capacity = 0;
    int used = 0;
};

LineBuffer lineBuffer;

void lineGrow(int amount) {
    if (!lineBuffer.text) {
        lineBuffer.text = static_cast<char *>(xmalloc(static_cast<size_t>(amount), "inputGetLine"));
        lineBuffer.capacity = amount;
        return;
    }
    char *grown = static_cast<char *>(realloc(lineBuffer.text, static_cast<size_t>(lineBuffer.capacity) + amount));
    if (!grown)
        fatal("Memory is exhausted!");
    lineBuffer.text = grown;
    lineBuffer.capacity += amount;
}

// Appends one byte, always leaving room for the terminating NUL.
void linePut(int c) {
    if (lineBuffer.used + 1 >= lineBuffer.capacity)
        lineGrow(256);
    lineBuffer.text[lineBuffer.used++] = static_cast<char>(c);
}

// Next byte of the character stack, -1 once it is used up (or at a byte 0xFF,
// which the stack delivers as -1 too).
int lineNext(StackFrame **top) {
    return *top ? stackPop(top) : -1;
}

// Reads a reference body after "$(" up to its matching ")" and returns the
// value it expands to.
istring lineReference(StackFrame **top) {
    std::string text;
    if (!expandReadName(top, text))
        fatal("%s:%d unterminated variable", inputFile, inputLine);
    istring name = istringNewN(text.data(), static_cast<unsigned>(text.size()));
    return variableExpand(nullptr, name, 0);
}

struct RawState {
    int quote = 0;           // the open quote character, 0 for none
    bool continuation = false;
};

// Processes one raw line in line mode 0 or 2. Returns true when the logical
// line continues with the next raw line.
bool lineProcess(const char *raw, int length, RawState &state) {
    StackFrame *top = stackPush(nullptr, raw, length);
    int spare = lineBuffer.capacity - lineBuffer.used - length - 1;
    int c = lineNext(&top);
    int a = lineNext(&top);
    bool comment = false;
    while (c != -1) {
        if (state.quote == '\'') {
            linePut(c);
            if (isClass(c, CC_SQUOTE))
                state.quote = 0;
        } else if (isClass(c, CC_ESCAPE) && a == -1) {
            state.continuation = true;
            while (lineBuffer.used > 0 && isClass(lineBuffer.text[lineBuffer.used - 1], CC_BLANK))
                lineBuffer.used--;
            if (lineBuffer.used > 0)
                linePut(' ');
        } else if (isClass(c, CC_ESCAPE)) {
            linePut(escapeMap[static_cast<unsigned char>(a)]);
            a = lineNext(&top);
        } else if (isClass(c, CC_DOLLAR) && a != -1 && isClass(a, CC_OPEN_PAREN)) {
            istring value = lineReference(&top);
            int valueLength = static_cast<int>(istringLength(value));
            spare -= valueLength + 1;
            if (spare < 0) {
                int amount = -spare + length + 256;
                lineGrow(amount);
                spare += amount;
            }
            top = stackPush(top, value, valueLength);
            a = lineNext(&top);
        } else if (lineMode == 2) {
            linePut(c);
        } else if (state.quote == '"') {
            linePut(c);
            if (isClass(c, CC_DQUOTE))
                state.quote = 0;
        } else if (isClass(c, CC_DQUOTE | CC_SQUOTE)) {
            linePut(c);
            state.quote = c;
        } else if (isClass(c, CC_COMMENT)) {
            comment = true;
            break;
        } else {
            linePut(c);
        }
        c = a;
        a = lineNext(&top);
    }
    stackFree(top);
    if (state.quote)
        fatal("unterminated quote at %s:%d", inputFile, inputLine);
    return !comment && state.continuation;
}

// Under debug letter 'l': keeps the logical line in the global table under
// its location name, and the location and text as CURRENT_FILE/CURRENT_LINE.
void lineRecord(istring file, int line) {
    istring location = lineRecordName(file, line);
    istring text = istringNewN(lineBuffer.text, static_cast<unsigned>(lineBuffer.used));
    variableSet(globalTable, location, text);
    variableSet(globalTable, istringNew("CURRENT_FILE"), location);
    variableSet(globalTable, istringNew("CURRENT_LINE"), text);
}

}  // namespace

char *inputGetLine() {
    lineBuffer.used = 0;
    RawState state;
    istring firstFile = nullptr;
    int firstLine = 0;
    bool first = true;
    for (;;) {
        int length;
        char *raw = inputRawLine(&length);
        if (!raw) {
            if (lineBuffer.used == 0)
                return nullptr;
            break;
        }
        if (first) {
            firstFile = inputFile;
            firstLine = inputLine;
            first = false;
        }
        while (length > 0 && isClass(raw[length - 1], CC_LINE_END))
            length--;
        if (state.continuation) {
            state.continuation = false;
            while (length > 0 && isClass(*raw, CC_BLANK)) {
                raw++;
                length--;
            }
        }
        if (lineBuffer.capacity < lineBuffer.used + length + 1)
            lineGrow(length + 256);
        if (lineMode == 1) {
            memcpy(lineBuffer.text + lineBuffer.used, raw, static_cast<size_t>(length));
            lineBuffer.used += length;
            break;
        }
        if (!lineProcess(raw, length, state))
            break;
    }
    lineBuffer.text[lineBuffer.used] = '\0';
    if (debugOn('l') && firstLine > 0)
        lineRecord(firstFile, firstLine);
    return lineBuffer.text;
}
