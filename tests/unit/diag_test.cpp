// Fatal errors, warnings, location names and the statement trace.
#include <gtest/gtest.h>

#include "core/istring.h"
#include "driver/builtins.h"
#include "driver/debug.h"
#include "input/charclass.h"
#include "input/diag.h"
#include "input/input.h"
#include "variables/scope.h"
#include "variables/variable.h"

namespace {

void startUp() {
    static bool done = false;
    if (!done) {
        istringInit();
        charClassInit();
        builtinsInit();
        scopeNew(nullptr);
        done = true;
    }
    inputFile = istringNew("conf");
    inputLine = 7;
}

TEST(Diag, FatalWritesOnlyTheMessage) {
    startUp();
    EXPECT_EXIT(fatal("%s: %d", "x", 3), testing::ExitedWithCode(1), "^x: 3\n$");
    EXPECT_EXIT(fatalAt("syntax error"), testing::ExitedWithCode(1), "^conf:7 syntax error\n$");
}

TEST(Diag, LocationNames) {
    startUp();
    EXPECT_EQ(lineRecordName(istringNew("<STDIN>"), 0), istringNew("<STDIN>:0"));
    std::string longName(300, 'd');
    EXPECT_EQ(lineRecordName(istringNew(longName.c_str()), 1234567), istringNew((longName + ":1234567").c_str()));
    // A shorter name after a longer one, and numbers past seven digits.
    EXPECT_EQ(lineRecordName(istringNew("a"), 123456789), istringNew("a:123456789"));
    EXPECT_EQ(lineRecordName(istringNew(""), -2147483647 - 1), istringNew(":-2147483648"));
}

TEST(Diag, HistoryCountsAndEndClearsPrefix) {
    startUp();
    int depth = statementCount;
    StatementStart();
    EXPECT_EQ(statementCount, depth + 1);
    EXPECT_EQ(statementHistory->file, istringNew("conf"));
    EXPECT_EQ(statementHistory->line, 7);
    inputPrefix = istringNew("\t");
    StatementEnd();
    EXPECT_EQ(statementCount, depth);
    EXPECT_EQ(inputPrefix, istringNew(""));
}

TEST(Diag, NoTraceWithoutLetterT) {
    startUp();
    debugClear('t');
    StatementStart();
    EXPECT_EXIT(fatal("plain"), testing::ExitedWithCode(1), "^plain\n$");
    StatementEnd();
}

TEST(Diag, TraceListsOpenStatementsOutermostFirst) {
    startUp();
    debugSet('t');
    inputLine = 3;
    StatementStart();
    inputLine = 4;
    StatementStart();
    variableSet(globalTable, istringNew("conf:3"), istringNew("when $(A) {"));
    EXPECT_EXIT(fatal("boom"), testing::ExitedWithCode(1),
                "^boom\nScope Trace:\n\n  1: conf:3 when \\$\\(A\\) \\{\n  2: conf:4 \n$");
    StatementEnd();
    StatementEnd();
    // With nothing open the heading is not printed either.
    EXPECT_EXIT(fatal("quiet"), testing::ExitedWithCode(1), "^quiet\n$");
    EXPECT_EXIT(StatementEnd(), testing::ExitedWithCode(1), "^statement history underflow\n$");
    // fatalAt traces too, after its located message.
    inputLine = 9;
    StatementStart();
    EXPECT_EXIT(fatalAt("yacc stack overflow"), testing::ExitedWithCode(1),
                "^conf:9 yacc stack overflow\nScope Trace:\n\n  1: conf:9 \n$");
    StatementEnd();
    debugClear('t');
}

TEST(Diag, WarningContinues) {
    startUp();
    testing::internal::CaptureStderr();
    warning("%s:%d missing prefix string (%s)", "conf", 2, "foo");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "conf:2 missing prefix string (foo)\n");
}

}  // namespace
