#include <stdio.h>
#include "firmware.h"

/* VERSION and TARGET_NAME come from the command line as bare words. */
#define TEXT(x) #x
#define STRING(x) TEXT(x)

int main(void) {
    char line[128];
    snprintf(line, sizeof line, "firmware %s on %s: %s, %d vectors, tick %u\n", STRING(VERSION), STRING(TARGET_NAME), boot_tag,
             vectorCount(), timerTicks());
    uartWrite(line);
    for (int i = 0; messages[i]; i++) {
        snprintf(line, sizeof line, "%s (crc %04x)\n", messages[i], crc16(messages[i]));
        uartWrite(line);
    }
    return 0;
}
