// Expansion of references: escapes, nested names, subscripts, modifiers,
// substitutions, the special names, the variable list and globbing.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "core/stack.h"
#include "driver/debug.h"
#include "support.h"
#include "variables/expand.h"
#include "variables/variable.h"

namespace {

using support::I;

using support::exact;

class Expand : public ::testing::Test {
protected:
    void SetUp() override {
        support::startUp();
        outer = currentScope;
        scopeNew(nullptr);
        inputFile = I("conf");
        inputLine = 7;
    }
    void TearDown() override {
        debugReset();
        while (currentScope != outer)
            scopePop();
    }
    static std::string X(const char *text) { return expandString(nullptr, I(text)); }
    static void set(const char *name, const char *value) { variableSet(nullptr, I(name), I(value)); }
    using Rows = std::vector<std::pair<const char *, const char *>>;
    static void expectRows(const Rows &rows) {
        for (auto [text, expected] : rows) {
            SCOPED_TRACE(text);
            EXPECT_EQ(X(text), expected);
        }
    }
    static void fatalCase(const char *text, const std::string &message) {
        EXPECT_EXIT(expandString(nullptr, I(text)), testing::ExitedWithCode(1), exact(message + "\n"));
    }

    Scope *outer = nullptr;
};

TEST_F(Expand, EscapesAndLiteralDollars) {
    istring plain = I("no references here");
    EXPECT_EQ(expandString(nullptr, plain), plain);
    expectRows({{"a\\", "a"}, {"\\$(X)", "$(X)"},
                {"\\t|\\n|\\r|\\b|\\f|\\q|\\\\|\\(", "\t|\n|\r|\b|\f|q|\\|("},
                {"$x $ (x) a$", "$x $ (x) a$"}});
    EXPECT_EQ(X("ab\xff" "cd"), "ab");  // a 0xFF byte ends the text like its end
}

TEST_F(Expand, NamesNestAndValuesAreReadAgain) {
    set("A(B)C", "nested");
    EXPECT_EQ(X("$(A(B)C)"), "nested");
    set("N", "TARGET");
    set("TARGET", "t");
    EXPECT_EQ(X("[$($(N))]"), "[t]");
    set("W", "w\\tx");
    set("V", "<$(W)>");
    EXPECT_EQ(X("$(V)"), "<w\tx>");
    // A reference may begin in a value and end in the text after it.
    set("P", "$(B");
    set("Bx", "found");
    EXPECT_EQ(X("$(P)x)!"), "found!");
    EXPECT_EQ(X("$(UNDEFINED)"), "");
}

TEST_F(Expand, MalformedReferencesAreFatal) {
    fatalCase("a $(X", "a $(X: unterminated variable");
    fatalCase("$(V[1)", "V[1: improperly formed variable");
}

TEST_F(Expand, NumericAndKeySubscripts) {
    set("V", "  a b\tc ");
    expectRows({{"$(V[1])", "b"}, {"$(V[2])", "c"}, {"$(V[3])", ""}, {"$(V[0x0])", "a"}, {"$(V[ 1])", "b"},
                {"$(V[010])", ""}});
    set("K", "cc=1 c=2 -1=m x=");
    expectRows({{"$(K[c])", "2"}, {"$(K[cc])", "1"}, {"$(K[-1])", "m"}, {"$(K[x])", ""}, {"$(K[d])", ""},
                {"$(K[])", ""}});
    // The modifier is applied after a key, not after a number.
    set("Q", "a b c=2");
    expectRows({{"$(Q[1]:quote)", "b"}, {"$(Q[c]:quote)", "\"2\""}});
}

TEST_F(Expand, PathAndQuoteModifiers) {
    set("F", "dir/sub/file.c");
    expectRows({{"$(F:basename)", "file.c"}, {"$(F:dirname)", "dir/sub"}});
    set("G", "file.c");
    expectRows({{"$(G:basename)|$(G:dirname)", "file.c|file.c"}});
    set("H", "say \"hi\"");
    expectRows({{"$(H:quote)", "\"say \"hi\"\""}});
    fatalCase("$(F:basename:quote)", "Invalid substitution operation: :basename:quote");
    fatalCase("$(F:unknown)", "Invalid substitution operation: :unknown");
}

TEST_F(Expand, Substitutions) {
    set("V", "foo boo");
    expectRows({{"$(V:S/o/0/)", "f0o b0o"}, {"$(V:S/o/0/g)", "f00 b00"}, {"$(V:S/^b/B/)", "foo Boo"},
                {"$(V:S/o$/X/)", "foX boX"}, {"$(V:S/o/<&>/g)", "f<o><o> b<o><o>"},
                {"$(V:S/^/-I/)", "-Ifoo -Iboo"}, {"$(V:S/$/.o/)", "foo.o boo.o"},
                {"$(V:S|oo|&&|)", "foooo boooo"}, {"$(V:S/z/y/)", "foo boo"}});
    // Terminates and stays within the word.
    expectRows({{"$(V:S//-/g)", "-foo -boo"}, {"$(V:S/xfoo$/Y/)", "foo boo"}, {"$(V:S/^xfoo/Y/)", "foo boo"}});
    set("A", "abxab ab a");
    expectRows({{"$(A:S/^ab$/X/)", "X X a"}});
    set("T", "\ta\t b  c  ");
    expectRows({{"$(T:S/q/r/)", "a b c"}, {"$(T:S/q/r/g)", "a b c"}});
    fatalCase("$(V:S/a/b)", "Invalid substitution operation: :S/a/b");
    fatalCase("$(V:S/a/b/x)", "Invalid substitution operation: :S/a/b/x");
    fatalCase("$(V:S)", "Invalid substitution operation: :S");
}

TEST_F(Expand, GlobalsAndBestMatchesExchangeSubscriptAndModifier) {
    variableSet(globalTable, I("GL"), I("a b"));
    EXPECT_EQ(X("$(GL)"), "a b");
    EXPECT_EQ(X("$(GL:quote)"), "");
    variableSet(globalTable, I("GK"), I("x :quote=yes"));
    EXPECT_EQ(X("$(GK:quote)"), "yes");
    fatalCase("$(GL[0])", "Invalid substitution operation: 0");
    set("CB/*", "p q");
    EXPECT_EQ(X("$(CB/x)"), "p q");
    EXPECT_EQ(X("$(CB/x:quote)"), "");
    fatalCase("$(CB/x[1])", "Invalid substitution operation: 1");
    // The same variable found in a scope takes them in the right order.
    set("GL", "a b");
    EXPECT_EQ(X("$(GL:quote)"), "\"a b\"");
}

TEST_F(Expand, SpecialNames) {
    EXPECT_EQ(X("$(.FILE)"), "conf");
    EXPECT_EQ(X("$(.FILE:dirname)"), "");  // looked up as a key
    EXPECT_EQ(X("$(.LINE)"), "7");
    char scope[64];
    snprintf(scope, sizeof scope, "0x%08lx:%d", reinterpret_cast<unsigned long>(currentScope), currentScope->depth);
    EXPECT_EQ(X("$(.CURRENT_SCOPE)"), scope);
    EXPECT_EQ(X("$(.SEPARATOR[1]:x)"), "/");
    EXPECT_EQ(X("[$(.DELIMITER[0]:quote)]"), "[ \t]");
    EXPECT_EQ(X("$(.DEBUGFLAGS[S])"), "");
    debugSet('S');
    EXPECT_EQ(X("$(.DEBUGFLAGS[S])"), "True");
    set(".FILE", "stored");
    EXPECT_EQ(X("$(.FILE)"), "conf");
    EXPECT_EQ(X("[$()]"), "[]");
    for (auto [text, message] : Rows{
             {"$(.FILE[0])", ".FILE cannot be subscripted"},
             {"$(.LINE:x)", ".LINE cannot be modified"},
             {"$(.LINE[1])", ".LINE cannot be subscripted"},
             {"$(.CURRENT_SCOPE:x)", ".CURRENT_SCOPE cannot be modified"},
             {"$(.DEBUGFLAGS)", ".DEBUGFLAGS must be subscripted"},
             {"$(.DEBUGFLAGS[ab])", ".DEBUGFLAGS must have a single character subscript"},
             {"$(.DEBUGFLAGS[a]:x)", ".DEBUGFLAGS cannot be modified"},
             {"$(:foo)", ":glob required when variable name is empty"},
             {"$(:glob)", ":glob required when variable name is empty"},
         }) {
        SCOPED_TRACE(text);
        fatalCase(text, message);
    }
}

TEST_F(Expand, VariableListFollowsTheTemporaryTableOrder) {
    // One-letter names hash to their character code: h, a and i share the
    // buckets 0, 1, 1 of the eight; scopes are visited before the global table.
    variableSet(globalTable, I("h"), I("1"));
    variableSet(globalTable, I("a"), I("1"));
    variableSet(globalTable, I("i"), I("1"));
    set("i", "2");
    set("c", "3");
    variableUnset(I("c"));
    EXPECT_EQ(X("$(*:~^[achi]$)"), "h i a c");
    EXPECT_EQ(X("$(*:~^no such name$)"), "");
    std::string all = " " + X("$(*)") + " ";
    EXPECT_NE(all.find(" .EMIT "), std::string::npos);
    EXPECT_EQ(all.find(" i "), all.rfind(" i "));
    fatalCase("$(*:foo)", "Only :~ is allowed on the variable *");
}

TEST_F(Expand, GlobMarksDirectoriesAndSorts) {
    char pattern[] = "/tmp/brisk-expand-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    std::string dir = pattern;
    std::ofstream(dir + "/b.c").put('\n');
    std::ofstream(dir + "/a.c").put('\n');
    std::filesystem::create_directory(dir + "/d.c");
    EXPECT_EQ(X(("$(:glob " + dir + "/*.c)").c_str()), dir + "/a.c " + dir + "/b.c " + dir + "/d.c/");
    EXPECT_EQ(X(("$(:glob\t" + dir + "/*.h)").c_str()), "");
    std::filesystem::remove_all(dir);
}

TEST_F(Expand, TablesAndOnlyTableLookups) {
    HashTable *table = ht_new();
    variableInsert(table, I("TV"), I("table"), nullptr, names.blank);
    variableInsert(table, I("TD"), I("gone"), nullptr, names.blank);
    variableFind(table, I("TD"), 1)->flags |= VAR_DELETED;
    set("TV", "scope");
    set("TS", "scope");
    EXPECT_EQ(std::string(expandString(table, I("$(TV)"))), "table");
    EXPECT_EQ(std::string(expandString(table, I("$(TS)"))), "scope");
    EXPECT_EQ(std::string(expandString(table, I("[$(TD)]"))), "[]");
    EXPECT_EQ(std::string(variableExpand(table, I("TS"), 1)), "");
    set("TC/*", "scope");
    variableInsert(table, I("TC/x/*"), I("table"), nullptr, names.blank);
    EXPECT_EQ(std::string(variableExpand(table, I("TC/y"), 1)), "");
    EXPECT_EQ(std::string(variableExpand(table, I("TC/x/y"), 1)), "table");
}

TEST_F(Expand, LongTextsAndLongValuesGrowTheBuffer) {
    std::string big(3000, 'v');
    set("BIG", big.c_str());
    set("SMALL", "ab");
    std::string text, expected;
    for (int i = 0; i < 15; i++) {
        text += "$(BIG)$(SMALL)-";
        expected += big + "ab-";
    }
    for (int i = 0; i < 4000; i++) {
        text += "$(SMALL)";
        expected += "ab";
    }
    EXPECT_EQ(X(text.c_str()), expected);
}

TEST_F(Expand, ExpandStringKeepsAnOpenBuilderPass) {
    set("V", "value");
    stringBegin(0);
    stringAppend("abc", 3);
    EXPECT_EQ(X("$(V)"), "value");
    stringAppend("d", 1);
    EXPECT_STREQ(stringEnd(), "abcd");
}

}  // namespace
