#include <stdio.h>
#include "greet.h"

extern const char version[];

int main(int argc, char **argv) {
    char name[64];
    snprintf(name, sizeof name, "%s", argc > 1 ? argv[1] : "world");
    if (argc > 2)
        shout(name);
    greet(name);
    printf("(hello %s)\n", version);
    return 0;
}
