// The debug-letter set: 256 bits, one per byte value, filled by -d and by
// assignments to .DEBUGFLAGS[c].
#pragma once

void debugSet(unsigned char letter);
void debugClear(unsigned char letter);
bool debugOn(unsigned char letter);
void debugReset();
