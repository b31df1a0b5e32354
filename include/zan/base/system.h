#pragma once

#include "zan/base/export.h"

namespace zan {

// Whether the library is on its way down.
class ZAN_EXPORT System {
public:
    static void close();
    // Once true it stays true. Threads: any.
    static bool closing();
};

}  // namespace zan
