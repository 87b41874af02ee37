// Sections, writers, the function store and the program search.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "core/hashtable.h"
#include "core/istring.h"
#include "driver/builtins.h"
#include "input/charclass.h"
#include "input/input.h"
#include "language/build.h"
#include "output/function.h"
#include "output/text.h"
#include "output/writers.h"
#include "variables/scope.h"
#include "variables/variable.h"

namespace {

class Output : public ::testing::Test {
protected:
    void SetUp() override {
        istringInit();
        charClassInit();
        builtinsInit();
        textInit();
        scopeNew(nullptr);
        inputFile = istringNew("conf");
        inputPrefix = istringNew("");
        char pattern[] = "/tmp/brisk-output-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir = pattern;
    }
    void TearDown() override { std::filesystem::remove_all(dir); }

    std::string path(const std::string &name) const { return dir + "/" + name; }
    istring ipath(const std::string &name) const { return istringNew(path(name).c_str()); }

    std::string dir;
};

std::string readFile(const std::string &path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

bool exists(const std::string &path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0;
}

// Bytes written to a stream by one call.
template <typename F>
std::string captured(F write) {
    char *buffer = nullptr;
    size_t size = 0;
    FILE *stream = open_memstream(&buffer, &size);
    write(stream);
    fclose(stream);
    std::string text(buffer, size);
    free(buffer);
    return text;
}

std::string wrapped(const std::string &text) {
    return captured([&](FILE *f) { emitWrapped(f, text.c_str()); });
}

BuildRecord *record(const char *source, const char *target, uint32_t flags = 0, istring key = nullptr) {
    BuildRecord *r = static_cast<BuildRecord *>(calloc(1, sizeof(BuildRecord)));
    r->source = istringNew(source);
    r->target = istringNew(target);
    r->flags = flags;
    r->key = key;
    return r;
}

BuildRecord *chain(std::initializer_list<BuildRecord *> records) {
    BuildRecord *first = nullptr, *last = nullptr;
    for (BuildRecord *r : records) {
        (last ? last->next : first) = r;
        last = r;
    }
    return first;
}

std::string numbered(const char *stem, int i, int width) {
    char text[32];
    snprintf(text, sizeof text, "%s%0*d", stem, width, i);
    return text;
}

// ---- emitWrapped ----------------------------------------------------------

TEST_F(Output, WrappedShortTextsAndBlanks) {
    EXPECT_EQ(wrapped(""), "\n");
    EXPECT_EQ(wrapped("   "), "   \n");
    EXPECT_EQ(wrapped("a  b"), "a  b\n");
    EXPECT_EQ(wrapped("a b \t\n\n"), "a b\n");
    EXPECT_EQ(wrapped("\ta"), "\ta\n");
}

TEST_F(Output, WrappedLongFirstWordStaysOnItsLine) {
    std::string word(100, 'w');
    EXPECT_EQ(wrapped(word), word + "\n");
    EXPECT_EQ(wrapped(word + " b"), word + " \\\n\t b\n");
}

TEST_F(Output, WrappedObjectLineSevenPerLine) {
    std::string text = "OBJS +=";
    std::string expected = "OBJS +=";
    for (int i = 1; i <= 20; i++) {
        std::string object = numbered("obj", i, 4);  // seven characters
        text += " " + object;
        if (i == 8 || i == 15)
            expected += " \\\n\t";
        expected += " " + object;
    }
    text += "\n";
    expected += "\n";
    EXPECT_EQ(wrapped(text), expected);
}

TEST_F(Output, WrappedBreaksAtColumnSeventySeven) {
    // A chunk starting at column 8 or before is never moved.
    std::string early = "a " + std::string(90, 'x');
    EXPECT_EQ(wrapped(early), early + "\n");
    // After a nine-character word, a chunk ending at column 76 stays and one
    // ending at 77 moves.
    std::string fits = "ninechars " + std::string(65, 'x');
    EXPECT_EQ(wrapped(fits), fits + "\n");
    std::string moves = "ninechars " + std::string(66, 'x');
    EXPECT_EQ(wrapped(moves), "ninechars \\\n\t " + std::string(66, 'x') + "\n");
}

TEST_F(Output, WrappedEmbeddedLineEndDoesNotHang) {
    EXPECT_EQ(wrapped("a\nb"), "a\nb\n");
}

// ---- emitVariableList -----------------------------------------------------

TEST_F(Output, SourceListWrapsAfterThirteenFiveCharacterSources) {
    BuildRecord *first = nullptr, *last = nullptr;
    std::string expected = "SRCS +=\t";
    for (int i = 1; i <= 30; i++) {
        std::string source = numbered("s", i, 2) + ".c";
        BuildRecord *r = record(source.c_str(), "t");
        (last ? last->next : first) = r;
        last = r;
        if (i == 1)
            expected += source;
        else if (i == 14 || i == 27)
            expected += " \\\n\t" + source;
        else
            expected += " " + source;
    }
    expected += "\n\n";
    EXPECT_EQ(captured([&](FILE *f) { emitVariableList("SRCS", f, first, nullptr); }), expected);
    for (BuildRecord *r = first; r; r = r->next)
        EXPECT_EQ(r->flags & 1u, 1u);
    // Marked records are never listed again.
    EXPECT_EQ(captured([&](FILE *f) { emitVariableList("SRCS", f, first, nullptr); }), "");
}

TEST_F(Output, SourceListSkipsAndFilters) {
    istring c = istringNew(".c"), s = istringNew(".s");
    BuildRecord *list = chain({record("d.c", "d.o", BUILD_DYNAMIC, c), record("f.c", "f.o", BUILD_FAKE, c),
                               record("i.c", "i.o", BUILD_INTERMEDIATE, c), record("a.s", "a.o", 0, s),
                               record("b.c", "b.o", 0, c)});
    EXPECT_EQ(captured([&](FILE *f) { emitVariableList("SOURCES", f, list, c); }), "SOURCES +=i.c b.c\n\n");
    EXPECT_EQ(list->next->next->next->flags, 0u);  // a.s: filtered out, not marked
    EXPECT_EQ(captured([&](FILE *f) { emitVariableList("S", f, list, nullptr); }), "S +=\ta.s\n\n");
}

// ---- textEmit, rulesEmit, objEmit ------------------------------------------

TEST_F(Output, PlainAndPrettyLines) {
    TextObject *section = textCreate(istringNew("A"), ipath("out"), nullptr);
    textAppend(section, istringNew("first line"), 0);
    textAppend(section, istringNew("  indented"), 0);
    textAppend(section, istringNew(("wrapped-at " + std::string(80, 'y')).c_str()), TEXT_PRETTY);
    textEmit(section);
    EXPECT_EQ(readFile(path("out")), "first line\n  indented\nwrapped-at \\\n\t " + std::string(80, 'y') + "\n");
}

TEST_F(Output, ExpandLinesKeepTheirExpansion) {
    variableSet(globalTable, istringNew("Y"), istringNew("value"));
    char *buffer = nullptr;
    size_t size = 0;
    FILE *stream = open_memstream(&buffer, &size);
    TextObject *section = textCreate(istringNew("A"), istringNew("<memory>"), stream);
    textAppend(section, istringNew("\\$(Y)"), TEXT_EXPAND);
    textEmit(section);
    EXPECT_STREQ(section->lines->text, "$(Y)");
    textEmit(section);
    fclose(stream);
    EXPECT_EQ(std::string(buffer, size), "$(Y)\nvalue\n");
    free(buffer);
}

TEST_F(Output, WritersWithoutOutputWriteNothing) {
    TextObject *section = textCreate(istringNew("A"), nullptr, nullptr);
    textAppend(section, istringNew("text"), 0);
    textEmit(section);  // no output: nothing happens, nothing crashes
    EXPECT_EQ(textOutput(section), nullptr);
}

TEST_F(Output, RuleHeadsAndCommands) {
    HashTable *scope = ht_new();
    variableSet(scope, names.MATCH, istringNew("foo"));
    TemplateRecord compile{};
    TextLine *command = textLineNew(istringNew("cc -c $(.MATCH).c"), 0, "command");
    compile.commands = command;
    TemplateRecord bare{};

    BuildRecord *a = record("src/foo.c", "foo.o");
    a->template_ = &compile;
    a->scope = scope;
    BuildRecord *b = record("all", "all");
    b->source = b->target;  // the same interned string
    b->template_ = &bare;
    b->scope = scope;
    a->next = b;

    TextObject *rules = textCreate(istringNew(".RULES"), ipath("rules"), nullptr);
    rules->builds = a;
    rules->writer = rulesEmit;
    rulesEmit(rules);
    EXPECT_EQ(readFile(path("rules")), "\nfoo.o: src/foo.c\n\tcc -c foo.c\n\nall:\n");
}

TEST_F(Output, ObjectsWriterNothingToWrite) {
    TextObject *objs = textCreate(istringNew(".OBJS"), ipath("Makefile"), nullptr);
    objs->writer = objEmit;
    objEmit(objs);
    EXPECT_FALSE(exists(path("Makefile")));
    rulesEmit(objs);
    EXPECT_FALSE(exists(path("Makefile")));
}

TEST_F(Output, ObjectsWriterOnlySourcesWhenObjsEmpty) {
    TextObject *objs = textCreate(istringNew(".OBJS"), ipath("Makefile"), nullptr);
    objs->builds = chain({record("a.c", "a.o", BUILD_INTERMEDIATE), record("b.c", "b.o", BUILD_INTERMEDIATE)});
    objEmit(objs);
    EXPECT_EQ(readFile(path("Makefile")), "SRCS +=\ta.c b.c\n\n");
}

TEST_F(Output, ObjectsWrittenTwice) {
    variableAppend(globalTable, names.OBJS, istringNew("a.o"), nullptr);
    variableAppend(globalTable, names.OBJS, istringNew("b.o"), nullptr);
    TextObject *objs = textCreate(istringNew(".OBJS"), ipath("Makefile"), nullptr);
    objs->builds = chain({record("a.c", "a.o"), record("b.c", "b.o")});
    objs->writer = objEmit;
    variableSet(globalTable, names.EMIT, istringNew(".OBJS .OBJS"));
    sectionsEmit();
    EXPECT_EQ(readFile(path("Makefile")),
              "SRCS +=\ta.c b.c\n\n\nOBJS += a.o b.o\n\n"
              "\nOBJS += a.o b.o\n\n");
}

// ---- sections and outputs --------------------------------------------------

TEST_F(Output, LinkInvariants) {
    TextObject *section = textCreate(istringNew("L"), nullptr, nullptr);
    textDropFirst(section);
    EXPECT_EQ(section->lines, nullptr);

    textAppend(section, istringNew("one"), 0);
    TextLine *one = section->lines;
    EXPECT_EQ(one->link, one);
    EXPECT_EQ(one->next, nullptr);
    textDropFirst(section);
    EXPECT_EQ(section->lines, nullptr);

    textAppend(section, istringNew("b"), 0);
    textAppend(section, istringNew("c"), 0);
    TextLine *b = section->lines, *c = b->next;
    EXPECT_EQ(b->link, c);
    EXPECT_EQ(c->link, b);
    textPrepend(section, istringNew("a"), TEXT_PRETTY);
    TextLine *a = section->lines;
    EXPECT_STREQ(a->text, "a");
    EXPECT_EQ(a->next, b);
    EXPECT_EQ(a->link, c);
    EXPECT_EQ(b->link, a);
    EXPECT_EQ(a->flags, unsigned(TEXT_PRETTY));

    textDropFirst(section);
    EXPECT_EQ(section->lines, b);
    EXPECT_EQ(b->link, c);
    textAppend(section, istringNew("d"), 0);
    EXPECT_STREQ(c->next->text, "d");
    EXPECT_EQ(b->link, c->next);
}

TEST_F(Output, LinesCarryTheirLocation) {
    inputLine = 42;
    TextObject *section = textCreate(istringNew("L"), nullptr, nullptr);
    textAppend(section, istringNew("x"), 0);
    EXPECT_EQ(section->lines->file, inputFile);
    EXPECT_EQ(section->lines->line, 42);
}

TEST_F(Output, CreateRebindsAndShares) {
    istring a = istringNew("A"), b = istringNew("B");
    TextObject *sa = textCreate(a, ipath("one"), nullptr);
    textAppend(sa, istringNew("a1"), 0);
    EXPECT_EQ(sectionFind(a), sa);
    EXPECT_EQ(sectionFind(istringNew("missing")), nullptr);

    // Without an output name the binding stays; with one the whole section moves.
    EXPECT_EQ(textCreate(a, nullptr, nullptr), sa);
    OutputFile *one = sa->output;
    EXPECT_EQ(textCreate(a, ipath("two"), nullptr), sa);
    EXPECT_NE(sa->output, one);

    // A second section on the same output name shares the record; the
    // stream argument is ignored once the output exists.
    TextObject *sb = textCreate(b, ipath("two"), stdout);
    EXPECT_EQ(sb->output, sa->output);
    EXPECT_EQ(sb->output->stream, nullptr);
    textAppend(sb, istringNew("b1"), 0);

    std::ofstream(path("two")) << "old content\n";
    variableSet(globalTable, names.EMIT, istringNew("B\tA"));
    sectionsEmit();
    EXPECT_EQ(readFile(path("two")), "b1\na1\n");
    EXPECT_FALSE(exists(path("one")));
}

TEST_F(Output, SectionNotFoundWarns) {
    TextObject *sa = textCreate(istringNew("A"), ipath("out"), nullptr);
    textAppend(sa, istringNew("a"), 0);
    TextObject *nowriter = textCreate(istringNew("N"), ipath("out"), nullptr);
    nowriter->writer = nullptr;
    textCreate(istringNew("P"), nullptr, nullptr);
    variableSet(globalTable, names.EMIT, istringNew("  nosuch A N P A "));
    testing::internal::CaptureStderr();
    sectionsEmit();
    std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_NE(errors.find("nosuch: section not found\n"), std::string::npos);
    EXPECT_NE(errors.find("N: section not found\n"), std::string::npos);
    EXPECT_EQ(readFile(path("out")), "a\na\n");
}

TEST_F(Output, UnopenableOutputIsFatal) {
    TextObject *section = textCreate(istringNew("A"), istringNew("/nonexistent-dir/out"), nullptr);
    textAppend(section, istringNew("a"), 0);
    EXPECT_EXIT(textEmit(section), testing::ExitedWithCode(1), "/nonexistent-dir/out: No such file or directory");
}

// ---- function store ---------------------------------------------------------

TEST_F(Output, FunctionsNewestFirst) {
    istring f = istringNew("f");
    TextObject *body = textCreate(istringNew("body"), nullptr, nullptr);
    textAppend(body, istringNew("first"), 0);
    TextLine *first = body->lines;
    inputLine = 3;
    FunctionAdd(f, first, 3);
    EXPECT_EQ(functionList->file, inputFile);

    EXPECT_EQ(FunctionCall(istringNew("g")), -1);
    EXPECT_EQ(inputStack, nullptr);

    EXPECT_EQ(FunctionCall(f), 0);
    ASSERT_NE(inputStack, nullptr);
    EXPECT_EQ(inputStack->lines, first);
    EXPECT_EQ(inputLine, 3);

    TextLine *second = textLineNew(istringNew("second"), 0, "test");
    FunctionAdd(f, second, 9);
    EXPECT_EQ(FunctionCall(f), 0);
    EXPECT_EQ(inputStack->lines, second);
    EXPECT_EQ(inputLine, 9);

    FunctionAdd(istringNew("empty"), nullptr, 12);
    EXPECT_EQ(FunctionCall(istringNew("empty")), 0);
}

// ---- program search ---------------------------------------------------------

TEST(ProgramSearch, PathHelpers) {
    EXPECT_TRUE(isAbsolutePath("/usr"));
    EXPECT_FALSE(isAbsolutePath("usr/bin"));
    char *j = joinPath("dir", 3, "name");
    EXPECT_STREQ(j, "dir/name");
    free(j);
    j = joinPath("dir/xyz", 4, "name");
    EXPECT_STREQ(j, "dir/name");
    free(j);
    j = joinPath("ignored", 0, "name");
    EXPECT_STREQ(j, "name");
    free(j);
    EXPECT_EQ(host::strncasecmp("brisk.EXE", "BRISK.exe", 9), 0);
    EXPECT_LT(host::strncasecmp("abc", "abd", 3), 0);
    EXPECT_EQ(host::strncasecmp("abc", "abd", 2), 0);
    EXPECT_EQ(host::strncasecmp("ab", "AB", 10), 0);
    EXPECT_GT(host::strncasecmp("abc", "ab", 10), 0);
}

class Search : public Output {
protected:
    void SetUp() override {
        Output::SetUp();
        for (const char *d : {"d1", "d2", "cwd", "cwd/tools"})
            mkdir(path(d).c_str(), 0755);
        const char *saved = getenv("PATH");
        savedPath = saved ? saved : "";
        ASSERT_EQ(chdir(path("cwd").c_str()), 0);
    }
    void TearDown() override {
        setenv("PATH", savedPath.c_str(), 1);
        (void)!chdir("/");
        Output::TearDown();
    }
    std::string savedPath;
    void program(const std::string &where) {
        std::ofstream(path(where)) << "#!/bin/sh\n";
    }
    std::string found(const char *name) {
        char *result = findProgramDirectory(name);
        std::string text = result ? result : "<none>";
        free(result);
        return text;
    }
};

TEST_F(Search, AlongPathInOrder) {
    program("d2/brisk");
    setenv("PATH", (path("d1") + ":" + path("d2")).c_str(), 1);
    EXPECT_EQ(found("brisk"), path("d2"));
    program("d1/brisk");
    program("cwd/brisk");
    EXPECT_EQ(found("brisk"), path("d1"));
}

TEST_F(Search, CurrentDirectoryTriedLast) {
    setenv("PATH", (path("d1") + ":" + path("d2")).c_str(), 1);
    EXPECT_EQ(found("brisk"), "<none>");
    program("cwd/brisk");
    EXPECT_EQ(found("brisk"), path("cwd"));
    mkdir(path("cwd/sub").c_str(), 0755);  // a directory is not a program
    EXPECT_EQ(found("sub"), "<none>");
}

TEST_F(Search, NamesWithDirectoryOrAbsolute) {
    program("cwd/tools/brisk");
    setenv("PATH", path("d1").c_str(), 1);
    EXPECT_EQ(found("tools/brisk"), path("cwd/tools"));
    EXPECT_EQ(found("tools/missing"), "<none>");
    EXPECT_EQ(found("/no/such/dir/brisk"), "/no/such/dir");
    EXPECT_EQ(found(nullptr), "<none>");
    unsetenv("PATH");
    EXPECT_EQ(found("brisk"), "<none>");
    EXPECT_EQ(found("tools/brisk"), path("cwd/tools"));
}

}  // namespace
