// The grammar, the parser loop and the statement actions.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "core/istring.h"
#include "core/stack.h"
#include "driver/builtins.h"
#include "input/charclass.h"
#include "input/input.h"
#include "input/lexer.h"
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
            keywordInit();
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

    // Runs a whole configuration through the lexer and the parser.
    static void parse(const char *text) {
        FILE *stream = fmemopen(const_cast<char *>(text), strlen(text), "r");
        inputAdd(stream, "conf");
        yyparse();
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

TEST_F(Language, WhenElseChain) {
    // when 0 { } else when 1 { } else { }: only the middle branch runs.
    blockEnter(0);
    EXPECT_EQ(chainWhen(0), 0);
    EXPECT_TRUE(scopeIgnoring());
    chainEnd(0);
    scopePop();
    EXPECT_EQ(value(".FALSE"), ".FALSE");
    EXPECT_FALSE(variableDefined(nullptr, s(".TRUE")));

    blockEnter(0);
    EXPECT_EQ(chainElseWhen(1), 1);
    EXPECT_TRUE(scopeActive());
    chainEnd(1);
    scopePop();

    blockEnter(1);
    EXPECT_EQ(chainElse(), 1);
    EXPECT_TRUE(scopeIgnoring());
    chainEnd(1);
    scopePop();
    EXPECT_EQ(value(".TRUE"), ".TRUE");
    EXPECT_FALSE(variableDefined(nullptr, s(".FALSE")));

    // Inside a skipped block a when never runs, whatever its requirement.
    scopePush();
    scopeIgnore();
    blockEnter(0);
    EXPECT_EQ(chainWhen(1), 0);
    chainEnd(0);
    scopePop();
    scopePop();
    EXPECT_EQ(value(".FALSE"), ".FALSE");
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
}

TEST_F(Language, ExitErrorAndImport) {
    EXPECT_EXIT(statementExit(s("0x10")), testing::ExitedWithCode(16), "");
    EXPECT_EXIT(statementExit(s("abc")), testing::ExitedWithCode(0), "");
    TextLine *message = stringlistAppend(stringlistAppend(nullptr, s("bad")), s("thing"));
    EXPECT_EXIT(statementError(message, 1), testing::ExitedWithCode(1), "^bad thing\n$");
    statementError(message, 0);

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
    std::vector<std::string> lines;
    int length;
    while (char *line = inputRawLine(&length))
        lines.push_back(std::string(line, length));
    EXPECT_EQ(lines, (std::vector<std::string>{"\tX=a", "in new scope {", "echo $(X)", "}", "\tX=b",
                                               "in new scope {", "echo $(X)", "}"}));
}

TEST_F(Language, ConditionsGroupFromTheLeft) {
    // The end of the input closes the scope the parse ran in: the results go
    // to the global table.
    parse("a = 1\n"
          "when a || b && c {\n"
          "\tglobal R1 = yes\n"
          "}\n"
          "when ! b && a {\n"
          "\tglobal R2 = yes\n"
          "}\n");
    EXPECT_EQ(global("R1"), "");
    EXPECT_EQ(global("R2"), "yes");
}

TEST_F(Language, ParserFailures) {
    EXPECT_EXIT(parse("X = 1\necho a -output\n"), testing::ExitedWithCode(1), "^conf:2 syntax error\n$");
    std::string deep;
    for (int i = 0; i < 4000; i++)
        deep += "{\n";
    EXPECT_EXIT(parse(deep.c_str()), testing::ExitedWithCode(1), "yacc stack overflow\n$");
}

TEST_F(Language, TraceFormat) {
    setenv("YYDEBUG", "1", 1);
    testing::internal::CaptureStdout();
    parse("");
    std::string trace = testing::internal::GetCapturedStdout();
    unsetenv("YYDEBUG");
    yydebug = 0;
    EXPECT_EQ(trace.find("yydebug: state 0, reducing by rule 1 ($$1 :)\n"), 0u);
    EXPECT_NE(trace.find(", reading 0 (end-of-file)\n"), std::string::npos);
    EXPECT_NE(trace.find("reducing by rule 2 (configuration : $$1 statements)\n"
                         "yydebug: after reduction, shifting from state 0 to state 1\n"),
              std::string::npos);
}

}  // namespace
