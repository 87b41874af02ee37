// Interned strings and the string table.
#include "core/istring.h"

#include <cstdio>
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>
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

// The address ranges of the string pool's blocks, sorted by start, so that
// a pointer can be asked whether it lies in the pool before its header is read.
struct BlockRange {
    uintptr_t start;
    uintptr_t end;
};
static std::vector<BlockRange> blockRanges;
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
        BlockRange range{reinterpret_cast<uintptr_t>(block), reinterpret_cast<uintptr_t>(block) + size + 65536};
        blockRanges.insert(std::upper_bound(blockRanges.begin(), blockRanges.end(), range,
                                            [](const BlockRange &a, const BlockRange &b) { return a.start < b.start; }),
                           range);
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

bool istringInterned(const char *s) {
    // Only a pointer with a whole header in front of it inside one pool block
    // may have its header read; the header's hash then names the only bucket
    // the string can be in, and identity decides.
    uintptr_t p = reinterpret_cast<uintptr_t>(s);
    auto after = std::upper_bound(blockRanges.begin(), blockRanges.end(), p,
                                  [](uintptr_t q, const BlockRange &r) { return q < r.start; });
    if (after == blockRanges.begin())
        return false;
    const BlockRange &range = *(after - 1);
    if (p < range.start + sizeof(IStringHeader) || p >= range.end)
        return false;
    for (HashEntry *e = stringTable.buckets[istringHash(s) & stringTable.mask]; e; e = e->next)
        if (e->key == s)
            return true;
    return false;
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
