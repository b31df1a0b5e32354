#include "zan/mt/mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>

#include "support/text.h"
#include "support/threads.h"

#include "zan/zan.h"

namespace {

using namespace zan;

TEST(Locks, TheHolderMayLockAgainAndMustUnlockAsOften) {
    Mutex const mutex;
    mutex.lock();
    MutexLock inner(mutex);
    EXPECT_TRUE(mutex.tryLock());
    mutex.unlock();
    inner.unlock();
    inner.unlock();  // a second call does nothing
    auto const obtained = [&] {
        bool const locked = mutex.tryLock();
        if (locked) mutex.unlock();
        return locked;
    };
    EXPECT_FALSE(std::async(std::launch::async, obtained).get()) << "the first lock still holds";
    mutex.unlock();
    EXPECT_TRUE(std::async(std::launch::async, obtained).get());
    EXPECT_TRUE(mutex.willUnlock());
}

TEST(Locks, AMonitorHandsTokensThroughWithoutLosingOne) {
    Monitor const monitor;
    int tokens = 0;
    int taken = 0;
    constexpr int COUNT = 2000;
    zan_test::Threads consumers(3, [&](unsigned) {
        for (;;) {
            MonitorLock const guard(monitor);
            while (tokens == 0 && taken < COUNT) monitor.wait();
            if (taken == COUNT) return;
            --tokens;
            if (++taken == COUNT) monitor.notifyAll();
        }
    });
    for (int i = 0; i < COUNT; ++i) {
        MonitorLock const guard(monitor);
        ++tokens;
        monitor.notify();
    }
    consumers.join();
    EXPECT_EQ(COUNT, taken);
    EXPECT_EQ(0, tokens);
}

TEST(Locks, ATimedWaitTellsTimeOutFromWakeUp) {
    Monitor const monitor;
    {
        MonitorLock const guard(monitor);
        monitor.notifyAll();  // nobody waits: lost with the next lock
    }
    MonitorLock guard(monitor);
    EXPECT_FALSE(monitor.timedWait(Time::milliSeconds(1)));
    EXPECT_FALSE(monitor.timedWait(Time()));
    zan_test::Threads const waker(1, [&](unsigned) {
        MonitorLock const inner(monitor);
        monitor.notify();
    });
    EXPECT_TRUE(monitor.timedWait(Time::forever()));
    guard.unlock();
}

struct Counted : Shared {
    explicit Counted(std::atomic<int>& alive) : alive_(alive) { ++alive_; }
    Counted(Counted const& other) : Shared(other), alive_(other.alive_) { ++alive_; }
    ~Counted() override {
        --alive_;
        // A handle made while the object goes must not delete it again.
        Handle<Counted> const late(this);
    }
    bool operator<(Counted const& other) const { return this < &other; }
    std::atomic<int>& alive_;
};

TEST(Handles, CountAndDeleteOnce) {
    std::atomic<int> alive{0};
    {
        Handle<Counted> a(new Counted(alive));
        Handle<Counted> b(a);
        EXPECT_EQ(2, a->__GetRef());
        Handle<Counted>& self = a;
        a = self;
        EXPECT_EQ(2, a->__GetRef());
        b = nullptr;
        EXPECT_EQ(1, a->__GetRef());
        Handle<Counted> moved(std::move(a));
        EXPECT_EQ(1, moved->__GetRef());
        EXPECT_TRUE(!a);
        Handle<Counted> const copy(new Counted(*moved));
        EXPECT_EQ(1, copy->__GetRef()) << "a copy counts for itself";
        EXPECT_TRUE(Handle<Counted>() < moved);
        EXPECT_FALSE(moved < Handle<Counted>());
        EXPECT_FALSE(Handle<Counted>() < Handle<Counted>());
        EXPECT_EQ(2, alive);
    }
    EXPECT_EQ(0, alive);
    Counted onStack(alive);
    onStack.__setNoDelete(true);
    { Handle<Counted> const handle(&onStack); }
    EXPECT_EQ(1, alive);
}

TEST(Handles, ManyThreadsShareOneObject) {
    std::atomic<int> alive{0};
    Handle<Counted> shared(new Counted(alive));
    zan_test::Threads threads(4, [own = shared](unsigned) {
        for (int n = 0; n < 10000; ++n) Handle<Counted> const copy(own);
    });
    shared = nullptr;
    threads.join();
    EXPECT_EQ(0, alive);
}

TEST(LockedContainers, CopyFindAndDump) {
    mt::map<int, std::string> map;
    map[2] = "b";
    map[1] = "a";
    std::string value("old");
    EXPECT_FALSE(map.find(3, value));
    EXPECT_EQ("old", value);
    EXPECT_TRUE(map.find(2, value));
    EXPECT_EQ("b", value);
    auto const copy = map.copy();
    map.erase(1);
    EXPECT_EQ(2u, copy.size());
    EXPECT_EQ("{{2:'b'}}", zan_test::dumped(map, true));
    map.clear();
    EXPECT_EQ(0u, map.size());
    mt::set<int> set;
    EXPECT_TRUE(set.insert(5));
    EXPECT_FALSE(set.insert(5));
    EXPECT_EQ("@zan::mt::set{\n    @zan::set{\n        5\n    }\n}", zan_test::dumped(set));
}

struct Once {
    Once() { ++built(); }
    static std::atomic<int>& built() {
        static std::atomic<int> count{0};
        return count;
    }
};

TEST(Singletons, AreBuiltOnceByWhoeverComesFirst) {
    Singleton<Once>::destroy();
    EXPECT_EQ(nullptr, Singleton<Once>::peek());
    Once::built() = 0;
    std::atomic<int> ready{0};
    zan_test::Threads(4, [&ready](unsigned) {
        ++ready;
        while (ready < 4) std::this_thread::yield();
        EXPECT_NE(nullptr, Singleton<Once>::instance(ZAN_HERE));
    });
    EXPECT_EQ(1, Once::built());
    Singleton<Once>::destroy();
    EXPECT_NE(nullptr, Singleton<Once>::instance(ZAN_HERE));
    EXPECT_EQ(2, Once::built());
    Singleton<Once>::destroy();
}

}  // namespace
