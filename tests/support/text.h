#pragma once

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <type_traits>

#include "zan/log/log_dumper.h"

namespace zan_test {

// What the value looks like in a stream.
template <class T>
std::string printed(T const& value) {
    std::ostringstream os;
    os << value;
    return os.str();
}

// What the dumper makes of the value; of a pointer, of what it points to, or "null".
template <class T>
std::string dumped(T const& value, bool compact = false) {
    zan::dumper d(compact);
    if constexpr (std::is_pointer_v<T>) {
        if (value == nullptr) return "null";
        d << *value;
    } else {
        d << value;
    }
    return d.str();
}

// The message of the E that `f` throws. Where it throws none the test fails.
template <class E, class F>
std::string messageOf(F&& f) {
    try {
        f();
    } catch (E const& e) {
        return e.msg();
    }
    ADD_FAILURE() << "nothing was thrown";
    return "";
}

}  // namespace zan_test
