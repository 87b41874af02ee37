#include <stdio.h>
#include "config.h"
#include "greet.h"

void greet(const char *name) {
#ifdef DEBUG
    fprintf(stderr, "greeting %s\n", name);
#endif
    printf("%s, %s\n", GREETING, name);
}
