// Templates, target names and build statements.
#include <gtest/gtest.h>

#include <string>

#include "input/input.h"
#include "language/build.h"
#include "input/tokens.h"
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
    t = only("%.o", "%.%");  // only the first "%" is a wildcard
    EXPECT_EQ(find(s("a.%")), t);
    only("%.o", "%.cc");
    EXPECT_EQ(find(s("c")), nullptr);
}

TEST_F(Build, TargetNames) {
    EXPECT_EQ(targetExpand("%.o", "foo"), s("foo.o"));
    EXPECT_EQ(targetExpand("a%b%c", "X"), s("aXb"));
    EXPECT_EQ(targetExpand((std::string(59, 'p') + "%").c_str(), "abc"), s(std::string(59, 'p') + "abc"));
}

TEST_F(Build, LongTargetNameEndsTheProgram) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // a fresh buffer capacity per case
    EXPECT_EXIT(targetExpand((std::string(60, 'p') + "%").c_str(), "abc"), testing::ExitedWithCode(1), "");
}

TEST_F(Build, GeneratorPrefixAndIgnoredRecords) {
    declare("%.o", "%.c");
    // Text up to ";" names the generator: kept in Source, dropped from .DEPFILES.
    BuildRecord *r = build("gen;src/bar.c");
    EXPECT_EQ(buildList, r);
    EXPECT_EQ(r->target, s("bar.o"));
    EXPECT_EQ(variableValue(r->scope, names.MATCH, 1), s("bar"));
    EXPECT_EQ(global(".DEPFILES"), "src/bar.c");
    EXPECT_EQ(global("bar.o/Source"), "gen;src/bar.c");
    EXPECT_EQ(global(";src/bar.c/Suffix"), ".c");

    // The by-template serves its build only.
    TemplateRecord *by = buildByClause(s("%.lst"), s("%.c"), s("list $<"));
    EXPECT_EQ(build("foo.c", 0, nullptr, nullptr, by)->target, s("foo.lst"));
    EXPECT_EQ(templateList->next, nullptr);

    // A false requirement adds nothing.
    buildStatement(buildPattern(nullptr, s("no.c")), 0, 0, buildAddition(0, nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(r->next, buildTail);
    EXPECT_EQ(global("OBJS"), "bar.o foo.lst");
}

}  // namespace
