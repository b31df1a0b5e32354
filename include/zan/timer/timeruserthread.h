#pragma once

#include "zan/mt/thread.h"
#include "zan/timer/timerobject.h"

namespace zan {

// A timer with a thread of its own, for a callback that must not hold up those of TimerManager, and
// for periods finer than its tick. Started and stopped as any SimpleThread; a stop ends the wait,
// and one more onTimer() follows it.
//
// Each firing is planned from the one planned before: there is no drift, and a late one is made up
// for. The monotonic clock rules. The id in the callbacks tells the thread, and is none of the
// TimerManager's.
//
// Ownership: the object is not owned, and must outlive the thread.
// Threads: all callbacks run in the thread itself. Errors: what a callback throws is reported, and
//   counts as a firing.
class ZAN_EXPORT TimerUserThread : public SimpleThread {
public:
    // `times` 0 is without end. The result of onTimer() is not looked at.
    TimerUserThread(ITimerObject* object, istr const& name, unsigned long intervalMs,
                    unsigned long times, unsigned long userTimerId, void* param);

protected:
    bool onBirth() override;
    bool onLoop() override;
    void onDeath() override;

private:
    ITimerObject* object_;
    unsigned long intervalMs_;
    unsigned long times_;
    unsigned long userTimerId_;
    void* param_;
    TimerId id_;
    Time interval_;
    Time next_;
    unsigned long count_ = 0;
};

}  // namespace zan
