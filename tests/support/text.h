#pragma once

#include <sstream>
#include <string>

#include "zan/log/log_dumper.h"

namespace zan_test {

// What the value looks like in a stream.
template <class T>
std::string printed(T const& value) {
    std::ostringstream os;
    os << value;
    return os.str();
}

// What the dumper makes of the value.
template <class T>
std::string dumped(T const& value, bool compact = false) {
    zan::dumper d(compact);
    d << value;
    return d.str();
}

}  // namespace zan_test
