// Fatal errors, warnings, location names and the statement trace.
#include <gtest/gtest.h>

#include "driver/debug.h"
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
    struct Row { std::string file; int line; std::string name; };
    for (const Row &row : std::vector<Row>{{"<STDIN>", 0, "<STDIN>:0"},
                                           {longName, 1234567, longName + ":1234567"},
                                           // shorter after longer, more than seven digits
                                           {"a", 123456789, "a:123456789"},
                                           {"", -2147483647 - 1, ":-2147483648"}}) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(lineRecordName(I(row.file), row.line), I(row.name));
    }
}

TEST(Diag, HistoryCountsAndEndClearsPrefix) {
    startUp();
    int depth = statementCount;
    StatementStart();
    EXPECT_EQ(statementCount, depth + 1);
    EXPECT_EQ(statementHistory->file, I("conf"));
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
