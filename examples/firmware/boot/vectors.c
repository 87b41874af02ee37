#include "firmware.h"

static void (*const vectors[])(void) = {0, 0, 0, 0};

int vectorCount(void) { return (int)(sizeof vectors / sizeof vectors[0]); }
