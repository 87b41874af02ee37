#ifndef GREET_H
#define GREET_H
void greet(const char *name);
int shout(char *text);
#endif
