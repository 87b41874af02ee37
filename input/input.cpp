// The input stack and the include search.
#include "input/input.h"

InputRecord *inputStack;
istring inputFile;
int inputLine;
istring inputPrefix;
