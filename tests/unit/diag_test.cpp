// Fatal errors, warnings, location names and the statement trace.
#include <gtest/gtest.h>

#include "core/debug.h"
#include "input/diag.h"
#include "support.h"
#include "variables/variable.h"

namespace {

using support::I;

void startUp() {
    support::startUp();
    inputFile = I("conf");
    inputLine = 7;
}

TEST(Diag, LocationNames) {
    startUp();
    std::string longName(300, 'd');
    EXPECT_EQ(lineRecordName(I(longName), 1234567), I(longName + ":1234567"));
    // Shorter after longer, more than seven digits; the smallest line number.
    EXPECT_EQ(lineRecordName(I("a"), 123456789), I("a:123456789"));
    EXPECT_EQ(lineRecordName(I(""), -2147483647 - 1), I(":-2147483648"));
}

TEST(Diag, HistoryEndClearsPrefix) {
    startUp();
    int depth = statementCount;
    StatementStart();
    EXPECT_EQ(statementHistory->line, 7);
    inputPrefix = I("\t");
    StatementEnd();
    EXPECT_EQ(statementCount, depth);
    EXPECT_EQ(inputPrefix, I(""));
}

TEST(Diag, FatalMessagesAndTheTraceUnderLetterT) {
    startUp();
    EXPECT_EXIT(fatal("%s: %d", "x", 3), testing::ExitedWithCode(1), "^x: 3\n$");
    EXPECT_EXIT(fatalAt("syntax error"), testing::ExitedWithCode(1), "^conf:7 syntax error\n$");
    debugClear('t');
    StatementStart();
    EXPECT_EXIT(fatal("plain"), testing::ExitedWithCode(1), "^plain\n$");
    StatementEnd();

    debugSet('t');
    inputLine = 3;
    StatementStart();
    inputLine = 4;
    StatementStart();
    variableSet(globalTable, I("conf:3"), I("when $(A) {"));
    EXPECT_EXIT(fatal("boom"), testing::ExitedWithCode(1),
                "^boom\nScope Trace:\n\n  1: conf:3 when \\$\\(A\\) \\{\n  2: conf:4 \n$");
    EXPECT_EXIT(fatalAt("yacc stack overflow"), testing::ExitedWithCode(1),
                "^conf:4 yacc stack overflow\nScope Trace:\n\n  1: conf:3 when \\$\\(A\\) \\{\n  2: conf:4 \n$");
    StatementEnd();
    StatementEnd();
    // With nothing open the heading is not printed either.
    EXPECT_EXIT(fatal("quiet"), testing::ExitedWithCode(1), "^quiet\n$");
    EXPECT_EXIT(StatementEnd(), testing::ExitedWithCode(1), "^statement history underflow\n$");
    debugClear('t');
}

TEST(Diag, WarningContinues) {
    startUp();
    testing::internal::CaptureStderr();
    warning("%s:%d missing prefix string (%s)", "conf", 2, "foo");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "conf:2 missing prefix string (foo)\n");
}

}  // namespace
