// Interned strings, hash tables, pools, character stacks and the builder.
#include <gtest/gtest.h>

#include <string>
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
    // Characters after an embedded NUL take no part in the comparison.
    istring x = istringNewN("x\0a", 3);
    EXPECT_EQ(istringNewN("x\0b", 3), ht_hash("x\0a", 3) == ht_hash("x\0b", 3) ? x : istringNewN("x\0b", 3));
}

TEST(IString, SurvivesTableGrowth) {
    startUp();
    istring first = istringNew("first-before-growth");
    for (int i = 0; i < 7000; i++)
        istringNew(("s" + std::to_string(i)).c_str());
    EXPECT_EQ(istringNew("first-before-growth"), first);
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
    // Keys whose hashes share bucket 0 of 8 and split over 16 buckets.
    std::vector<istring> keys;
    for (int c = 0; keys.size() < 12; c++) {
        std::string k = "k" + std::to_string(c);
        if ((ht_hash(k.c_str(), k.size()) & 7) == 0)
            keys.push_back(istringNew(k.c_str()));
    }
    for (istring k : keys)
        EXPECT_EQ(ht_insert(table, k, (void *)k, 0), 0);
    EXPECT_EQ(table->size, 8u);
    std::vector<std::string> before = keysInOrder(table);
    ASSERT_EQ(before.size(), 12u);
    EXPECT_EQ(before.front(), keys.front());  // chain order is insertion order
    ht_insert(table, istringNew("thirteenth"), nullptr, 0);
    EXPECT_EQ(table->size, 16u);
    // Within each new bucket the former order is reversed.
    std::vector<std::string> bucket0, expected0;
    for (istring k : keys)
        if ((ht_hash(k, strlen(k)) & 15) == 0)
            expected0.insert(expected0.begin(), k);
    for (HashEntry *e = table->buckets[0]; e; e = e->next)
        bucket0.push_back(e->key);
    EXPECT_EQ(bucket0, expected0);
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
}

TEST(Pool, SmallRequestsAreFourBytesApart) {
    char *a = static_cast<char *>(poolalloc(1));
    char *b = static_cast<char *>(poolalloc(1));
    char *c = static_cast<char *>(poolalloc(3));
    EXPECT_EQ(b - a, 4);
    EXPECT_EQ(c - b, 4);
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
    stringPop();
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
