// Interned strings, hash tables and character stacks.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <string>
#include <unistd.h>
#include <vector>

#include "core/alloc.h"
#include "core/stack.h"
#include "support.h"

namespace {

using support::I;
using support::startUp;

TEST(IString, HashReferenceValuesAndInterning) {
    startUp();
    struct Row { std::string text; uint32_t hash; };
    for (const Row &row : std::vector<Row>{{"", 0u}, {"a", 97u}, {"ab", 3299u}, {"OBJS", 2913422u},
                                           {"\xE9", 0xFFFFFFE9u}}) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(ht_hash(row.text.data(), row.text.size()), row.hash);
        EXPECT_EQ(istringHash(I(row.text)), row.hash);
    }
    istring ab = I("ab");
    EXPECT_EQ(istringNewN("abc", 2), ab);
    EXPECT_NE(I("abc"), ab);
    // Characters after an embedded NUL take no part in the comparison.
    ASSERT_EQ(ht_hash("x\0AB", 4), ht_hash("x\0B!", 4));
    istring x = istringNewN("x\0AB", 4);
    EXPECT_EQ(istringNewN("x\0B!", 4), x);
    EXPECT_EQ(istringLength(x), 4u);
    EXPECT_NE(I("x"), x);
}

TEST(IString, CheckReportsOnStandardOutputAndAborts) {
    startUp();
    struct Fake { IStringHeader header; char chars[8]; } __attribute__((packed));
    uint32_t hash = ht_hash("zz", 2);
    Fake bad{{ISTRING_MAGIC, hash, 3}, "zz"};
    EXPECT_EXIT((dup2(2, 1), istringCheck(bad.chars)), testing::KilledBySignal(SIGABRT),
                "^zz: incorrect length 2 != 3\n$");
    Fake good{{ISTRING_MAGIC, hash, 2}, "zz"};
    istringCheck(good.chars);
}

TEST(IString, InternedIsDecidedByIdentityNotByHeaderBytes) {
    startUp();
    struct Fake { IStringHeader header; char chars[8]; } __attribute__((packed));
    Fake outside{{ISTRING_MAGIC, ht_hash("zz", 2), 2}, "zz"};
    EXPECT_FALSE(istringInterned(outside.chars));  // a perfect header outside the pool

    // Inside the pool: the end of a string whose last bytes imitate a header.
    std::string text = "ab";
    IStringHeader forged{ISTRING_MAGIC, ht_hash("", 0), 0};
    text.append(reinterpret_cast<const char *>(&forged), sizeof forged);
    istring holder = istringNewN(text.data(), static_cast<unsigned>(text.size()));
    const char *end = holder + istringLength(holder);
    EXPECT_EQ(istringMagic(end), ISTRING_MAGIC);
    EXPECT_FALSE(istringInterned(end));
    EXPECT_FALSE(istringInterned(holder + 1));

    EXPECT_TRUE(istringInterned(holder));
    EXPECT_TRUE(istringInterned(I("")));
    for (int i = 0; i < 20000; i++)  // strings in later pool blocks too
        EXPECT_TRUE(istringInterned(I(("s" + std::to_string(i)).c_str())));
}

TEST(IString, TableGrowthAndLengthLimit) {
    startUp();
    EXPECT_EQ(istringLength(I(std::string(65534, 'x'))), 65534u);
    EXPECT_EXIT(I(std::string(65535, 'y')), testing::ExitedWithCode(1), "name length too long\\(65536\\)");
    istring first = I("first-before-growth");
    const HashTable *table = istringTable();
    if (table->size != 4096)
        GTEST_SKIP() << "string table already grown";
    for (int i = 0; table->count < 6144; i++)
        I("s" + std::to_string(i));
    EXPECT_EQ(table->size, 4096u);
    I("the-6145th");
    EXPECT_EQ(table->size, 8192u);
    EXPECT_EQ(table->threshold, 12288u);
    EXPECT_EQ(I("first-before-growth"), first);
}

// Keys named "k<n>" whose hash falls in `bucket` of `mask` + 1.
std::vector<istring> keysIn(uint32_t mask, uint32_t bucket, size_t count, int from = 0) {
    std::vector<istring> keys;
    for (int c = from; keys.size() < count; c++) {
        std::string k = "k" + std::to_string(c);
        if ((ht_hash(k.c_str(), k.size()) & mask) == bucket)
            keys.push_back(I(k));
    }
    return keys;
}

TEST(HashTable, GrowsAtThirteenthEntryAndReversesChains) {
    startUp();
    HashTable *table = ht_new();
    EXPECT_EQ(ht_start(table), nullptr);
    std::vector<istring> keys = keysIn(7, 0, 13);
    for (size_t i = 0; i < 12; i++)
        EXPECT_EQ(ht_insert(table, keys[i], (void *)keys[i], 0), 0);
    EXPECT_EQ(table->size, 8u);
    EXPECT_EQ(support::keysInOrder(table), std::vector<std::string>(keys.begin(), keys.begin() + 12));
    ht_insert(table, keys[12], (void *)keys[12], 0);
    EXPECT_EQ(table->size, 16u);
    EXPECT_EQ(table->threshold, 24u);
    // Bucket 0 first, then bucket 8, each in reverse of the former chain; a
    // later key goes to the end of its chain.
    std::vector<std::string> expected;
    for (uint32_t bucket : {0u, 8u})
        for (auto k = keys.rbegin(); k != keys.rend(); ++k)
            if ((ht_hash(*k, strlen(*k)) & 15) == bucket)
                expected.push_back(*k);
    istring later = keysIn(15, 8, 1, 1000)[0];
    ht_insert(table, later, nullptr, 0);
    expected.push_back(later);
    EXPECT_EQ(support::keysInOrder(table), expected);
    for (istring k : keys)
        EXPECT_EQ(ht_lookup(table, k), k);
}

TEST(HashTable, ReplaceFlagAndIdentityKeys) {
    startUp();
    HashTable *table = ht_new();
    istring k = I("key");
    int one = 1, two = 2;
    EXPECT_EQ(ht_insert(table, k, &one, 0), 0);
    EXPECT_EQ(ht_insert(table, k, &two, 0), 1);
    EXPECT_EQ(ht_lookup(table, k), &one);
    EXPECT_EQ(ht_insert(table, k, &two, 1), 1);
    EXPECT_EQ(ht_lookup(table, k), &two);
    // Same characters and header, but not the interned handle.
    char copy[sizeof(IStringHeader) + 4];
    std::memcpy(copy, k - sizeof(IStringHeader), sizeof copy);
    EXPECT_EQ(ht_lookup(table, copy + sizeof(IStringHeader)), nullptr);
}

TEST(Stack, PopsBytesSkipsEmptyFramesAndEnds) {
    StackFrame *top = stackPush(nullptr, "bc", 2);
    top = stackPush(top, "", 0);
    top = stackPush(top, "a", 1);
    std::string popped;
    for (int c; (c = stackPop(&top)) != -1;)
        popped += static_cast<char>(c);
    EXPECT_EQ(popped, "abc");
    EXPECT_EQ(top, nullptr);
    EXPECT_EXIT(stackPop(&top), testing::ExitedWithCode(1),
                "^stackPop was called with a pointer to a null pointer\n$");
    EXPECT_EXIT(stackPop(nullptr), testing::ExitedWithCode(1), "^stackPop was called with a null pointer\n$");
    // High bytes come back sign-extended, so 0xFF reads as the end marker.
    top = stackPush(nullptr, "\xE9\xFFz", 3);
    EXPECT_EQ(stackPop(&top), static_cast<int>(static_cast<signed char>('\xE9')));
    EXPECT_EQ(stackPop(&top), -1);
    stackFree(top);
}

}  // namespace
