#pragma once

#include "zan/log/log_logger.h"

namespace zan::detail {

// DATE<pid.tid>[id] text: the form of the library's banners. Asks no flag.
void logPlainLine(logger& log, istr const& text);

}  // namespace zan::detail
