#pragma once

#include <atomic>
#include <vector>

#include "zan/mt/thread.h"
#include "zan/timer/timerqueue.h"

namespace zan {

class TimerManager;

// The thread "timer".
class ZAN_EXPORT TimeoutThread : public OwnedThread<TimerManager> {
public:
    TimeoutThread(TimerManager* owner, char const* name);
    dumper& dump(dumper& d) const override;

protected:
    bool onWait() override;
    void onWork() override;
    void onStop() override;
};

// The timers of the process: one TimerQueue, which tells how timers behave, and the one thread that
// drives it. startup() starts it and shutdown() closes it.
//
//     class Idle : public zan::ITimerObject { ... };
//     zan::TimerId id;
//     zan::TimerManager::instance()->setTimer(id, "idle", 0, 5000, &idle, 1, nullptr);
//
// Threads: the timer operations from any thread. open(), close(), reopen(), start() and stop() from
//   the one that controls the program, and not from a timer's callback: there they are reported and
//   do nothing. All callbacks run on the one thread "timer": a slow one delays all other timers.
// Errors: without a queue, timer operations do nothing and give false.
class ZAN_EXPORT TimerManager : noncopyable, public ThreadOwner {
public:
    static TimerManager*& instance();
    static void destroy();

    TimerManager();
    ~TimerManager() override;

    // Timers can be set, and fire once start() was called.
    void open();
    // Stops, and drops all timers without their onTimerRelease().
    void close();
    // Starts, with room for that many timers; 0 leaves the room as it is. Another number than
    // before drops all timers, with a warning if there are any.
    void reopen(unsigned long numofTimers);
    void start();
    // Returns when the callback under way has ended.
    void stop();

    bool setTimer(TimerId& id, istr const& name, unsigned long userTimerId,
                  unsigned long intervalMs, ITimerObject* object, unsigned long times, void* param);
    bool resetTimer(TimerId id, unsigned long intervalMs, unsigned long times);
    void killTimer(TimerId id);
    // 0 without a queue.
    unsigned long size() const;

    void onThreadExit(Thread* t) override;

    dumper& dump(dumper& d) const;
    std::ostream& dump(std::ostream& os) const;

private:
    friend class TimeoutThread;
    bool onWait();
    void onWork();
    void onStop();
    bool onTimerThread() const;
    void open(unsigned long n);
    TimerQueue* queue() const { return m_timerQueue.load(std::memory_order_acquire); }
    Handle<TimeoutThread> thread() const;

    std::atomic<TimerQueue*> m_timerQueue{nullptr};
    Handle<TimeoutThread> thread_;
    mutable Mutex mutex_;  // guards the handle
    // Shells of closed queues, some hundred bytes each: another thread may be in one.
    std::vector<TimerQueue*> closed_;
};

inline std::ostream& operator<<(std::ostream& os, TimerManager const& manager) {
    return manager.dump(os);
}

}  // namespace zan
