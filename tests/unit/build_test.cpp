// Templates, target names and build statements.
#include <gtest/gtest.h>

#include <string>

#include "input/input.h"
#include "language/build.h"
#include "language/tokens.h"
#include "support.h"
#include "variables/variable.h"

namespace {

istring s(const std::string &text) { return istringNew(text.c_str()); }

class Build : public ::testing::Test {
protected:
    void SetUp() override {
        support::initAll();  // fresh globals for every case
        inputFile = s("conf");
        templateList = nullptr;
        buildList = buildTail = nullptr;
    }
    static TemplateRecord *declare(const char *target, const char *source) {
        return templateDeclare(s(target), source ? s(source) : nullptr);
    }
    static TemplateRecord *only(const char *target, const char *source) {
        templateList = nullptr;
        return declare(target, source);
    }
    static TemplateRecord *find(istring source, const char *selector = nullptr) {
        return templateFind(source, selector ? s(selector) : nullptr, templateList);
    }
    static std::string global(const char *name) { return variableValue(globalTable, s(name), 1); }
    // "[type] build [selector] source" as the grammar runs it, with an
    // optional table made by with-clauses.
    static BuildRecord *build(const char *source, uint32_t flags = 0, const char *selector = nullptr,
                              HashTable *table = nullptr, TemplateRecord *by = nullptr) {
        BuildRecord *record = buildPattern(selector ? s(selector) : nullptr, s(source));
        buildStatement(record, 1, flags, table ? table : buildAddition(0, nullptr, nullptr, nullptr), by);
        return record;
    }
};

TEST_F(Build, FindNewestSelectorAndCatchAll) {
    TemplateRecord *objects = declare("%.o", "%.c");
    TemplateRecord *assembly = declare("%.s", "%.c");
    EXPECT_EQ(find(s("src/foo.c")), assembly);
    EXPECT_STREQ(assembly->stem, "foo");
    EXPECT_EQ(assembly->suffix, s(".c"));
    EXPECT_EQ(find(s("foo.c"), "%.o"), objects);
    EXPECT_EQ(find(s("foo.c"), "%.x"), nullptr);
    EXPECT_EQ(objects->suffix, nullptr);  // cleared by the failed search
    TemplateRecord *all = declare("all", nullptr);
    EXPECT_EQ(find(s("dir/foo.c"), "%.o"), all);
    EXPECT_EQ(all->stem, s("foo.c"));
}

TEST_F(Build, FindMatchRules) {
    TemplateRecord *t = only("%.o", "x%.c");  // last character before "%" is not checked
    EXPECT_EQ(find(s("y.c")), t);
    EXPECT_EQ(t->stem, s(""));
    t = only("foo.o", "foo.c");  // nor the last one of a pattern without "%"
    istring header = s("foo.h");
    EXPECT_EQ(find(header), t);
    EXPECT_EQ(t->stem, header + 5);  // the source's own end, not interned
    EXPECT_EQ(find(s("fo")), nullptr);  // never read past a shorter base
    t = only("%.o", "lib%");
    EXPECT_EQ(find(s("libz")), t);
    EXPECT_EQ(t->stem, s("z"));
    t = only("%.o", "%");
    istring source = s("libz");
    find(source);
    EXPECT_EQ(t->stem, source);
    t = only("%.o", "%.%");  // only the first "%" is a wildcard
    EXPECT_EQ(find(s("a.%")), t);
    only("%.o", "%.cc");
    EXPECT_EQ(find(s("c")), nullptr);
}

TEST_F(Build, TargetNames) {
    EXPECT_EQ(targetExpand("%.o", "foo"), s("foo.o"));
    EXPECT_EQ(targetExpand("all", "foo"), s("all"));
    EXPECT_EQ(targetExpand("a%b%c", "X"), s("aXb"));
    EXPECT_EQ(targetExpand((std::string(59, 'p') + "%").c_str(), "abc"), s(std::string(59, 'p') + "abc"));
}

TEST_F(Build, LongTargetNameEndsTheProgram) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // a fresh buffer capacity per case
    EXPECT_EXIT(targetExpand((std::string(60, 'p') + "%").c_str(), "abc"), testing::ExitedWithCode(1), "");
    EXPECT_EXIT(targetExpand((std::string(200, 'p') + "%").c_str(), "abc"), testing::ExitedWithCode(1), "");
}

TEST_F(Build, StatementEffects) {
    TemplateRecord *t = declare("%.o", "%.c");
    BuildRecord *r = build("src/foo.c");
    EXPECT_EQ(buildList, r);
    EXPECT_EQ(r->target, s("foo.o"));
    EXPECT_EQ(r->key, s(".c"));
    EXPECT_EQ(r->template_, t);
    EXPECT_EQ(variableValue(r->scope, names.MATCH, 1), s("foo"));
    EXPECT_EQ(global("OBJS"), "foo.o");
    EXPECT_EQ(global(".DEPFILES"), "src/foo.c");
    EXPECT_EQ(global("foo.o/Source"), "src/foo.c");
    EXPECT_EQ(global("src/foo.c/Suffix"), ".c");

    build("i.c", BUILD_INTERMEDIATE);
    build("d.c", BUILD_DYNAMIC, "%.o");
    EXPECT_EQ(global("IOBJS"), "i.o");
    EXPECT_EQ(global("OBJS"), "foo.o d.o");
    EXPECT_EQ(global(".DEPFILES"), "src/foo.c i.c");
    EXPECT_EQ(r->next->next, buildTail);
    EXPECT_EQ(buildTail->flags, uint32_t(BUILD_DYNAMIC));

    variableSet(globalTable, names.SRCPATH, s("lib/"));
    EXPECT_EQ(build("x.c")->source, s("lib/x.c"));
    variableSet(globalTable, names.SRCPATH, s(""));
    build("gen;src/bar.c");
    EXPECT_EQ(global(".DEPFILES"), "src/foo.c i.c lib/x.c src/bar.c");
    EXPECT_EQ(global("bar.o/Source"), "gen;src/bar.c");
    EXPECT_EQ(global(";src/bar.c/Suffix"), ".c");
}

TEST_F(Build, ClausesAndFakeSource) {
    declare("%.o", "%.c");
    variableSet(nullptr, s("B"), s("outer"));
    HashTable *table = buildAddition(APPEND, s("A"), s("2"), buildAddition(0, nullptr, nullptr, nullptr));
    table = buildAddition(ASSIGN, s("A"), s("1"), table);  // clauses run last first
    table = buildAddition(ASSIGN, names.SOURCE, s("y.c"), table);
    BuildRecord *r = build("x.c", BUILD_FAKE, nullptr, table);
    EXPECT_EQ(variableValue(table, s("A"), 1), s("1"));
    EXPECT_EQ(variableValue(table, s("B"), 1), s("outer"));  // flattened in
    EXPECT_EQ(r->target, s("x.o"));
    EXPECT_EQ(r->source, s("y.c"));
    EXPECT_EQ(global("x.o/Source"), "y.c");
    EXPECT_EQ(global("y.c/Suffix"), ".c");
    EXPECT_EQ(global(".DEPFILES"), "x.c");

    table = buildAddition(ASSIGN, s("W"), s("a b c"), buildAddition(0, nullptr, nullptr, nullptr));
    EXPECT_EQ(variableValue(buildAddition(MINUSEQUAL, s("W"), s("b"), table), s("W"), 1), s("a c"));

    TemplateRecord *by = buildByClause(s("%.lst"), s("%.c"), s("list $<"));
    EXPECT_STREQ(by->commands->text, "list $<");
    EXPECT_EQ(build("foo.c", 0, nullptr, nullptr, by)->target, s("foo.lst"));
    EXPECT_EQ(templateList->next, nullptr);  // the by-template is not declared
}

TEST_F(Build, SkippedOrFalseChangesNothing) {
    declare("%.o", "%.c");
    buildStatement(buildPattern(nullptr, s("foo.c")), 0, 0, buildAddition(0, nullptr, nullptr, nullptr), nullptr);
    scopePush();
    scopeIgnore();
    EXPECT_EQ(buildAddition(0, nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(buildByClause(s("%.o"), s("%.c"), s("cc")), nullptr);
    BuildRecord *skipped = buildPattern(s("%.o"), s("bar.c"));
    EXPECT_EQ(skipped->selector, s("%.o"));
    buildStatement(skipped, 1, 0, nullptr, nullptr);
    scopePop();
    EXPECT_EQ(buildList, nullptr);
    EXPECT_EQ(global("OBJS"), "");
}

TEST_F(Build, FatalCases) {
    declare("%.o", "%.c");
    EXPECT_EXIT(build("foo.z"), testing::ExitedWithCode(1), "No template found for foo.z");
    only("foo.o", "foo.c");
    EXPECT_DEATH(build("foo.c"), "Not a istring");
}

}  // namespace
