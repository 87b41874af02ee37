// Assignments and the one-line statements: set, unset, uses, import, echo,
// error, exit and the variable dumps.
#include "language/actions.h"

#include <cstdio>
#include <cstdlib>

#include "input/diag.h"
#include "input/input.h"
#include "output/text.h"
#include "variables/expand.h"
#include "variables/scope.h"
#include "variables/variable.h"

void assignmentDo(HashTable *table, int op, istring name, istring value) {
    if (!scopeActive())
        return;
    switch (op) {
    case ASSIGN:
        variableSet(table, name, value);
        break;
    case CONDASSIGN: {
        // The local form looks along the whole scope chain; the global form
        // only at the global table.
        istring current = variableExpand(table, name, table ? 1 : 0);
        if (!current || !*current)
            variableSet(table, name, value);
        break;
    }
    case APPEND:
        variableAppend(table, name, value, nullptr);
        break;
    case PREPEND:
        variablePrepend(table, name, value, nullptr);
        break;
    case MINUSEQUAL:
        variableRemove(table, name, value);
        break;
    default:
        break;
    }
}

void statementSet(HashTable *table, istring name) {
    if (scopeActive())
        variableSet(table, name, nullptr);
}

void statementUnset(istring name) {
    if (scopeActive())
        variableUnset(name);
}

void statementUses(HashTable *table, istring name, istring separator) {
    if (scopeActive())
        variableUses(table, name, separator);
}

TextLine *stringlistAppend(TextLine *list, istring word) {
    if (!scopeActive())
        return nullptr;
    TextLine *node = textLineNew(word, 0, "string");
    if (!list)
        return node;
    TextLine *last = list->link;
    last->next = node;
    node->link = last;
    list->link = node;
    return list;
}

static void wordsWrite(FILE *stream, const TextLine *words) {
    for (const TextLine *word = words; word; word = word->next) {
        if (word != words)
            fputc(' ', stream);
        fputs(word->text, stream);
    }
    fputc('\n', stream);
}

void statementEcho(const TextLine *words, int requirement) {
    if (!requirement || !scopeActive())
        return;
    wordsWrite(stdout, words);
    fflush(stdout);
}

void statementError(const TextLine *words, int requirement) {
    if (!requirement || !scopeActive())
        return;
    wordsWrite(stderr, words);
    StatementTrace(nullptr, 0);
    exit(1);
}

void statementExit(istring code) {
    if (!scopeActive())
        return;
    // The -M file keeps what it has (no final newline), but what it has must
    // have reached the disk, like everything printed so far.
    inputDependEnd("");
    textCheckStdout();
    exit(code ? static_cast<int>(strtol(code, nullptr, 0)) : 0);
}

void statementImport(istring name, int requirement) {
    if (!requirement || !scopeActive())
        return;
    char *value = getenv(name);
    if (!value)
        return;
    // Converted in the environment's own copy, so later readers see it too.
    for (char *p = value; *p; p++) {
        if (*p == '\\')
            *p = '/';
    }
    variableSet(nullptr, name, istringNew(value));
}

void statementDump(int current) {
    if (!scopeActive())
        return;
    if (!current) {
        variableDump(nullptr, 0);
        return;
    }
    HashTable *merged = ht_new();
    variableFlatten(merged);
    variableDump(merged, 1);
}
