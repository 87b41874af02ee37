// Line wrapping, source lists, section binding, line links and the program search.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

#include "input/input.h"
#include "language/build.h"
#include "output/function.h"
#include "output/text.h"
#include "output/writers.h"
#include "support.h"
#include "variables/variable.h"

namespace {

istring s(const std::string &text) { return istringNew(text.c_str()); }
using support::captured;

class Output : public ::testing::Test {
protected:
    void SetUp() override {
        support::initAll();  // fresh sections and globals for every case
        inputFile = s("conf");
    }
    std::string path(const std::string &name) const { return scratch.path(name); }
    void emitOrder(const char *list) {
        variableSet(globalTable, names.EMIT, s(list));
        sectionsEmit();
    }
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

TEST_F(Output, SourceListMarksAndFilters) {
    istring c = s(".c");
    BuildRecord *first = nullptr, **tail = &first;
    for (auto [source, flags] : {std::pair<const char *, uint32_t>{"d.c", BUILD_DYNAMIC}, {"f.c", BUILD_FAKE},
                                 {"i.c", BUILD_INTERMEDIATE}, {"a.s", 0}, {"b.c", 0}}) {
        *tail = static_cast<BuildRecord *>(calloc(1, sizeof(BuildRecord)));
        (*tail)->source = s(source);
        (*tail)->flags = flags;
        (*tail)->key = source[2] == 's' ? s(".s") : c;
        tail = &(*tail)->next;
    }
    // With a key only matching records are written, and each is marked.
    EXPECT_EQ(captured([&](FILE *f) { emitVariableList("SOURCES", f, first, c); }), "SOURCES +=i.c b.c\n\n");
    EXPECT_EQ(captured([&](FILE *f) { emitVariableList("S", f, first, nullptr); }), "S +=\ta.s\n\n");
    EXPECT_EQ(captured([&](FILE *f) { emitVariableList("S", f, first, nullptr); }), "");
}

TEST_F(Output, LineLinks) {
    // Each line links to the one before it; the first links to the last.
    TextObject *section = textCreate(s("L"), nullptr, nullptr);
    textDropFirst(section);  // empty: nothing to do
    textAppend(section, s("one"), 0);
    EXPECT_EQ(section->lines->link, section->lines);
    textDropFirst(section);
    EXPECT_EQ(section->lines, nullptr);

    inputLine = 42;
    textAppend(section, s("b"), 0);
    textAppend(section, s("c"), 0);
    textPrepend(section, s("a"), TEXT_PRETTY);
    TextLine *a = section->lines, *b = a->next, *c = b->next;
    EXPECT_EQ(a->link, c);
    EXPECT_EQ(b->link, a);
    EXPECT_EQ(c->link, b);
    EXPECT_EQ(a->flags, unsigned(TEXT_PRETTY));
    EXPECT_EQ(c->line, 42);
    textDropFirst(section);
    EXPECT_EQ(b->link, c);
    textAppend(section, s("d"), 0);
    EXPECT_EQ(b->link, c->next);
    EXPECT_EQ(c->next->link, c);
}

TEST_F(Output, SectionsRebindAndShareOutputsTruncatedOnce) {
    TextObject *a = textCreate(s("A"), s(path("one")), nullptr);
    textAppend(a, s("a1"), 0);
    EXPECT_EQ(textCreate(s("A"), nullptr, nullptr)->output, a->output);
    EXPECT_EQ(textCreate(s("A"), s(path("two")), nullptr), a);  // moves, earlier lines included
    TextObject *b = textCreate(s("B"), s(path("two")), stdout);  // stream ignored: output exists
    EXPECT_EQ(b->output, a->output);
    textAppend(b, s("b1"), 0);
    textCreate(s("N"), s(path("two")), nullptr)->writer = nullptr;

    std::ofstream(path("two")) << "old content\n";
    testing::internal::CaptureStderr();
    emitOrder("  B nosuch\tN A ");
    std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_NE(errors.find("nosuch: section not found\n"), std::string::npos);
    EXPECT_NE(errors.find("N: section not found\n"), std::string::npos);
    EXPECT_EQ(scratch.read("two"), "b1\na1\n");
    EXPECT_FALSE(std::filesystem::exists(path("one")));

    textAppend(textCreate(s("X"), s("/nonexistent-dir/out"), nullptr), s("x"), 0);
    EXPECT_EXIT(emitOrder("X"), testing::ExitedWithCode(1), "/nonexistent-dir/out: No such file or directory");
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
