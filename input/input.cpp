// The input stack and the include search.
#include "input/input.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <err.h>

#include "core/alloc.h"
#include "core/names.h"
#include "input/charclass.h"
#include "input/diag.h"
#include "core/textline.h"
#include "variables/expand.h"
#include "variables/scope.h"
#include "variables/variable.h"

InputRecord *inputStack;
FILE *dependStream;
const char *dependName;
TextLine *(*inputPendingLines)();
istring inputFile;
int inputLine;
istring inputPrefix;

// Physical lines from files share this buffer.
enum { RAW_LINE_SIZE = 4096 };
static char rawLine[RAW_LINE_SIZE];

// Include candidates ("directory/name") are composed in an area of this size.
enum { CANDIDATE_SIZE = 128 };

// Saves the current location and prefix into the record on top, if any,
// before something is pushed above it.
static void inputSaveTop() {
    if (!inputStack)
        return;
    inputStack->file = inputFile;
    inputStack->line = inputLine;
    inputStack->prefix = inputPrefix;
}

InputRecord *inputAdd(FILE *stream, const char *name) {
    InputRecord *record = static_cast<InputRecord *>(xmalloc(sizeof(InputRecord), "inputAdd"));
    istring file = istringNew(name);
    record->stream = stream;
    record->lines = nullptr;
    record->file = file;
    record->line = 0;
    record->prefix = inputPrefix;
    inputSaveTop();
    record->next = inputStack;
    inputStack = record;
    inputFile = file;
    inputLine = 0;
    return record;
}

// An in-memory source for `lines`, reporting line numbers from `line` on.
static InputRecord *inputMemoryRecord(TextLine *lines, int line) {
    InputRecord *record = static_cast<InputRecord *>(xmalloc(sizeof(InputRecord), "inputInsert"));
    record->stream = nullptr;
    record->lines = lines;
    record->file = inputFile;
    record->line = line - 1;
    record->prefix = inputPrefix;
    record->next = nullptr;
    return record;
}

InputRecord *inputInsert(TextLine *lines, int line) {
    InputRecord *record = inputMemoryRecord(lines, line);
    inputSaveTop();
    record->next = inputStack;
    inputStack = record;
    inputLine = line;
    inputPrefix = nullptr;
    return record;
}

InputRecord *inputInsertAfter(InputRecord *record, TextLine *lines, int line) {
    InputRecord *added = inputMemoryRecord(lines, line);
    added->next = record->next;
    record->next = added;
    return added;
}

// Opens one search-path candidate composed from a directory of `dirLength`
// bytes and the name. A candidate that does not fit the area is fatal.
static FILE *inputTryCandidate(const char *dir, size_t dirLength, const char *name, char *candidate) {
    int n = snprintf(candidate, CANDIDATE_SIZE, "%.*s/%s", static_cast<int>(dirLength), dir, name);
    if (n < 0 || n >= CANDIDATE_SIZE)
        fatal("%.*s/%s: %s", static_cast<int>(dirLength), dir, name, strerror(ENAMETOOLONG));
    return fopen(candidate, "r");
}

void inputInclude(istring name) {
    istring path = variableExpand(nullptr, names.BRISK_PATH, 0);
    istring separator = variableSeparator(nullptr, names.BRISK_PATH);
    // An empty separator would never advance through the path.
    if (!separator || !*separator)
        separator = ":";
    size_t separatorLength = strlen(separator);

    char candidate[CANDIDATE_SIZE];
    const char *opened = name;
    FILE *stream = fopen(name, "r");
    int savedErrno = 0;
    if (!stream && name[0] != '/') {
        savedErrno = errno;
        const char *rest = path;
        while (!stream && rest && *rest) {
            const char *found = strstr(rest, separator);
            if (found) {
                stream = inputTryCandidate(rest, static_cast<size_t>(found - rest), name, candidate);
                rest = found + separatorLength;
            } else {
                stream = inputTryCandidate(rest, strlen(rest), name, candidate);
                rest = nullptr;
            }
        }
        opened = candidate;
    }
    if (!stream)
        fatal("%s: %s", name, strerror(savedErrno));
    if (dependStream)
        fprintf(dependStream, " \\\n    %s", safepath(opened));
    inputAdd(stream, name);
}

// Replaces leading spaces by tabs: with n spaces and m = n + 1, the first
// (m rounded down to a multiple of 8) characters become m / 8 tabs. The
// measure counts one position past the spaces, so 7 leading spaces also
// swallow the character after them.
static int inputConvertSpaces(char *line, int length) {
    int spaces = 0;
    while (spaces < length && line[spaces] == ' ')
        spaces++;
    int measure = spaces + 1;
    if (measure < 8)
        return length;
    int tabs = measure / 8;
    int removed = tabs * 8;
    if (removed > length)  // only spaces and no line end: nothing more to swallow
        removed = length;
    memmove(line + tabs, line + removed, static_cast<size_t>(length - removed) + 1);
    memset(line, '\t', static_cast<size_t>(tabs));
    return length - removed + tabs;
}

// Unlinks and frees the top record; restores the location of the one beneath,
// or, when the stack runs empty, queues the post-processing text or closes
// the outermost scope.
static void inputPop() {
    InputRecord *record = inputStack;
    inputStack = record->next;
    free(record);
    if (inputStack) {
        inputFile = inputStack->file;
        inputLine = inputStack->line;
        inputPrefix = inputStack->prefix;
        return;
    }
    if (TextLine *lines = inputPendingLines ? inputPendingLines() : nullptr)
        inputInsert(lines, 0);
    else
        scopePop();
}

char *inputRawLine(int *length) {
    while (inputStack) {
        InputRecord *top = inputStack;
        if (top->stream) {
            if (fgets(rawLine, RAW_LINE_SIZE, top->stream)) {
                inputLine++;
                int n = static_cast<int>(strlen(rawLine));
                *length = inputConvertSpaces(rawLine, n);
                return rawLine;
            }
            fclose(top->stream);
            top->stream = nullptr;
        } else if (top->lines) {
            TextLine *line = top->lines;
            inputFile = line->file;
            inputLine = line->line;
            top->lines = line->next;
            *length = static_cast<int>(istringLength(line->text));
            return const_cast<char *>(line->text);
        }
        inputPop();
    }
    return nullptr;
}

void inputDependEnd(const char *last) {
    if (!dependStream)
        return;
    fputs(last, dependStream);
    bool failed = ferror(dependStream) | (fclose(dependStream) != 0);
    dependStream = nullptr;
    if (failed)
        err(1, "%s", dependName);
}

const char *safepath(const char *path) {
    static char *buffer;
    static size_t capacity;
    size_t special = 0;
    size_t length = 0;
    for (const char *p = path; *p; p++, length++)
        if (isClass(*p, CC_PATH_SPECIAL))
            special++;
    if (special == 0)
        return path;
    size_t needed = length + special + 1;
    if (needed > capacity) {
        free(buffer);
        buffer = static_cast<char *>(xmalloc(needed, "safepath"));
        capacity = needed;
    }
    char *out = buffer;
    for (const char *p = path; *p; p++) {
        if (isClass(*p, CC_PATH_SPECIAL))
            *out++ = '\\';
        *out++ = *p;
    }
    *out = '\0';
    return buffer;
}
