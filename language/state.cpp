// Parser state shared with the lexer and the statement actions.
#include "language/state.h"

TextObject *currentSection;
int blockKind;
unsigned textFlags;
