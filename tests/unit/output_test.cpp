// Sections, writers, the function store and the program search.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
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

class Output : public ::testing::Test {
protected:
    void SetUp() override {
        support::initAll();  // fresh sections and globals for every case
        inputFile = s("conf");
    }
    std::string path(const std::string &name) const { return scratch.path(name); }
    std::string read(const std::string &name) const { return scratch.read(name); }
    void emitOrder(const char *list) {
        variableSet(globalTable, names.EMIT, s(list));
        sectionsEmit();
    }
    support::TempDir scratch;
};

using support::captured;

std::string wrapped(const std::string &text) {
    return captured([&](FILE *f) { emitWrapped(f, text.c_str()); });
}

BuildRecord *records(std::initializer_list<std::pair<const char *, uint32_t>> sources) {
    BuildRecord *first = nullptr, **tail = &first;
    for (auto [source, flags] : sources) {
        *tail = static_cast<BuildRecord *>(calloc(1, sizeof(BuildRecord)));
        (*tail)->source = s(source);
        (*tail)->target = s(std::string(source) + ".o");
        (*tail)->flags = flags;
        tail = &(*tail)->next;
    }
    return first;
}

TEST_F(Output, WrappedLines) {
    EXPECT_EQ(wrapped(""), "\n");
    EXPECT_EQ(wrapped("   "), "   \n");
    EXPECT_EQ(wrapped("a  b \t\n\n"), "a  b\n");
    EXPECT_EQ(wrapped("a\nb"), "a\nb\n");  // an inner line end must not stall
    std::string word(100, 'w');
    EXPECT_EQ(wrapped(word + " b"), word + " \\\n\t b\n");
    // A chunk starting by column 8 stays; later ones move once they end at 77.
    EXPECT_EQ(wrapped("a " + std::string(90, 'x')), "a " + std::string(90, 'x') + "\n");
    EXPECT_EQ(wrapped("ninechars " + std::string(65, 'x')), "ninechars " + std::string(65, 'x') + "\n");
    EXPECT_EQ(wrapped("ninechars " + std::string(66, 'x')), "ninechars \\\n\t " + std::string(66, 'x') + "\n");

    std::string text = "OBJS +=", expected = text;
    for (int i = 1; i <= 20; i++) {
        std::string object = "obj" + std::to_string(1000 + i);  // seven characters
        text += " " + object;
        expected += (i == 8 || i == 15 ? " \\\n\t " : " ") + object;
    }
    EXPECT_EQ(wrapped(text + "\n"), expected + "\n");
}

TEST_F(Output, SourceList) {
    BuildRecord *first = nullptr, **tail = &first;
    std::string expected = "SRCS +=\t";
    for (int i = 10; i < 40; i++) {
        std::string source = "s" + std::to_string(i) + ".c";
        *tail = records({{source.c_str(), 0}});
        tail = &(*tail)->next;
        expected += (i == 10 ? "" : i == 23 || i == 36 ? " \\\n\t" : " ") + source;
    }
    EXPECT_EQ(captured([&](FILE *f) { emitVariableList("SRCS", f, first, nullptr); }), expected + "\n\n");
    EXPECT_EQ(captured([&](FILE *f) { emitVariableList("SRCS", f, first, nullptr); }), "");

    istring c = s(".c");
    BuildRecord *list = records({{"d.c", BUILD_DYNAMIC}, {"f.c", BUILD_FAKE}, {"i.c", BUILD_INTERMEDIATE},
                                 {"a.s", 0}, {"b.c", 0}});
    for (BuildRecord *r = list; r; r = r->next)
        r->key = r->source[0] == 'a' ? s(".s") : c;
    EXPECT_EQ(captured([&](FILE *f) { emitVariableList("SOURCES", f, list, c); }), "SOURCES +=i.c b.c\n\n");
    EXPECT_EQ(captured([&](FILE *f) { emitVariableList("S", f, list, nullptr); }), "S +=\ta.s\n\n");
}

TEST_F(Output, TextLinesPlainPrettyAndExpanded) {
    variableSet(globalTable, s("Y"), s("value"));
    TextObject *section = textCreate(s("A"), s(path("out")), nullptr);
    textAppend(section, s("  plain"), 0);
    textAppend(section, s("wrapped-at " + std::string(80, 'y')), TEXT_PRETTY);
    textAppend(section, s("\\$(Y)"), TEXT_EXPAND);
    emitOrder("A A");
    EXPECT_EQ(read("out"), "  plain\nwrapped-at \\\n\t " + std::string(80, 'y') + "\n$(Y)\n"
                           "  plain\nwrapped-at \\\n\t " + std::string(80, 'y') + "\nvalue\n");
    textEmit(textCreate(s("unbound"), nullptr, nullptr));  // no output: nothing to do
}

TEST_F(Output, Rules) {
    HashTable *scope = ht_new();
    variableSet(scope, names.MATCH, s("foo"));
    TemplateRecord compile{}, bare{};
    compile.commands = textLineNew(s("cc -c $(.MATCH).c $<"), 0, "command");
    BuildRecord *list = records({{"src/foo.c", 0}, {"all", 0}});
    list->template_ = &compile;
    list->next->target = list->next->source;
    list->next->template_ = &bare;
    list->scope = list->next->scope = scope;
    TextObject *rules = textCreate(s(".RULES"), s(path("out")), nullptr);
    rules->builds = list;
    rulesEmit(rules);
    EXPECT_EQ(read("out"), "\nsrc/foo.c.o: src/foo.c\n\tcc -c foo.c $<\n\nall:\n");
}

TEST_F(Output, Objects) {
    TextObject *objs = textCreate(s(".OBJS"), s(path("Makefile")), nullptr);
    objs->writer = objEmit;
    objEmit(objs);
    rulesEmit(objs);
    EXPECT_FALSE(std::filesystem::exists(path("Makefile")));

    objs->builds = records({{"a.c", BUILD_INTERMEDIATE}, {"b.c", BUILD_INTERMEDIATE}});
    objEmit(objs);
    EXPECT_EQ(read("Makefile"), "SRCS +=\ta.c b.c\n\n");

    TextObject *other = textCreate(s(".OTHER"), s(path("other")), nullptr);
    other->builds = records({{"a.c", 0}, {"b.c", 0}});
    other->writer = objEmit;
    variableAppend(globalTable, names.OBJS, s("a.o"), nullptr);
    variableAppend(globalTable, names.OBJS, s("b.o"), nullptr);
    emitOrder(".OTHER .OTHER");
    EXPECT_EQ(read("other"), "SRCS +=\ta.c b.c\n\n\nOBJS += a.o b.o\n\n\nOBJS += a.o b.o\n\n");
}

TEST_F(Output, LineLinks) {
    TextObject *section = textCreate(s("L"), nullptr, nullptr);
    textDropFirst(section);
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
    EXPECT_EQ(a->file, inputFile);
    EXPECT_EQ(c->line, 42);
    textDropFirst(section);
    EXPECT_EQ(section->lines, b);
    EXPECT_EQ(b->link, c);
    textAppend(section, s("d"), 0);
    EXPECT_EQ(b->link, c->next);
    EXPECT_EQ(c->next->link, c);
}

TEST_F(Output, SectionsBindAndShareOutputs) {
    TextObject *a = textCreate(s("A"), s(path("one")), nullptr);
    textAppend(a, s("a1"), 0);
    EXPECT_EQ(textCreate(s("A"), nullptr, nullptr)->output, a->output);
    EXPECT_EQ(textCreate(s("A"), s(path("two")), nullptr), a);  // moves, earlier lines included
    TextObject *b = textCreate(s("B"), s(path("two")), stdout);  // stream ignored: output exists
    EXPECT_EQ(b->output, a->output);
    textAppend(b, s("b1"), 0);
    textCreate(s("P"), nullptr, nullptr);
    textCreate(s("N"), s(path("two")), nullptr)->writer = nullptr;
    EXPECT_EQ(sectionFind(s("missing")), nullptr);

    std::ofstream(path("two")) << "old content\n";
    testing::internal::CaptureStderr();
    emitOrder("  B nosuch\tP N A ");
    std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_NE(errors.find("nosuch: section not found\n"), std::string::npos);
    EXPECT_NE(errors.find("N: section not found\n"), std::string::npos);
    EXPECT_EQ(read("two"), "b1\na1\n");
    EXPECT_FALSE(std::filesystem::exists(path("one")));

    textAppend(textCreate(s("X"), s("/nonexistent-dir/out"), nullptr), s("x"), 0);
    EXPECT_EXIT(emitOrder("X"), testing::ExitedWithCode(1), "/nonexistent-dir/out: No such file or directory");
}

TEST_F(Output, FunctionsNewestFirst) {
    TextLine *first = textLineNew(s("first"), 0, "test"), *second = textLineNew(s("second"), 0, "test");
    FunctionAdd(s("f"), first, 3);
    EXPECT_EQ(functionList->file, inputFile);
    EXPECT_EQ(FunctionCall(s("g")), -1);
    EXPECT_EQ(inputStack, nullptr);
    EXPECT_EQ(FunctionCall(s("f")), 0);
    EXPECT_EQ(inputStack->lines, first);
    EXPECT_EQ(inputLine, 3);
    FunctionAdd(s("f"), second, 9);
    EXPECT_EQ(FunctionCall(s("f")), 0);
    EXPECT_EQ(inputStack->lines, second);
    FunctionAdd(s("empty"), nullptr, 12);
    EXPECT_EQ(FunctionCall(s("empty")), 0);
}

class Search : public Output {
protected:
    void SetUp() override {
        Output::SetUp();
        std::filesystem::create_directories(path("cwd/tools"));
        std::filesystem::create_directories(path("d1"));
        std::filesystem::create_directories(path("d2"));
        savedPath = getenv("PATH") ? getenv("PATH") : "";
        ASSERT_EQ(chdir(path("cwd").c_str()), 0);
    }
    void TearDown() override {
        setenv("PATH", savedPath.c_str(), 1);
        Output::TearDown();
    }
    std::string savedPath;
    void program(const std::string &where) { std::ofstream(path(where)) << "#!/bin/sh\n"; }
    std::string found(const char *name) {
        char *result = findProgramDirectory(name);
        std::string text = result ? result : "<none>";
        free(result);
        return text;
    }
};

TEST_F(Search, ProgramDirectory) {
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
    EXPECT_EQ(found("tools/brisk"), path("cwd/tools"));
    EXPECT_EQ(found("/no/such/dir/brisk"), "/no/such/dir");
    EXPECT_EQ(found(nullptr), "<none>");
    unsetenv("PATH");
    EXPECT_EQ(found("brisk"), "<none>");
    EXPECT_EQ(found("tools/brisk"), path("cwd/tools"));

    char *joined = joinPath("dir/xyz", 4, "name");
    EXPECT_STREQ(joined, "dir/name");
    free(joined);
    EXPECT_EQ(host::strncasecmp("brisk.EXE", "BRISK.exe", 9), 0);
    EXPECT_LT(host::strncasecmp("abc", "abd", 3), 0);
    EXPECT_EQ(host::strncasecmp("abc", "abd", 2), 0);
    EXPECT_GT(host::strncasecmp("abc", "AB", 10), 0);
}

}  // namespace
