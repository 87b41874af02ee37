// Compound names: splitting at the name separator and the best wildcard
// match of a wanted name against the stored ones.
#include <cstdlib>
#include <cstring>

#include "core/alloc.h"
#include "core/names.h"
#include "variables/scope.h"
#include "variables/variable.h"

void variableNameSplit(Variable *record, istring name) {
    record->name = name;
    int separators = 0;
    for (const char *p = name; *p; p++)
        if (*p == nameSeparator)
            separators++;
    if (separators == 0) {
        record->count = 0;
        record->components = nullptr;
        return;
    }
    record->count = separators + 1;
    record->components = static_cast<istring *>(xmalloc(sizeof(istring) * record->count, "variableNameSplit"));
    const char *start = name;
    for (int i = 0; i < separators; i++) {
        const char *end = std::strchr(start, nameSeparator);
        record->components[i] = istringNewN(start, static_cast<unsigned>(end - start));
        start = end + 1;
    }
    record->components[separators] = istringNew(start);
}

void variableNameFree(Variable *record) {
    if (record->count >= 1 && record->components) {
        free(record->components);
        record->components = nullptr;
    }
}

int variableMatchScore(const Variable *stored, const Variable *wanted) {
    if (stored->count != wanted->count || stored->count < 1)
        return -2;
    int score = 0;
    for (int i = 0; i < stored->count; i++) {
        if (stored->components[i] == wanted->components[i])
            score++;
        else if (wanted->components[i] == names.star)
            return -2;
        else if (stored->components[i] != names.star)
            return -2;
    }
    return score;
}

void variableBestMatchRecord(Variable *record, const Variable *wanted, BestMatch &best) {
    int score = variableMatchScore(record, wanted);
    if (score < 0)
        return;
    if (score > best.score || (score == best.score && record->sequence > best.sequence)) {
        best.score = score;
        best.sequence = record->sequence;
        best.record = record;
    }
}

static void bestMatchTable(HashTable *table, const Variable *wanted, bool skipDeleted, BestMatch &best) {
    HashCursor *cursor = ht_start(table);
    if (!cursor)
        return;
    void *value;
    while (ht_next(cursor, &value)) {
        Variable *record = static_cast<Variable *>(value);
        if (!(skipDeleted && (record->flags & VAR_DELETED)))
            variableBestMatchRecord(record, wanted, best);
    }
    ht_end(cursor);
}

istring variableBestMatch(HashTable *table, const Variable *wanted, int stopEarly) {
    BestMatch best;
    if (table) {
        bestMatchTable(table, wanted, true, best);
        variableCaptureBestMatch(table, wanted, best);
        if (stopEarly)
            return best.record ? variableRecordValue(best.record) : nullptr;
    } else {
        for (Scope *scope = currentScope; scope; scope = scope->parent)
            bestMatchTable(scope->table, wanted, true, best);
    }
    if (globalTable)
        bestMatchTable(globalTable, wanted, false, best);
    return best.record ? variableRecordValue(best.record) : nullptr;
}
