// The checked allocator and the general pool for small permanent records.
#pragma once
#include <cstddef>

// malloc that ends the program through err(1, NULL) when it fails. Sizes that
// no allocation can satisfy (above PTRDIFF_MAX) fail the same way, with ENOMEM.
void *xmalloc(size_t size, const char *label);
// Permanent memory, 4-byte aligned, carved from 64 KiB blocks; never returned.
void *poolalloc(size_t size);
// A permanent record holding pointers: pool memory aligned to a pointer
// boundary.
void *poolallocRecord(size_t size);
