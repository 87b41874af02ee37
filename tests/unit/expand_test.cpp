// Expansion of references: escapes, nested names, subscripts, modifiers,
// substitutions, the special names, the variable list and globbing.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "core/stack.h"
#include "core/debug.h"
#include "support.h"
#include "variables/expand.h"
#include "variables/variable.h"

namespace {

using support::exact;
using support::I;

class Expand : public support::ScopeFixture {
protected:
    static std::string X(const std::string &text) { return expandString(nullptr, I(text)); }
    static void set(const char *name, const char *value) { variableSet(nullptr, I(name), I(value)); }
    using Rows = std::vector<std::pair<const char *, const char *>>;
    static void expectRows(const Rows &rows) {
        for (auto [text, expected] : rows) {
            SCOPED_TRACE(text);
            EXPECT_EQ(X(text), expected);
        }
    }
    static void fatalRows(const Rows &rows) {
        for (auto [text, message] : rows) {
            SCOPED_TRACE(text);
            EXPECT_EXIT(expandString(nullptr, I(text)), testing::ExitedWithCode(1), exact(message + std::string("\n")));
        }
    }

};

TEST_F(Expand, EscapesNestingAndRereading) {
    set("A(B)C", "nested");
    set("N", "TARGET");
    set("TARGET", "t");
    set("W", "w\\tx");
    set("V", "<$(W)>");
    set("P", "$(B");  // a reference may begin in a value and end after it
    set("Bx", "found");
    expectRows({{"a\\", "a"}, {"\\$(X)", "$(X)"}, {"\\t|\\n|\\r|\\b|\\f|\\q|\\\\|\\(", "\t|\n|\r|\b|\f|q|\\|("},
                {"$x $ (x) a$", "$x $ (x) a$"}, {"ab\xff" "cd", "ab"}, {"$(A(B)C)", "nested"},
                {"[$($(N))]", "[t]"}, {"$(V)", "<w\tx>"}, {"$(P)x)!", "found!"}});
    fatalRows({{"a $(X", "a $(X: unterminated variable"}, {"$(V[1)", "V[1: improperly formed variable"}});
}

TEST_F(Expand, SubscriptsAndModifiers) {
    set("V", "  a b\tc ");
    set("K", "cc=1 c=2 -1=m x=");
    set("Q", "a b c=2");  // the modifier is applied after a key, not after a number
    set("G", "file.c");
    set("H", "say \"hi\"");
    expectRows({{"$(V[2])", "c"}, {"$(V[3])", ""}, {"$(V[ 1])", "b"}, {"$(V[010])", ""}, {"$(K[-1])", "m"},
                {"$(K[x])", ""}, {"$(K[d])", ""}, {"$(K[])", ""}, {"$(Q[1]:quote)", "b"},
                {"$(Q[c]:quote)", "\"2\""}, {"$(G:basename)|$(G:dirname)", "file.c|file.c"},
                {"$(H:quote)", "\"say \"hi\"\""}});
    fatalRows({{"$(G:basename:quote)", "Invalid substitution operation: :basename:quote"},
               {"$(G:unknown)", "Invalid substitution operation: :unknown"}});
}

TEST_F(Expand, SubstitutionAnchorsAndAmpersand) {
    set("V", "foo boo");
    set("A", "abxab ab a");
    set("T", "\ta\t b  c  ");
    expectRows({{"$(V:S/o/<&>/g)", "f<o><o> b<o><o>"}, {"$(V:S/$/.o/)", "foo.o boo.o"},
                {"$(V:S|oo|&&|)", "foooo boooo"}, {"$(V:S/z/y/)", "foo boo"}, {"$(V:S//-/g)", "-foo -boo"},
                {"$(V:S/xfoo$/Y/)", "foo boo"}, {"$(V:S/^xfoo/Y/)", "foo boo"}, {"$(A:S/^ab$/X/)", "X X a"},
                {"$(T:S/q/r/g)", "a b c"}});
    fatalRows({{"$(V:S/a/b)", "Invalid substitution operation: :S/a/b"},
               {"$(V:S/a/b/x)", "Invalid substitution operation: :S/a/b/x"},
               {"$(V:S)", "Invalid substitution operation: :S"}});
}

TEST_F(Expand, GlobalsAndBestMatchesExchangeSubscriptAndModifier) {
    variableSet(globalTable, I("GL"), I("a b"));
    variableSet(globalTable, I("GK"), I("x :quote=yes"));
    set("CB/*", "p q");
    expectRows({{"$(GL)", "a b"}, {"$(GL:quote)", ""}, {"$(GK:quote)", "yes"}, {"$(CB/x:quote)", ""}});
    fatalRows({{"$(GL[0])", "Invalid substitution operation: 0"},
               {"$(CB/x[1])", "Invalid substitution operation: 1"}});
    set("GL", "a b");  // found in a scope: the usual order
    EXPECT_EQ(X("$(GL:quote)"), "\"a b\"");
}

TEST_F(Expand, SpecialNames) {
    char scope[64];
    snprintf(scope, sizeof scope, "0x%08lx:%d", reinterpret_cast<unsigned long>(currentScope), currentScope->depth);
    set(".FILE", "stored");
    expectRows({{"$(.FILE)", "conf"}, {"$(.FILE:dirname)", ""}, {"$(.LINE)", "7"}, {"$(.CURRENT_SCOPE)", scope},
                {"$(.SEPARATOR[1]:x)", "/"}, {"[$(.DELIMITER[0]:quote)]", "[ \t]"}, {"[$()]", "[]"}});
    fatalRows({{"$(.FILE[0])", ".FILE cannot be subscripted"},
               {"$(.LINE:x)", ".LINE cannot be modified"},
               {"$(.CURRENT_SCOPE:x)", ".CURRENT_SCOPE cannot be modified"},
               {"$(.DEBUGFLAGS)", ".DEBUGFLAGS must be subscripted"},
               {"$(.DEBUGFLAGS[ab])", ".DEBUGFLAGS must have a single character subscript"},
               {"$(.DEBUGFLAGS[a]:x)", ".DEBUGFLAGS cannot be modified"},
               {"$(:foo)", ":glob required when variable name is empty"},
               {"$(*:foo)", "Only :~ is allowed on the variable *"}});
}

TEST_F(Expand, VariableListFollowsTheTemporaryTableOrder) {
    // One-letter names hash to their character code: h, a and i share the
    // buckets 0, 1, 1 of the eight; scopes are visited before the global table.
    for (const char *name : {"h", "a", "i"})
        variableSet(globalTable, I(name), I("1"));
    set("i", "2");
    set("c", "3");
    variableUnset(I("c"));
    EXPECT_EQ(X("$(*:~^[achi]$)"), "h i a c");
    std::string all = " " + X("$(*)") + " ";
    EXPECT_NE(all.find(" .EMIT "), std::string::npos);
}

TEST_F(Expand, GlobMarksDirectories) {
    support::TempDir dir;
    dir.write("a.c", "");
    std::filesystem::create_directory(dir.path("d.c"));
    EXPECT_EQ(X("$(:glob\t" + dir.dir + "/*.c)"), dir.path("a.c") + " " + dir.path("d.c") + "/");
    EXPECT_EQ(X("$(:glob " + dir.dir + "/*.h)"), "");
}

TEST_F(Expand, TableLookups) {
    HashTable *table = ht_new();
    variableInsert(table, I("TV"), I("table"), nullptr, names.blank);
    variableInsert(table, I("TD"), I("gone"), nullptr, names.blank);
    variableFind(table, I("TD"), 1)->flags |= VAR_DELETED;
    variableInsert(table, I("TC/x/*"), I("table"), nullptr, names.blank);
    set("TV", "scope");
    set("TS", "scope");
    set("TC/*", "scope");
    EXPECT_STREQ(expandString(table, I("$(TV) $(TS) [$(TD)]")), "table scope []");
    EXPECT_STREQ(variableExpand(table, I("TS"), 1), "");
    EXPECT_STREQ(variableExpand(table, I("TC/y"), 1), "");
    EXPECT_STREQ(variableExpand(table, I("TC/x/y"), 1), "table");
}

TEST_F(Expand, LongTextsGrowTheBufferAndAnOpenPassIsKept) {
    std::string big(3000, 'v'), text, expected;
    set("BIG", big.c_str());
    set("SMALL", "ab");
    for (int i = 0; i < 15; i++) {
        text += "$(BIG)$(SMALL)-";
        expected += big + "ab-";
    }
    for (int i = 0; i < 4000; i++) {
        text += "$(SMALL)";
        expected += "ab";
    }
    stringBegin(0);
    stringAppend("abc", 3);
    EXPECT_EQ(X(text), expected);
    stringAppend("d", 1);
    EXPECT_STREQ(stringEnd(), "abcd");
}

}  // namespace
