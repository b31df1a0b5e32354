#include "zan/timer/timeruserthread.h"

#include "zan/timer/callback_guard.h"
#include "zan/timer/timer_time.h"

namespace zan {

TimerUserThread::TimerUserThread(ITimerObject* object, istr const& name, unsigned long intervalMs,
                                 unsigned long times, unsigned long userTimerId, void* param)
    : SimpleThread(nullptr, String(name).c_str()),
      object_(object),
      intervalMs_(intervalMs),
      times_(times),
      userTimerId_(userTimerId),
      param_(param) {}

bool TimerUserThread::onBirth() {
    id_ = TimerId(ThreadControl::current().id().value);
    interval_ = detail::timerPeriod(intervalMs_);
    next_ = detail::timerExpiry(Time::now(Time::Monotonic), interval_);
    return true;
}

bool TimerUserThread::onLoop() {
    Time const now = Time::now(Time::Monotonic);
    if (next_ > now) wait(next_ - now);
    if (object_ != nullptr)
        detail::callGuarded([&] { object_->onTimer(id_, userTimerId_, param_); });
    next_ = detail::timerExpiry(next_, interval_);
    return times_ == 0 || ++count_ < times_;
}

void TimerUserThread::onDeath() {
    if (object_ != nullptr)
        detail::callGuarded([&] { object_->onTimerRelease(id_, userTimerId_, param_); });
}

}  // namespace zan
