#pragma once

#include <iosfwd>

#include "zan/base/base_type_time.h"
#include "zan/log/log_dumper.h"

namespace zan {

// Adds up how often a thing happened and how long it took. Threads: one at a time.
struct ZAN_EXPORT TimeCounter {
    void go(Time const& t) {
        ++num;
        total += t;
    }
    // "num"; "tps", how often in a second of the total, 0 while that is 0; "cost", the total.
    dumper& dump(dumper& d) const;

    unsigned int num = 0;
    Time total;
};
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, TimeCounter const& counter);

}  // namespace zan
