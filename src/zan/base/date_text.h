#pragma once

#include "zan/base/base_type_time.h"

namespace zan::detail {

// "2014-06-16 14:13:07.125", unterminated.
constexpr unsigned long DATE_TEXT_SIZE = 23;

// Renders the local date and time into DATE_TEXT_SIZE characters. Keeps the calling thread's last
// second, so a run of log lines pays for the calendar once a second. False, with `out` untouched,
// where the fixed form does not apply: years beyond four digits, times before the epoch.
bool dateText(Time const& t, char* out);

}  // namespace zan::detail
