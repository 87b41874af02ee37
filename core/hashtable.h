// Hash tables keyed by istring identity: power-of-two buckets, entries appended
// at the end of their chain, doubling (with chain reversal) past 1.5 per bucket.
#pragma once
#include <cstdint>
#include "core/istring.h"

struct HashEntry {
    HashEntry *next;
    istring key;
    uint32_t hash;
    void *value;
};

struct HashTable {
    uint32_t size;       // bucket count, a power of two
    uint32_t mask;       // size - 1
    uint32_t count;      // entries
    uint32_t threshold;  // (size * 3) >> 1
    HashEntry **buckets;
};

struct HashCursor {
    HashTable *table;
    HashEntry *entry;
    uint32_t index;
};

void ht_init(HashTable *table, uint32_t buckets);
HashTable *ht_new();
// Returns 1 when the key was already present (value replaced only if replace),
// 0 when a new entry was made.
int ht_insert(HashTable *table, istring key, void *value, int replace);
void *ht_lookup(HashTable *table, istring key);
void ht_expand(HashTable *table);
HashCursor *ht_start(HashTable *table);
istring ht_next(HashCursor *cursor, void **value);
void ht_end(HashCursor *cursor);
