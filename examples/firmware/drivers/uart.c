#include <stdio.h>
#include "firmware.h"

/* On the host the UART is standard output. */
void uartWrite(const char *text) { fputs(text, stdout); }
