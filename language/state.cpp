// Parser state shared with the lexer and the statement actions.
#include "language/state.h"

int lineMode;
int braceDepth;
int commandMode;
TextObject *currentSection;
int blockKind;
unsigned textFlags;
