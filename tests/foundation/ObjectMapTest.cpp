#include <Processes.h>

#include <zmu/foundation/TObjectMap.h>

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <iterator>
#include <set>
#include <thread>

using Map = TObjectMap<ulong32, void*>;

TEST(ObjectMap, HashIsTheMinimalStandardGenerator)
{
    const zmu::ObjectKeyHash hash;
    EXPECT_EQ(hash(0), 0U);
    std::int32_t value = 1;
    for (int i = 0; i < 10000; ++i)
        value = static_cast<std::int32_t>(hash(value));
    EXPECT_EQ(value, 1043618065); // published for this generator
    for (const std::int32_t extreme : {INT32_MIN, -1, INT32_MAX - 1, INT32_MAX})
        EXPECT_LE(hash(extreme), 0x7FFFFFFFU) << extreme;
}

TEST(ObjectMap, BucketCountsArePowersOfTwoWithinTheLimits)
{
    const struct {
        ulong32 asked, built;
    } cases[] = {{0, 8}, {8, 8}, {9, 16}, {1000, 1024}, {Map::maxBuckets, Map::maxBuckets}};
    for (const auto& [asked, built] : cases)
        EXPECT_EQ(Map(asked).bucketCount(), built) << asked;

    for (const ulong32 tooMany : {Map::maxBuckets + 1, ulong32(0xFFFFFFFF)})
        EXPECT_THROW(Map map(tooMany), std::out_of_range) << tooMany;
}

TEST(ObjectMap, GrowsEightfoldAboveFourEntriesABucketAndKeepsAll)
{
    TObjectMap<ulong32, ulong32> map(0);
    for (ulong32 key = 0; key < 300; ++key) {
        map.add(key, key + 1);
        EXPECT_EQ(map.bucketCount(), key < 32 ? 8U : key < 256 ? 64U : 512U) << key;
    }
    for (ulong32 key = 0, value = 0; key < 300; ++key)
        EXPECT_TRUE(map.find(key, &value) && value == key + 1) << key;
    map.removeAll();
    EXPECT_FALSE(map.find(7, nullptr));
}

TEST(ObjectMap, OneEntryAKey)
{
    TObjectMap<u64, const char*> map(8);
    const char* value = "untouched";
    EXPECT_FALSE(map.find(0, &value));
    EXPECT_FALSE(map.remove(0, &value));
    EXPECT_STREQ(value, "untouched");

    EXPECT_TRUE(map.add(0, "first"));
    EXPECT_TRUE(map.add(0x1'0000'0000, "third")); // the same in its low 32 bits
    EXPECT_TRUE(map.add(0xFFFFFFFF, "other"));
    EXPECT_TRUE(map.find(0, nullptr));
    EXPECT_TRUE(map.remove(0, &value));
    EXPECT_STREQ(value, "third");
    EXPECT_FALSE(map.find(0, nullptr));
    EXPECT_TRUE(map.remove(0xFFFFFFFF, nullptr));
    EXPECT_TRUE((TObjectMap<u64, const char*>::Iterator(map, true).atEnd()));
}

TEST(ObjectMap, EachChangeGivesAStateThatNoMapHadBefore)
{
    TObjectMap<ulong32, int> map(8);
    TObjectMap<ulong32, int> other(8);
    std::set<u64> states = {0, map.state(), other.state()};
    const std::function<void()> changes[] = {
        [&] { map.add(1, 10); }, [&] { map.add(1, 11); }, [&] { other.add(1, 10); },
        [&] { map.remove(1, nullptr); }, [&] { map.removeAll(); }};
    for (const auto& change : changes) {
        const u64 before = map.state() + other.state();
        change();
        EXPECT_NE(map.state() + other.state(), before);
        states.insert({map.state(), other.state()});
    }
    EXPECT_EQ(states.size(), 3 + std::size(changes));

    const u64 state = map.state();
    map.find(1, nullptr);
    map.remove(1, nullptr); // which is not there
    EXPECT_EQ(map.state(), state);
}

TEST(ObjectMap, ThreadsKeepTheirOwnEntriesWhileOthersWalk)
{
    constexpr int threadsQty = 4;
    constexpr int keysEach = 2000;
    TObjectMap<ulong32, ulong32> map(0);
    std::atomic<bool> isDone = false;
    std::thread walker([&] {
        while (!isDone) {
            for (TObjectMap<ulong32, ulong32>::Iterator it(map, true); !it.atEnd(); it.next())
                EXPECT_TRUE(map.find(it.value(), nullptr)); // a locked walk may look things up
        }
    });
    zmu_test::inThreads(threadsQty, keysEach, [&](int thread, int number) {
        const auto key = static_cast<ulong32>(number * threadsQty + thread);
        ulong32 value = 0;
        map.add(key, key);
        EXPECT_TRUE(map.find(key, &value) && value == key);
        EXPECT_TRUE(number % 8 == 0 || map.remove(key, nullptr));
    });
    isDone = true;
    walker.join();
    int left = 0;
    for (TObjectMap<ulong32, ulong32>::Iterator it(map, false); !it.atEnd(); it.next())
        ++left;
    EXPECT_EQ(left, threadsQty * keysEach / 8);
}
