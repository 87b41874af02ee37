// The debug-letter set.
#include "core/debug.h"
#include <cstring>

static unsigned char debugBits[32];

void debugSet(unsigned char letter) { debugBits[letter / 8] |= (unsigned char)(1u << (letter % 8)); }
void debugClear(unsigned char letter) { debugBits[letter / 8] &= (unsigned char)~(1u << (letter % 8)); }
bool debugOn(unsigned char letter) { return (debugBits[letter / 8] >> (letter % 8)) & 1u; }
void debugReset() { std::memset(debugBits, 0, sizeof debugBits); }
