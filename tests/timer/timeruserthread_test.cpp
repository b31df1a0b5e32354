#include "zan/timer/timeruserthread.h"

#include <gtest/gtest.h>

#include <future>
#include <stdexcept>

#include "support/log_capture.h"
#include "support/text.h"
#include "zan/timer/timecounter.h"

namespace {

using namespace zan;

struct Recorder : ITimerObject {
    OnTimerResult onTimer(TimerId id, unsigned long user, void* param) override {
        EXPECT_EQ(TimerId(ThreadControl::current().id().value), id);
        EXPECT_EQ(this, param);
        log += "+" + std::to_string(user);
        first.set_value();
        first = std::promise<void>();
        if (throwing) throw std::runtime_error("thrown in its own thread");
        return OnTimerResult(Time::milliSeconds(1), 100);  // not looked at
    }
    void onTimerRelease(TimerId, unsigned long user, void*) override {
        log += "-" + std::to_string(user);
    }
    std::string log;
    std::promise<void> first;
    bool throwing = false;
};

TEST(TimerUserThreads, FireAndReleaseOnce) {
    zan_test::LogCapture const log;
    for (bool const throwing : {false, true}) {
        Recorder object;
        object.throwing = throwing;
        Handle<TimerUserThread> const thread(new TimerUserThread(&object, "own", 1, 2, 7, &object));
        thread->startAndWait(0);
        thread->join();
        EXPECT_EQ("+7+7-7", object.log);
    }
    EXPECT_EQ(2u, log.count("thrown in its own thread"));
}

TEST(TimerUserThreads, AStopEndsTheWaitWithOneMoreFiring) {
    zan_test::LogCapture const log;
    Recorder object;
    Handle<TimerUserThread> const thread(
        new TimerUserThread(&object, "own", 3600000, 0, 1, &object));
    thread->startAndWait(0);
    thread->stop();
    EXPECT_TRUE(object.log == "+1-1" || object.log == "-1") << object.log;
}

TEST(TimeCounters, CountAndRate) {
    TimeCounter counter;
    EXPECT_EQ("{num=0 tps=0 cost=00:00:00}", zan_test::dumped(counter, true));
    counter.go(Time::seconds(1));
    counter.go(Time::seconds(1));
    EXPECT_EQ("{num=2 tps=1 cost=00:00:02}", zan_test::dumped(counter, true));
}

}  // namespace
