#pragma once

#include "zan/base/base_type_time.h"

namespace zan::detail {

// The date at which the monotonic clock shows, or showed, that time.
Time timerDate(Time const& t);

// More milliseconds than there are mean no end.
Time timerPeriod(unsigned long ms);
Time timerExpiry(Time const& from, Time const& period);

}  // namespace zan::detail
