#include "firmware.h"

static unsigned ticks;

unsigned timerTicks(void) { return ++ticks; }
