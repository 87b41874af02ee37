// Lookup benchmark: sets the program up the way start-up does, opens a chain
// of ten scopes holding 10,000 variables (plus some in the global table) and
// times variable lookups that have to walk the whole chain.
//
//   g++ -std=c++20 -O2 -Wall -Wextra -I. bench/lookup.cpp build-bench/libbrisklib.a -o build-bench/lookup
//   build-bench/lookup [iterations]
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/istring.h"
#include "core/names.h"
#include "driver/driver.h"
#include "input/charclass.h"
#include "input/input.h"
#include "input/lexer.h"
#include "output/text.h"
#include "variables/expand.h"
#include "variables/scope.h"
#include "variables/variable.h"

namespace {

const int scopeCount = 10;
const int variableCount = 10000;

// Keeps the optimiser from dropping the looked-up values.
volatile size_t sink;

template <typename Lookup>
double timeLookups(const char *label, long iterations, istring expected, Lookup lookup) {
    // One untimed call checks the result before anything is measured.
    istring first = lookup();
    if (strcmp(first, expected) != 0) {
        fprintf(stderr, "%s: got \"%s\", expected \"%s\"\n", label, first, expected);
        exit(1);
    }
    auto start = std::chrono::steady_clock::now();
    size_t total = 0;
    for (long i = 0; i < iterations; i++)
        total += istringLength(lookup());
    auto stop = std::chrono::steady_clock::now();
    sink = total;
    double ns = std::chrono::duration<double, std::nano>(stop - start).count() / static_cast<double>(iterations);
    printf("%-44s %10ld lookups  %9.1f ns/lookup  (%.3f us)\n", label, iterations, ns, ns / 1000.0);
    return ns;
}

}  // namespace

int main(int argc, char **argv) {
    long iterations = argc > 1 ? atol(argv[1]) : 1000000;
    if (iterations <= 0)
        iterations = 1000000;

    driverStartUp();

    // The 10,000 variables are spread evenly over the ten scopes and the
    // global table; each scope is filled while it is the innermost one.
    const int tables = scopeCount + 1;
    int perTable = variableCount / tables;
    int made = 0;
    char name[64], value[64];
    for (int s = 0; s < scopeCount; s++) {
        if (s > 0)
            scopeNew(nullptr);
        for (int i = 0; i < perTable; i++, made++) {
            snprintf(name, sizeof name, "VAR_S%d_%d", s, i);
            snprintf(value, sizeof value, "value-%d-%d", s, i);
            variableSet(currentScope->table, istringNew(name), istringNew(value));
        }
    }
    for (int i = 0; made < variableCount; i++, made++) {
        snprintf(name, sizeof name, "VAR_G_%d", i);
        snprintf(value, sizeof value, "value-g-%d", i);
        variableSet(globalTable, istringNew(name), istringNew(value));
    }

    int depth = 0;
    for (Scope *scope = currentScope; scope; scope = scope->parent)
        depth++;
    printf("scopes: %d, variables: %d (%d per scope, %d global)\n", depth, made, perTable,
           made - perTable * scopeCount);

    // The outermost scope is the first one opened: a lookup from the
    // innermost scope walks all ten tables before finding it.
    istring outer = istringNew("VAR_S0_17");
    istring global = istringNew("VAR_G_17");
    istring inner = istringNew("VAR_S9_17");
    istring missing = istringNew("NO_SUCH_VARIABLE");
    istring reference = istringNew("$(VAR_S0_17)");
    istring globalReference = istringNew("$(VAR_G_17)");

    timeLookups("variableFind, outermost scope", iterations * 10, "value-0-17",
                [&] { return variableValue(nullptr, outer, 0); });
    timeLookups("variableExpand, innermost scope", iterations, "value-9-17",
                [&] { return variableExpand(nullptr, inner, 0); });
    timeLookups("variableExpand, outermost scope", iterations, "value-0-17",
                [&] { return variableExpand(nullptr, outer, 0); });
    timeLookups("variableExpand, global table", iterations, "value-g-17",
                [&] { return variableExpand(nullptr, global, 0); });
    timeLookups("variableExpand, undefined name", iterations, "",
                [&] { return variableExpand(nullptr, missing, 0); });
    timeLookups("expandString \"$(VAR_S0_17)\"", iterations, "value-0-17",
                [&] { return expandString(nullptr, reference); });
    timeLookups("expandString \"$(VAR_G_17)\"", iterations, "value-g-17",
                [&] { return expandString(nullptr, globalReference); });
    return 0;
}
