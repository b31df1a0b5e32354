#include "zan/platform/clock.h"

#include <time.h>

namespace zan::platform {

bool readCounter(long long& value) {
    timespec now;
    if (clock_gettime(CLOCK_MONOTONIC, &now) != 0) return false;
    value = now.tv_sec * 1000000000LL + now.tv_nsec;
    return true;
}

bool queryFrequency(long long& perSecond) {
    perSecond = 1000000000LL;
    return true;
}

long long coarseMilliSeconds() {
    // Both clocks always exist on Linux, and there is no error that a caller could use.
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return now.tv_sec * 1000LL + now.tv_nsec / 1000000;
}

}  // namespace zan::platform
