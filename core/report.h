// Reporting primitives every layer uses: fatal errors and warnings on
// standard error. What a fatal error prints after its message (the statement
// trace) is handed down by the layer that keeps the statements.
#pragma once
#include <cstdarg>

// Writes the message and a newline to standard error, runs the trace hook,
// and exits with status 1.
[[noreturn]] void fatal(const char *format, ...) __attribute__((format(printf, 1, 2)));
[[noreturn]] void fatalv(const char *format, va_list args);
// Writes the message and a newline to standard error and continues.
void warning(const char *format, ...) __attribute__((format(printf, 1, 2)));

// Called by every fatal error after its message; none until set.
extern void (*fatalTrace)();
