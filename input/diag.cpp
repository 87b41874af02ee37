// Located fatal errors, location names and the statement history.
#include "input/diag.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/alloc.h"
#include "core/names.h"
#include "core/debug.h"
#include "input/input.h"
#include "variables/variable.h"

StatementEntry *statementHistory;
int statementCount;

void fatalAt(const char *format, ...) {
    fprintf(stderr, "%s:%d ", inputFile ? inputFile : "", inputLine);
    va_list args;
    va_start(args, format);
    fatalv(format, args);
}

istring lineRecordName(istring file, int line) {
    // Reused between calls; room for the name, a colon, any int and the
    // terminator, replaced by a larger one when a longer name comes.
    static char *buffer;
    static size_t capacity;
    constexpr size_t numberRoom = 1 + 11 + 1;
    size_t length = std::strlen(file);
    if (length + numberRoom > capacity) {
        free(buffer);
        capacity = length + numberRoom;
        buffer = static_cast<char *>(xmalloc(capacity, "lineRecordName"));
    }
    snprintf(buffer, capacity, "%s:%d", file, line);
    return istringNew(buffer);
}

void StatementStart() {
    StatementEntry *entry = static_cast<StatementEntry *>(xmalloc(sizeof(StatementEntry), "StatementStart"));
    entry->file = inputFile;
    entry->line = inputLine;
    entry->next = statementHistory;
    statementHistory = entry;
    statementCount++;
}

void StatementEnd() {
    inputPrefix = names.empty;
    if (debugOn('i'))
        fflush(stdout);
    if (statementCount == 0 || !statementHistory)
        fatal("statement history underflow");
    statementCount--;
    StatementEntry *entry = statementHistory;
    statementHistory = entry->next;
    free(entry);
}

void statementTraceAll() { StatementTrace(nullptr, 0); }

void StatementTrace(StatementEntry *entry, int number) {
    if (!debugOn('t'))
        return;
    if (!entry) {
        if (statementHistory) {
            fputs("Scope Trace:\n\n", stderr);
            StatementTrace(statementHistory, statementCount - 1);
        }
        return;
    }
    if (entry->next)
        StatementTrace(entry->next, number - 1);
    istring name = lineRecordName(entry->file ? entry->file : names.empty, entry->line);
    istring text = globalTable ? variableValue(globalTable, name, 1) : names.empty;
    fprintf(stderr, "%3d: %s %s\n", number + 1, name, text);
}
