// Interned strings: one immutable, NUL-terminated copy per distinct character
// sequence, preceded by a packed header (magic, hash, 16-bit length).
// Equality of istrings is pointer equality; they are never freed.
#pragma once
#include <cstdint>
#include <cstring>

typedef const char *istring;

enum : uint32_t { ISTRING_MAGIC = 0x87654321u };

// Header laid out directly in front of the characters, no padding.
struct __attribute__((packed)) IStringHeader {
    uint32_t magic;
    uint32_t hash;
    uint16_t length;
};

// The hash every table uses: h = h * 33 + c over signed bytes, modulo 2^32.
uint32_t ht_hash(const char *chars, unsigned length);

void istringInit();
// The string table, read-only, for inspection.
struct HashTable;
const HashTable *istringTable();
istring istringNew(const char *s);
istring istringNewN(const char *chars, unsigned length);
void istringCheck(istring s);
// Whether s is the handle of an interned string. Safe for any pointer to a
// NUL-terminated text: nothing in front of s is read unless s lies in the pool.
bool istringInterned(const char *s);

inline const IStringHeader *istringHeader(istring s) {
    return reinterpret_cast<const IStringHeader *>(s - sizeof(IStringHeader));
}
inline unsigned istringLength(istring s) {
    uint16_t n;
    std::memcpy(&n, s - sizeof(uint16_t), sizeof n);
    return n;
}
inline uint32_t istringMagic(const char *s) {
    uint32_t m;
    std::memcpy(&m, s - sizeof(IStringHeader), sizeof m);
    return m;
}
inline uint32_t istringHash(istring s) {
    uint32_t h;
    std::memcpy(&h, s - sizeof(uint16_t) - sizeof(uint32_t), sizeof h);
    return h;
}
