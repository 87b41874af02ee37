// The statement actions. The parser loop itself is exercised end to end
// (tests/e2e/lang-*.case).
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "core/istring.h"
#include "core/stack.h"
#include "driver/builtins.h"
#include "input/charclass.h"
#include "input/input.h"
#include "language/actions.h"
#include "language/state.h"
#include "language/tokens.h"
#include "output/text.h"
#include "variables/expand.h"
#include "variables/scope.h"
#include "variables/variable.h"

namespace {

istring s(const char *text) { return istringNew(text); }

class Language : public ::testing::Test {
protected:
    void SetUp() override {
        static bool started = false;
        if (!started) {
            istringInit();
            charClassInit();
            builtinsInit();
            textInit();
            scopeNew(nullptr);
            started = true;
        }
        inputFile = s("conf");
        inputLine = 1;
        inputPrefix = s("");
        // Every test works in a scope of its own.
        scopeNew(nullptr);
        frameBegin();
    }
    void TearDown() override { scopePop(); }

    static std::string value(const char *name) { return variableExpand(nullptr, s(name), 0); }
    static std::string global(const char *name) {
        istring text = variableValue(globalTable, s(name), 1);
        return text ? text : "";
    }
};

std::vector<std::string> words(const char *text) {
    std::vector<std::string> out;
    const char *cursor = text;
    const char *end = nullptr;
    while (istring word = wordNext(&cursor, &end))
        out.push_back(word);
    return out;
}

TEST_F(Language, WordsAreRunsOutsideTheDelimiters) {
    EXPECT_EQ(words("  a\tbb   c "), (std::vector<std::string>{"a", "bb", "c"}));
    EXPECT_TRUE(words(" \t ").empty());
    EXPECT_TRUE(words("").empty());
    // The end given on the first call bounds the later ones.
    const char *text = "one two";
    const char *cursor = text;
    const char *end = text + 3;
    EXPECT_EQ(wordNext(&cursor, &end), s("one"));
    EXPECT_EQ(wordNext(&cursor, &end), nullptr);

    EXPECT_EQ(wordIn(s("x  y"), s("y")), 1);
    EXPECT_EQ(wordIn(s("x  y"), s("x y")), 0);
    EXPECT_EQ(wordIn(s(""), s("x")), 0);
}

TEST_F(Language, ListsKeepSourceOrder) {
    TextLine *list = nullptr;
    for (const char *word : {"a", "b", "c"})
        list = stringlistAppend(list, s(word));
    EXPECT_EQ(stringJoin(list), s("a b c"));
    EXPECT_EQ(list->link->text, s("c"));

    // Command lists are built from the last line back.
    TextLine *commands = commandsPrepend(s("one"), commandsPrepend(s("two"), textLineNew(s("three"), 0, "command")));
    EXPECT_EQ(commands->text, s("one"));
    EXPECT_EQ(commands->next->next->text, s("three"));
    EXPECT_EQ(commands->link->text, s("three"));
    EXPECT_EQ(commands->next->next->link->text, s("two"));

    scopePush();
    scopeIgnore();
    EXPECT_EQ(stringlistAppend(nullptr, s("a")), nullptr);
    scopePop();
}

TEST_F(Language, ConditionalAssignmentLooksWhereItShould) {
    assignmentDo(nullptr, ASSIGN, s("Y"), s("outer"));
    scopeNew(nullptr);
    assignmentDo(nullptr, CONDASSIGN, s("Y"), s("1"));
    EXPECT_EQ(value("Y"), "outer");
    assignmentDo(globalTable, CONDASSIGN, s("Y"), s("1"));
    EXPECT_EQ(global("Y"), "1");
    scopePop();

    assignmentDo(nullptr, ASSIGN, s("X"), s("a"));
    assignmentDo(nullptr, APPEND, s("X"), s("b"));
    assignmentDo(nullptr, PREPEND, s("X"), s("c"));
    EXPECT_EQ(value("X"), "c a b");
    scopePush();
    scopeIgnore();
    assignmentDo(nullptr, ASSIGN, s("X"), s("skipped"));
    scopePop();
    EXPECT_EQ(value("X"), "c a b");
}

TEST_F(Language, EmitArgumentChecks) {
    emitNow();
    emitNow();
    EXPECT_EQ(currentSection, sectionNamed(".EMIT-NOW"));
    EXPECT_EXIT(emitTag(s("a")), testing::ExitedWithCode(1), "^Cannot specify both -tag and -now\n$");
    frameBegin();
    emitTag(s("a"));
    EXPECT_EQ(currentSection, sectionNamed("a"));
    EXPECT_EXIT(emitTag(s("b")), testing::ExitedWithCode(1), "^Can only specify -tag once\n$");
    EXPECT_EXIT(emitNow(), testing::ExitedWithCode(1), "^Cannot specify both -tag and -now\n$");
    // A first -tag that names .EMIT itself leaves room for another.
    frameBegin();
    emitTag(s(".EMIT"));
    emitTag(s("b"));
    EXPECT_EQ(currentSection, sectionNamed("b"));
}

TEST_F(Language, ImportConvertsTheEnvironmentInPlace) {
    setenv("LANG_TEST_PATH", "c:\\x\\y", 1);
    statementImport(s("LANG_TEST_PATH"), 1);
    EXPECT_EQ(value("LANG_TEST_PATH"), "c:/x/y");
    EXPECT_STREQ(getenv("LANG_TEST_PATH"), "c:/x/y");
}

TEST_F(Language, ForPassesAreQueuedInWordOrder) {
    assignmentDo(nullptr, ASSIGN, s("L"), s("a  b"));
    forCollect(s("echo $(X)"));
    inputLine = 9;
    forReplay(s("X"), s("L"), 1);
    EXPECT_EQ(forBody.lines, nullptr);
    // Each line with the line number it reports: the added lines carry the
    // location of the closing brace, the body its own.
    std::vector<std::string> lines;
    int length;
    while (char *line = inputRawLine(&length))
        lines.push_back(std::string(line, length) + "@" + std::to_string(inputLine));
    EXPECT_EQ(lines, (std::vector<std::string>{"\tX=a@9", "in new scope {@9", "echo $(X)@1", "}@9", "\tX=b@9",
                                               "in new scope {@9", "echo $(X)@1", "}@9"}));
}

}  // namespace
