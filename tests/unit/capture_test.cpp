// Captured views of the variables at a build, record versions, and values
// that grow by appends without being interned.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "support.h"
#include "variables/expand.h"
#include "variables/variable.h"

namespace {

using support::I;

class Capture : public support::ScopeFixture {
protected:
    static void set(const char *name, const char *text) { variableSet(nullptr, I(name), I(text)); }
    static void append(HashTable *table, const char *name, const char *text) {
        variableAppend(table, I(name), I(text), nullptr);
    }
    // What a rule command of the build reads.
    static std::string through(HashTable *build, const char *text) { return expandString(build, I(text)); }
};

TEST_F(Capture, LaterChangesAreInvisibleThroughTheCapture) {
    variableSet(globalTable, I("G"), I("g0"));
    variableSet(globalTable, I("GU"), I("gu"));
    set("S", "s0");
    set("U", "u0");
    scopeNew(nullptr);
    set("S", "inner");  // the innermost definition wins
    HashTable *build = ht_new();
    variableSet(build, I("W"), I("with"));
    variableCapture(build);
    variableSet(build, names.MATCH, I("stem"));

    set("S", "changed");
    append(nullptr, "NEW", "n");
    variableUnset(I("U"));
    variableUnset(I("GU"));
    variableAppend(globalTable, I("G"), I("g1"), nullptr);
    scopePop();
    set("S", "outer changed");
    EXPECT_EQ(through(build, "$(W) $(.MATCH) $(S) $(U) $(G) $(GU)"), "with stem inner u0 g0 gu");
    // Names the capture never saw fall through to the live tables.
    EXPECT_EQ(through(build, "$(NEW)"), "");
    variableSet(globalTable, I("NEW"), I("live"));
    EXPECT_EQ(through(build, "$(NEW)"), "live");
    EXPECT_EQ(variableFind(nullptr, I("U"), 0)->flags & VAR_DELETED, VAR_DELETED);
}

TEST_F(Capture, ADeletedRecordStopsTheSearchAndSkipsTheBestMatch) {
    variableSet(globalTable, I("D"), I("global"));
    variableSet(globalTable, I("C/*"), I("wild"));
    set("D", "local");
    set("C/x", "exact");
    variableUnset(I("D"));
    variableUnset(I("C/x"));
    HashTable *build = ht_new();
    variableCapture(build);
    set("D", "revived");
    set("C/x", "revived");
    EXPECT_EQ(through(build, "$(D)"), "");
    EXPECT_EQ(variableDefined(build, I("D")), 0);
    // C/x is deleted in the capture, so the global wildcard is the best match.
    EXPECT_EQ(variableExpand(build, I("C/y"), 0), std::string("wild"));
}

TEST_F(Capture, VersionSearchAgreesWithALinearWalk) {
    // One name changed between many captures, in bursts.
    std::mt19937 random(7);
    HashTable *table = currentScope->table;
    std::vector<HashTable *> builds;
    std::vector<std::string> expected;
    for (int i = 0; i < 3000; i++) {
        for (unsigned n = random() % 3; n > 0; n--)
            set("V", std::to_string(i * 10 + n).c_str());
        builds.push_back(ht_new());
        variableCapture(builds.back());
        expected.push_back(variableValue(nullptr, I("V"), 0));
    }
    Variable *newest = static_cast<Variable *>(ht_lookup(table, I("V")));
    for (size_t i = 0; i < builds.size(); i++) {
        uint32_t epoch = variableCaptures - static_cast<uint32_t>(builds.size() - i);
        Variable *walked = newest;
        while (walked && walked->stamp > epoch)
            walked = walked->older;
        ASSERT_EQ(variableVersionAt(newest, epoch), walked) << i;
        ASSERT_EQ(variableValue(builds[i], I("V"), 1), expected[i]) << i;
    }
}

TEST_F(Capture, AppendedVersionsArePrefixesOfOneText) {
    variableSet(globalTable, I("A"), I("a"));
    std::vector<HashTable *> builds;
    for (const char *word : {"b", "c", "d"}) {
        append(globalTable, "A", word);
        builds.push_back(ht_new());
        variableCapture(builds.back());
    }
    Variable *newest = variableFind(globalTable, I("A"), 1);
    ASSERT_NE(newest->grown, nullptr);
    EXPECT_EQ(newest->value, nullptr);  // nothing has read it yet
    EXPECT_EQ(variableFind(builds[0], I("A"), 1)->grown, newest->grown);
    EXPECT_EQ(through(builds[1], "$(A)"), "a b c");
    EXPECT_EQ(through(builds[0], "$(A)"), "a b");
    // Interned on first read: the same handle as the text interned anywhere.
    EXPECT_EQ(variableValue(nullptr, I("A"), 0), I("a b c d"));
    // A prepend ends the shared text; an append to an older version starts
    // a text of its own and leaves the versions already made as they were.
    variablePrepend(globalTable, I("A"), I("z"), nullptr);
    append(globalTable, "A", "e");
    EXPECT_EQ(variableValue(nullptr, I("A"), 0), I("z a b c d e"));
    scopeNew(nullptr);
    variableUses(nullptr, I("L"), ";");
    append(nullptr, "L", "x");
    append(nullptr, "L", "y");
    scopeNew(nullptr);
    append(nullptr, "L", "inner");
    scopePop();
    append(nullptr, "L", "outer");
    EXPECT_EQ(variableValue(nullptr, I("L"), 0), I("x;y;outer"));
    EXPECT_EQ(through(builds[2], "$(A)"), "a b c d");
}

TEST_F(Capture, TheLengthLimitStopsTheAppendThatCrossesIt) {
    std::string half(32766, 'x');
    set("LONG", half.c_str());
    append(nullptr, "LONG", half.c_str());  // 65,533 characters
    append(nullptr, "LONG", "");            // 65,534: the longest value
    EXPECT_EQ(istringLength(variableValue(nullptr, I("LONG"), 0)), 65534u);
    EXPECT_EXIT(append(nullptr, "LONG", ""), testing::ExitedWithCode(1), ": name length too long\\(65536\\)\n$");
}

}  // namespace
