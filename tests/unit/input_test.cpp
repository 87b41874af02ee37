// The input stack, the include search and the line reader.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "driver/driver.h"
#include "input/input.h"
#include "input/lexer.h"
#include "input/reader.h"
#include "language/state.h"
#include "support.h"
#include "variables/variable.h"

namespace {

istring s(const char *text) { return istringNew(text); }
using support::TempDir;

class Input : public support::InputFixture {
protected:
    void TearDown() override {
        InputFixture::TearDown();
        dependStream = nullptr;
    }

    std::string path(const std::string &name) const { return scratch.path(name); }
    std::string write(const std::string &name, const std::string &text) const { return scratch.write(name, text); }
    void push(const std::string &text, const char *name = "conf") const { scratch.push(text, name); }

    static std::vector<std::string> logicalLines() {
        std::vector<std::string> lines;
        while (char *line = inputGetLine())
            lines.push_back(line);
        return lines;
    }

    static void searchPath(const std::string &value) {
        variableSet(nullptr, names.BRISK_PATH, s(value.c_str()));
        variableUses(nullptr, names.BRISK_PATH, ";");
    }

    TempDir scratch;
    const std::string &dir = scratch.dir;
};

using Lines = std::vector<std::string>;

// Every remaining raw line as "text@file:line".
Lines rawLines() {
    Lines seen;
    int length;
    while (char *raw = inputRawLine(&length))
        seen.push_back(std::string(raw, length) + "@" + inputFile + ":" + std::to_string(inputLine));
    return seen;
}

TEST_F(Input, RawLinesAreSplitCountedAndGetTabs) {
    push(std::string(4100, 'x') + "\n       x=1\n        x\n         x\n               ab\n      six\n" +
         std::string(7, ' '));
    Lines seen = rawLines();
    ASSERT_EQ(seen.size(), 8u);
    EXPECT_EQ(seen[0], std::string(4095, 'x') + "@conf:1");
    // Counting one position past the spaces: 7 spaces swallow the 'x'.
    EXPECT_EQ(Lines(seen.begin() + 1, seen.end()),
              (Lines{"xxxxx\n@conf:2", "\t=1\n@conf:3", "\tx\n@conf:4", "\t x\n@conf:5", "\t\tb\n@conf:6",
                     "      six\n@conf:7", "\t@conf:8"}));
}

TEST_F(Input, IncludeSearchOrderAndDependencyEntries) {
    // An empty element tries "/" and the name: a relative name spelling a
    // path under /tmp is found there, ahead of the next element.
    std::string relative = path("root/n").substr(1);
    write("root/n", "from root\n");
    write("my dir/" + relative, "from b\n");
    char *buffer = nullptr;
    size_t size = 0;
    dependStream = open_memstream(&buffer, &size);
    searchPath(path("a") + ";;" + path("my dir"));
    inputInclude(s(relative.c_str()));
    EXPECT_STREQ(inputFile, relative.c_str());
    EXPECT_STREQ(inputGetLine(), "from root");
    std::filesystem::remove(path("root/n"));
    searchPath(path("a") + ";" + path("my dir"));
    inputInclude(s(relative.c_str()));
    EXPECT_STREQ(inputGetLine(), "from b");
    fclose(dependStream);
    dependStream = nullptr;
    EXPECT_EQ(std::string(buffer), " \\\n    /" + relative + " \\\n    " + dir + "/my\\ dir/" + relative);
    free(buffer);

    // A trailing separator ends the search.
    searchPath(path("a") + ";");
    EXPECT_EXIT(inputInclude(s(relative.c_str())), testing::ExitedWithCode(1),
                testing::Eq(relative + ": " + strerror(ENOENT) + "\n"));
}

TEST_F(Input, ContinuationsQuotesEscapesAndLongExpansions) {
    variableSet(nullptr, s("X"), s("yes"));
    variableSet(nullptr, s("a(b)c"), s("inner"));
    variableSet(nullptr, s("B"), s("a\\"));
    std::string big(5000, 'v');
    variableSet(nullptr, s("BIG"), s(big.c_str()));
    push("a \\\n    b\nc\\\n\\\nd\ne # no \\\nf\n'$(X) # \\t'\n\"$(X) # \\t\"\n\\# \\\" \\q \\t\n"
         "$(a(b)c)\n$(B)\n   b\n[$(BIG)$(BIG)]\nafter\n");
    Lines lines;
    for (int i = 0; i < 10; i++)
        lines.push_back(inputGetLine());
    EXPECT_EQ(lines, (Lines{"a b", "c d", "e ", "f", "'$(X) # \\t'", "\"yes # \t\"", "# \" q \t", "inner", "a b",
                            "[" + big + big + "]"}));
    push("X = \\\n", "inner");  // a continuation goes on past the end of a file
    EXPECT_EQ(logicalLines(), (Lines{"X = after"}));
}

TEST_F(Input, LineModesDecideWhatIsExpanded) {
    variableSet(nullptr, s("X"), s("1 # 2"));
    push("Y = $(X)\nY = $(X)\nY = $(X)\na 'b # \\\nc\r\n");
    EXPECT_STREQ(inputGetLine(), "Y = 1 ");
    lineMode = 2;
    EXPECT_STREQ(inputGetLine(), "Y = 1 # 2");
    lineMode = 1;
    EXPECT_EQ(logicalLines(), (Lines{"Y = $(X)", "a 'b # \\", "c"}));
}

TEST_F(Input, UnbalancedReferencesAndQuotesAreFatal) {
    push("X = $(abc\n");
    EXPECT_EXIT(inputGetLine(), testing::ExitedWithCode(1), testing::Eq("conf:1 unterminated variable\n"));
    push("\nX = \"abc \\\nmore\"\n", "q");
    EXPECT_EXIT(logicalLines(), testing::ExitedWithCode(1), testing::Eq("unterminated quote at q:2\n"));
    push("X = 'abc\n", "s");
    EXPECT_EXIT(logicalLines(), testing::ExitedWithCode(1), testing::Eq("unterminated quote at s:1\n"));
}

}  // namespace
