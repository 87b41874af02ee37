// The variable store: records in hash tables (one per scope plus the global
// table), compound names, and the operations behind every assignment form.
#pragma once
#include <cstdint>
#include "core/hashtable.h"

enum : uint32_t { VAR_DELETED = 2 };

// Text that successive appends to one variable share: each version of the
// value is a prefix of it, and only the bytes past `length` are ever written.
struct GrowingText {
    char *data;
    uint32_t length;
    uint32_t capacity;
};

struct Variable {
    istring name;
    istring value;        // NULL reads as empty text; read it through variableRecordValue
    GrowingText *grown;   // when set, the value is its first grownLength bytes,
    uint32_t grownLength; // interned into `value` when first read
    istring separator;
    uint32_t flags;       // VAR_DELETED
    int32_t count;        // components; 0 when the name has no separator
    uint32_t sequence;    // creation order
    istring *components;  // NULL when count is 0
    // Versions. A record is never changed once a build may have captured it:
    // a change stores a new record whose `older` is the one it replaced in
    // the same table, so a capture finds the version it saw (see capture.cpp).
    uint32_t stamp;       // variableCaptures when the record was stored
    uint32_t depth;       // number of older versions
    Variable *older;      // the version replaced, or NULL
    Variable *jump;       // an older version further back, for the search
};

extern char nameSeparator;       // splits compound names, initially '/'
extern istring delimiterValue;   // the text last assigned to .DELIMITER
extern uint32_t variableSequence;
extern uint32_t variableCaptures;  // build captures taken so far

Variable *variableFind(HashTable *table, istring name, int only);
// The record's value as an istring (NULL when it has none).
istring variableRecordValue(Variable *record);
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

// Versions and captures.
// Stores record under name in table as its newest version.
void variableStore(HashTable *table, istring name, Variable *record);
// The version of a record chain that was current when capture `epoch` was
// taken, or NULL when the chain is newer than that.
Variable *variableVersionAt(Variable *newest, uint32_t epoch);
// Lets lookups through table continue, after its own records, into every
// variable visible now as it stands now, whatever happens to it later.
void variableCapture(HashTable *table);
// The record of name in table, or in the view captured for it.
Variable *variableTableFind(HashTable *table, istring name);

// Compound names.
void variableNameSplit(Variable *record, istring name);
void variableNameFree(Variable *record);
int variableMatchScore(const Variable *stored, const Variable *wanted);
istring variableBestMatch(HashTable *table, const Variable *wanted, int stopEarly);
// The best match found so far while tables are searched.
struct BestMatch {
    int score = -1;
    uint32_t sequence = 0;
    Variable *record = nullptr;
};
// Lets record compete for the best match of wanted.
void variableBestMatchRecord(Variable *record, const Variable *wanted, BestMatch &best);
// Lets every record visible through table's captured view, and not held by
// table itself, compete; deleted records are left out.
void variableCaptureBestMatch(HashTable *table, const Variable *wanted, BestMatch &best);
