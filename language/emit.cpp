// Emit statements: binding sections to files and the emit block arguments.
#include "language/actions.h"

#include "core/names.h"
#include "core/debug.h"
#include "input/diag.h"
#include "language/state.h"
#include "output/text.h"
#include "variables/expand.h"
#include "variables/scope.h"

void emitBind(istring section, istring file) {
    // Deliberately made also inside a skipped block.
    textCreate(section, file, nullptr);
}

void emitTag(istring section) {
    if (currentSection == sectionNamed(".EMIT-NOW"))
        fatal("Cannot specify both -tag and -now");
    if (currentSection != sectionNamed(".EMIT"))
        fatal("Can only specify -tag once");
    currentSection = textCreate(section, nullptr, nullptr);
}

void emitNow() {
    TextObject *now = sectionNamed(".EMIT-NOW");
    if (currentSection != sectionNamed(".EMIT") && currentSection != now)
        fatal("Cannot specify both -tag and -now");
    currentSection = now;
}

void emitDebug() {
    if (scopeActive() && blockKind == EMIT && debugOn('e'))
        textAppend(currentSection, expandString(nullptr, names.emitDebugLine), 0);
}
