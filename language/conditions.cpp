// Requirements, blocks and the when / else when / else chain.
#include "language/actions.h"

#include <cstring>
#include <unistd.h>

#include "core/names.h"
#include "input/charclass.h"
#include "variables/expand.h"
#include "variables/pattern.h"
#include "variables/scope.h"
#include "variables/variable.h"

istring wordNext(const char **cursor, const char **end) {
    const char *p = *cursor;
    if (!*end)
        *end = p + strlen(p);
    while (p < *end && isClass(*p, CC_DELIMITER))
        p++;
    if (p >= *end) {
        *cursor = p;
        return nullptr;
    }
    const char *start = p;
    while (p < *end && !isClass(*p, CC_DELIMITER))
        p++;
    *cursor = p;
    return istringNewN(start, static_cast<unsigned>(p - start));
}

int wordIn(istring text, istring word) {
    if (!text)
        return 0;
    const char *cursor = text;
    const char *end = nullptr;
    while (istring next = wordNext(&cursor, &end)) {
        if (next == word)
            return 1;
    }
    return 0;
}

int requireIn(istring word, istring listName) { return wordIn(variableExpand(nullptr, listName, 0), word); }

int requireMatch(istring text, istring pattern) { return patternMatch(text, pattern) ? 1 : 0; }

int requireExists(istring path) { return access(path, F_OK) == 0 ? 1 : 0; }

void blockEnter(int newScope) {
    if (newScope)
        scopeNew(nullptr);
    else
        scopePush();
}

void blockRequire(int requirement) {
    if (!requirement)
        scopeIgnore();
}

int chainWhen(int requirement) {
    if (!requirement)
        scopeIgnore();
    return scopeIgnoring() ? 0 : 1;
}

int chainElseWhen(int requirement) {
    if (variableDefined(nullptr, names.TRUE_)) {
        scopeIgnore();
        return 1;
    }
    if (!requirement)
        scopeIgnore();
    return scopeIgnoring() ? 0 : 1;
}

int chainElse() {
    if (variableDefined(nullptr, names.TRUE_))
        scopeIgnore();
    return 1;
}

void chainEnd(int satisfied) {
    scopePop();
    if (satisfied) {
        variableSet(nullptr, names.TRUE_, names.TRUE_);
        variableUnset(names.FALSE_);
    } else {
        variableSet(nullptr, names.FALSE_, names.FALSE_);
        variableUnset(names.TRUE_);
    }
    // The "}" ends every block form with one scopePop.
    scopePush();
}
