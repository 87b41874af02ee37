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
    table->extension = nullptr;
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

// The link that holds key's entry in its chain, or the empty link at the
// chain's end where a new entry for key belongs.
static HashEntry **ht_find(HashTable *table, istring key, uint32_t h) {
    HashEntry **link = &table->buckets[h & table->mask];
    while (*link && (*link)->key != key)
        link = &(*link)->next;
    return link;
}

static void ht_add(HashTable *table, HashEntry **link, istring key, uint32_t h, void *value) {
    HashEntry *entry = entryAlloc();
    entry->next = nullptr;
    entry->key = key;
    entry->hash = h;
    entry->value = value;
    *link = entry;
    if (++table->count > table->threshold)
        ht_expand(table);
}

int ht_insert(HashTable *table, istring key, void *value, int replace) {
    uint32_t h = istringHash(key);
    HashEntry **link = ht_find(table, key, h);
    if (*link) {
        if (replace)
            (*link)->value = value;
        return 1;
    }
    ht_add(table, link, key, h, value);
    return 0;
}

void *ht_exchange(HashTable *table, istring key, void *value) {
    uint32_t h = istringHash(key);
    HashEntry **link = ht_find(table, key, h);
    if (*link) {
        void *old = (*link)->value;
        (*link)->value = value;
        return old;
    }
    ht_add(table, link, key, h, value);
    return nullptr;
}

void *ht_lookup(HashTable *table, istring key) {
    for (HashEntry *e = table->buckets[istringHash(key) & table->mask]; e; e = e->next)
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
