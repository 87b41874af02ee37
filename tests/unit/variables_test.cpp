// Scopes, compound names, pattern matching and the variable store.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <string>

#include "driver/debug.h"
#include "support.h"
#include "variables/expand.h"
#include "variables/pattern.h"
#include "variables/variable.h"

namespace {

using support::I;

using support::exact;

std::string identity(const Scope *scope) {
    char text[64];
    snprintf(text, sizeof text, "0x%08lx:%d", reinterpret_cast<unsigned long>(scope), scope->depth);
    return text;
}

class Variables : public ::testing::Test {
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
        nameSeparator = '/';
        variableSet(globalTable, names.DELIMITER, I(" \t"));
    }
    std::string value(const char *name) { return variableExpand(nullptr, I(name), 0); }

    Scope *outer = nullptr;
};

// --- Scopes ---------------------------------------------------------------

TEST_F(Variables, OutermostScopeIsNeverClosed) {
    while (currentScope->parent)
        scopePop();
    Scope *outermost = currentScope;
    debugSet('S');
    testing::internal::CaptureStdout();
    for (int i = 0; i < 3; i++)
        scopePop();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(currentScope, outermost);
    EXPECT_EQ(currentScope->depth, 0);
    outer = outermost;
}

TEST_F(Variables, ClosedScopeRecordIsReusedWithAFreshTable) {
    Scope *before = currentScope;
    scopeNew(nullptr);
    Scope *first = currentScope;
    variableSet(nullptr, I("RX"), I("1"));
    scopePop();
    EXPECT_EQ(currentScope, before);
    scopeNew(nullptr);
    EXPECT_EQ(currentScope, first);
    EXPECT_EQ(currentScope->depth, 0);
    EXPECT_EQ(currentScope->table->count, 0u);
    EXPECT_EQ(value("RX"), "");
}

TEST_F(Variables, SkipStateFlowsInwardsAndPopsUnwindBlocksFirst) {
    Scope *scope = currentScope;
    EXPECT_TRUE(scopeActive());
    scopePush();
    scopeIgnore();
    EXPECT_TRUE(scopeIgnoring());
    EXPECT_FALSE(scopeActive());
    scopePush();
    EXPECT_EQ(scope->depth, 2);
    EXPECT_TRUE(scopeIgnoring());
    scopeNew(nullptr);
    EXPECT_TRUE(scopeIgnoring());
    scopePop();
    scopePop();
    EXPECT_TRUE(scopeIgnoring());
    scopePop();
    EXPECT_TRUE(scopeActive());
    EXPECT_EQ(currentScope, scope);
    EXPECT_EQ(scope->condition, &scope->embedded);
    scopePop();
    EXPECT_EQ(currentScope, outer);
}

TEST_F(Variables, ScopeTracesOnStandardOutput) {
    debugSet('S');
    testing::internal::CaptureStdout();
    scopeNew(nullptr);
    Scope *scope = currentScope;
    std::string opened = identity(scope);
    scopePush();
    std::string pushed = identity(scope);
    variableSet(nullptr, I("CURRENT_FILE"), I("conf:3"));
    variableSet(nullptr, I("CURRENT_LINE"), I("x = 1"));
    scopePop();
    std::string popped = identity(scope);
    scopePop();
    std::string back = identity(currentScope);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "+++ New scope at " + opened + " at :\n" + "+++ Pushed scope to " + pushed + " at :\n" +
                  "--- Popped scope to " + popped + " at conf:3:x = 1\n" + "--- Popped scope to " + back +
                  " at :\n");
}

// --- Compound names -------------------------------------------------------

TEST_F(Variables, NamesSplitAtEverySeparator) {
    Variable record;
    variableNameSplit(&record, I("a//b/"));
    ASSERT_EQ(record.count, 4);
    EXPECT_EQ(record.components[0], I("a"));
    EXPECT_EQ(record.components[1], I(""));
    EXPECT_EQ(record.components[2], I("b"));
    EXPECT_EQ(record.components[3], I(""));
    variableNameFree(&record);
    variableNameSplit(&record, I("plain"));
    EXPECT_EQ(record.count, 0);
    EXPECT_EQ(record.components, nullptr);
    EXPECT_EQ(variableMatchScore(&record, &record), -2);
}

TEST_F(Variables, BestMatchPrefersExactComponentsThenNewest) {
    variableSet(nullptr, I("A/*/x"), I("1"));
    variableSet(nullptr, I("A/b/x"), I("2"));
    EXPECT_EQ(value("A/b/x"), "2");
    EXPECT_EQ(value("A/c/x"), "1");
    EXPECT_EQ(value("A/c/y"), "");
    EXPECT_EQ(value("A/c"), "");
    EXPECT_EQ(value("A/*/x"), "1");  // the stored wildcard itself
    variableSet(nullptr, I("W/b/x"), I("2"));
    EXPECT_EQ(value("W/*/x"), "");  // wildcards work on the stored side only
    variableSet(nullptr, I("E/*/y"), I("any"));
    EXPECT_EQ(value("E//y"), "any");
    EXPECT_EQ(value("E//z"), "");
    scopeNew(nullptr);
    variableSet(nullptr, I("B/b/*"), I("2"));
    variableSet(nullptr, I("B/*/x"), I("1"));
    EXPECT_EQ(value("B/b/x"), "1");  // tie of 2, the later record wins
    EXPECT_TRUE(variableDefined(nullptr, I("B/b/x")));
    EXPECT_FALSE(variableDefined(nullptr, I("B/b")));
}

TEST_F(Variables, DeletedRecordsInScopesNeverMatchButGlobalOnesDo) {
    variableSet(nullptr, I("D/*"), I("scope"));
    variableUnset(I("D/*"));
    EXPECT_EQ(value("D/q"), "");
    EXPECT_FALSE(variableDefined(nullptr, I("D/q")));
    variableSet(globalTable, I("DG/*"), I("global"));
    variableUnset(I("DG/*"));
    EXPECT_EQ(value("DG/q"), "global");
    EXPECT_TRUE(variableDefined(nullptr, I("DG/q")));
}

TEST_F(Variables, BestMatchWithATableStopsEarlyOnlyWhenAsked) {
    HashTable *table = ht_new();
    variableSet(globalTable, I("T/*/z"), I("global"));
    Variable wanted;
    variableNameSplit(&wanted, I("T/a/z"));
    EXPECT_EQ(variableBestMatch(table, &wanted, 1), nullptr);
    EXPECT_STREQ(variableBestMatch(table, &wanted, 0), "global");
    variableInsert(table, I("T/a/*"), I("table"), nullptr, names.blank);
    variableSet(globalTable, I("T/a/z"), I("exact"));
    // The global exact record scores 3 and beats the table's 2.
    EXPECT_STREQ(variableBestMatch(table, &wanted, 0), "exact");
    EXPECT_STREQ(variableBestMatch(table, &wanted, 1), "table");
    variableNameFree(&wanted);
}

// --- Pattern matching -----------------------------------------------------

TEST_F(Variables, PatternsUseBasicUnanchoredSyntax) {
    EXPECT_EQ(patternMatch("abc", I("a.c")), 1);
    EXPECT_EQ(patternMatch("xxabcxx", I("a.c")), 1);
    EXPECT_EQ(patternMatch("abc", I("^a.c$")), 1);
    EXPECT_EQ(patternMatch("xabc", I("^a.c$")), 0);
    EXPECT_EQ(patternMatch("a+", I("a+")), 1);
    EXPECT_EQ(patternMatch("aa", I("a+")), 0);
    EXPECT_EQ(patternMatch("aa", I("a\\{2\\}")), 1);
    EXPECT_EQ(patternMatch("anything", I("")), 1);
    // Alternating patterns recompile each time and still answer correctly.
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(patternMatch("xabc", I("^a.c$")), 0);
        EXPECT_EQ(patternMatch("xabc", I("a.c")), 1);
    }
}

TEST_F(Variables, BadPatternIsFatal) {
    EXPECT_EXIT(patternMatch("x", I("a\\(")), testing::ExitedWithCode(1), "^a\\\\\\(: .+\n$");
}

// --- The store ------------------------------------------------------------

TEST_F(Variables, AppendToAnOuterVariableMakesALocalCopy) {
    variableSet(globalTable, I("AX"), I("a"));
    uint32_t sequence = variableFind(globalTable, I("AX"), 1)->sequence;
    scopeNew(nullptr);
    variableAppend(nullptr, I("AX"), I("b"), nullptr);
    Variable *local = variableFind(currentScope->table, I("AX"), 1);
    ASSERT_NE(local, nullptr);
    EXPECT_STREQ(local->value, "a b");
    EXPECT_EQ(local->sequence, sequence);
    scopePop();
    EXPECT_EQ(value("AX"), "a");
}

TEST_F(Variables, SeparatorsOfAppendAndPrepend) {
    variableUses(nullptr, I("X"), ";");
    variableAppend(nullptr, I("X"), I("b"), nullptr);
    variableAppend(nullptr, I("X"), I("c"), nullptr);
    EXPECT_EQ(value("X"), "b;c");
    variablePrepend(nullptr, I("X"), I("a"), nullptr);
    EXPECT_EQ(value("X"), "a;b;c");
    variablePrepend(nullptr, I("X"), I("z"), I("/"));
    EXPECT_EQ(value("X"), "z/a;b;c");
    EXPECT_STREQ(variableSeparator(nullptr, I("X")), ";");
    uint32_t sequence = variableFind(nullptr, I("X"), 0)->sequence;
    variableSet(nullptr, I("X"), I("d"));  // resets the separator
    EXPECT_NE(variableFind(nullptr, I("X"), 0)->sequence, sequence);
    variableAppend(nullptr, I("X"), I("e"), nullptr);
    EXPECT_EQ(value("X"), "d e");
    variableAppend(nullptr, I("X"), I(""), nullptr);
    EXPECT_EQ(value("X"), "d e ");
    variableAppend(nullptr, I("NEWX"), I("only"), nullptr);
    EXPECT_EQ(value("NEWX"), "only");
}

TEST_F(Variables, RemoveTakesTheFirstWholeWord) {
    auto removed = [&](const char *old, const char *word) {
        variableSet(nullptr, I("R"), I(old));
        variableRemove(nullptr, I("R"), I(word));
        return value("R");
    };
    EXPECT_EQ(removed("a b c", "b"), "a c");
    EXPECT_EQ(removed("a b", "b"), "a ");
    EXPECT_EQ(removed("a b", "z"), "a b");
    EXPECT_EQ(removed("ab a", "a"), "ab ");
    EXPECT_EQ(removed("a \t b", "a"), "b");
    EXPECT_EQ(removed("ba ab a", "a"), "ba ab ");
    EXPECT_EQ(removed("a b", ""), "a b");
    EXPECT_EQ(removed("", "a"), "");
}

TEST_F(Variables, SetWithoutValueAndUsesKeepValueAndSequence) {
    variableSet(nullptr, I("S"), nullptr);
    EXPECT_TRUE(variableDefined(nullptr, I("S")));
    EXPECT_EQ(value("S"), "");
    variableUses(nullptr, I("U"), ",");
    Variable *record = variableFind(nullptr, I("U"), 0);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->value, nullptr);
    variableSet(nullptr, I("U"), I("v"));
    variableUnset(I("U"));
    uint32_t sequence = variableFind(nullptr, I("U"), 0)->sequence;
    variableUses(nullptr, I("U"), ":");
    record = variableFind(nullptr, I("U"), 0);
    EXPECT_EQ(record->flags, 0u);
    EXPECT_STREQ(record->value, "v");
    EXPECT_EQ(record->sequence, sequence);
}

TEST_F(Variables, UnsetMarksTheRecordWhereverItLives) {
    variableSet(globalTable, I("UG"), I("g"));
    scopeNew(nullptr);
    variableUnset(I("UG"));
    scopePop();
    EXPECT_EQ(value("UG"), "");
    EXPECT_FALSE(variableDefined(nullptr, I("UG")));
    EXPECT_TRUE(variableFind(globalTable, I("UG"), 1)->flags & VAR_DELETED);
    EXPECT_STREQ(variableValue(nullptr, I("UG"), 0), "g");  // deleted still gives its value
    variableUnset(I("NOSUCH"));
    EXPECT_EQ(variableFind(nullptr, I("NOSUCH"), 0), nullptr);
    // A deleted local record hides the outer one.
    variableSet(globalTable, I("UH"), I("outer"));
    variableSet(nullptr, I("UH"), I("inner"));
    variableUnset(I("UH"));
    EXPECT_EQ(value("UH"), "");
    EXPECT_FALSE(variableDefined(nullptr, I("UH")));
}

TEST_F(Variables, DebugFlagsAreWrittenThroughAssignment) {
    variableSet(nullptr, I(".DEBUGFLAGS[S]"), I("1"));
    EXPECT_TRUE(debugOn('S'));
    EXPECT_EQ(value(".DEBUGFLAGS[S]"), "True");
    variableSet(nullptr, I(".DEBUGFLAGS[S]"), names.False);
    EXPECT_FALSE(debugOn('S'));
    EXPECT_EQ(value(".DEBUGFLAGS[S]"), "");
    variableSet(nullptr, I(".DEBUGFLAGS[S]"), I("false"));
    EXPECT_TRUE(debugOn('S'));
    variableUnset(I(".DEBUGFLAGS[S]"));
    EXPECT_FALSE(debugOn('S'));
    variableSet(nullptr, I(".DEBUGFLAGS[x]"), nullptr);
    EXPECT_TRUE(debugOn('x'));
    EXPECT_EQ(variableFind(nullptr, I(".DEBUGFLAGS[x]"), 0), nullptr);
    EXPECT_EXIT(variableSet(nullptr, I(".DEBUGFLAGS[ab]"), I("1")), testing::ExitedWithCode(1),
                exact(".DEBUGFLAGS must have a single character subscript\n"));
    EXPECT_EXIT(variableUnset(I(".DEBUGFLAGS[]")), testing::ExitedWithCode(1),
                exact(".DEBUGFLAGS must have a single character subscript\n"));
}

TEST_F(Variables, SeparatorAssignment) {
    variableSet(nullptr, I(".SEPARATOR"), I(":"));
    EXPECT_EQ(nameSeparator, ':');
    EXPECT_EQ(value(".SEPARATOR"), ":");
    EXPECT_EQ(variableFind(nullptr, I(".SEPARATOR"), 0), nullptr);
    variableSet(nullptr, I("P;*"), I("star"));  // stored while ':' splits: a simple name
    variableSet(nullptr, I(".SEPARATOR"), I(";"));
    variableSet(nullptr, I("Q;*"), I("star"));
    EXPECT_EQ(value("P;q"), "");  // split with ':' when stored
    EXPECT_EQ(value("Q;q"), "star");
    EXPECT_EXIT(variableSet(nullptr, I(".SEPARATOR"), I("::")), testing::ExitedWithCode(1),
                exact(".SEPARATOR must be assigned to a single character\n"));
    EXPECT_EXIT(variableSet(nullptr, I(".SEPARATOR"), I("")), testing::ExitedWithCode(1),
                exact(".SEPARATOR must be assigned to a single character\n"));
    EXPECT_EXIT(variableSet(nullptr, I(".SEPARATOR"), nullptr), testing::ExitedWithCode(1),
                exact(".SEPARATOR must be assigned to a single character\n"));
}

TEST_F(Variables, DelimiterIsGlobalAndUnsetRestoresBlankAndTab) {
    scopeNew(nullptr);
    variableSet(nullptr, I(".DELIMITER"), I(","));
    EXPECT_EQ(ht_lookup(currentScope->table, names.DELIMITER), nullptr);
    EXPECT_STREQ(variableFind(globalTable, names.DELIMITER, 1)->value, ",");
    scopePop();
    EXPECT_EQ(value(".DELIMITER"), ",");
    EXPECT_TRUE(isClass(',', CC_DELIMITER));
    EXPECT_FALSE(isClass(' ', CC_DELIMITER));
    variableSet(nullptr, I("DL"), I("a b,c"));
    EXPECT_EQ(value("DL[1]"), "c");
    variableUnset(names.DELIMITER);
    EXPECT_EQ(value(".DELIMITER"), " \t");
    EXPECT_EQ(value("DL[1]"), "b,c");
    EXPECT_TRUE(isClass('\t', CC_DELIMITER));
    EXPECT_FALSE(isClass(',', CC_DELIMITER));
    EXPECT_STREQ(variableFind(globalTable, names.DELIMITER, 1)->value, ",");
}

TEST_F(Variables, SrcpathWarningOnlyUnderLetterS) {
    testing::internal::CaptureStderr();
    variableSet(nullptr, names.SRCPATH, I("src"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    debugSet('s');
    testing::internal::CaptureStderr();
    variableSet(nullptr, names.SRCPATH, I("src"));
    variableSet(nullptr, names.SRCPATH, I(""));
    variableSet(nullptr, names.SRCPATH, I("src/"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "conf:7: Warning: .SRCPATH does not end with a ``/''\n\tSet to: src\n");
    EXPECT_EQ(value(".SRCPATH"), "src/");
}

TEST_F(Variables, NonIstringArgumentsAbort) {
    char fake[32] = {};
    EXPECT_DEATH(variableSet(nullptr, fake + 16, I("v")), exact("Not a istring\n"));
    EXPECT_DEATH(variableAppend(nullptr, I("N"), fake + 16, nullptr), exact("Not a istring\n"));
}

TEST_F(Variables, FlattenKeepsTheInnermostDefinition) {
    variableSet(globalTable, I("FL"), I("global"));
    variableSet(nullptr, I("FL"), I("outer"));
    variableSet(nullptr, I("FM"), I("m"));
    variableUnset(I("FM"));
    scopeNew(nullptr);
    variableSet(nullptr, I("FL"), I("inner"));
    HashTable *flat = ht_new();
    variableFlatten(flat);
    EXPECT_STREQ(variableFind(flat, I("FL"), 1)->value, "inner");
    EXPECT_TRUE(variableFind(flat, I("FM"), 1)->flags & VAR_DELETED);
    EXPECT_NE(variableFind(flat, names.EMIT, 1), nullptr);
    variableCheck();
}

TEST_F(Variables, DumpFormat) {
    // Single-letter names land in buckets by their character code: a, b, c.
    variableSet(nullptr, I("b"), I("2"));
    variableSet(nullptr, I("a"), I("1"));
    variableUnset(I("a"));
    scopeNew(nullptr);
    variableSet(nullptr, I("c"), nullptr);
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
