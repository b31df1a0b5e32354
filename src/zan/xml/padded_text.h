#pragma once

#include "zan/base/base_type_string.h"

namespace zan::detail {

// A text with XML_SCAN_TAIL readable bytes behind it, which makes copies of short ones cheap.
struct XMLPadded {
    // Copies of texts below this size allocate nothing.
    static constexpr unsigned long SHORT = 16;

    char const* data;
    unsigned long size;

    String copy() const { return size < SHORT ? copyShort(data, size) : String(data, size); }

private:
    static String copyShort(char const* p, unsigned long n);
};

}  // namespace zan::detail
