#pragma once

#include <gtest/gtest.h>

#include <string>

#include "zan/log/log_dumper.h"

// Values and errors as texts, which a comparison shows in full.
namespace zan_test {

template <class T>
std::string dumped(T const& value, bool compact = true) {
    zan::dumper d(compact);
    d << value;
    return d.str();
}

// Of what it points to.
template <class T>
std::string dumped(T const* value, bool compact = true) {
    return value == nullptr ? "null" : dumped(*value, compact);
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
