// Interned strings, hash tables, pools, character stacks and the builder.
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

TEST(IString, HashReferenceValues) {
    struct Row { std::string text; uint32_t hash; };
    for (const Row &row : std::vector<Row>{{"", 0u}, {"a", 97u}, {"ab", 3299u}, {"OBJS", 2913422u},
                                           {"\xE9", 0xFFFFFFE9u}}) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(ht_hash(row.text.data(), row.text.size()), row.hash);
    }
}

TEST(IString, InterningGivesOneHandlePerSequence) {
    startUp();
    istring ab = I("ab");
    EXPECT_EQ(istringNewN("abc", 2), ab);
    EXPECT_EQ(istringLength(ab), 2u);
    EXPECT_NE(I("abc"), ab);
    // Characters after an embedded NUL take no part in the comparison: these
    // two agree up to the NUL and have the same length and hash.
    ASSERT_EQ(ht_hash("x\0AB", 4), ht_hash("x\0B!", 4));
    istring x = istringNewN("x\0AB", 4);
    EXPECT_EQ(istringNewN("x\0B!", 4), x);
    EXPECT_EQ(std::string(x, 4), std::string("x\0AB", 4));
    EXPECT_NE(I("x"), x);
}

TEST(IString, HighBytesHashNegative) {
    startUp();
    istring e9 = I("\xE9");
    EXPECT_EQ(istringHash(e9), 0xFFFFFFE9u);
    const HashTable *table = istringTable();
    if (table->size != 4096)
        GTEST_SKIP() << "string table already grown";
    bool found = false;
    for (HashEntry *e = table->buckets[0xFE9]; e; e = e->next)
        found |= e->key == e9;
    EXPECT_TRUE(found);
}

// Fake istrings for the validity check: header then characters.
struct FakeIString {
    IStringHeader header;
    char chars[8];
} __attribute__((packed));

TEST(IString, CheckReportsOnStandardOutputAndAborts) {
    startUp();
    struct Row { IStringHeader header; const char *message; };
    uint32_t hash = ht_hash("zz", 2);
    for (const Row &row : std::vector<Row>{{{0x12345678, hash, 2}, "^zz: incorrect magic\n$"},
                                           {{ISTRING_MAGIC, hash, 3}, "^zz: incorrect length 2 != 3\n$"},
                                           {{ISTRING_MAGIC, 1, 2}, "^zz: incorrect hash\n$"}}) {
        SCOPED_TRACE(row.message);
        FakeIString fake{row.header, "zz"};
        // The messages go to standard output; route it to stderr to see them.
        EXPECT_EXIT((dup2(2, 1), istringCheck(fake.chars)), testing::KilledBySignal(SIGABRT), row.message);
    }
    FakeIString good{{ISTRING_MAGIC, hash, 2}, "zz"};
    istringCheck(good.chars);
}

TEST(IString, TableGrowsPastThresholdAndKeepsOldStrings) {
    startUp();
    istring first = I("first-before-growth");
    const HashTable *table = istringTable();
    if (table->size != 4096)
        GTEST_SKIP() << "string table already grown";
    int i = 0;
    while (table->count < 6144)
        I("s" + std::to_string(i++));
    EXPECT_EQ(table->size, 4096u);
    I("the-6145th");
    EXPECT_EQ(table->size, 8192u);
    EXPECT_EQ(table->threshold, 12288u);
    EXPECT_EQ(I("first-before-growth"), first);
    EXPECT_EQ(I("s0"), istringNewN("s0 and more", 2));
}

TEST(IString, LengthLimit) {
    startUp();
    EXPECT_EQ(istringLength(I(std::string(65534, 'x'))), 65534u);
    EXPECT_EXIT(I(std::string(65535, 'y')), testing::ExitedWithCode(1), "name length too long\\(65536\\)");
}

TEST(HashTable, GrowsAtThirteenthEntryAndReversesChains) {
    startUp();
    HashTable *table = ht_new();
    EXPECT_EQ(ht_start(table), nullptr);
    // Thirteen keys that all share bucket 0 of 8 and split over buckets 0 and
    // 8 of 16.
    std::vector<istring> keys;
    for (int c = 0; keys.size() < 13; c++) {
        std::string k = "k" + std::to_string(c);
        if ((ht_hash(k.c_str(), k.size()) & 7) == 0)
            keys.push_back(I(k));
    }
    for (size_t i = 0; i < 12; i++)
        EXPECT_EQ(ht_insert(table, keys[i], (void *)keys[i], 0), 0);
    EXPECT_EQ(table->size, 8u);
    EXPECT_EQ(support::keysInOrder(table), std::vector<std::string>(keys.begin(), keys.begin() + 12));
    EXPECT_EQ(ht_insert(table, keys[12], (void *)keys[12], 0), 0);
    EXPECT_EQ(table->size, 16u);
    EXPECT_EQ(table->count, 13u);
    EXPECT_EQ(table->threshold, 24u);
    // Bucket 0 first, then bucket 8, each in reverse of the former chain.
    std::vector<std::string> expected;
    for (uint32_t bucket : {0u, 8u})
        for (auto k = keys.rbegin(); k != keys.rend(); ++k)
            if ((ht_hash(*k, strlen(*k)) & 15) == bucket)
                expected.push_back(*k);
    EXPECT_EQ(support::keysInOrder(table), expected);
    // A later key is appended at the end of its chain.
    std::string later;
    for (int c = 1000; later.empty(); c++) {
        std::string k = "k" + std::to_string(c);
        if ((ht_hash(k.c_str(), k.size()) & 15) == 8)
            later = k;
    }
    ht_insert(table, I(later), nullptr, 0);
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
    // Keys match by identity only: a plain copy of the characters is absent.
    char copy[] = "key";
    EXPECT_EQ(ht_lookup(table, copy), nullptr);
    EXPECT_EQ(ht_insert(table, copy, &one, 0), 0);
    EXPECT_EQ(table->count, 2u);
}

TEST(Pool, SmallRequestsAreFourBytesApartAndRecordsAligned) {
    char *a = static_cast<char *>(poolalloc(1));
    char *b = static_cast<char *>(poolalloc(1));
    char *c = static_cast<char *>(poolalloc(3));
    EXPECT_EQ(b - a, 4);
    EXPECT_EQ(c - b, 4);
    void *record = poolallocRecord(sizeof(HashEntry));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(record) % alignof(HashEntry), 0u);
    EXPECT_EXIT(xmalloc(static_cast<size_t>(-64), "test"), testing::ExitedWithCode(1),
                ": Cannot allocate memory\n$");
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

TEST(Builder, NeedCapacities) {
    startUp();
    stringPush();
    need(100, 0);
    EXPECT_EQ(builder.capacity, 356);
    std::memcpy(builder.buffer, "keep", 4);
    need(300, 1);
    EXPECT_EQ(builder.capacity, 356);
    need(400, 1);
    EXPECT_EQ(builder.capacity, 656);
    EXPECT_EQ(std::string(builder.buffer, 4), "keep");
    // A pass runs in a fresh frame: the outer buffer survives it, but the
    // used length is shared and is reset by the pass.
    builder.used = 4;
    stringBegin(0);
    EXPECT_EQ(builder.capacity, 0);
    stringAppend("inner", 5);
    EXPECT_EQ(stringEnd(), I("inner"));
    EXPECT_EQ(builder.capacity, 656);
    EXPECT_EQ(std::string(builder.buffer, 4), "keep");
    EXPECT_EQ(builder.used, 5);
    stringPop();
    EXPECT_EQ(builder.saved, nullptr);
    stringPop();  // nothing saved: no effect
}

TEST(Builder, PassesJoinAndConcat) {
    startUp();
    stringBegin(0);
    EXPECT_EQ(stringEnd(), I(""));
    stringBegin(2);
    stringAppend("hello", 5);
    stringAppend(" world", 6);
    stringAppend("ignored", 0);
    EXPECT_EQ(stringEnd(), I("hello world"));

    TextLine c{nullptr, nullptr, I("c"), 0, nullptr, 0};
    TextLine b{&c, nullptr, I("b"), 0, nullptr, 0};
    TextLine a{&b, &c, I("a"), 0, nullptr, 0};
    EXPECT_EQ(stringJoin(&a), I("a b c"));
    EXPECT_EQ(stringJoin(&c), c.text);
    EXPECT_EQ(stringJoin(nullptr), I(""));
    for (auto [left, right, joined] : std::vector<std::tuple<const char *, const char *, const char *>>{
             {"", "x", "x"}, {"x", "", "x"}, {"lib/", "foo.c", "lib/foo.c"}}) {
        SCOPED_TRACE(joined);
        EXPECT_EQ(stringConcat(I(left), I(right)), I(joined));
    }
}

}  // namespace
