#include "zan/mlc/alloc_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <thread>
#include <vector>

#include "support/seed.h"
#include "zan/platform/block_index.h"

namespace {

using zan::AllocTable;

// A piece of this thread's stack that changes as the frames of a program do.
struct FakeStack {
    alignas(64) unsigned char bytes[4096];
};

void change(FakeStack& stack, std::mt19937_64& random) {
    for (unsigned long n = random() % 8; n != 0; --n) {
        unsigned long const value = random();
        std::memcpy(stack.bytes + random() % (sizeof stack.bytes / 8) * 8, &value, sizeof value);
    }
    if (random() % 200 == 0) std::memset(stack.bytes, static_cast<int>(random() % 256), 4096);
}

// Whatever of a stack is shared with others, each record gives what was there.
TEST(AllocSnapshots, AreWhatTheStackWas) {
    static AllocTable table(true);
    std::mt19937_64 random(zan_test::seed());
    static FakeStack elsewhere;  // on no thread's stack
    FakeStack stack = {};
    for (int life = 0; life < 3; ++life) {
        struct Want {
            AllocTable::Handle handle;
            std::vector<unsigned char> bytes;
        };
        std::map<unsigned long, Want> live;
        table.open();
        for (unsigned long request = 1; request <= 6000; ++request) {
            FakeStack& used = random() % 50 == 0 ? elsewhere : stack;
            change(used, random);
            // A few places that allocate, each at a depth of its own or two.
            unsigned long const place = random() % 5;
            unsigned char const* const frame =
                used.bytes + (place * 31 + random() % 2 * 17) * 8 % 2048;
            auto const* const code = reinterpret_cast<unsigned char const*>(&std::memcpy) + place;
            AllocTable::Handle const handle = table.insert(request, place, code, frame);
            ASSERT_NE(AllocTable::Handle::None, handle);
            ASSERT_EQ(request, table.blockOf(handle).requestId);
            live[request] = {handle, std::vector<unsigned char>(frame, frame + 1280)};
            while (live.size() > 700 + random() % 100) {
                auto const victim = live.lower_bound(random() % request);
                if (victim == live.end()) continue;
                ASSERT_TRUE(table.remove(victim->second.handle));
                live.erase(victim);
            }
        }
        ASSERT_EQ(live.size(), table.counters().used);
        ASSERT_EQ(6000u, table.counters().inserts);
        ASSERT_EQ(6000u - live.size(), table.counters().freed);
        table.close();
        EXPECT_FALSE(table.remove(live.begin()->second.handle)) << "the report has it";
        std::pair<unsigned long, unsigned long> before(0, 0);
        auto const all = table.all();
        ASSERT_EQ(live.size(), all.size());
        for (AllocTable::Saved const* const saved : all) {
            zan::AllocRecord const record = AllocTable::record(*saved);
            auto const& want = live[record.requestId].bytes;
            ASSERT_EQ(1280u, record.stackRead);
            ASSERT_EQ(0, std::memcmp(want.data(), record.stackBytes, 1280)) << record.requestId;
            std::pair const order(record.requestId % zan::ALLOC_HASH_ENTRIES, record.requestId);
            ASSERT_LT(before, order);
            before = order;
        }
        table.drop();
        table.open();
        EXPECT_FALSE(table.remove(live.begin()->second.handle)) << "of a former life";
        table.close();
    }
}

TEST(AllocCounters, CountHeadsAndWhatIsBehindThem) {
    static AllocTable table(false);
    table.open();
    int frame[400] = {};
    std::vector<AllocTable::Handle> handles;
    for (unsigned long request : {5ul, 5 + 1023ul, 5 + 2046ul, 6ul})
        handles.push_back(table.insert(request, 1, &frame, frame));
    EXPECT_TRUE(table.remove(handles[0]));  // the next one is the head now
    EXPECT_TRUE(table.remove(handles[3]));
    auto const c = table.counters();
    unsigned long const all[] = {c.inserts, c.collisions, c.freed,     c.used,
                                 c.maxUsed, c.chained,    c.maxChained};
    EXPECT_THAT(all, testing::ElementsAre(4, 2, 2, 2, 4, 1, 2));
    table.close();
}

// A release in another thread than the allocation, and threads that end with live blocks.
TEST(AllocRaces, RecordsGoFromThreadToThread) {
    static AllocTable table(true);
    table.open();
    constexpr unsigned long EACH = 3000;
    std::vector<AllocTable::Handle> handles(4 * EACH);
    auto const inThreads = [](auto work) {
        std::vector<std::thread> threads;
        for (unsigned long t = 0; t < 4; ++t) threads.emplace_back([=] { work(t); });
        for (std::thread& thread : threads) thread.join();
    };
    inThreads([&handles](unsigned long t) {
        unsigned long frame[300] = {};
        for (unsigned long i = 0; i < EACH; ++i) {
            frame[i % 200] = i;
            handles[t * EACH + i] = table.insert(t * EACH + i + 1, i, &frame, frame);
        }
    });
    inThreads([&handles](unsigned long t) {
        for (unsigned long i = 0; i < EACH; ++i) {
            if (i % 3 == 0) continue;
            EXPECT_TRUE(table.remove(handles[(3 - t) * EACH + i]));
        }
    });
    table.close();
    auto const all = table.all();
    EXPECT_EQ(4 * EACH / 3, all.size());
    std::set<unsigned long> buckets;
    for (AllocTable::Saved const* const saved : all)
        buckets.insert(AllocTable::record(*saved).requestId % zan::ALLOC_HASH_ENTRIES);
    zan::AllocCounters const c = table.counters();
    EXPECT_EQ(4 * EACH, c.maxUsed);
    EXPECT_EQ(4 * EACH - zan::ALLOC_HASH_ENTRIES, c.collisions);
    EXPECT_EQ(4 * EACH - zan::ALLOC_HASH_ENTRIES, c.maxChained);
    EXPECT_EQ(all.size() - buckets.size(), c.chained);
    table.drop();
}

TEST(BlockIndex, HoldsWhatAModelHolds) {
    static zan::platform::BlockIndex index;
    std::mt19937_64 random(zan_test::seed());
    std::map<unsigned long, std::uint32_t> model;
    auto const at = [](unsigned long number) { return reinterpret_cast<void*>(number); };
    // Neighbours, a few far away, and up to the end of the addresses that a process can have.
    unsigned long const far[] = {0, 1ul << 20, 0x7ffff7000000, 0xffffffff0000};
    for (std::uint32_t i = 1; i < 200000; ++i) {
        unsigned long const number = (random() % 4000 + 1) * 8 + far[random() % 4];
        if (random() % (i < 100000 ? 3 : 2) != 0) {
            ASSERT_TRUE(index.put(at(number), i));
            model[number] = i;
        } else {
            ASSERT_EQ(model[number], index.look(at(number)));
            ASSERT_EQ(model[number], index.take(at(number)));
            model.erase(number);
        }
    }
    ASSERT_FALSE(model.empty());
    for (auto const& [number, value] : model) {
        ASSERT_EQ(value, index.look(at(number)));
        ASSERT_EQ(0u, index.look(at(number + 4))) << "within a block";
    }
    index.clear();
    for (auto const& [number, value] : model) ASSERT_EQ(0u, index.take(at(number)));
    EXPECT_FALSE(index.put(at(1ul << 48), 1)) << "no address of a process";
    EXPECT_EQ(0u, index.take(at(1ul << 48)));
}

// Threads that are the first in a part of the addresses at the same time all keep theirs.
TEST(BlockIndex, GrowsInManyThreads) {
    for (int round = 0; round < 20; ++round) {
        // What an index has mapped is never given back.
        static zan::platform::BlockIndex indexes[20];
        zan::platform::BlockIndex& index = indexes[round];
        std::atomic<int> ready{0};
        std::vector<std::thread> threads;
        auto const at = [](unsigned long t, unsigned long i) {
            return reinterpret_cast<void*>((i << 20) + (t + 1) * 16);
        };
        for (unsigned long t = 0; t < 4; ++t)
            threads.emplace_back([&, t] {
                for (++ready; ready < 4;) std::this_thread::yield();
                for (std::uint32_t i = 0; i < 64; ++i) EXPECT_TRUE(index.put(at(t, i), i + 1));
            });
        for (std::thread& thread : threads) thread.join();
        for (unsigned long t = 0; t < 4; ++t)
            for (std::uint32_t i = 0; i < 64; ++i) ASSERT_EQ(i + 1, index.take(at(t, i)));
    }
}

}  // namespace
