// Line wrapping and the program search.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

#include "output/function.h"
#include "output/writers.h"
#include "support.h"

namespace {

using support::captured;

class Output : public ::testing::Test {
protected:
    void SetUp() override { support::startUp(); }
    std::string path(const std::string &name) const { return scratch.path(name); }
    support::TempDir scratch;
};

TEST_F(Output, WrappedLineBoundaries) {
    std::string word(100, 'w');
    const std::pair<std::string, std::string> cases[] = {
        {"", "\n"},
        {"   ", "   \n"},                       // blanks only: kept as they are
        {"a  b \t\n\n", "a  b\n"},             // trailing blanks and line ends dropped
        {"a\nb", "a\nb\n"},                    // an inner line end must not stall
        {word + " b", word + " \\\n\t b\n"},   // the first chunk is never broken
        // A chunk starting by column 8 stays; later ones move once they end past 76.
        {"a " + std::string(90, 'x'), "a " + std::string(90, 'x') + "\n"},
        {"ninechars " + std::string(65, 'x'), "ninechars " + std::string(65, 'x') + "\n"},
        {"ninechars " + std::string(66, 'x'), "ninechars \\\n\t " + std::string(66, 'x') + "\n"},
    };
    for (const auto &[text, expected] : cases)
        EXPECT_EQ(captured([&](FILE *f) { emitWrapped(f, text.c_str()); }), expected) << text;
}

TEST_F(Output, ProgramSearchOrder) {
    for (const char *d : {"cwd/tools", "d1", "d2"})
        std::filesystem::create_directories(path(d));
    std::string saved = getenv("PATH") ? getenv("PATH") : "";
    ASSERT_EQ(chdir(path("cwd").c_str()), 0);
    auto found = [](const char *name) {
        char *result = findProgramDirectory(name);
        std::string text = result ? result : "<none>";
        free(result);
        return text;
    };
    auto program = [&](const std::string &where) { std::ofstream(path(where)) << "#!/bin/sh\n"; };

    setenv("PATH", (path("d1") + ":" + path("d2")).c_str(), 1);
    EXPECT_EQ(found("brisk"), "<none>");
    program("cwd/brisk");
    EXPECT_EQ(found("brisk"), path("cwd"));  // the current directory comes last
    program("d2/brisk");
    EXPECT_EQ(found("brisk"), path("d2"));
    program("d1/brisk");
    EXPECT_EQ(found("brisk"), path("d1"));
    EXPECT_EQ(found("tools"), "<none>");  // a directory is not a program
    program("cwd/tools/brisk");
    EXPECT_EQ(found("tools/brisk"), path("cwd/tools"));  // a name with a slash is not searched
    unsetenv("PATH");
    EXPECT_EQ(found("brisk"), "<none>");

    // A working directory longer than any fixed buffer still yields it.
    std::string deep = "cwd/" + std::string(200, 'x') + "/" + std::string(200, 'y');
    std::filesystem::create_directories(path(deep));
    program(deep + "/brisk");
    ASSERT_EQ(chdir(path(deep).c_str()), 0);
    setenv("PATH", "", 1);
    EXPECT_EQ(found("brisk"), path(deep));
    ASSERT_EQ(chdir(path("cwd").c_str()), 0);
    setenv("PATH", saved.c_str(), 1);
}

}  // namespace
