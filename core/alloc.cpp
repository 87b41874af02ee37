// The checked allocator and the general pool.
#include "core/alloc.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <err.h>

void *xmalloc(size_t size, const char *label) {
    (void)label;  // names the call site; never printed
    void *p = nullptr;
    if (size > static_cast<size_t>(PTRDIFF_MAX))
        errno = ENOMEM;
    else
        p = malloc(size);
    if (!p)
        err(1, nullptr);
    return p;
}

static char *poolNext;
static size_t poolRemainder;

void *poolalloc(size_t size) {
    if (size > static_cast<size_t>(PTRDIFF_MAX)) {
        errno = ENOMEM;
        err(1, nullptr);
    }
    size = (size + 3) & ~static_cast<size_t>(3);
    if (poolRemainder < size) {
        char *block = static_cast<char *>(xmalloc(size + 65536, "poolalloc"));
        poolNext = block + size;
        poolRemainder = 65536;
        return block;
    }
    char *p = poolNext;
    poolNext += size;
    poolRemainder -= size;
    return p;
}

void *poolallocRecord(size_t size) {
    // Pieces are 4-byte aligned; step to the next pointer boundary first, or
    // take a fresh (malloc-aligned) block when the step would not leave room.
    constexpr uintptr_t align = alignof(void *);
    size = (size + align - 1) & ~(align - 1);
    uintptr_t pad = -reinterpret_cast<uintptr_t>(poolNext) & (align - 1);
    if (pad) {
        if (poolRemainder >= pad + size) {
            poolNext += pad;
            poolRemainder -= pad;
        } else {
            poolRemainder = 0;
        }
    }
    return poolalloc(size);
}
