// The variable store: records in hash tables (one per scope plus the global
// table), compound names, and the operations behind every assignment form.
#pragma once
#include <cstdint>
#include "core/hashtable.h"

enum : uint32_t { VAR_DELETED = 2 };

struct Variable {
    istring name;
    istring value;        // NULL reads as empty text
    istring separator;
    uint32_t flags;       // VAR_DELETED
    int32_t count;        // components; 0 when the name has no separator
    uint32_t sequence;    // creation order
    istring *components;  // NULL when count is 0
};

extern char nameSeparator;       // splits compound names, initially '/'
extern istring delimiterValue;   // the text last assigned to .DELIMITER
extern uint32_t variableSequence;

Variable *variableFind(HashTable *table, istring name, int only);
istring variableValue(HashTable *table, istring name, int only);
void variableInsert(HashTable *table, istring name, istring value, Variable *existing, istring separator);
void variableSet(HashTable *table, istring name, istring value);
void variableAppend(HashTable *table, istring name, istring value, istring separator);
void variablePrepend(HashTable *table, istring name, istring value, istring separator);
void variableRemove(HashTable *table, istring name, istring word);
void variableUnset(istring name);
void variableUses(HashTable *table, istring name, const char *separator);
istring variableSeparator(HashTable *table, istring name);
int variableDefined(HashTable *table, istring name);
void variableFlatten(HashTable *target);
void variableDump(HashTable *table, int localOnly);
void variableCheck();
void delimiterSet(const char *text);

// Compound names.
void variableNameSplit(Variable *record, istring name);
void variableNameFree(Variable *record);
int variableMatchScore(const Variable *stored, const Variable *wanted);
istring variableBestMatch(HashTable *table, const Variable *wanted, int stopEarly);
