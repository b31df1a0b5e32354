#pragma once

#include <functional>

#include "zan/base/base_type_view.h"

namespace zan::detail {

// Whether the view lies in memory that is about to be written.
inline bool within(istr const& in, void const* p, unsigned long n) {
    auto const* const begin = static_cast<char const*>(p);
    std::less<char const*> const before;
    return !in.empty() && begin != nullptr && before(in.data(), begin + n) &&
           before(begin, in.end());
}

}  // namespace zan::detail
