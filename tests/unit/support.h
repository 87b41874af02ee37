// Start-up and small helpers shared by the unit test programs.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "core/debug.h"
#include "core/hashtable.h"
#include "core/istring.h"
#include "driver/driver.h"
#include "input/input.h"
#include "output/text.h"
#include "variables/scope.h"

namespace support {

inline istring I(const std::string &text) { return istringNew(text.c_str()); }

// Every table and builtin name, once per process.
inline void startUp() {
    static bool done = false;
    if (!done) {
        driverStartUp();
        textCreate(istringNew(".POSTPROCESS"), nullptr, nullptr);
        done = true;
    }
    inputPrefix = istringNew("");
}

// Each test runs in a fresh innermost scope, closed again afterwards, with a
// known location and no debug letters left on.
class ScopeFixture : public ::testing::Test {
protected:
    void SetUp() override {
        startUp();
        outer = currentScope;
        scopeNew(nullptr);
        inputFile = istringNew("conf");
        inputLine = 7;
    }
    void TearDown() override {
        debugReset();
        while (currentScope != outer)
            scopePop();
    }
    Scope *outer = nullptr;
};

inline std::vector<std::string> keysInOrder(HashTable *table) {
    std::vector<std::string> keys;
    HashCursor *cursor = ht_start(table);
    if (!cursor)
        return keys;
    void *value;
    while (istring key = ht_next(cursor, &value))
        keys.push_back(key);
    ht_end(cursor);
    return keys;
}

// Everything `write` puts on the stream it is given.
template <typename F>
std::string captured(F write) {
    char *buffer = nullptr;
    size_t size = 0;
    FILE *stream = open_memstream(&buffer, &size);
    write(stream);
    fclose(stream);
    std::string text(buffer, size);
    free(buffer);
    return text;
}

// A scratch directory removed with the object.
struct TempDir {
    std::string dir;
    TempDir() {
        char pattern[] = "/tmp/brisk-test-XXXXXX";
        if (mkdtemp(pattern))
            dir = pattern;
    }
    ~TempDir() { std::filesystem::remove_all(dir); }
    std::string path(const std::string &name) const { return dir + "/" + name; }
};

}  // namespace support
