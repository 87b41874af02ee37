// Scopes: the chain of variable tables and the per-scope stack of condition
// records that tells whether the current block is executed or only parsed.
#include "variables/scope.h"

#include <cstdio>

#include "core/alloc.h"
#include "core/debug.h"
#include "variables/expand.h"

Scope *currentScope;

// Free lists; scopes are linked through `parent`, conditions through
// `previous`.
static Scope *scopeFreeList;
static Condition *ignoreFreeList;

Scope *scopeAlloc() {
    if (Scope *scope = scopeFreeList) {
        scopeFreeList = scope->parent;
        return scope;
    }
    return static_cast<Scope *>(xmalloc(sizeof(Scope), "scopeAlloc"));
}

Condition *ignoreAlloc() {
    if (Condition *condition = ignoreFreeList) {
        ignoreFreeList = condition->previous;
        return condition;
    }
    return static_cast<Condition *>(xmalloc(sizeof(Condition), "ignoreAlloc"));
}

void scopeFree(Scope *scope) {
    scope->parent = scopeFreeList;
    scopeFreeList = scope;
}

void ignoreFree(Condition *condition) {
    condition->previous = ignoreFreeList;
    ignoreFreeList = condition;
}

// One 'S' trace line about the current scope; `what` is the leading text up
// to the scope identity.
static void scopeTrace(const char *what) {
    if (!debugOn('S'))
        return;
    istring file = variableExpand(nullptr, istringNew("CURRENT_FILE"), 0);
    istring line = variableExpand(nullptr, istringNew("CURRENT_LINE"), 0);
    printf("%s 0x%08lx:%d at %s:%s\n", what, reinterpret_cast<unsigned long>(currentScope),
           static_cast<int>(currentScope->depth), file, line);
}

void scopeNew(HashTable *table) {
    Scope *scope = scopeAlloc();
    scope->table = table ? table : ht_new();
    scope->parent = currentScope;
    TableChain *chain = static_cast<TableChain *>(poolallocRecord(sizeof(TableChain)));
    chain->table = scope->table;
    chain->outer = currentScope ? currentScope->chain : nullptr;
    scope->chain = chain;
    scope->depth = 0;
    scope->condition = &scope->embedded;
    scope->embedded.previous = nullptr;
    scope->embedded.skip = currentScope ? currentScope->condition->skip : 0;
    currentScope = scope;
    scopeTrace("+++ New scope at");
}

void scopePush() {
    Scope *scope = currentScope;
    if (!scope)
        return;
    Condition *condition = ignoreAlloc();
    condition->previous = scope->condition;
    condition->skip = scope->condition->skip;
    scope->condition = condition;
    scope->depth++;
    scopeTrace("+++ Pushed scope to");
}

void scopePop() {
    Scope *scope = currentScope;
    if (!scope || (!scope->parent && scope->depth == 0))
        return;
    if (scope->condition != &scope->embedded) {
        Condition *condition = scope->condition;
        scope->condition = condition->previous;
        ignoreFree(condition);
    }
    if (scope->depth-- == 0) {
        currentScope = scope->parent;
        scopeFree(scope);
    }
    scopeTrace("--- Popped scope to");
}

void scopeIgnore() {
    if (currentScope)
        currentScope->condition->skip = 1;
}

int scopeIgnoring() { return currentScope && currentScope->condition->skip ? 1 : 0; }

int scopeActive() { return !currentScope || !currentScope->condition->skip ? 1 : 0; }
