// Edge map for the fuzzer: the brisk-fuzz program is compiled with
// -fsanitize-coverage=trace-pc, which calls the hook below at every basic
// block. Pairs of consecutive blocks are counted in a 64 KiB map that is
// written at exit to the file named by BRISK_FUZZ_MAP. This file itself is
// compiled without the hook.
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr uintptr_t edgeMapSize = 1 << 16;
unsigned char edgeMap[edgeMapSize];
uintptr_t edgePrevious;

void edgeMapWrite() {
    const char *path = std::getenv("BRISK_FUZZ_MAP");
    if (!path)
        return;
    if (FILE *f = std::fopen(path, "wb")) {
        std::fwrite(edgeMap, 1, sizeof edgeMap, f);
        std::fclose(f);
    }
}

struct EdgeMapWriter {
    EdgeMapWriter() { std::atexit(edgeMapWrite); }
} edgeMapWriter;

} // namespace

extern "C" void __sanitizer_cov_trace_pc() {
    // Offsets from a fixed function stay the same from run to run whatever
    // address the program is loaded at.
    uintptr_t pc = reinterpret_cast<uintptr_t>(__builtin_return_address(0)) -
                   reinterpret_cast<uintptr_t>(&edgeMapWrite);
    uintptr_t block = (pc * 0x9E3779B97F4A7C15ull) >> 48;
    edgeMap[(block ^ edgePrevious) & (edgeMapSize - 1)]++;
    edgePrevious = block >> 1;
}
