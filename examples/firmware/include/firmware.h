#ifndef FIRMWARE_H
#define FIRMWARE_H
extern const char boot_tag[];
extern const char *const messages[];
int vectorCount(void);
void uartWrite(const char *text);
unsigned timerTicks(void);
unsigned crc16(const char *data);
#endif
