#pragma once

#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include "zan/log/log_dumper.h"

// Values and errors as texts, which a comparison shows in full.
namespace zan_test {

// What a pointer points to, or "null".
template <class T>
std::string dumped(T const& value, bool compact = true) {
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
