// The variable store: lookup through the scope chain and the global table,
// and every operation that creates or changes a variable.
#include "variables/variable.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <err.h>
#include <string>

#include "core/alloc.h"
#include "core/names.h"
#include "core/debug.h"
#include "input/charclass.h"
#include "input/diag.h"
#include "input/input.h"
#include "variables/expand.h"
#include "variables/scope.h"

char nameSeparator = '/';
istring delimiterValue;
uint32_t variableSequence;

namespace {

bool isDelimiter(int c) { return isClass(c, CC_DELIMITER); }

// Internal invariant: everything handed to the store must be interned. The
// test is by identity, not by the bytes in front of s, which any text can imitate.
void variableCheckIstring(const char *s) {
    if (s && !istringInterned(s)) {
        fputs("Not a istring\n", stderr);
        abort();
    }
}

// The table that writes without an explicit table go to.
HashTable *variableTarget(HashTable *table) {
    if (table)
        return table;
    return currentScope ? currentScope->table : globalTable;
}

// True for names of the form .DEBUGFLAGS[...]; stops the program unless the
// subscript is exactly one character.
bool debugFlagName(istring name) {
    static const char prefix[] = ".DEBUGFLAGS[";
    const size_t prefixLength = sizeof prefix - 1;
    size_t length = istringLength(name);
    if (length == 0 || name[length - 1] != ']' || std::strncmp(name, prefix, prefixLength) != 0)
        return false;
    if (length != prefixLength + 2)
        fatal("%s must have a single character subscript", names.DEBUGFLAGS);
    return true;
}

unsigned char debugFlagLetter(istring name) { return static_cast<unsigned char>(name[istringLength(name) - 2]); }

}  // namespace

void delimiterSet(const char *text) {
    for (uint16_t &cls : charClass)
        cls &= static_cast<uint16_t>(~CC_DELIMITER);
    for (const char *p = text ? text : " \t"; *p; p++)
        charClass[static_cast<unsigned char>(*p)] |= CC_DELIMITER;
}

// The record a lookup from the current scope finds, and the table holding
// it: the scope chain from the current scope outwards, then the global table.
static Variable *variableFindVisible(istring name, HashTable **holder) {
    for (Scope *scope = currentScope; scope; scope = scope->parent)
        if (Variable *record = static_cast<Variable *>(ht_lookup(scope->table, name))) {
            *holder = scope->table;
            return record;
        }
    *holder = globalTable;
    return globalTable ? static_cast<Variable *>(ht_lookup(globalTable, name)) : nullptr;
}

Variable *variableFind(HashTable *table, istring name, int only) {
    if (table) {
        if (Variable *record = variableTableFind(table, name))
            return record;
        if (only)
            return nullptr;
    }
    HashTable *holder;
    return variableFindVisible(name, &holder);
}

istring variableValue(HashTable *table, istring name, int only) {
    Variable *record = variableFind(table, name, only);
    istring value = record ? variableRecordValue(record) : nullptr;
    return value ? value : names.empty;
}

istring variableRecordValue(Variable *record) {
    if (!record->value && record->grown)
        record->value = istringNewN(record->grown->data, record->grownLength);
    return record->value;
}

// Stores a new record; its value is `value`, or the first grownLength bytes
// of `grown` when that is given.
static void variableInsertText(HashTable *table, istring name, istring value, GrowingText *grown,
                               uint32_t grownLength, Variable *existing, istring separator) {
    Variable *record = static_cast<Variable *>(poolallocRecord(sizeof(Variable)));
    record->value = value;
    record->grown = grown;
    record->grownLength = grownLength;
    record->separator = separator;
    record->flags = 0;
    record->sequence = existing ? existing->sequence : variableSequence++;
    variableNameSplit(record, name);
    if (debugOn('s') && name == names.SRCPATH && value && *value && value[istringLength(value) - 1] != '/') {
        fprintf(stderr, "%s:%d: Warning: %s does not end with a ``/''\n", inputFile ? inputFile : "", inputLine,
                names.SRCPATH);
        fprintf(stderr, "\tSet to: %s\n", value);
    }
    HashTable *target = variableTarget(table);
    if (name == names.DELIMITER) {
        target = globalTable;
        delimiterValue = value;
        delimiterSet(value);
    }
    variableStore(target, name, record);
}

void variableInsert(HashTable *table, istring name, istring value, Variable *existing, istring separator) {
    variableInsertText(table, name, value, nullptr, 0, existing, separator);
}

void variableSet(HashTable *table, istring name, istring value) {
    variableCheckIstring(name);
    variableCheckIstring(value);
    if (debugFlagName(name)) {
        if (value == names.False)
            debugClear(debugFlagLetter(name));
        else
            debugSet(debugFlagLetter(name));
        return;
    }
    if (name == names.SEPARATOR) {
        if (!value || istringLength(value) != 1)
            fatal("%s must be assigned to a single character", names.SEPARATOR);
        nameSeparator = value[0];
        return;
    }
    variableInsert(table, name, value, nullptr, names.blank);
}

// The record a combining operation (append, prepend, remove) keeps the
// sequence number of, and the separator it stores.
static Variable *variableCombineRecord(HashTable *table, istring name, istring *defaultSeparator) {
    Variable *record = variableFind(table, name, 0);
    *defaultSeparator = record && record->separator ? record->separator : names.blank;
    return record;
}

// True when a reference to name reads exactly the value of the record
// variableFind gives: no references, escapes, subscript or modifier in the
// name, not a name the expansion computes, and not one whose store reads
// the value.
static bool variableNamePlain(istring name) {
    if (std::strpbrk(name, "$\\\xff:["))
        return false;
    for (istring special : {names.DEBUGFLAGS, names.FILE_, names.LINE, names.CURRENT_SCOPE, names.SEPARATOR,
                            names.DELIMITER, names.star, names.empty, names.SRCPATH})
        if (name == special)
            return false;
    return true;
}

// Appends without interning: the new value extends the text the old one is
// a prefix of (a copy of the old value starts one when the old value is not
// the end of such a text). False when the ordinary path must run instead:
// a non-plain name, or an empty or missing old value.
static bool variableAppendShared(HashTable *table, istring name, istring value, istring separator,
                                 Variable *record, istring defaultSeparator) {
#ifdef BRISK_EAGER_CAPTURE
    return false;  // the reference build interns every value as it is made
#endif
    if (!record || (record->flags & VAR_DELETED) || !variableNamePlain(name))
        return false;
    uint32_t oldLength = record->grown ? record->grownLength : record->value ? istringLength(record->value) : 0;
    if (oldLength == 0)
        return false;
    uint32_t separatorLength = istringLength(separator);
    uint32_t valueLength = value ? istringLength(value) : 0;
    uint64_t length = static_cast<uint64_t>(oldLength) + separatorLength + valueLength;
    if (length >= 65535)  // the length the interned value would be refused at
        errx(1, "name length too long(%d)", static_cast<int>(length + 1));
    GrowingText *text = record->grown;
    if (!text || text->length != oldLength) {
        const char *old = record->grown ? record->grown->data : record->value;
        text = static_cast<GrowingText *>(poolallocRecord(sizeof(GrowingText)));
        text->capacity = 2 * static_cast<uint32_t>(length);
        text->data = static_cast<char *>(xmalloc(text->capacity, "variableAppend"));
        std::memcpy(text->data, old, oldLength);
        text->length = oldLength;
    } else if (length > text->capacity) {
        text->capacity = 2 * static_cast<uint32_t>(length);
        text->data = static_cast<char *>(realloc(text->data, text->capacity));
        if (!text->data)
            err(1, nullptr);
    }
    std::memcpy(text->data + text->length, separator, separatorLength);
    if (valueLength)
        std::memcpy(text->data + text->length + separatorLength, value, valueLength);
    text->length = static_cast<uint32_t>(length);
    variableInsertText(table, name, nullptr, text, text->length, record, defaultSeparator);
    return true;
}

static void variableCombine(HashTable *table, istring name, istring value, istring separator, bool prepend) {
    variableCheckIstring(name);
    variableCheckIstring(value);
    istring defaultSeparator;
    Variable *record = variableCombineRecord(table, name, &defaultSeparator);
    if (!separator)
        separator = defaultSeparator;
    if (!prepend && variableAppendShared(table, name, value, separator, record, defaultSeparator))
        return;
    istring old = variableExpand(table, name, 0);
    istring result = value;
    if (*old) {
        std::string text;
        const char *add = value ? value : "";
        text.reserve(istringLength(old) + (value ? istringLength(value) : 0) + istringLength(separator));
        text += prepend ? add : old;
        text += separator;
        text += prepend ? old : add;
        result = istringNewN(text.data(), static_cast<unsigned>(text.size()));
    }
    variableInsert(table, name, result, record, defaultSeparator);
}

void variableAppend(HashTable *table, istring name, istring value, istring separator) {
    variableCombine(table, name, value, separator, false);
}

void variablePrepend(HashTable *table, istring name, istring value, istring separator) {
    variableCombine(table, name, value, separator, true);
}

void variableRemove(HashTable *table, istring name, istring word) {
    variableCheckIstring(name);
    variableCheckIstring(word);
    istring old = variableExpand(table, name, 0);
    istring defaultSeparator;
    Variable *record = variableCombineRecord(table, name, &defaultSeparator);
    if (!word || !*word)
        return;
    size_t wordLength = istringLength(word);
    const char *hit = nullptr;
    for (const char *from = old; (hit = std::strstr(from, word)); from = hit + 1) {
        bool starts = hit == old || isDelimiter(hit[-1]);
        bool ends = hit[wordLength] == '\0' || isDelimiter(hit[wordLength]);
        if (starts && ends)
            break;
    }
    if (!hit)
        return;
    std::string result(old, hit);
    const char *rest = hit + wordLength;
    while (*rest && isDelimiter(*rest))
        rest++;
    result += rest;
    variableInsert(table, name, istringNewN(result.data(), static_cast<unsigned>(result.size())), record,
                   defaultSeparator);
}

void variableUnset(istring name) {
    if (name == names.DELIMITER) {
        delimiterValue = istringNew(" \t");
        delimiterSet(delimiterValue);
        return;
    }
    if (debugFlagName(name)) {
        debugClear(debugFlagLetter(name));
        return;
    }
    HashTable *holder;
    Variable *record = variableFindVisible(name, &holder);
    if (!record)
        return;
    // A record some build may have captured keeps its flags: the deleted
    // state is a new version.
    if (record->stamp != variableCaptures) {
        Variable *deleted = static_cast<Variable *>(poolallocRecord(sizeof(Variable)));
        *deleted = *record;
        variableStore(holder, name, deleted);
        record = deleted;
    }
    record->flags |= VAR_DELETED;
}

void variableUses(HashTable *table, istring name, const char *separator) {
    HashTable *target = variableTarget(table);
    Variable *record = variableFind(target, name, 0);
    variableInsert(target, name, record ? variableRecordValue(record) : nullptr, record, istringNew(separator));
}

istring variableSeparator(HashTable *table, istring name) {
    Variable *record = variableFind(variableTarget(table), name, 0);
    return record ? record->separator : nullptr;
}

int variableDefined(HashTable *table, istring name) {
    if (table)
        if (Variable *record = variableTableFind(table, name))
            return record->flags & VAR_DELETED ? 0 : 1;
    if (Variable *record = variableFind(nullptr, name, 0))
        return record->flags & VAR_DELETED ? 0 : 1;
    Variable wanted;
    variableNameSplit(&wanted, name);
    if (wanted.count == 0)
        return 0;
    istring best = variableBestMatch(table, &wanted, 0);
    variableNameFree(&wanted);
    return best ? 1 : 0;
}

// Calls `visit` with each table from the current scope outwards.
template <typename Visit>
static void variableEachScopeTable(Visit visit) {
    for (Scope *scope = currentScope; scope; scope = scope->parent)
        visit(scope->table);
}

template <typename Visit>
static void variableEachRecord(HashTable *table, Visit visit) {
    HashCursor *cursor = ht_start(table);
    if (!cursor)
        return;
    void *value;
    while (istring key = ht_next(cursor, &value))
        visit(key, static_cast<Variable *>(value));
    ht_end(cursor);
}

void variableFlatten(HashTable *target) {
    auto copy = [target](HashTable *table) {
        variableEachRecord(table, [target](istring key, Variable *record) {
            if (ht_lookup(target, key))
                return;
            Variable *duplicate = static_cast<Variable *>(poolallocRecord(sizeof(Variable)));
            *duplicate = *record;
            ht_insert(target, key, duplicate, 0);
        });
    };
    variableEachScopeTable(copy);
    if (globalTable)
        copy(globalTable);
}

static void variableDumpEntry(Variable *record) {
    if (record->flags & VAR_DELETED)
        fputs(" DELETED\n", stdout);
    else if (istring value = variableRecordValue(record); value && *value)
        printf("=%s\n", value);
    else
        putchar('\n');
}

void variableDump(HashTable *table, int localOnly) {
    printf("\nVariable Dump at %s:%d\n", inputFile ? inputFile : "", inputLine);
    int indent = 2;
    auto dumpTable = [&indent](HashTable *t) {
        if (t->count == 0)
            return;
        indent += 2;
        variableEachRecord(t, [indent](istring key, Variable *record) {
            printf("%*s%s", indent, "", key);
            variableDumpEntry(record);
        });
    };
    if (table)
        dumpTable(table);
    else
        variableEachScopeTable(dumpTable);
    if (!localOnly && globalTable)
        variableEachRecord(globalTable, [indent](istring key, Variable *record) {
            printf(" %*s %s", indent, "", key);
            variableDumpEntry(record);
        });
}

void variableCheck() {
    auto check = [](HashTable *table) {
        variableEachRecord(table, [](istring key, Variable *record) {
            istringCheck(key);
            if (istring value = variableRecordValue(record); value && *value)
                istringCheck(value);
            if (record->separator)
                istringCheck(record->separator);
        });
    };
    variableEachScopeTable(check);
    if (globalTable)
        check(globalTable);
}
