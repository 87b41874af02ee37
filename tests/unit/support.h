// Start-up and small helpers shared by the unit test programs.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "core/hashtable.h"
#include "core/istring.h"
#include "core/names.h"
#include "core/debug.h"
#include "driver/driver.h"
#include "input/charclass.h"
#include "input/input.h"
#include "input/lexer.h"
#include "language/state.h"
#include "output/text.h"
#include "variables/scope.h"

namespace support {

inline istring I(const std::string &text) { return istringNew(text.c_str()); }

// Every table and builtin name from scratch; tests that need a clean slate
// call this directly.
inline void initAll() {
    driverStartUp();
    textCreate(istringNew(".POSTPROCESS"), nullptr, nullptr);
}

// The same, once per process.
inline void startUp() {
    static bool done = false;
    if (!done) {
        initAll();
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

// Reading tests start in statement mode and leave no input behind.
class InputFixture : public ::testing::Test {
protected:
    void SetUp() override {
        startUp();
        resetModes();
        lexReset();
    }
    void TearDown() override {
        int length;
        while (inputRawLine(&length)) {
        }
        lexReset();
        resetModes();
    }
    static void resetModes() {
        lineMode = 0;
        commandMode = 0;
        braceDepth = 0;
    }
};

// Anchored regular expression for an exact text.
inline std::string exact(const std::string &text) {
    std::string re = "^";
    for (char c : text) {
        if (std::string(".[]{}()*+?^$|\\").find(c) != std::string::npos)
            re += '\\';
        re += c;
    }
    return re + "$";
}

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
    std::string write(const std::string &name, const std::string &text) const {
        std::string full = path(name);
        std::filesystem::create_directories(std::filesystem::path(full).parent_path());
        std::ofstream(full) << text;
        return full;
    }
    std::string read(const std::string &name) const {
        std::stringstream text;
        text << std::ifstream(path(name)).rdbuf();
        return text.str();
    }
    // Pushes a file holding `text` as input, recorded under `name`.
    void push(const std::string &text, const char *name = "conf") const {
        FILE *stream = fopen(write(name, text).c_str(), "r");
        ASSERT_NE(stream, nullptr);
        inputAdd(stream, name);
    }
};

}  // namespace support
