// The input stack, the include search and the line reader.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "driver/debug.h"
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

class Input : public ::testing::Test {
protected:
    void SetUp() override {
        support::startUp();
        lineMode = 0;
        commandMode = 0;
        braceDepth = 0;
        debugReset();
    }
    void TearDown() override {
        int length;
        while (inputRawLine(&length)) {
        }
        dependStream = nullptr;
        lineMode = 0;
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

TextLine *record(const char *text, const char *file, int line, TextLine *next = nullptr) {
    return new TextLine{next, nullptr, s(text), 0, s(file), line};
}

// Every remaining raw line as "text@file:line".
Lines rawLines() {
    Lines seen;
    int length;
    while (char *raw = inputRawLine(&length))
        seen.push_back(std::string(raw, length) + "@" + inputFile + ":" + std::to_string(inputLine));
    return seen;
}

// ---- raw lines ----

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

TEST_F(Input, InMemorySourcesKeepTheirLocationsAndOrder) {
    push("first\nsecond\n");
    int length;
    inputRawLine(&length);
    inputPrefix = s("\t");
    InputRecord *one = inputInsert(record("one", "defs", 10, record("one b", "defs", 11)), 10);
    EXPECT_EQ(inputPrefix, nullptr);
    EXPECT_EQ(inputLine, 10);
    inputInsertAfter(inputInsertAfter(one, record("two", "conf", 3), 3), record("three", "conf", 3), 3);
    EXPECT_EQ(rawLines(), (Lines{"one@defs:10", "one b@defs:11", "two@conf:3", "three@conf:3", "second\n@conf:2"}));
}

TEST_F(Input, PostprocessLinesAreReadAfterAllOtherInput) {
    TextObject *post = sectionFind(s(".POSTPROCESS"));
    ASSERT_NE(post, nullptr);
    push("a\nb\n");
    int length;
    inputRawLine(&length);
    inputFile = s("defs");
    inputLine = 7;
    textAppend(post, s("late"), 0);
    inputFile = s("conf");
    inputLine = 1;
    Lines seen;
    while (char *raw = inputRawLine(&length)) {
        seen.push_back(std::string(raw, length) + "@" + inputFile + ":" + std::to_string(inputLine));
        if (seen.size() == 2)
            textAppend(post, s("later"), 0);  // added by the replayed text
    }
    EXPECT_EQ(seen, (Lines{"b\n@conf:2", "late@defs:7", "later@defs:7"}));
    EXPECT_EQ(post->lines, nullptr);
}

// ---- include search ----

TEST_F(Input, IncludeSearchOrderAndDependencyEntries) {
    // A name that opens as given is not searched.
    write("direct", "direct\n");
    write("p/direct", "searched\n");
    searchPath(path("p"));
    std::filesystem::path home = std::filesystem::current_path();
    std::filesystem::current_path(dir);
    inputInclude(s("direct"));
    std::filesystem::current_path(home);
    EXPECT_STREQ(inputFile, "direct");
    EXPECT_STREQ(inputGetLine(), "direct");

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
    EXPECT_STREQ(safepath("a b\tc\\d"), "a\\ b\\\tc\\\\d");

    // A trailing separator ends the search.
    searchPath(path("a") + ";");
    EXPECT_EXIT(inputInclude(s(relative.c_str())), testing::ExitedWithCode(1),
                testing::Eq(relative + ": " + strerror(ENOENT) + "\n"));
}

TEST_F(Input, IncludeFailuresAreFatal) {
    EXPECT_EXIT(inputInclude(s("/missing/file")), testing::ExitedWithCode(1),
                testing::Eq(std::string("/missing/file: ") + strerror(0) + "\n"));
    searchPath(std::string(140, 'd'));
    EXPECT_EXIT(inputInclude(s("n-missing")), testing::ExitedWithCode(1),
                testing::Eq(std::string(140, 'd') + "/n-missing: " + strerror(ENAMETOOLONG) + "\n"));
}

TEST_F(Input, IncludedFileEndRestoresLocationAndPrefix) {
    push("include inner\nnext\n");
    inputGetLine();
    inputPrefix = s("\t");
    write("inner", "one\n");
    inputInclude(s(path("inner").c_str()));
    EXPECT_EQ(inputLine, 0);
    inputPrefix = nullptr;
    EXPECT_STREQ(inputGetLine(), "one");
    EXPECT_STREQ(inputGetLine(), "next");
    EXPECT_STREQ(inputFile, "conf");
    EXPECT_EQ(inputLine, 2);
    EXPECT_EQ(inputPrefix, s("\t"));
}

// ---- logical lines ----

TEST_F(Input, ContinuationsJoinWithOneBlankAcrossFileEnds) {
    push("a \\\n    b\nc\\\n\\\nd\ne # no \\\nf\nafter\n");
    EXPECT_STREQ(inputGetLine(), "a b");
    EXPECT_STREQ(inputGetLine(), "c d");
    EXPECT_STREQ(inputGetLine(), "e ");
    EXPECT_STREQ(inputGetLine(), "f");
    push("X = a \\\n", "inner");
    EXPECT_EQ(logicalLines(), (Lines{"X = a after"}));
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

TEST_F(Input, QuotesEscapesAndReferences) {
    variableSet(nullptr, s("X"), s("yes"));
    variableSet(nullptr, s("a(b)c"), s("inner"));
    variableSet(nullptr, s("R"), s("<$(X)>"));
    variableSet(nullptr, s("B"), s("a\\"));
    std::string big(5000, 'v');
    variableSet(nullptr, s("BIG"), s(big.c_str()));
    push("'$(X) # \\t'\n\"$(X) # \\t\"\n\\# \\\" \\q \\t\n$(a(b)c) $(R)\n$(B)\n   b\n[$(BIG)$(BIG)]\n");
    EXPECT_EQ(logicalLines(), (Lines{"'$(X) # \\t'", "\"yes # \t\"", "# \" q \t", "inner <yes>", "a b",
                                     "[" + big + big + "]"}));
}

TEST_F(Input, UnbalancedReferencesAndQuotesAreFatal) {
    push("X = $(abc\n");
    EXPECT_EXIT(inputGetLine(), testing::ExitedWithCode(1), testing::Eq("conf:1 unterminated variable\n"));
    push("\nX = \"abc \\\nmore\"\n", "q");
    EXPECT_EXIT(logicalLines(), testing::ExitedWithCode(1), testing::Eq("unterminated quote at q:2\n"));
    push("X = 'abc\n", "s");
    EXPECT_EXIT(logicalLines(), testing::ExitedWithCode(1), testing::Eq("unterminated quote at s:1\n"));
}

TEST_F(Input, DebugLetterLRecordsLinesAtTheirFirstLocation) {
    debugSet('l');
    push("A = 1 \\\n  2\n");
    EXPECT_STREQ(inputGetLine(), "A = 1 2");
    EXPECT_EQ(inputLine, 2);
    EXPECT_STREQ(variableValue(globalTable, s("conf:1"), 1), "A = 1 2");
    EXPECT_STREQ(variableValue(globalTable, s("CURRENT_FILE"), 1), "conf:1");
    EXPECT_STREQ(variableValue(globalTable, s("CURRENT_LINE"), 1), "A = 1 2");
}

}  // namespace
