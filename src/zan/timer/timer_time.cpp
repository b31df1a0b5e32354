#include "zan/timer/timer_time.h"

namespace zan::detail {

Time timerDate(Time const& t) {
    if (t == Time() || t == Time::forever()) return t;
    return Time::now() + (t - Time::now(Time::Monotonic));
}

Time timerPeriod(unsigned long ms) {
    auto const longest = static_cast<unsigned long>(Time::forever().toMilliSeconds());
    return ms > longest ? Time::forever() : Time::milliSeconds(static_cast<__int64>(ms));
}

Time timerExpiry(Time const& from, Time const& period) {
    return period > Time::forever() - from ? Time::forever() : from + period;
}

}  // namespace zan::detail
