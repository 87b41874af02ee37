// Templates, target names and build statements.
#include <gtest/gtest.h>

#include <string>

#include "core/hashtable.h"
#include "core/istring.h"
#include "driver/builtins.h"
#include "input/charclass.h"
#include "input/input.h"
#include "language/build.h"
#include "language/tokens.h"
#include "output/text.h"
#include "variables/scope.h"
#include "variables/variable.h"

namespace {

class Build : public ::testing::Test {
protected:
    void SetUp() override {
        istringInit();
        charClassInit();
        builtinsInit();
        textInit();
        scopeNew(nullptr);
        inputFile = istringNew("conf");
        inputPrefix = istringNew("");
        templateList = nullptr;
        buildList = buildTail = nullptr;
    }

    static istring s(const char *text) { return istringNew(text); }
    static TemplateRecord *declare(const char *target, const char *source) {
        return templateDeclare(s(target), source ? s(source) : nullptr);
    }
    static std::string global(const char *name) { return variableValue(globalTable, s(name), 1); }

    // "[type] build [selector] source" with no clauses, as the grammar runs it.
    static BuildRecord *build(const char *source, uint32_t flags = 0, const char *selector = nullptr) {
        BuildRecord *record = buildPattern(selector ? s(selector) : nullptr, s(source));
        buildStatement(record, 1, flags, buildAddition(0, nullptr, nullptr, nullptr), nullptr);
        return record;
    }
};

// ---- templateFind -----------------------------------------------------------

TEST_F(Build, FindNewestFirstAndSelector) {
    TemplateRecord *objects = declare("%.o", "%.c");
    TemplateRecord *assembly = declare("%.s", "%.c");
    EXPECT_EQ(templateFind(s("src/foo.c"), nullptr, templateList), assembly);
    EXPECT_STREQ(assembly->stem, "foo");
    EXPECT_EQ(assembly->suffix, s(".c"));
    EXPECT_EQ(templateFind(s("foo.c"), s("%.o"), templateList), objects);
    EXPECT_EQ(templateFind(s("foo.y"), nullptr, templateList), nullptr);
    EXPECT_EQ(templateFind(s("foo.c"), s("%.x"), templateList), nullptr);
    // A failed search leaves no suffix from an earlier match behind.
    EXPECT_EQ(objects->suffix, nullptr);
}

TEST_F(Build, FindTemplateWithoutSourcePatternTakesAll) {
    declare("%.o", "%.c");
    TemplateRecord *all = declare("all", nullptr);
    EXPECT_EQ(templateFind(s("dir/foo.c"), s("%.o"), templateList), all);
    EXPECT_EQ(all->stem, s("foo.c"));
    EXPECT_EQ(all->suffix, nullptr);
}

TEST_F(Build, FindPassesOverLastCharacterMismatch) {
    TemplateRecord *x = declare("%.o", "x%.c");
    EXPECT_EQ(templateFind(s("y.c"), nullptr, templateList), x);
    EXPECT_STREQ(x->stem, "");
    EXPECT_EQ(x->suffix, s(".c"));

    templateList = nullptr;
    TemplateRecord *plain = declare("foo.o", "foo.c");
    istring header = s("foo.h");
    EXPECT_EQ(templateFind(header, nullptr, templateList), plain);
    // The stem is the end of the source itself, not an interned string.
    EXPECT_EQ(plain->stem, header + 5);
    EXPECT_EQ(templateFind(s("fox.h"), nullptr, templateList), nullptr);
    // A base shorter than the pattern is never read past its end.
    EXPECT_EQ(templateFind(s("fo"), nullptr, templateList), nullptr);
}

TEST_F(Build, FindStemRules) {
    TemplateRecord *prefix = declare("%.o", "lib%");
    istring whole = s("libz");
    EXPECT_EQ(templateFind(whole, nullptr, templateList), prefix);
    EXPECT_EQ(prefix->stem, s("z"));
    EXPECT_EQ(prefix->suffix, nullptr);

    templateList = nullptr;
    TemplateRecord *any = declare("%.o", "%");
    istring source = s("libz");
    templateFind(source, nullptr, templateList);
    EXPECT_EQ(any->stem, source);

    // Only the first "%" is a wildcard.
    templateList = nullptr;
    TemplateRecord *twice = declare("%.o", "%.%");
    EXPECT_EQ(templateFind(s("a.b"), nullptr, templateList), nullptr);
    EXPECT_EQ(templateFind(s("a.%"), nullptr, templateList), twice);
    EXPECT_EQ(twice->stem, s("a"));
    // The suffix must fit in what is left of the base.
    templateList = nullptr;
    declare("%.o", "%.cc");
    EXPECT_EQ(templateFind(s("c"), nullptr, templateList), nullptr);
}

// ---- targetExpand -----------------------------------------------------------

TEST_F(Build, TargetNames) {
    EXPECT_EQ(targetExpand("%.o", "foo"), s("foo.o"));
    EXPECT_EQ(targetExpand("obj/%.o", ""), s("obj/.o"));
    EXPECT_EQ(targetExpand("all", "foo"), s("all"));
    EXPECT_EQ(targetExpand("a%b%c", "X"), s("aXb"));
    EXPECT_EQ(targetExpand("", ""), s(""));
    std::string pattern(59, 'p');
    pattern += "%";
    EXPECT_EQ(targetExpand(pattern.c_str(), "abc"), s((std::string(59, 'p') + "abc").c_str()));
}

TEST_F(Build, TargetNameOfSixtyFourCharactersEndsTheProgram) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    std::string pattern = std::string(60, 'p') + "%";
    EXPECT_EXIT(targetExpand(pattern.c_str(), "abc"), testing::ExitedWithCode(1), "");
    std::string longer = std::string(200, 'p') + "%";
    EXPECT_EXIT(targetExpand(longer.c_str(), "abc"), testing::ExitedWithCode(1), "");
}

// ---- build statements -------------------------------------------------------

TEST_F(Build, StatementEffects) {
    TemplateRecord *t = declare("%.o", "%.c");
    t->commands = textLineNew(s("cc $(.MATCH)"), 0, "command");
    BuildRecord *r = build("src/foo.c");
    EXPECT_EQ(buildList, r);
    EXPECT_EQ(buildTail, r);
    EXPECT_EQ(r->source, s("src/foo.c"));
    EXPECT_EQ(r->target, s("foo.o"));
    EXPECT_EQ(r->key, s(".c"));
    EXPECT_EQ(r->template_, t);
    EXPECT_EQ(r->flags, 0u);
    EXPECT_EQ(variableValue(r->scope, names.MATCH, 1), s("foo"));
    EXPECT_EQ(global("OBJS"), "foo.o");
    EXPECT_EQ(global(".DEPFILES"), "src/foo.c");
    EXPECT_EQ(global("foo.o/Source"), "src/foo.c");
    EXPECT_EQ(global("src/foo.c/Suffix"), ".c");

    BuildRecord *second = build("bar.c", 0, "%.o");
    EXPECT_EQ(r->next, second);
    EXPECT_EQ(buildTail, second);
    EXPECT_EQ(global("OBJS"), "foo.o bar.o");
    EXPECT_EQ(global(".DEPFILES"), "src/foo.c bar.c");
}

TEST_F(Build, StatementTypes) {
    declare("%.o", "%.c");
    build("i.c", BUILD_INTERMEDIATE);
    EXPECT_EQ(global("OBJS"), "");
    EXPECT_EQ(global("IOBJS"), "i.o");
    build("d.c", BUILD_DYNAMIC);
    EXPECT_EQ(global(".DEPFILES"), "i.c");
    EXPECT_EQ(global("OBJS"), "d.o");
    EXPECT_EQ(buildTail->flags, uint32_t(BUILD_DYNAMIC));
}

TEST_F(Build, FakeBuildTakesSourceFromItsTable) {
    declare("%.o", "%.c");
    BuildRecord *record = buildPattern(nullptr, s("x.c"));
    HashTable *table = buildAddition(ASSIGN, names.SOURCE, s("y.c"), buildAddition(0, nullptr, nullptr, nullptr));
    buildStatement(record, 1, BUILD_FAKE, table, nullptr);
    EXPECT_EQ(record->target, s("x.o"));
    EXPECT_EQ(record->source, s("y.c"));
    EXPECT_EQ(global("x.o/Source"), "y.c");
    EXPECT_EQ(global("y.c/Suffix"), ".c");
    EXPECT_EQ(global(".DEPFILES"), "x.c");
}

TEST_F(Build, SourcePathAndSemicolon) {
    declare("%.o", "%.c");
    variableSet(globalTable, names.SRCPATH, s("lib/"));
    EXPECT_EQ(build("foo.c")->source, s("lib/foo.c"));
    variableSet(globalTable, names.SRCPATH, s(""));
    BuildRecord *r = build("gen;src/bar.c");
    EXPECT_EQ(r->target, s("bar.o"));
    EXPECT_EQ(global(".DEPFILES"), "lib/foo.c src/bar.c");
    EXPECT_EQ(global("bar.o/Source"), "gen;src/bar.c");
    EXPECT_EQ(global(";src/bar.c/Suffix"), ".c");
}

TEST_F(Build, WithClausesApplyLastFirst) {
    declare("%.o", "%.c");
    variableSet(nullptr, s("B"), s("outer"));
    HashTable *table = buildAddition(0, nullptr, nullptr, nullptr);
    table = buildAddition(APPEND, s("A"), s("2"), table);
    table = buildAddition(ASSIGN, s("A"), s("1"), table);
    BuildRecord *r = buildPattern(nullptr, s("foo.c"));
    buildStatement(r, 1, 0, table, nullptr);
    EXPECT_EQ(variableValue(r->scope, s("A"), 1), s("1"));
    // Flattening copied the visible variables into the build's table.
    EXPECT_EQ(variableValue(r->scope, s("B"), 1), s("outer"));

    table = buildAddition(ASSIGN, s("W"), s("a b c"), buildAddition(0, nullptr, nullptr, nullptr));
    table = buildAddition(MINUSEQUAL, s("W"), s("b"), table);
    EXPECT_EQ(variableValue(table, s("W"), 1), s("a c"));
}

TEST_F(Build, ByClauseTemplateIsPrivate) {
    declare("%.o", "%.c");
    TemplateRecord *by = buildByClause(s("%.lst"), s("%.c"), s("list $<"));
    ASSERT_NE(by, nullptr);
    EXPECT_STREQ(by->commands->text, "list $<");
    EXPECT_EQ(by->commands->next, nullptr);
    BuildRecord *r = buildPattern(nullptr, s("foo.c"));
    buildStatement(r, 1, 0, buildAddition(0, nullptr, nullptr, nullptr), by);
    EXPECT_EQ(r->template_, by);
    EXPECT_EQ(r->target, s("foo.lst"));
    EXPECT_NE(templateList, by);
    EXPECT_EQ(templateList->next, nullptr);
}

TEST_F(Build, SkippedOrFalseChangesNothing) {
    declare("%.o", "%.c");
    BuildRecord *r = buildPattern(nullptr, s("foo.c"));
    buildStatement(r, 0, 0, buildAddition(0, nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(buildList, nullptr);

    scopePush();
    scopeIgnore();
    EXPECT_EQ(buildAddition(0, nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(buildAddition(ASSIGN, s("A"), s("1"), nullptr), nullptr);
    EXPECT_EQ(buildByClause(s("%.o"), s("%.c"), s("cc")), nullptr);
    BuildRecord *skipped = buildPattern(s("%.o"), s("bar.c"));
    EXPECT_EQ(skipped->selector, s("%.o"));
    buildStatement(skipped, 1, 0, nullptr, nullptr);
    scopePop();
    EXPECT_EQ(buildList, nullptr);
    EXPECT_EQ(global("OBJS"), "");
    EXPECT_EQ(global(".DEPFILES"), "");
}

TEST_F(Build, NoTemplateIsFatal) {
    declare("%.o", "%.c");
    EXPECT_EXIT(build("foo.z"), testing::ExitedWithCode(1), "No template found for foo.z");
}

TEST_F(Build, PatternWithoutPercentAbortsOnMatch) {
    declare("foo.o", "foo.c");
    EXPECT_DEATH(build("foo.c"), "Not a istring");
}

}  // namespace
