#include "zan/timer/timerqueue.h"

#include <gmock/gmock.h>

#include <functional>
#include <map>
#include <regex>
#include <set>
#include <stdexcept>

#include "support/assertions.h"
#include "support/log_capture.h"
#include "support/seed.h"
#include "support/temp_dir.h"
#include "support/text.h"
#include "zan/zan.h"

namespace {

using namespace zan;
using testing::HasSubstr;

// The queue on a clock that the test moves; onWork() is called by hand.
Time g_now;

class TimerQueueTest : public testing::Test, public ITimerObject {
protected:
    explicit TimerQueueTest(unsigned long n = 5000) : queue_(n, [] { return g_now; }) {}

    TimerId set(unsigned long user, unsigned long ms, unsigned long times = 1) {
        TimerId id;
        EXPECT_TRUE(queue_.setTimer(id, "test", user, ms, this, times, this));
        return id;
    }
    // The firings "+user" and releases "-user" of the ticks in this span.
    std::string pass(unsigned long ms) {
        log_.clear();
        for (unsigned long t = 0; t < ms; t += 50) {
            g_now += Time::milliSeconds(50);
            queue_.onWork();
        }
        return log_;
    }

    TimerQueue queue_;
    std::string log_;
    std::function<OnTimerResult(TimerId, unsigned long)> callback_;
    std::function<void(TimerId, unsigned long)> onRelease_;
    static OnTimerResult usual() { return OnTimerResult(Time(), 1); }

private:
    OnTimerResult onTimer(TimerId id, unsigned long user, void* param) override {
        EXPECT_EQ(this, param);
        log_ += "+" + std::to_string(user);
        return callback_ ? callback_(id, user) : usual();
    }
    void onTimerRelease(TimerId id, unsigned long user, void*) override {
        log_ += "-" + std::to_string(user);
        if (onRelease_) onRelease_(id, user);
    }
};

TEST_F(TimerQueueTest, FiresAsOftenAsAskedAndReleasesOnce) {
    TimerId const once = set(1, 100);
    set(3, 100, 3);
    TimerId const endless = set(0, 100, 0);
    EXPECT_EQ("", pass(50));
    EXPECT_EQ("+1-1+3+0", pass(50));
    EXPECT_EQ("+3+0+3-3+0", pass(200));
    EXPECT_EQ("+0+0", pass(200));
    EXPECT_EQ(1u, queue_.size());
    queue_.killTimer(endless);
    EXPECT_EQ("", pass(500));
    // A stale id finds nothing, though its slot is in use again.
    TimerId again = set(7, 100);
    while (again.position() != once.position()) again = set(7, 100);
    unsigned long const used = queue_.size();
    zan_test::LogCapture const log;
    queue_.killTimer(once);
    EXPECT_EQ(used, queue_.size());
    EXPECT_FALSE(queue_.resetTimer(once, 1, 1));
    EXPECT_TRUE(log.has("resetTimer: invalid timer (0, ")) << log.text();
}

TEST_F(TimerQueueTest, TheResultPlansAnew) {
    bool first = true;
    callback_ = [&](TimerId, unsigned long) {
        if (!std::exchange(first, false)) return usual();
        return OnTimerResult(Time::milliSeconds(500), 2);
    };
    set(1, 100);
    EXPECT_EQ("+1", pass(100));
    EXPECT_EQ("", pass(450));
    EXPECT_EQ("+1", pass(50));
    EXPECT_EQ("", pass(450));
    EXPECT_EQ("+1-1", pass(50));
}

TEST_F(TimerQueueTest, CallbacksThatResetTheirOwnTimerGetOneEntry) {
    callback_ = [&](TimerId id, unsigned long user) {
        EXPECT_TRUE(queue_.resetTimer(id, 300, user));
        callback_ = nullptr;
        return usual();
    };
    set(2, 100, 5);
    EXPECT_EQ("+2", pass(100));
    EXPECT_EQ("", pass(250));
    EXPECT_EQ("+2+2-2", pass(2000));
    callback_ = [&](TimerId id, unsigned long) {  // on its last firing
        EXPECT_TRUE(queue_.resetTimer(id, 100, 1));
        callback_ = nullptr;
        return usual();
    };
    set(9, 100);
    EXPECT_EQ("+9+9-9", pass(1000));
    EXPECT_EQ(0u, queue_.size());
}

TEST_F(TimerQueueTest, CallbacksThatKill) {
    TimerId other;
    callback_ = [&](TimerId id, unsigned long user) {
        if (user != 1) return usual();
        queue_.killTimer(id);
        queue_.killTimer(id);
        queue_.killTimer(other);
        EXPECT_EQ(1u, set(8, 90).serial()) << "the freed slots are taken again at once";
        set(9, 100);
        return OnTimerResult(Time::milliSeconds(50), 5);
    };
    set(1, 50);
    other = set(2, 50, 0);
    EXPECT_EQ("+1-1-2", pass(50)) << "the new ones are not due";
    EXPECT_EQ("", pass(50));
    EXPECT_EQ("+8-8+9-9", pass(50));
    EXPECT_EQ(0u, queue_.size());
    // One that is reset in the tick in which it is due waits as well.
    callback_ = [&](TimerId, unsigned long user) {
        if (user == 1) queue_.resetTimer(other, 200, 1);
        return usual();
    };
    set(1, 40);
    other = set(2, 50);
    EXPECT_EQ("+1-1", pass(150));
    EXPECT_EQ("+2-2", pass(100));
    // A release that kills its own timer, and sets one.
    onRelease_ = [&](TimerId id, unsigned long) {
        onRelease_ = nullptr;
        queue_.killTimer(id);
        EXPECT_NE(id.position(), set(4, 0).position());
    };
    queue_.killTimer(set(3, 50));
    EXPECT_EQ("+4-4", pass(50));
}

TEST_F(TimerQueueTest, CallbacksThatThrow) {
    zan_test::LogCapture const log;
    callback_ = [](TimerId, unsigned long user) -> OnTimerResult {
        if (user == 1) throw InvalidDataException(ZAN_HERE, "from a timer");
        if (user == 2) throw std::runtime_error("plain");
        throw 3;
    };
    onRelease_ = [](TimerId, unsigned long) { throw std::runtime_error("from a release"); };
    for (unsigned long user : {1ul, 2ul, 3ul}) set(user, 100, 2);
    EXPECT_EQ("+1+2+3+1-1+2-2+3-3", pass(200));
    EXPECT_EQ(0u, queue_.size());
    for (char const* text : {"from a timer", "plain", "an exception of unknown type"})
        EXPECT_EQ(2u, log.count(text)) << text << log.text();
    EXPECT_EQ(3u, log.count("from a release"));
}

TEST_F(TimerQueueTest, ACallbackThatArmsAThousandMore) {
    callback_ = [&](TimerId, unsigned long user) {
        if (user == 1)
            for (int i = 0; i < 1000; ++i) set(2, 0);
        return usual();
    };
    set(1, 50);
    EXPECT_EQ("+1-1", pass(50));
    EXPECT_EQ(6000u, pass(50).size() + 2000);
    EXPECT_EQ(0u, queue_.size());
}

TEST_F(TimerQueueTest, WhereNobodyTicksTimersAreNotEarly) {
    g_now += Time::seconds(3600);
    set(1, 1000);
    EXPECT_EQ("", pass(900));
    EXPECT_EQ("+1-1", pass(100));
    // Ticks that were missed are not made up.
    TimerId const periodic = set(2, 100, 0);
    g_now += Time::seconds(3600);
    EXPECT_EQ("+2", pass(50));
    EXPECT_EQ("+2", pass(100));
    queue_.killTimer(periodic);
    set(3, ~0ul);  // longer than there is time
    EXPECT_EQ("", pass(100));
}

TEST_F(TimerQueueTest, WithoutAnObjectTheSlotStaysInUse) {
    zan_test::LogCapture const log;
    TimerId id;
    EXPECT_TRUE(queue_.setTimer(id, "", 0, 50, nullptr, 0, nullptr));
    pass(200);
    EXPECT_EQ(1u, log.count("onTimer: null callback object for timer (0, 0)(, 00:00:00.050, 0)"));
    EXPECT_EQ(1u, queue_.size());
    queue_.killTimer(id);
    EXPECT_EQ(0u, queue_.size());
}

TEST_F(TimerQueueTest, FullAtItsSize) {
    for (int i = 0; i < 5000; ++i) set(1, 1000);
    zan_test::LogCapture const log;
    TimerId id(3, 4);
    EXPECT_FALSE(queue_.setTimer(id, "", 0, 0, this, 1, nullptr));
    EXPECT_EQ(TimerId(3, 4), id);
    EXPECT_TRUE(log.has("setTimer: timer queue full, no available timer"));
    EXPECT_THROW(TimerQueue(131073), OutOfRangeException);
    EXPECT_EQ(5000u, ZAN_TIMER_MAX_NUM());
}

TEST_F(TimerQueueTest, APositionOutOfRangeTripsTheAssertion) {
    SKIP_WHERE_ASSERTIONS_ABORT();
    zan_test::LogCapture const log;
    queue_.killTimer(TimerId());
    EXPECT_TRUE(log.has("bid<ZAN_TIMER_MAX_NUM()"));
}

// Against a plain model: the same random steps, the same firings.
TEST_F(TimerQueueTest, RandomStepsAgreeWithAModel) {
    auto random = zan_test::makeRandom();
    struct Timer {
        TimerId id;
        Time due;
        unsigned long user, period, times;
    };
    std::map<unsigned long, Timer> model;
    Time tick = g_now;
    for (unsigned long user = 1; user < 20000; ++user) {
        auto const what = random() % 8;
        unsigned long const period = random() % 1000;
        auto victim = model.lower_bound(random() % user);
        Time const due = tick + Time::milliSeconds(static_cast<__int64>(period));
        if (what < 4 && model.size() < 4000) {
            unsigned long const times = random() % 4;
            model[user] = {set(user, period, times), due, user, period, times};
        } else if (what == 4 && victim != model.end()) {
            queue_.killTimer(victim->second.id);
            model.erase(victim);
        } else if (what == 5 && victim != model.end()) {
            ASSERT_TRUE(queue_.resetTimer(victim->second.id, period, 2));
            victim->second = {victim->second.id, due, victim->first, period, 2};
        } else if (what == 6) {
            std::set<std::tuple<__int64, unsigned long, unsigned long>> expired;
            tick += Time::milliSeconds(50);
            for (auto const& [u, t] : model)
                if (t.due <= tick) expired.emplace(t.due.toMicroSeconds(), t.id.get(), u);
            std::string want;
            for (auto const& [t, id, u] : expired) {
                Timer& timer = model[u];
                want += "+" + std::to_string(u);
                timer.due = tick + Time::milliSeconds(static_cast<__int64>(timer.period));
                if (timer.times == 0 || --timer.times != 0) continue;
                want += "-" + std::to_string(u);
                model.erase(u);
            }
            ASSERT_EQ(want, pass(50));
        }
        ASSERT_EQ(model.size(), queue_.size());
    }
}

TEST_F(TimerQueueTest, DumpsShowThePendingOnesInOrder) {
    set(1, 200, 2);
    set(2, 100);
    std::string const text = zan_test::dumped(queue_, true);
    for (char const* const part : {"m_idleBeginPos=2", "m_status=BUSY",
                                   "ZAN_TIMER_CHECK_TIME=50000", "m_maxWaitTime=00:00:00.050"})
        EXPECT_THAT(text, HasSubstr(part));
    EXPECT_LT(text.find("m_nUserTimerID=2"), text.find("m_nUserTimerID=1"));
}

// The room is that of the configuration, and never more than the limit.
TEST(TimerRoom, ComesFromTheConfiguration) {
    zan_test::LogCapture const log;
    zan_test::TempDir const dir;
    struct Object : ITimerObject {
        OnTimerResult onTimer(TimerId, unsigned long, void*) override { return {Time(), 1}; }
        void onTimerRelease(TimerId, unsigned long, void*) override {}
    } object;
    std::pair<char const*, unsigned long> const cases[] = {
        {"cfg(numofTimers(6000))", 6000},   {"cfg(numofTimers(10))", 5000},
        {"cfg(numofTimers(abc))", 7000},    {"cfg(numofTimers(-1))", 7000},
        {"cfg(numofTimers(200000))", 7000}, {"cfg(enable(0) numofTimers(6000))", 7000}};
    TimerQueue const limit(7000);
    for (auto const& [config, room] : cases) {
        ConfigFile::instance().load(dir.put("timers.pml", config));
        TimerQueue queue(0);
        EXPECT_EQ(7000u, ZAN_TIMER_MAX_NUM()) << "the configuration leaves it alone";
        TimerId id;
        while (queue.setTimer(id, "", 0, 1000, &object, 1, nullptr)) continue;
        EXPECT_EQ(room, queue.size()) << config;
    }
    EXPECT_EQ(1u, log.count("numofTimers: 200000 timers, at most 131072"));
    ConfigFile::destroy();
    TimerQueue const usual(5000);
}

TEST_F(TimerQueueTest, CategoriesFollowTheTimers) {
    zan_test::LogCapture log;
    logger& zan = detail::zanLogger();
    bool const wasOn = zan.debugOn();
    zan.setDebugObserver(&log);
    zan.setDebugOn(true);
    for (char const* name : {"TIMER.DEBUG", "TIMER.TRACE", "TIMER.DIAG"}) zan.setAppLog(name, true);
    set(1, 50, 2);
    pass(100);
    queue_.killTimer(set(2, 50));
    std::string const want =
        "[DEBUG] setTimer: (0, 0)(test, 00:00:00.050, 2)\n"
        "[DIAG] before check, timeoutQueue size = 1\n"
        "[DIAG] after check, timeoutQueue size = 0\n"
        "[TRACE] expired timers = 1\n"
        "[TRACE] onTimer: (0, 0)(test, 00:00:00.050, 2)\n"
        "[TRACE] more times (0, 0)(test, 00:00:00.050, 1)\n"
        "[DIAG] after check, m_timeoutQueue size = 1\n"
        "[DIAG] before check, timeoutQueue size = 1\n"
        "[DIAG] after check, timeoutQueue size = 0\n"
        "[TRACE] expired timers = 1\n"
        "[TRACE] onTimer: (0, 0)(test, 00:00:00.050, 1)\n"
        "[TRACE] set to paused (0, 0)(test, 00:00:00.050, 0)\n"
        "[TRACE] release (0, 0)(test, 00:00:00.050, 0)\n"
        "[DIAG] after check, m_timeoutQueue size = 0\n"
        "[DEBUG] setTimer: (1, 0)(test, 00:00:00.050, 1)\n"
        "[DEBUG] killTimer: (1, 0)(test, 00:00:00.050, 1)\n";
    // The category, and what follows the function and the source place.
    static std::regex const frame(
        R"(DATE<T>\[ZAN\]\[TIMER\.(\w+)\]\[[^\n]*?\(timerqueue\.cpp:N\) )");
    EXPECT_EQ(want, std::regex_replace(zan_test::normalized(log.text()), frame, "[$1] "));
    log.clear();
    zan.setDebugOn(false);
    queue_.killTimer(set(2, 50));
    EXPECT_EQ("", log.text()) << "they are debug lines";
    zan.setDebugOn(wasOn);
    for (char const* name : {"TIMER.DEBUG", "TIMER.TRACE", "TIMER.DIAG"})
        zan.setAppLog(name, false);
    zan.setDebugObserver(nullptr);
}

TEST_F(TimerQueueTest, DelayedCallbacksReachTheirObject) {
    zan_test::LogCapture const log;
    TimerBlock block;
    block.m_pCallBackTimerObject = this;
    block.m_pParam = this;
    block.m_nUserTimerID = 7;
    callback_ = [](TimerId, unsigned long) { return OnTimerResult(Time::seconds(1), 5); };
    OnTimerResult const result = TimerCallbackBlock(TimerCallbackBlock::ON_TIMER, &block).exec();
    TimerCallbackBlock(TimerCallbackBlock::ON_TIMER_RELEASE, &block).exec();
    // Another test may have ended the library's life already.
    EXPECT_EQ(System::closing() ? "" : "+7-7", log_);
    EXPECT_EQ(System::closing() ? 1u : 5u, result.times);
    EXPECT_EQ(1u, TimerCallbackBlock(TimerCallbackBlock::ON_TIMER, nullptr).exec().times);
    TimerCallbackBlock(2, nullptr).exec();
    EXPECT_TRUE(log.has("unknown timer callback event type"));
}

TEST(TimerIds, PackAndCompare) {
    EXPECT_TRUE(TimerId().empty() && TimerId() == TimerId(0xFFFFFFFF, 0xFFFFFFFF));
    TimerId id(5, 7);
    EXPECT_EQ(id, TimerId(id.get()));
    EXPECT_EQ(5u << 17 | 7u, id.get());
    EXPECT_EQ(TimerId(0x8005, 7), id) << "15 bits of the serial are left";
    EXPECT_TRUE(TimerId(1, 9) < TimerId(2, 3) && TimerId(2, 3) > TimerId(2, 2));
    EXPECT_EQ("(5, 7)", zan_test::printed(id));
    EXPECT_EQ("(5, 7)", zan_test::dumped(id, true));
    id.reset();
    EXPECT_TRUE(id.empty());
    EXPECT_THROW(TimerId(0x100000000ul), OutOfRangeException);
}

}  // namespace
