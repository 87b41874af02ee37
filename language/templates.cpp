// Template blocks: the command lines of each declaration.
#include "language/actions.h"

#include "language/build.h"
#include "language/state.h"
#include "output/text.h"
#include "variables/scope.h"

TextLine *commandsPrepend(istring text, TextLine *rest) {
    TextLine *line = textLineNew(text, 0, "command");
    if (rest) {
        line->next = rest;
        line->link = rest->link;
        rest->link = line;
    }
    return line;
}

void templateCommands(TemplateRecord *declared, TextLine *commands) {
    if (scopeActive())
        declared->commands = commands;
    commandMode = 0;
    lineMode = 0;
}
