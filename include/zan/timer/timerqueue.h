#pragma once

#include <vector>

#include "zan/mt/mutex.h"
#include "zan/timer/timerblock.h"

namespace zan {

// The tick, in microseconds.
constexpr __int64 ZAN_TIMER_CHECK_TIME = 50000;
// How many timers there may be at a time: 5000, or what the last TimerQueue was built for.
ZAN_EXPORT unsigned long ZAN_TIMER_MAX_NUM();

// A fixed pool of timers, driven from outside by a thread that alternates onWait() and onWork();
// applications use the one of TimerManager.
//
// The monotonic clock rules: setting the date moves no timer. A timer fires at the first tick on or
// after its expiry, which counts from the last tick but from no more than one tick ago. So it may
// come up to one tick of 50 milliseconds before its time, and up to one after it. A periodic
// timer's next expiry counts from the tick that fired it; missed ticks are not made up. Those due
// at the same tick fire in the order of expiry, then of TimerId::get().
//
// Ownership: the objects and parameters of timers are not owned. The destructor releases nothing:
//   no onTimerRelease() for timers still pending.
// Threads: timer operations from any thread, callbacks included. onTimer() runs in the driving
//   thread with the lock released, onTimerRelease() in whichever thread ends the timer, with the
//   lock held.
// Errors: a full queue and bad ids are reported in the log and change nothing.
// Cost: a short lock, and a heap of 16 bytes for each pending timer; nothing is allocated but a
//   name of more than 15 bytes.
class ZAN_EXPORT TimerQueue : noncopyable {
public:
    using Clock = Time (*)();

    // Room for `n` timers, at most 131072, which ZAN_TIMER_MAX_NUM() becomes; 0 for as many as it
    // says, at least 5000. More is an OutOfRangeException. Tests hand in a clock of their own.
    explicit TimerQueue(unsigned long n, Clock clock = nullptr);
    ~TimerQueue();

    // Fires after each `intervalMs` milliseconds, `times` times, 0 for without end. False where the
    // queue is full; the id is then untouched.
    bool setTimer(TimerId& id, istr const& name, unsigned long userTimerId,
                  unsigned long intervalMs, ITimerObject* object, unsigned long times, void* param);
    // Plans the timer anew, from the present on. From its own callback this replaces what the
    // callback's end would have planned. False for a timer that has ended.
    bool resetTimer(TimerId id, unsigned long intervalMs, unsigned long times);
    // Ignores a timer that has ended.
    void killTimer(TimerId id);
    // Timers in use.
    unsigned long size() const;

    // Sleeps until the next tick or onStop(); always true.
    bool onWait();
    // The tick: fires what is due.
    void onWork();
    // Ends the wait that is under way, or the next one.
    void onStop();

    dumper& dump(dumper& d) const;

private:
    friend class TimerManager;
    // Frees the pool, and refuses from here on what other threads still ask for.
    void shut();

    // The pending expiries, the earliest in front: a heap with four children to a node. A slot has
    // one entry at most, and m_heapPos knows where, so that it is found without a search. Entries
    // go by value, in two registers: written in halves, one can't be read as a whole at once.
    struct Timeout {
        __int64 due;
        unsigned long id;  // packed; orders what is due at the same time
        unsigned long pos() const { return id & 0x1FFFF; }
    };
    static bool before(Timeout a, Timeout b) {
        return a.due != b.due ? a.due < b.due : a.id < b.id;
    }
    void place(unsigned long at, Timeout t);
    void siftUp(unsigned long at, Timeout t);
    void siftDown(unsigned long at, Timeout t);
    bool planned(TimerBlock const& block) const;
    void plan(TimerBlock& block, Time const& from, Time const& period);
    void unplan(TimerBlock const& block);

    Time base() const;
    TimerBlock* getTimer(TimerId id);
    void release(TimerBlock& block);
    void freeIdAt(unsigned long pos);
    void doCheck();
    void onTimer(TimerId id, Time const& now);

    Monitor monitor_;
    std::vector<TimerBlock> blocks_;
    std::vector<unsigned long> m_idStatus;
    std::vector<TimerId> expired_;
    unsigned long m_idleBeginPos = 0;
    unsigned long expiredCount_ = 0;
    std::vector<Timeout> m_timeoutQueue;
    Time m_currTime;
    Time m_lastTime;
    Time m_waitTime;
    Time m_maxWaitTime;
    std::vector<std::uint32_t> m_heapPos;
    Clock clock_;
    bool shut_ = false;
    bool stopped_ = false;  // onStop() came while nobody waited
};

}  // namespace zan
