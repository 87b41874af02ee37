// Basic regular-expression matching with one cached compiled pattern, keyed
// by the identity of the pattern's istring.
#include "variables/pattern.h"

#include <cstdlib>
#include <regex.h>

#include "core/alloc.h"
#include "input/diag.h"

static regex_t patternCompiled;
static istring patternCached;
static char *patternError;
static size_t patternErrorSize;

[[noreturn]] static void patternFail(int code, istring pattern) {
    size_t size = regerror(code, nullptr, nullptr, 0);
    if (patternErrorSize == 0 || size > patternErrorSize - 1) {
        free(patternError);
        patternErrorSize = size + 64;
        patternError = static_cast<char *>(xmalloc(patternErrorSize, "patternMatch"));
    }
    regerror(code, nullptr, patternError, patternErrorSize);
    fatal("%s: %s", pattern, patternError);
}

int patternMatch(const char *text, istring pattern) {
    if (patternCached && patternCached != pattern) {
        regfree(&patternCompiled);
        patternCached = nullptr;
    }
    if (patternCached != pattern) {
        int code = regcomp(&patternCompiled, pattern, REG_NOSUB);
        if (code != 0)
            patternFail(code, pattern);
        patternCached = pattern;
    }
    int code = regexec(&patternCompiled, text, 0, nullptr, 0);
    if (code == 0)
        return 1;
    if (code == REG_NOMATCH)
        return 0;
    patternFail(code, pattern);
}
