// The input stack, the include search and the line reader.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "core/istring.h"
#include "driver/builtins.h"
#include "driver/debug.h"
#include "driver/driver.h"
#include "input/charclass.h"
#include "input/input.h"
#include "input/lexer.h"
#include "input/reader.h"
#include "language/state.h"
#include "output/text.h"
#include "variables/scope.h"
#include "variables/variable.h"

namespace {

istring s(const char *text) { return istringNew(text); }

class Input : public ::testing::Test {
protected:
    void SetUp() override {
        static bool started = false;
        if (!started) {
            istringInit();
            charClassInit();
            keywordInit();
            builtinsInit();
            textInit();
            scopeNew(nullptr);
            textCreate(s(".POSTPROCESS"), nullptr, nullptr);
            started = true;
        }
        inputPrefix = s("");
        lineMode = 0;
        commandMode = 0;
        braceDepth = 0;
        debugReset();
        char pattern[] = "/tmp/brisk-input-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir = pattern;
    }
    void TearDown() override {
        int length;
        while (inputRawLine(&length)) {
        }
        dependStream = nullptr;
        lineMode = 0;
        std::filesystem::remove_all(dir);
    }

    std::string path(const std::string &name) const { return dir + "/" + name; }

    std::string write(const std::string &name, const std::string &text) const {
        std::string full = path(name);
        std::filesystem::create_directories(std::filesystem::path(full).parent_path());
        std::ofstream(full) << text;
        return full;
    }

    // Pushes a file holding `text`, recorded under the name "conf".
    void push(const std::string &text, const char *name = "conf") {
        FILE *stream = fopen(write(name, text).c_str(), "r");
        ASSERT_NE(stream, nullptr);
        inputAdd(stream, name);
    }

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

    std::string dir;
};

using Lines = std::vector<std::string>;

TextLine *record(const char *text, const char *file, int line, TextLine *next = nullptr) {
    TextLine *r = new TextLine{next, nullptr, s(text), 0, s(file), line};
    return r;
}

// ---- raw lines ----

TEST_F(Input, LongLinesArriveInPiecesEachCounted) {
    push(std::string(4100, 'x') + "\nend\n");
    int length;
    char *raw = inputRawLine(&length);
    ASSERT_NE(raw, nullptr);
    EXPECT_EQ(length, 4095);
    EXPECT_EQ(inputLine, 1);
    raw = inputRawLine(&length);
    EXPECT_EQ(std::string(raw, length), "xxxxx\n");
    EXPECT_EQ(inputLine, 2);
    raw = inputRawLine(&length);
    EXPECT_EQ(std::string(raw, length), "end\n");
    EXPECT_EQ(inputLine, 3);
}

TEST_F(Input, LeadingSpacesBecomeTabsCountingOnePastThem) {
    push("       x=1\n        x\n         x\n               ab\n      six\n\t  tab\n");
    int length;
    std::vector<std::string> raw;
    while (char *line = inputRawLine(&length))
        raw.push_back(std::string(line, length));
    EXPECT_EQ(raw, (Lines{"\t=1\n", "\tx\n", "\t x\n", "\t\tb\n", "      six\n", "\t  tab\n"}));
}

TEST_F(Input, SpacesOnlyWithoutLineEndStayInsideTheLine) {
    push(std::string(7, ' '));
    int length;
    char *raw = inputRawLine(&length);
    ASSERT_NE(raw, nullptr);
    EXPECT_EQ(std::string(raw, length), "\t");
}

TEST_F(Input, InMemoryLinesCarryTheirLocationAndPopRestoresTheOuter) {
    push("first\nsecond\n");
    int length;
    inputRawLine(&length);
    inputPrefix = s("\t");
    TextLine *list = record("body 1", "defs", 10, record("body 2", "defs", 11));
    inputInsert(list, 10);
    EXPECT_EQ(inputPrefix, nullptr);
    EXPECT_EQ(inputLine, 10);
    char *raw = inputRawLine(&length);
    EXPECT_EQ(std::string(raw, length), "body 1");
    EXPECT_STREQ(inputFile, "defs");
    EXPECT_EQ(inputLine, 10);
    inputPrefix = s("  ");
    raw = inputRawLine(&length);
    EXPECT_EQ(std::string(raw, length), "body 2");
    EXPECT_EQ(inputLine, 11);
    raw = inputRawLine(&length);
    EXPECT_EQ(std::string(raw, length), "second\n");
    EXPECT_STREQ(inputFile, "conf");
    EXPECT_EQ(inputLine, 2);
    EXPECT_EQ(inputPrefix, s("\t"));
}

TEST_F(Input, BodiesChainedBeneathAreReadInValueOrder) {
    push("before\nafter\n");
    int length;
    inputRawLine(&length);
    InputRecord *first = inputInsert(record("one", "conf", 2), 2);
    InputRecord *second = inputInsertAfter(first, record("two", "conf", 2), 2);
    inputInsertAfter(second, record("three", "conf", 2), 2);
    Lines lines;
    while (char *raw = inputRawLine(&length))
        lines.push_back(std::string(raw, length));
    EXPECT_EQ(lines, (Lines{"one", "two", "three", "after\n"}));
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
    std::vector<std::string> seen;
    while (char *raw = inputRawLine(&length)) {
        seen.push_back(std::string(raw, length) + "@" + inputFile + ":" + std::to_string(inputLine));
        if (seen.size() == 2)
            textAppend(post, s("later"), 0);  // added by the replayed text
    }
    EXPECT_EQ(seen, (Lines{"b\n@conf:2", "late@defs:7", "later@defs:7"}));
    EXPECT_EQ(post->lines, nullptr);
}

// ---- include search ----

TEST_F(Input, IncludeOpensANameAsGivenBeforeSearching) {
    std::string direct = std::filesystem::relative(write("direct/n", "direct\n")).string();
    write("p/" + direct, "searched\n");
    searchPath(path("p"));
    inputInclude(s(direct.c_str()));
    EXPECT_STREQ(inputFile, direct.c_str());
    EXPECT_STREQ(inputGetLine(), "direct");
}

TEST_F(Input, SearchOrderFollowsEmptyAndTrailingElements) {
    // An empty element tries "/" followed by the name: a relative name that
    // spells a path under /tmp is found there, ahead of the next element.
    std::string relative = path("root/n").substr(1);
    write("root/n", "from root\n");
    write("b/" + relative, "from b\n");
    char *buffer = nullptr;
    size_t size = 0;
    dependStream = open_memstream(&buffer, &size);
    searchPath(path("a") + ";;" + path("b"));
    inputInclude(s(relative.c_str()));
    EXPECT_STREQ(inputFile, relative.c_str());
    EXPECT_STREQ(inputGetLine(), "from root");
    fclose(dependStream);
    dependStream = nullptr;
    EXPECT_EQ(std::string(buffer), " \\\n    /" + relative);
    free(buffer);

    std::filesystem::remove(path("root/n"));
    searchPath(path("a") + ";" + path("b"));
    inputInclude(s(relative.c_str()));
    EXPECT_STREQ(inputGetLine(), "from b");

    searchPath(path("a") + ";");
    std::string message = relative + ": " + strerror(ENOENT) + "\n";
    EXPECT_EXIT(inputInclude(s(relative.c_str())), testing::ExitedWithCode(1), testing::Eq(message));
}

TEST_F(Input, FailedAbsoluteIncludeReportsErrorNumberZero) {
    std::string message = std::string("/missing/file: ") + strerror(0) + "\n";
    EXPECT_EXIT(inputInclude(s("/missing/file")), testing::ExitedWithCode(1), testing::Eq(message));
}

TEST_F(Input, OverlongCandidateIsAClearError) {
    searchPath(std::string(140, 'd'));
    std::string message = std::string(140, 'd') + "/n-missing: " + strerror(ENAMETOOLONG) + "\n";
    EXPECT_EXIT(inputInclude(s("n-missing")), testing::ExitedWithCode(1), testing::Eq(message));
}

TEST_F(Input, DependencyEntryEscapesBlanksAndBackslashes) {
    write("my dir/brisk-dep-probe", "x\n");
    char *buffer = nullptr;
    size_t size = 0;
    dependStream = open_memstream(&buffer, &size);
    searchPath(path("my dir"));
    inputInclude(s("brisk-dep-probe"));
    fclose(dependStream);
    dependStream = nullptr;
    EXPECT_EQ(std::string(buffer), " \\\n    " + dir + "/my\\ dir/brisk-dep-probe");
    free(buffer);
    EXPECT_STREQ(safepath("plain/path"), "plain/path");
    EXPECT_STREQ(safepath("a b\tc\\d"), "a\\ b\\\tc\\\\d");
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

TEST_F(Input, ContinuationJoinsWithOneBlank) {
    push("a \\\n    b\nc\\\n\\\nd\ne # no \\\nf\n");
    EXPECT_EQ(logicalLines(), (Lines{"a b", "c d", "e ", "f"}));
}

TEST_F(Input, ContinuationCrossesTheEndOfAnIncludedFile) {
    push("first\nafter\nlast\n");
    inputGetLine();
    push("X = a \\\n", "inner");
    EXPECT_EQ(logicalLines(), (Lines{"X = a after", "last"}));
}

TEST_F(Input, LineModesDecideWhatIsExpanded) {
    variableSet(nullptr, s("X"), s("1 # 2"));
    push("Y = $(X)\nY = $(X)\nY = $(X)\n");
    EXPECT_STREQ(inputGetLine(), "Y = 1 ");
    lineMode = 2;
    EXPECT_STREQ(inputGetLine(), "Y = 1 # 2");
    lineMode = 1;
    EXPECT_STREQ(inputGetLine(), "Y = $(X)");
}

TEST_F(Input, RawModeKeepsEverythingButTheLineEnd) {
    lineMode = 1;
    push("a 'b # \\\nc\r\n");
    EXPECT_EQ(logicalLines(), (Lines{"a 'b # \\", "c"}));
}

TEST_F(Input, QuotesGovernExpansionAndComments) {
    variableSet(nullptr, s("X"), s("yes"));
    push("'$(X) # \\t'\n\"$(X) # \\t\"\n\\# \\\" \\q \\t\n");
    EXPECT_EQ(logicalLines(), (Lines{"'$(X) # \\t'", "\"yes # \t\"", "# \" q \t"}));
}

TEST_F(Input, ReferencesNestAndExpandAgain) {
    variableSet(nullptr, s("a(b)c"), s("inner"));
    variableSet(nullptr, s("R"), s("<$(V)>"));
    variableSet(nullptr, s("V"), s("v"));
    variableSet(nullptr, s("B"), s("a\\"));
    push("$(a(b)c)\n$(R)\n$(B)\n   b\n");
    EXPECT_EQ(logicalLines(), (Lines{"inner", "<v>", "a b"}));
}

TEST_F(Input, LongExpansionsGrowTheBuffer) {
    std::string big(5000, 'v');
    variableSet(nullptr, s("BIG"), s(big.c_str()));
    push("[$(BIG)$(BIG)]\n");
    EXPECT_EQ(std::string(inputGetLine()), "[" + big + big + "]");
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
    EXPECT_STREQ(variableValue(globalTable, s("conf:1"), 1), "A = 1 2");
    EXPECT_STREQ(variableValue(globalTable, s("CURRENT_FILE"), 1), "conf:1");
    EXPECT_STREQ(variableValue(globalTable, s("CURRENT_LINE"), 1), "A = 1 2");
    EXPECT_EQ(inputLine, 2);
}

}  // namespace
