// Templates and build statements.
#include "language/build.h"
#include "language/actions.h"

#include <climits>
#include <cstdlib>
#include <cstring>

#include "core/alloc.h"
#include "core/stack.h"
#include "core/names.h"
#include "input/diag.h"
#include "input/tokens.h"
#include "output/text.h"
#include "variables/expand.h"
#include "variables/scope.h"
#include "variables/variable.h"

TemplateRecord *templateList;
BuildRecord *buildList;
BuildRecord *buildTail;

TemplateRecord *templateFind(istring source, istring selector, TemplateRecord *list) {
    const char *base = strrchr(source, '/');
    base = base ? base + 1 : source;

    for (TemplateRecord *t = list; t; t = t->next) {
        t->suffix = nullptr;
        if (!t->sourcePattern) {
            t->stem = istringNew(base);
            return t;
        }
        if (selector && t->targetPattern != selector)
            continue;

        // Both positions move before the characters are compared, so a
        // mismatch in the last character before the "%" (or at the end of
        // the pattern) goes unnoticed. The base position never moves past
        // its terminator.
        const char *p = t->sourcePattern;
        const char *b = base;
        while (*p && *p != '%') {
            char cb = *b;
            char cp = *p++;
            if (cb)
                b++;
            if (cb != cp)
                break;
        }

        if (*p == '%') {
            const char *rest = p + 1;
            if (!*rest) {
                t->stem = b == source ? source : istringNew(b);
                return t;
            }
            size_t restLength = istringLength(t->sourcePattern) - static_cast<size_t>(rest - t->sourcePattern);
            size_t baseLength = istringLength(source) - static_cast<size_t>(b - source);
            if (restLength <= baseLength && strcmp(b + baseLength - restLength, rest) == 0) {
                t->stem = istringNewN(b, static_cast<unsigned>(baseLength - restLength));
                t->suffix = istringNew(rest);
                return t;
            }
        } else if (!*p && !*b) {
            // The empty remainder of the source, deliberately not interned.
            t->stem = b;
            return t;
        }
    }
    return nullptr;
}

istring targetExpand(const char *pattern, const char *stem) {
    // The capacity lives in eight signed bits: a pattern and stem of 64
    // characters or more make the request unsatisfiable.
    static char *buffer;
    static int8_t capacity;

    size_t patternLength = strlen(pattern);
    size_t stemLength = strlen(stem);
    size_t sum = patternLength + stemLength;
    if (static_cast<long long>(sum) > capacity) {
        free(buffer);
        buffer = nullptr;
        size_t wanted = sum + 64;
        capacity = static_cast<int8_t>(static_cast<uint8_t>(wanted));
        ptrdiff_t request = capacity;
        // Past the 8-bit range the capacity wraps to a size too small for
        // the text; refuse it like the negative sizes below it.
        if (wanted > INT8_MAX && request >= 0)
            request = INT8_MIN;
        buffer = static_cast<char *>(xmalloc(static_cast<size_t>(request), "targetExpand"));
    }

    // The result is at most sum characters long and needs no terminator.
    size_t length = 0;
    const char *percent = strchr(pattern, '%');
    if (!percent) {
        length = patternLength;
        if (length)
            memcpy(buffer, pattern, length);
    } else {
        length = static_cast<size_t>(percent - pattern);
        memcpy(buffer, pattern, length);
        memcpy(buffer + length, stem, stemLength);
        length += stemLength;
        const char *after = percent + 1;
        const char *next = strchr(after, '%');
        size_t afterLength = next ? static_cast<size_t>(next - after) : strlen(after);
        memcpy(buffer + length, after, afterLength);
        length += afterLength;
    }
    return length ? istringNewN(buffer, static_cast<unsigned>(length)) : istringNewN("", 0);
}

BuildRecord *buildPattern(istring selector, istring source) {
    BuildRecord *record = static_cast<BuildRecord *>(xmalloc(sizeof(BuildRecord), "pattern"));
    record->next = nullptr;
    record->source = source;
    record->target = nullptr;
    record->selector = selector;
    record->key = nullptr;
    record->flags = 0;
    record->template_ = nullptr;
    record->scope = nullptr;
    return record;
}

HashTable *buildAddition(int op, istring name, istring value, HashTable *rest) {
    if (!scopeActive())
        return nullptr;
    if (op == 0)
        return ht_new();
    HashTable *table = rest ? rest : ht_new();
    assignmentDo(table, op, name, value);
    return table;
}

static TemplateRecord *templateNew(istring targetPattern, istring sourcePattern) {
    TemplateRecord *t = static_cast<TemplateRecord *>(xmalloc(sizeof(TemplateRecord), "template"));
    t->targetPattern = targetPattern;
    t->sourcePattern = sourcePattern;
    t->stem = nullptr;
    t->suffix = nullptr;
    t->commands = nullptr;
    t->next = nullptr;
    return t;
}

TemplateRecord *buildByClause(istring targetPattern, istring sourcePattern, istring command) {
    if (!scopeActive())
        return nullptr;
    TemplateRecord *t = templateNew(targetPattern, sourcePattern);
    t->commands = textLineNew(command, 0, "command");
    return t;
}

TemplateRecord *templateDeclare(istring targetPattern, istring sourcePattern) {
    TemplateRecord *t = templateNew(targetPattern, sourcePattern);
    t->next = templateList;
    templateList = t;
    return t;
}

// The text from name to the end of the istring `within`, followed by suffix,
// interned.
static istring nameWithSuffix(istring within, const char *name, istring suffix) {
    size_t nameLength = istringLength(within) - static_cast<size_t>(name - within);
    size_t suffixLength = istringLength(suffix);
    char *text = static_cast<char *>(xmalloc(nameLength + suffixLength + 1, "build statement"));
    memcpy(text, name, nameLength);
    memcpy(text + nameLength, suffix, suffixLength + 1);
    istring result = istringNewN(text, static_cast<unsigned>(nameLength + suffixLength));
    free(text);
    return result;
}

void buildStatement(BuildRecord *record, int requirement, uint32_t flags, HashTable *table, TemplateRecord *by) {
    if (!requirement || !scopeActive() || !table)
        return;

#ifdef BRISK_EAGER_CAPTURE
    // Reference behaviour for the differential test: copy every visible
    // variable into the build's table.
    variableFlatten(table);
#else
    variableCapture(table);
#endif
    record->source = stringConcat(variableExpand(table, names.SRCPATH, 0), record->source);
    record->scope = table;
    record->flags = flags;
    record->next = nullptr;

    TemplateRecord *t = templateFind(record->source, record->selector, by ? by : templateList);
    if (!t)
        fatal("No template found for %s", record->source);
    record->template_ = t;
    record->target = targetExpand(t->targetPattern, t->stem);
    record->key = t->suffix;

    variableSet(table, names.MATCH, t->stem);

    if (!(flags & BUILD_DYNAMIC)) {
        const char *semicolon = strchr(record->source, ';');
        istring dependency = semicolon ? istringNew(semicolon + 1) : record->source;
        variableAppend(globalTable, names.DEPFILES, dependency, nullptr);
    }
    if (!(flags & BUILD_INTERMEDIATE))
        variableAppend(globalTable, names.OBJS, record->target, nullptr);
    else
        variableAppend(globalTable, names.IOBJS, record->target, nullptr);

    if (flags & BUILD_FAKE)
        record->source = variableExpand(table, names.SOURCE, 1);

    variableSet(globalTable, nameWithSuffix(record->target, record->target, names.Source), record->source);

    if (record->key) {
        const char *semicolon = strchr(record->source, ';');
        variableSet(globalTable, nameWithSuffix(record->source, semicolon ? semicolon : record->source, names.Suffix), record->key);
    }

    if (buildTail)
        buildTail->next = record;
    else
        buildList = record;
    buildTail = record;
}
