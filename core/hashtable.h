// Hash tables keyed by istring identity: power-of-two buckets, entries appended
// at the end of their chain, doubling (with chain reversal) past 1.5 per bucket.
// Keys must be istrings: their bucket comes from the hash in the istring's
// header, the same value ht_hash gives for their characters.
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
    // Whatever the table's owner attaches (the variable store hangs the view
    // a build statement captured here); NULL from ht_init, never read here.
    void *extension;
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
// Stores value under key, adding the entry when absent, and returns the value
// it replaced (NULL for a new entry).
void *ht_exchange(HashTable *table, istring key, void *value);
void ht_expand(HashTable *table);
HashCursor *ht_start(HashTable *table);
istring ht_next(HashCursor *cursor, void **value);
void ht_end(HashCursor *cursor);
