// The program frame and the bodies read as free text.
#include "language/actions.h"

#include "core/names.h"
#include "input/input.h"
#include "language/state.h"
#include "output/text.h"
#include "variables/scope.h"

TextObject *sectionNamed(const char *name) { return textCreate(istringNew(name), nullptr, nullptr); }

void frameBegin() { currentSection = textCreate(names.EMIT, nullptr, nullptr); }

void bodyArguments(int expand, const char *sectionName) {
    lineMode = 1 + expand;
    braceDepth = 1;
    currentSection = sectionNamed(sectionName);
}

void freetextLine(istring text) {
    if (scopeActive())
        textAppend(currentSection, text, textFlags);
}

void freetextEnd() {
    blockKind = 0;
    currentSection = textCreate(names.EMIT, nullptr, nullptr);
    lineMode = 0;
    textFlags = 0;
}
