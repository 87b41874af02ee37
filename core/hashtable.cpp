// Hash tables keyed by istring identity.
#include "core/hashtable.h"

#include <cstdlib>
#include <cstring>

#include "core/alloc.h"

void ht_init(HashTable *table, uint32_t buckets) {
    table->buckets = static_cast<HashEntry **>(xmalloc(buckets * sizeof(HashEntry *), "ht_init"));
    std::memset(table->buckets, 0, buckets * sizeof(HashEntry *));
    table->size = buckets;
    table->mask = buckets - 1;
    table->count = 0;
    table->threshold = (buckets * 3) >> 1;
}

HashTable *ht_new() {
    HashTable *table = static_cast<HashTable *>(xmalloc(sizeof(HashTable), "ht_new"));
    ht_init(table, 8);
    return table;
}

static HashEntry *entryAlloc() {
    // Entries are permanent pool records, aligned for their pointers.
    return static_cast<HashEntry *>(poolallocRecord(sizeof(HashEntry)));
}

int ht_insert(HashTable *table, istring key, void *value, int replace) {
    uint32_t h = ht_hash(key, static_cast<unsigned>(std::strlen(key)));
    HashEntry **link = &table->buckets[h & table->mask];
    for (; *link; link = &(*link)->next) {
        if ((*link)->key == key) {
            if (replace)
                (*link)->value = value;
            return 1;
        }
    }
    HashEntry *entry = entryAlloc();
    entry->next = nullptr;
    entry->key = key;
    entry->hash = h;
    entry->value = value;
    *link = entry;
    if (++table->count > table->threshold)
        ht_expand(table);
    return 0;
}

void *ht_lookup(HashTable *table, istring key) {
    uint32_t h = ht_hash(key, static_cast<unsigned>(std::strlen(key)));
    for (HashEntry *e = table->buckets[h & table->mask]; e; e = e->next)
        if (e->key == key)
            return e->value;
    return nullptr;
}

void ht_expand(HashTable *table) {
    uint32_t size = table->size * 2;
    HashEntry **buckets = static_cast<HashEntry **>(xmalloc(size * sizeof(HashEntry *), "ht_expand"));
    std::memset(buckets, 0, size * sizeof(HashEntry *));
    for (uint32_t i = 0; i < table->size; i++) {
        HashEntry *e = table->buckets[i];
        while (e) {
            HashEntry *next = e->next;
            HashEntry **head = &buckets[e->hash & (size - 1)];
            e->next = *head;
            *head = e;
            e = next;
        }
    }
    free(table->buckets);
    table->buckets = buckets;
    table->size = size;
    table->mask = size - 1;
    table->threshold = (size * 3) >> 1;
}

HashCursor *ht_start(HashTable *table) {
    HashCursor *cursor = static_cast<HashCursor *>(xmalloc(sizeof(HashCursor), "ht_start"));
    cursor->table = table;
    for (cursor->index = 0; cursor->index < table->size; cursor->index++) {
        if (table->buckets[cursor->index]) {
            cursor->entry = table->buckets[cursor->index];
            return cursor;
        }
    }
    free(cursor);
    return nullptr;
}

istring ht_next(HashCursor *cursor, void **value) {
    HashEntry *e = cursor->entry;
    if (!e)
        return nullptr;
    istring key = e->key;
    if (value)
        *value = e->value;
    cursor->entry = e->next;
    if (!cursor->entry) {
        HashTable *table = cursor->table;
        while (++cursor->index < table->size) {
            if (table->buckets[cursor->index]) {
                cursor->entry = table->buckets[cursor->index];
                break;
            }
        }
    }
    return key;
}

void ht_end(HashCursor *cursor) { free(cursor); }
