#include <ctype.h>
#include "greet.h"

int shout(char *text) {
    int n = 0;
    for (; *text; text++, n++)
        *text = (char)toupper((unsigned char)*text);
    return n;
}
