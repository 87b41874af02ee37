#include "firmware.h"

/* CRC-16/CCITT-FALSE of a NUL-terminated text. */
unsigned crc16(const char *data) {
    unsigned crc = 0xFFFF;
    for (; *data; data++) {
        crc ^= (unsigned)(unsigned char)*data << 8;
        for (int bit = 0; bit < 8; bit++)
            crc = crc & 0x8000 ? (crc << 1) ^ 0x1021 : crc << 1;
        crc &= 0xFFFF;
    }
    return crc;
}
