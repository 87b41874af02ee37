// Scopes, compound names, pattern matching and the variable store.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "core/debug.h"
#include "support.h"
#include "variables/expand.h"
#include "variables/pattern.h"
#include "variables/variable.h"

namespace {

using support::exact;
using support::I;

class Variables : public support::ScopeFixture {
protected:
    void TearDown() override {
        ScopeFixture::TearDown();
        nameSeparator = '/';
        variableSet(globalTable, names.DELIMITER, I(" \t"));
    }
    static std::string value(const char *name) { return variableExpand(nullptr, I(name), 0); }
    static void set(const char *name, const char *text) { variableSet(nullptr, I(name), text ? I(text) : nullptr); }
};

TEST_F(Variables, SkipStateFlowsInwardsAndPopsUnwindBlocksFirst) {
    Scope *scope = currentScope;
    scopePush();
    scopeIgnore();
    EXPECT_FALSE(scopeActive());
    scopePush();
    EXPECT_EQ(scope->depth, 2);
    scopeNew(nullptr);
    EXPECT_TRUE(scopeIgnoring());
    scopePop();
    scopePop();
    EXPECT_TRUE(scopeIgnoring());
    scopePop();
    EXPECT_TRUE(scopeActive());
    EXPECT_EQ(currentScope, scope);
    EXPECT_EQ(scope->condition, &scope->embedded);
    // The outermost scope is never closed.
    while (currentScope->parent)
        scopePop();
    Scope *outermost = currentScope;
    scopePop();
    EXPECT_EQ(currentScope, outermost);
    EXPECT_EQ(currentScope->depth, 0);
    outer = outermost;
}

TEST_F(Variables, ScopeTracesOnStandardOutput) {
    auto identity = [](const Scope *s) {
        char text[64];
        snprintf(text, sizeof text, "0x%08lx:%d", reinterpret_cast<unsigned long>(s), s->depth);
        return std::string(text);
    };
    debugSet('S');
    testing::internal::CaptureStdout();
    scopeNew(nullptr);
    std::string opened = identity(currentScope);
    scopePush();
    std::string pushed = identity(currentScope);
    set("CURRENT_FILE", "conf:3");
    set("CURRENT_LINE", "x = 1");
    scopePop();
    std::string popped = identity(currentScope);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "+++ New scope at " + opened + " at :\n+++ Pushed scope to " +
                                                          pushed + " at :\n--- Popped scope to " + popped +
                                                          " at conf:3:x = 1\n");
}

TEST_F(Variables, BestMatchScoresTiesAndWildcards) {
    set("A/*/x", "1");
    set("A/b/x", "2");
    set("W/b/x", "2");
    set("E/*/y", "any");
    for (auto [name, expected] : std::vector<std::pair<const char *, const char *>>{
             {"A/c/x", "1"}, {"A/c/y", ""}, {"A/c", ""}, {"A/*/x", "1"},
             {"W/*/x", ""},  // wildcards work on the stored side only
             {"E//y", "any"}, {"E//z", ""}}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(value(name), expected);
    }
    scopeNew(nullptr);
    set("B/b/*", "2");
    set("B/*/x", "1");
    EXPECT_EQ(value("B/b/x"), "1");  // tie of 2, the later record wins
    EXPECT_FALSE(variableDefined(nullptr, I("B/b")));
    // Deleted records in scopes never match; deleted global ones do.
    set("D/*", "scope");
    variableUnset(I("D/*"));
    EXPECT_FALSE(variableDefined(nullptr, I("D/q")));
    variableSet(globalTable, I("DG/*"), I("global"));
    variableUnset(I("DG/*"));
    EXPECT_EQ(value("DG/q"), "global");
}

TEST_F(Variables, PatternsUseBasicUnanchoredSyntax) {
    struct Row { const char *text, *pattern; int matched; };
    for (int pass = 0; pass < 2; pass++)  // alternating patterns are recompiled
        for (const Row &row : std::vector<Row>{{"xxabcxx", "a.c", 1}, {"xabc", "^a.c$", 0}, {"a+", "a+", 1},
                                               {"aa", "a+", 0}, {"aa", "a\\{2\\}", 1}, {"x", "", 1}}) {
            SCOPED_TRACE(row.pattern);
            EXPECT_EQ(patternMatch(row.text, I(row.pattern)), row.matched);
        }
    EXPECT_EXIT(patternMatch("x", I("a\\(")), testing::ExitedWithCode(1), "^a\\\\\\(: .+\n$");
}

TEST_F(Variables, AppendToAnOuterVariableMakesALocalCopy) {
    variableSet(globalTable, I("AX"), I("a"));
    uint32_t sequence = variableFind(globalTable, I("AX"), 1)->sequence;
    scopeNew(nullptr);
    variableAppend(nullptr, I("AX"), I("b"), nullptr);
    Variable *local = variableFind(currentScope->table, I("AX"), 1);
    ASSERT_NE(local, nullptr);
    EXPECT_STREQ(variableRecordValue(local), "a b");
    EXPECT_EQ(local->sequence, sequence);
    scopePop();
    EXPECT_EQ(value("AX"), "a");
}

TEST_F(Variables, SeparatorsOfAppendAndPrependAndTheResetByAssignment) {
    variableUses(nullptr, I("X"), ";");
    variableAppend(nullptr, I("X"), I("b"), nullptr);
    variablePrepend(nullptr, I("X"), I("a"), nullptr);
    variablePrepend(nullptr, I("X"), I("z"), I("/"));
    EXPECT_EQ(value("X"), "z/a;b");
    uint32_t sequence = variableFind(nullptr, I("X"), 0)->sequence;
    set("X", "d");
    EXPECT_NE(variableFind(nullptr, I("X"), 0)->sequence, sequence);
    variableAppend(nullptr, I("X"), I("e"), nullptr);
    variableAppend(nullptr, I("X"), I(""), nullptr);
    EXPECT_EQ(value("X"), "d e ");
    // uses after unset revives the record with its value and sequence.
    variableUnset(I("X"));
    sequence = variableFind(nullptr, I("X"), 0)->sequence;
    variableUses(nullptr, I("X"), ":");
    Variable *record = variableFind(nullptr, I("X"), 0);
    EXPECT_EQ(record->flags, 0u);
    EXPECT_STREQ(record->value, "d e ");
    EXPECT_EQ(record->sequence, sequence);
}

TEST_F(Variables, RemoveTakesTheFirstWholeWord) {
    for (auto [old, word, left] : std::vector<std::tuple<const char *, const char *, const char *>>{
             {"a b c", "b", "a c"}, {"a b", "b", "a "}, {"a b", "z", "a b"}, {"ab a", "a", "ab "},
             {"a \t b", "a", "b"}, {"a b", "", "a b"}, {"", "a", ""}}) {
        SCOPED_TRACE(std::string(old) + "-" + word);
        set("R", old);
        variableRemove(nullptr, I("R"), I(word));
        EXPECT_EQ(value("R"), left);
    }
}

TEST_F(Variables, UnsetMarksTheRecordWhereverItLives) {
    variableSet(globalTable, I("UG"), I("g"));
    scopeNew(nullptr);
    variableUnset(I("UG"));
    scopePop();
    EXPECT_FALSE(variableDefined(nullptr, I("UG")));
    EXPECT_TRUE(variableFind(globalTable, I("UG"), 1)->flags & VAR_DELETED);
    EXPECT_STREQ(variableValue(nullptr, I("UG"), 0), "g");  // deleted still gives its value
    variableUnset(I("NOSUCH"));
    EXPECT_EQ(variableFind(nullptr, I("NOSUCH"), 0), nullptr);
    // A deleted local record hides the outer one.
    variableSet(globalTable, I("UH"), I("outer"));
    set("UH", "inner");
    variableUnset(I("UH"));
    EXPECT_EQ(value("UH"), "");
}

TEST_F(Variables, SpecialNamesOnAssignment) {
    set(".DEBUGFLAGS[S]", "false");  // any text but the False name switches on
    EXPECT_TRUE(debugOn('S'));
    variableSet(nullptr, I(".DEBUGFLAGS[S]"), names.False);
    EXPECT_FALSE(debugOn('S'));
    set(".DEBUGFLAGS[S]", "1");
    variableUnset(I(".DEBUGFLAGS[S]"));
    EXPECT_FALSE(debugOn('S'));
    EXPECT_EQ(variableFind(nullptr, I(".DEBUGFLAGS[S]"), 0), nullptr);
    // The separator splits names when they are stored.
    set(".SEPARATOR", ":");
    set("P;*", "star");
    set(".SEPARATOR", ";");
    set("Q;*", "star");
    EXPECT_EQ(value("P;q"), "");
    EXPECT_EQ(value("Q;q"), "star");
    for (auto [name, text, message] : std::vector<std::tuple<const char *, const char *, const char *>>{
             {".DEBUGFLAGS[ab]", "1", ".DEBUGFLAGS must have a single character subscript\n"},
             {".SEPARATOR", "::", ".SEPARATOR must be assigned to a single character\n"},
             {".SEPARATOR", "", ".SEPARATOR must be assigned to a single character\n"}}) {
        SCOPED_TRACE(name);
        EXPECT_EXIT(set(name, text), testing::ExitedWithCode(1), exact(message));
    }
    EXPECT_EXIT(variableUnset(I(".DEBUGFLAGS[]")), testing::ExitedWithCode(1),
                exact(".DEBUGFLAGS must have a single character subscript\n"));
}

TEST_F(Variables, DelimiterIsGlobalAndUnsetRestoresBlankAndTab) {
    scopeNew(nullptr);
    set(".DELIMITER", ",");
    EXPECT_EQ(ht_lookup(currentScope->table, names.DELIMITER), nullptr);
    scopePop();
    EXPECT_TRUE(isClass(',', CC_DELIMITER));
    EXPECT_FALSE(isClass(' ', CC_DELIMITER));
    set("DL", "a b,c");
    EXPECT_EQ(value("DL[1]"), "c");
    variableUnset(names.DELIMITER);
    EXPECT_EQ(value(".DELIMITER"), " \t");
    EXPECT_EQ(value("DL[1]"), "b,c");
    EXPECT_TRUE(isClass('\t', CC_DELIMITER));
    EXPECT_FALSE(isClass(',', CC_DELIMITER));
}

TEST_F(Variables, FlattenKeepsTheInnermostDefinition) {
    variableSet(globalTable, I("FL"), I("global"));
    set("FL", "outer");
    set("FM", "m");
    variableUnset(I("FM"));
    scopeNew(nullptr);
    set("FL", "inner");
    HashTable *flat = ht_new();
    variableFlatten(flat);
    EXPECT_STREQ(variableFind(flat, I("FL"), 1)->value, "inner");
    EXPECT_TRUE(variableFind(flat, I("FM"), 1)->flags & VAR_DELETED);
    EXPECT_NE(variableFind(flat, names.EMIT, 1), nullptr);
}

TEST_F(Variables, DumpFormat) {
    // Single-letter names land in buckets by their character code: a, b, c.
    set("b", "2");
    set("a", "1");
    variableUnset(I("a"));
    scopeNew(nullptr);
    set("c", nullptr);
    testing::internal::CaptureStdout();
    variableDump(nullptr, 0);
    std::string all = testing::internal::GetCapturedStdout();
    EXPECT_EQ(all.rfind("\nVariable Dump at conf:7\n    c\n      a DELETED\n      b=2\n", 0), 0u) << all;
    EXPECT_NE(all.find("\n        .EMIT=.EMIT-NOW .OBJS .EMIT .RULES\n"), std::string::npos) << all;
    HashTable *local = ht_new();
    variableInsert(local, I("c"), nullptr, nullptr, names.blank);
    variableInsert(local, I("a"), I("x"), nullptr, names.blank);
    testing::internal::CaptureStdout();
    variableDump(local, 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\nVariable Dump at conf:7\n    a=x\n    c\n");
}

}  // namespace
