#pragma once

#include "zan/base/base_type_time.h"

namespace zan::detail {

// How long AsyncThreadManager::close() waits for each thread; Time() is without end. Tests shorten
// it.
extern Time asyncStopTimeout;

}  // namespace zan::detail
