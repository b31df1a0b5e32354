#include "zan/timer/timermanager.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>

#include "support/assertions.h"
#include "support/log_capture.h"
#include "support/threads.h"

namespace {

using namespace zan;

class Counting : public ITimerObject {
public:
    void waitFor(int fired) {
        EXPECT_TRUE(gate_.wait([&] { return fired_ >= fired; }));
    }
    std::atomic<int> released_{0};

protected:
    OnTimerResult onTimer(TimerId, unsigned long, void*) override {
        gate_.change([&] { ++fired_; });
        return OnTimerResult(Time(), 1);
    }
    void onTimerRelease(TimerId, unsigned long, void*) override { ++released_; }

    zan_test::Gate gate_;
    int fired_ = 0;
};

struct TimerService : testing::Test {
    zan_test::LogCapture const log;
    Counting object;
    TimerManager manager;
    TimerId id;
};

TEST_F(TimerService, FiresOnItsThreadAndStopsAtOnce) {
    ASSERT_TRUE(manager.setTimer(id, "t", 0, 0, &object, 3, nullptr));
    manager.start();
    manager.start();
    EXPECT_EQ(1u, log.count("num of timers = 5000"));
    object.waitFor(3);
    Time const begin = Time::now(Time::Monotonic);
    for (int i = 0; i < 100; ++i) {
        manager.stop();
        manager.stop();
        manager.start();
    }
    EXPECT_GT(Time::milliSeconds(4000), Time::now(Time::Monotonic) - begin)
        << "no stop waits for the end of a tick";
    ASSERT_TRUE(manager.setTimer(id, "t", 0, 0, &object, 1, nullptr));
    object.waitFor(4);
    manager.close();
    EXPECT_EQ(2, object.released_);
}

TEST_F(TimerService, OpenCloseReopen) {
    manager.reopen(0);
    EXPECT_TRUE(manager.setTimer(id, "t", 0, 1000000, &object, 1, nullptr));
    manager.reopen(0);
    manager.reopen(5000);
    EXPECT_EQ(1u, manager.size()) << "the queue is left alone";
    manager.reopen(10);
    EXPECT_EQ(1u, log.count("1 timers started."));
    EXPECT_EQ(0u, manager.size());
    EXPECT_EQ(10u, ZAN_TIMER_MAX_NUM());
    for (int i = 0; i < 10; ++i)
        EXPECT_TRUE(manager.setTimer(id, "t", 0, 1000000, &object, 1, nullptr));
    EXPECT_FALSE(manager.setTimer(id, "t", 0, 1000000, &object, 1, nullptr));
    manager.close();
    manager.close();
    TimerId const before = id;
    EXPECT_FALSE(manager.setTimer(id, "t", 0, 0, &object, 1, nullptr));
    EXPECT_EQ(before, id);
    EXPECT_FALSE(manager.resetTimer(id, 0, 1));
    manager.killTimer(id);
    EXPECT_EQ(0, object.released_) << "closing releases nothing";
    manager.reopen(5000);
}

TEST_F(TimerService, ACallbackCannotStopItsOwnThread) {
    SKIP_WHERE_ASSERTIONS_ABORT();
    struct Stopping : Counting {
        explicit Stopping(TimerManager& its) : its_(its) {}
        OnTimerResult onTimer(TimerId timer, unsigned long user, void* param) override {
            its_.close();
            its_.stop();
            return Counting::onTimer(timer, user, param);
        }
        TimerManager& its_;
    } stopping(manager);
    manager.setTimer(id, "t", 0, 0, &stopping, 2, nullptr);
    manager.start();
    stopping.waitFor(2);
    manager.close();
    EXPECT_EQ(4u, log.count("!onTimerThread()"));
}

TEST_F(TimerService, OperationsFromManyThreadsBesideTheTicks) {
    manager.start();
    std::atomic<unsigned long> set{0};
    zan_test::Threads(3, [&](unsigned t) {
        for (int i = 0; i < 3000; ++i) {
            TimerId own;
            if (!manager.setTimer(own, "race", 0, 0, &object, 1, nullptr)) continue;
            ++set;
            if (i % 3 != 0) manager.killTimer(own);
            if (t == 0 && i == 2000) manager.stop(), manager.start();
        }
    });
    while (manager.size() != 0) ThreadControl::yield();
    manager.close();
    EXPECT_EQ(set, static_cast<unsigned long>(object.released_));
}

// A callback that blocks holds up other callbacks, and no operation.
TEST_F(TimerService, TheLockIsFreeDuringACallback) {
    struct Blocking : Counting {
        OnTimerResult onTimer(TimerId timer, unsigned long user, void* param) override {
            go.get_future().wait();
            return Counting::onTimer(timer, user, param);
        }
        std::promise<void> go;
    } blocking;
    manager.setTimer(id, "blocks", 0, 0, &blocking, 1, nullptr);
    manager.start();
    manager.setTimer(id, "other", 0, 0, &object, 1, nullptr);
    EXPECT_TRUE(manager.resetTimer(id, 0, 2));
    blocking.go.set_value();
    object.waitFor(2);
    manager.close();  // before what it calls goes
}

}  // namespace
