// Interned strings, hash tables, pools, character stacks and the builder.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <string>
#include <unistd.h>
#include <vector>

#include "core/alloc.h"
#include "core/hashtable.h"
#include "core/istring.h"
#include "core/stack.h"
#include "output/text.h"

namespace {

void startUp() {
    static bool done = false;
    if (!done) {
        istringInit();
        done = true;
    }
}

std::vector<std::string> keysInOrder(HashTable *table) {
    std::vector<std::string> keys;
    HashCursor *cursor = ht_start(table);
    if (!cursor)
        return keys;
    void *value;
    while (istring key = ht_next(cursor, &value))
        keys.push_back(key);
    ht_end(cursor);
    return keys;
}

TEST(IString, HashReferenceValues) {
    EXPECT_EQ(ht_hash("", 0), 0u);
    EXPECT_EQ(ht_hash("a", 1), 97u);
    EXPECT_EQ(ht_hash("ab", 2), 3299u);
    EXPECT_EQ(ht_hash("OBJS", 4), 2913422u);
    EXPECT_EQ(ht_hash("\xE9", 1), 0xFFFFFFE9u);
}

TEST(IString, InterningGivesOneHandlePerSequence) {
    startUp();
    istring empty = istringNew("");
    EXPECT_EQ(empty, istringNew(""));
    EXPECT_EQ(istringLength(empty), 0u);
    EXPECT_EQ(istringHash(empty), 0u);
    istring ab = istringNew("ab");
    EXPECT_EQ(istringNewN("abc", 2), ab);
    EXPECT_EQ(istringLength(ab), 2u);
    EXPECT_EQ(istringMagic(ab), ISTRING_MAGIC);
    EXPECT_NE(istringNew("abc"), ab);
    istringCheck(ab);
    // Characters after an embedded NUL take no part in the comparison: these
    // two agree up to the NUL and have the same length and hash.
    ASSERT_EQ(ht_hash("x\0AB", 4), ht_hash("x\0B!", 4));
    istring x = istringNewN("x\0AB", 4);
    EXPECT_EQ(istringNewN("x\0B!", 4), x);
    EXPECT_EQ(std::string(x, 4), std::string("x\0AB", 4));
    EXPECT_NE(istringNew("x"), x);
}

TEST(IString, HighBytesHashNegative) {
    startUp();
    istring e9 = istringNew("\xE9");
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
    FakeIString fake{{ISTRING_MAGIC, ht_hash("zz", 2), 2}, "zz"};
    istringCheck(fake.chars);
    // The messages go to standard output; route it to stderr to see them.
    fake.header.magic = 0x12345678;
    EXPECT_EXIT((dup2(2, 1), istringCheck(fake.chars)), testing::KilledBySignal(SIGABRT),
                "^zz: incorrect magic\n$");
    fake.header.magic = ISTRING_MAGIC;
    fake.header.length = 3;
    EXPECT_EXIT((dup2(2, 1), istringCheck(fake.chars)), testing::KilledBySignal(SIGABRT),
                "^zz: incorrect length 2 != 3\n$");
    fake.header.length = 2;
    fake.header.hash = 1;
    EXPECT_EXIT((dup2(2, 1), istringCheck(fake.chars)), testing::KilledBySignal(SIGABRT),
                "^zz: incorrect hash\n$");
}

TEST(IString, TableGrowsPastThresholdAndKeepsOldStrings) {
    startUp();
    istring first = istringNew("first-before-growth");
    const HashTable *table = istringTable();
    if (table->size != 4096)
        GTEST_SKIP() << "string table already grown";
    int i = 0;
    while (table->count < 6144)
        istringNew(("s" + std::to_string(i++)).c_str());
    EXPECT_EQ(table->size, 4096u);
    istringNew("the-6145th");
    EXPECT_EQ(table->size, 8192u);
    EXPECT_EQ(table->threshold, 12288u);
    EXPECT_EQ(istringNew("first-before-growth"), first);
    EXPECT_EQ(istringNew("s0"), istringNewN("s0 and more", 2));
}

TEST(IString, LengthLimit) {
    startUp();
    std::string ok(65534, 'x');
    EXPECT_EQ(istringLength(istringNew(ok.c_str())), 65534u);
    std::string tooLong(65535, 'y');
    EXPECT_EXIT(istringNew(tooLong.c_str()), testing::ExitedWithCode(1), "name length too long\\(65536\\)");
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
            keys.push_back(istringNew(k.c_str()));
    }
    for (size_t i = 0; i < 12; i++)
        EXPECT_EQ(ht_insert(table, keys[i], (void *)keys[i], 0), 0);
    EXPECT_EQ(table->size, 8u);
    EXPECT_EQ(keysInOrder(table), std::vector<std::string>(keys.begin(), keys.begin() + 12));
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
    EXPECT_EQ(keysInOrder(table), expected);
    // A later key is appended at the end of its chain.
    std::string later;
    for (int c = 1000; later.empty(); c++) {
        std::string k = "k" + std::to_string(c);
        if ((ht_hash(k.c_str(), k.size()) & 15) == 8)
            later = k;
    }
    ht_insert(table, istringNew(later.c_str()), nullptr, 0);
    expected.push_back(later);
    EXPECT_EQ(keysInOrder(table), expected);
    for (istring k : keys)
        EXPECT_EQ(ht_lookup(table, k), k);
}

TEST(HashTable, ReplaceFlag) {
    startUp();
    HashTable *table = ht_new();
    istring k = istringNew("key");
    int one = 1, two = 2;
    EXPECT_EQ(ht_insert(table, k, &one, 0), 0);
    EXPECT_EQ(ht_insert(table, k, &two, 0), 1);
    EXPECT_EQ(ht_lookup(table, k), &one);
    EXPECT_EQ(ht_insert(table, k, &two, 1), 1);
    EXPECT_EQ(ht_lookup(table, k), &two);
    EXPECT_EQ(ht_lookup(table, istringNew("other")), nullptr);
    // Keys match by identity only: a plain copy of the characters is absent.
    char copy[] = "key";
    EXPECT_EQ(ht_lookup(table, copy), nullptr);
    EXPECT_EQ(ht_insert(table, copy, &one, 0), 0);
    EXPECT_EQ(table->count, 2u);
}

TEST(Pool, SmallRequestsAreFourBytesApart) {
    char *a = static_cast<char *>(poolalloc(1));
    char *b = static_cast<char *>(poolalloc(1));
    char *c = static_cast<char *>(poolalloc(3));
    EXPECT_EQ(b - a, 4);
    EXPECT_EQ(c - b, 4);
    void *record = poolallocRecord(sizeof(HashEntry));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(record) % alignof(HashEntry), 0u);
}

TEST(Alloc, ImpossibleSizeFailsWithSystemText) {
    EXPECT_EXIT(xmalloc(static_cast<size_t>(-64), "test"), testing::ExitedWithCode(1),
                ": Cannot allocate memory\n$");
}

TEST(Stack, PopsBytesThenEnd) {
    StackFrame *top = stackPush(nullptr, "abc", 3);
    EXPECT_EQ(stackPop(&top), 'a');
    EXPECT_EQ(stackPop(&top), 'b');
    EXPECT_EQ(stackPop(&top), 'c');
    EXPECT_EQ(stackPop(&top), -1);
    EXPECT_EQ(top, nullptr);
    EXPECT_EXIT(stackPop(&top), testing::ExitedWithCode(1),
                "^stackPop was called with a pointer to a null pointer\n$");
    EXPECT_EXIT(stackPop(nullptr), testing::ExitedWithCode(1), "^stackPop was called with a null pointer\n$");
}

TEST(Stack, EmptyFramesSkippedAndSignExtension) {
    StackFrame *top = stackPush(nullptr, "x", 1);
    top = stackPush(top, "", 0);
    EXPECT_EQ(stackPop(&top), 'x');
    const char bytes[] = "\xE9\xFFz";
    top = stackPush(nullptr, bytes, 3);
    EXPECT_EQ(stackPop(&top), static_cast<int>(static_cast<signed char>('\xE9')));
    EXPECT_EQ(stackPop(&top), -1);  // 0xFF reads as the end marker
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
    EXPECT_EQ(stringEnd(), istringNew("inner"));
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
    EXPECT_EQ(stringEnd(), istringNew(""));
    stringBegin(2);
    stringAppend("hello", 5);
    stringAppend(" world", 6);
    stringAppend("ignored", 0);
    EXPECT_EQ(stringEnd(), istringNew("hello world"));

    TextLine c{nullptr, nullptr, istringNew("c"), 0, nullptr, 0};
    TextLine b{&c, nullptr, istringNew("b"), 0, nullptr, 0};
    TextLine a{&b, &c, istringNew("a"), 0, nullptr, 0};
    EXPECT_EQ(stringJoin(&a), istringNew("a b c"));
    EXPECT_EQ(stringJoin(&c), c.text);
    EXPECT_EQ(stringJoin(nullptr), istringNew(""));
    istring x = istringNew("x");
    EXPECT_EQ(stringConcat(istringNew(""), x), x);
    EXPECT_EQ(stringConcat(x, istringNew("")), x);
    EXPECT_EQ(stringConcat(istringNew("lib/"), istringNew("foo.c")), istringNew("lib/foo.c"));
}

}  // namespace
