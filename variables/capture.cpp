// Versions of variable records and the views that build statements capture.
//
// A build's commands are expanded after the whole configuration has run, yet
// must see every variable as it stood when the build statement ran. Rather
// than copying every visible variable into the build's table, a build keeps
// the scope chain it saw and the number of captures taken before it (its
// epoch). Every table keeps, per name, the chain of records it has held:
// a change stores a new record stamped with the current capture count and
// leaves the old one reachable through `older`; a record no capture can see
// (stamped since the last capture) is dropped from the chain. A lookup through
// a capture takes, in each table, the newest record not stamped after it.
#include "core/alloc.h"
#include "core/names.h"
#include "variables/scope.h"
#include "variables/variable.h"

uint32_t variableCaptures;

namespace {

struct VariableCapture {
    const TableChain *chain;  // the scope chain when the build ran
    uint32_t epoch;           // versions stamped later are not seen
};

// Links record in front of older. Jump pointers follow the skew-binary
// pattern, so finding a version costs logarithmic time in the chain length.
void versionLink(Variable *record, Variable *older) {
    record->older = older;
    record->depth = older ? older->depth + 1 : 0;
    Variable *j = older ? older->jump : nullptr;
    if (j && j->jump && older->depth - j->depth == j->depth - j->jump->depth)
        record->jump = j->jump;
    else
        record->jump = older;
}

Variable *captureFind(const VariableCapture *capture, istring name) {
    for (const TableChain *t = capture->chain; t; t = t->outer)
        if (Variable *v = variableVersionAt(static_cast<Variable *>(ht_lookup(t->table, name)), capture->epoch))
            return v;
    if (!globalTable)
        return nullptr;
    return variableVersionAt(static_cast<Variable *>(ht_lookup(globalTable, name)), capture->epoch);
}

// True when a table searched before `from` (the build's own table, or a
// scope table nearer the build) held name when the capture was taken.
bool captureShadowed(HashTable *own, const VariableCapture *capture, const TableChain *from, istring name) {
    if (ht_lookup(own, name))
        return true;
    for (const TableChain *t = capture->chain; t != from; t = t->outer)
        if (variableVersionAt(static_cast<Variable *>(ht_lookup(t->table, name)), capture->epoch))
            return true;
    return false;
}

void captureBestMatchTable(HashTable *own, const VariableCapture *capture, HashTable *table, const TableChain *from,
                           const Variable *wanted, BestMatch &best) {
    HashCursor *cursor = ht_start(table);
    if (!cursor)
        return;
    void *value;
    while (istring key = ht_next(cursor, &value)) {
        Variable *v = variableVersionAt(static_cast<Variable *>(value), capture->epoch);
        if (!v || (v->flags & VAR_DELETED) || variableMatchScore(v, wanted) < 0)
            continue;
        if (!captureShadowed(own, capture, from, key))
            variableBestMatchRecord(v, wanted, best);
    }
    ht_end(cursor);
}

}  // namespace

Variable *variableVersionAt(Variable *newest, uint32_t epoch) {
    Variable *v = newest;
    while (v && v->stamp > epoch)
        v = v->jump && v->jump->stamp > epoch ? v->jump : v->older;
    return v;
}

void variableStore(HashTable *table, istring name, Variable *record) {
    Variable *previous = static_cast<Variable *>(ht_exchange(table, name, record));
    if (previous && previous->stamp == variableCaptures)
        previous = previous->older;  // stored since the last capture: seen by none
    record->stamp = variableCaptures;
    versionLink(record, previous);
}

void variableCapture(HashTable *table) {
    VariableCapture *capture = static_cast<VariableCapture *>(poolallocRecord(sizeof(VariableCapture)));
    capture->chain = currentScope ? currentScope->chain : nullptr;
    capture->epoch = variableCaptures++;
    table->extension = capture;
}

Variable *variableTableFind(HashTable *table, istring name) {
    if (Variable *record = static_cast<Variable *>(ht_lookup(table, name)))
        return record;
    const VariableCapture *capture = static_cast<const VariableCapture *>(table->extension);
    return capture ? captureFind(capture, name) : nullptr;
}

void variableCaptureBestMatch(HashTable *table, const Variable *wanted, BestMatch &best) {
    const VariableCapture *capture = static_cast<const VariableCapture *>(table->extension);
    if (!capture)
        return;
    for (const TableChain *t = capture->chain; t; t = t->outer)
        captureBestMatchTable(table, capture, t->table, t, wanted, best);
    if (globalTable)
        captureBestMatchTable(table, capture, globalTable, nullptr, wanted, best);
}
