// Fatal errors and warnings.
#include "core/report.h"

#include <cstdio>
#include <cstdlib>

void (*fatalTrace)();

void fatalv(const char *format, va_list args) {
    vfprintf(stderr, format, args);
    fputs("\n", stderr);
    if (fatalTrace)
        fatalTrace();
    fflush(stderr);
    exit(1);
}

void fatal(const char *format, ...) {
    va_list args;
    va_start(args, format);
    fatalv(format, args);
}

void warning(const char *format, ...) {
    va_list args;
    va_start(args, format);
    vfprintf(stderr, format, args);
    va_end(args);
    fputs("\n", stderr);
    fflush(stderr);
}
