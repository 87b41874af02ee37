// Scopes: a chain of variable tables, each with a stack of condition records
// that remember whether the current block is executed or only parsed.
#pragma once
#include <cstdint>
#include "core/hashtable.h"

struct Condition {
    uint32_t skip;        // 1: statements are parsed but not executed
    Condition *previous;  // record to restore when the block ends
};

// The tables of a scope chain, innermost first. Nodes never change, so a
// node keeps naming the chain as it was when its scope was opened.
struct TableChain {
    HashTable *table;
    const TableChain *outer;
};

struct Scope {
    HashTable *table;
    int32_t depth;        // nested blocks entered in this scope
    Condition *condition; // innermost block; &embedded while depth is 0
    Condition embedded;
    Scope *parent;
    const TableChain *chain;  // this scope's table, then its parents'
};

extern Scope *currentScope;

void scopeNew(HashTable *table);
void scopePush();
void scopePop();
void scopeIgnore();
int scopeIgnoring();
int scopeActive();

Scope *scopeAlloc();
Condition *ignoreAlloc();
void scopeFree(Scope *scope);
void ignoreFree(Condition *condition);
