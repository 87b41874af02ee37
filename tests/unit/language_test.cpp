// The statement actions that the end-to-end cases cannot observe directly.
// The parser loop itself is exercised end to end (tests/e2e/lang-*.case).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "input/input.h"
#include "language/actions.h"
#include "language/state.h"
#include "input/tokens.h"
#include "support.h"
#include "variables/scope.h"

namespace {

istring s(const char *text) { return istringNew(text); }

class Language : public ::testing::Test {
protected:
    void SetUp() override {
        support::startUp();
        inputFile = s("conf");
        inputLine = 1;
        scopeNew(nullptr);  // every test works in a scope of its own
        frameBegin();
    }
    void TearDown() override { scopePop(); }
};

TEST_F(Language, EmitTagNamingEmitLeavesRoomForAnother) {
    emitNow();
    emitNow();  // -now twice is allowed
    EXPECT_EQ(currentSection, sectionNamed(".EMIT-NOW"));
    frameBegin();
    emitTag(s(".EMIT"));
    emitTag(s("b"));
    EXPECT_EQ(currentSection, sectionNamed("b"));
    EXPECT_EXIT(emitNow(), testing::ExitedWithCode(1), "^Cannot specify both -tag and -now\n$");
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
