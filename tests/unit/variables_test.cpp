// The variable store where the program's output cannot show it exactly: scope
// traces print addresses, dumps print host values, and the version search of
// captured views is checked against a linear walk.
#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "core/debug.h"
#include "core/names.h"
#include "support.h"
#include "variables/variable.h"

namespace {

using support::I;

class Variables : public support::ScopeFixture {
protected:
    static void set(const char *name, const char *text) { variableSet(nullptr, I(name), text ? I(text) : nullptr); }
};

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

TEST_F(Variables, VersionSearchAgreesWithALinearWalk) {
    // One name changed between many captures, in bursts.
    std::mt19937 random(7);
    std::vector<HashTable *> builds;
    std::vector<std::string> expected;
    for (int i = 0; i < 3000; i++) {
        for (unsigned n = random() % 3; n > 0; n--)
            set("V", std::to_string(i * 10 + n).c_str());
        builds.push_back(ht_new());
        variableCapture(builds.back());
        expected.push_back(variableValue(nullptr, I("V"), 0));
    }
    Variable *newest = static_cast<Variable *>(ht_lookup(currentScope->table, I("V")));
    for (size_t i = 0; i < builds.size(); i++) {
        uint32_t epoch = variableCaptures - static_cast<uint32_t>(builds.size() - i);
        Variable *walked = newest;
        while (walked && walked->stamp > epoch)
            walked = walked->older;
        ASSERT_EQ(variableVersionAt(newest, epoch), walked) << i;
        ASSERT_EQ(variableValue(builds[i], I("V"), 1), expected[i]) << i;
    }
}

}  // namespace
