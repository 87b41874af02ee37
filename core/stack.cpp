// Character stacks and the string builder.
#include "core/stack.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <err.h>

#include "core/alloc.h"
#include "core/report.h"
#include "core/textline.h"

Builder builder;

StackFrame *stackPush(StackFrame *top, const char *chars, int count) {
    StackFrame *frame = static_cast<StackFrame *>(xmalloc(sizeof(StackFrame), "stackPush"));
    frame->next = chars;
    frame->remaining = count;
    frame->below = top;
    return frame;
}

int stackPop(StackFrame **top) {
    if (!top)
        fatal("stackPop was called with a null pointer");
    if (!*top)
        fatal("stackPop was called with a pointer to a null pointer");
    for (;;) {
        StackFrame *frame = *top;
        if (frame->remaining != 0) {
            frame->remaining--;
            // Sign-extended on purpose: a byte 0xFF reads as the end marker.
            return static_cast<signed char>(*frame->next++);
        }
        *top = frame->below;
        free(frame);
        if (!*top)
            return -1;
    }
}

void stackFree(StackFrame *top) {
    while (top) {
        StackFrame *below = top->below;
        free(top);
        top = below;
    }
}

void stringPush() {
    SavedBuilder *frame = static_cast<SavedBuilder *>(xmalloc(sizeof(SavedBuilder), "stringPush"));
    frame->buffer = builder.buffer;
    frame->capacity = builder.capacity;
    frame->previous = builder.saved;
    builder.saved = frame;
    builder.buffer = nullptr;
    builder.capacity = 0;
}

void stringPop() {
    SavedBuilder *frame = builder.saved;
    if (!frame)
        return;
    free(builder.buffer);
    builder.buffer = frame->buffer;
    builder.capacity = frame->capacity;
    builder.saved = frame->previous;
    free(frame);
}

// A size the 32-bit capacity cannot hold ends the program like a failed malloc.
[[noreturn]] static void builderTooLarge() {
    errno = ENOMEM;
    err(1, nullptr);
}

void need(int n, int keep) {
    if (n <= builder.capacity)
        return;
    if (n > INT_MAX - 256)
        builderTooLarge();
    builder.capacity = n + 256;
    if (!builder.buffer) {
        builder.buffer = static_cast<char *>(xmalloc(builder.capacity, "need"));
    } else if (keep) {
        char *p = static_cast<char *>(realloc(builder.buffer, builder.capacity));
        if (!p)
            err(1, nullptr);
        builder.buffer = p;
    } else {
        free(builder.buffer);
        builder.buffer = static_cast<char *>(xmalloc(builder.capacity, "need"));
    }
}

void stringBegin(int capacity) {
    builder.used = 0;
    stringPush();
    need(capacity, 0);
}

void stringAppend(const char *chars, int n) {
    if (n <= 0)
        return;
    if (n > INT_MAX - builder.used)
        builderTooLarge();
    need(builder.used + n, 1);
    std::memcpy(builder.buffer + builder.used, chars, n);
    builder.used += n;
}

istring stringEnd() {
    istring s = istringNewN(builder.buffer ? builder.buffer : "", builder.used);
    stringPop();
    return s;
}

istring stringConcat(istring a, istring b) {
    if (!*a)
        return b;
    if (!*b)
        return a;
    int la = istringLength(a), lb = istringLength(b);  // each below 65,535
    need(la + lb, 0);
    std::memcpy(builder.buffer, a, la);
    std::memcpy(builder.buffer + la, b, lb);
    return istringNewN(builder.buffer, la + lb);
}

istring stringJoin(const TextLine *list) {
    if (!list)
        return istringNew("");
    if (!list->next)
        return list->text;
    long long sum = 0;
    for (const TextLine *l = list; l; l = l->next)
        sum += istringLength(l->text) + 1;
    if (sum > INT_MAX)
        builderTooLarge();
    int total = static_cast<int>(sum);
    need(total, 0);
    int written = 0;
    for (const TextLine *l = list; l; l = l->next) {
        if (l != list)
            builder.buffer[written++] = ' ';
        int n = istringLength(l->text);
        std::memcpy(builder.buffer + written, l->text, n);
        written += n;
    }
    if (written > total)
        abort();
    return istringNewN(builder.buffer, written);
}
