// Interned strings and the string table.
#include "core/istring.h"

#include <cstdio>
#include <cstdlib>
#include <err.h>

#include "core/alloc.h"
#include "core/hashtable.h"

static HashTable stringTable;

// Blocks of the string pool, newest first.
struct StringBlock {
    StringBlock *next;
    char *start;
    size_t used;
};
static StringBlock *stringBlocks;
static char *spoolNext;
static size_t spoolRemainder;

uint32_t ht_hash(const char *chars, unsigned length) {
    uint32_t h = 0;
    for (unsigned i = 0; i < length; i++)
        h = h * 33 + static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(chars[i])));
    return h;
}

// Room for a header and n bytes of characters; returns the character address
// with the magic and the length already written.
static char *spoolalloc(unsigned n) {
    size_t size = (n + 16) & ~static_cast<size_t>(3);
    if (spoolRemainder < size) {
        char *block = static_cast<char *>(xmalloc(size + 65536, "spoolalloc"));
        StringBlock *record = static_cast<StringBlock *>(poolallocRecord(sizeof(StringBlock)));
        record->next = stringBlocks;
        record->start = block;
        record->used = 0;
        stringBlocks = record;
        spoolNext = block;
        spoolRemainder = size + 65536;
    }
    char *header = spoolNext;
    spoolNext += size;
    spoolRemainder -= size;
    stringBlocks->used += size - 8;
    IStringHeader h{ISTRING_MAGIC, 0, static_cast<uint16_t>(n - 1)};
    std::memcpy(header, &h, sizeof h);
    return header + sizeof(IStringHeader);
}

void istringInit() { ht_init(&stringTable, 4096); }

const HashTable *istringTable() { return &stringTable; }

istring istringNew(const char *s) { return istringNewN(s, static_cast<unsigned>(std::strlen(s))); }

istring istringNewN(const char *chars, unsigned length) {
    uint32_t h = ht_hash(chars, length);
    HashEntry **link = &stringTable.buckets[h & stringTable.mask];
    for (; *link; link = &(*link)->next) {
        HashEntry *e = *link;
        // The key's byte at position length must be its terminator; a key
        // shorter than length has no such byte and cannot match.
        if (e->hash == h && std::strncmp(e->key, chars, length) == 0 && length <= istringLength(e->key) &&
            e->key[length] == '\0')
            return e->key;
    }
    if (length >= 65535)  // length + 1 above 65,535, without wrapping
        errx(1, "name length too long(%d)", static_cast<int>(length + 1u));
    char *s = spoolalloc(length + 1);
    std::memcpy(s, chars, length);
    s[length] = '\0';
    std::memcpy(s - sizeof(uint16_t) - sizeof(uint32_t), &h, sizeof h);
    HashEntry *entry = static_cast<HashEntry *>(poolallocRecord(sizeof(HashEntry)));
    entry->next = nullptr;
    entry->key = s;
    entry->hash = h;
    entry->value = nullptr;
    *link = entry;
    if (++stringTable.count > stringTable.threshold)
        ht_expand(&stringTable);
    return s;
}

// abort() does not flush stdio, so the message is flushed first.
[[noreturn]] static void checkFailed() {
    fflush(stdout);
    abort();
}

void istringCheck(istring s) {
    if (istringMagic(s) != ISTRING_MAGIC) {
        printf("%s: incorrect magic\n", s);
        checkFailed();
    }
    if (std::strlen(s) != istringLength(s)) {
        printf("%s: incorrect length %lu != %u\n", s, static_cast<unsigned long>(std::strlen(s)), istringLength(s));
        checkFailed();
    }
    if (ht_hash(s, istringLength(s)) != istringHash(s)) {
        printf("%s: incorrect hash\n", s);
        checkFailed();
    }
}
