#include <stdio.h>
#include "greet.h"

void greet(const char *name) {
#ifdef DEBUG
    fprintf(stderr, "greeting %s\n", name);
#endif
    printf("hello, %s\n", name);
}
