#pragma once

#include "zan/base/call_stack.h"
#include "zan/log/log_logger.h"
#include "zan/platform/last_error.h"

// Lines of the network, all on the library's own logger.

namespace zan::tcp {

inline detail::LogCategory const TRACE("TCP.TRACE");
inline detail::LogCategory const DEBUG("TCP.DEBUG");
inline detail::LogCategory const INFO("TCP.INFO");

// Streams the text of an error number in double quotes, and a blank.
struct SystemError {
    int code;
};
inline std::ostream& operator<<(std::ostream& os, SystemError e) {
    return os << '"' << platform::errorText(e.code) << "\" ";
}

}  // namespace zan::tcp

// A line of one of the categories above, which begins with its source place.
#define ZAN_TCP_LINE(category, msg)                                                              \
    do {                                                                                         \
        if (__builtin_expect((category).on(), 0))                                                \
            ZAN_DETAIL_LINE(writeInfoLine, detail::zanLogger(), Current(ZAN_HERE) << ' ' << msg, \
                            (category).name());                                                  \
    } while (false)

#define ZAN_TCP_ERROR(msg) ZAN_DETAIL_LINE(writeInfoLine, detail::zanLogger(), msg, "<TCP.ERROR>")
