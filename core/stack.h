// Character stacks (stacked byte sources) and the process-wide string builder.
#pragma once
#include <cstdint>
#include "core/istring.h"

struct TextLine;

struct StackFrame {
    const char *next;    // next byte to hand out
    int32_t remaining;   // bytes left in this frame
    StackFrame *below;   // frame underneath, NULL at the bottom
};

StackFrame *stackPush(StackFrame *top, const char *chars, int count);
// Next byte sign-extended from 8 bits, or -1 when every frame is used up.
int stackPop(StackFrame **top);
void stackFree(StackFrame *top);

struct SavedBuilder {
    char *buffer;
    int32_t capacity;
    SavedBuilder *previous;
};

struct Builder {
    char *buffer;        // NULL when none is allocated
    int32_t capacity;    // bytes allocated
    int32_t used;        // bytes appended since stringBegin
    SavedBuilder *saved; // top of the saved stack
};

extern Builder builder;

void stringPush();
void stringPop();
void need(int n, int keep);
void stringBegin(int capacity);
void stringAppend(const char *chars, int n);
istring stringEnd();
istring stringConcat(istring a, istring b);
istring stringJoin(const TextLine *list);
