#pragma once

#include <type_traits>

#include "zan/base/export.h"

// 64-bit fields of all encodings are `__int64`. std::int64_t is `long` on this platform, and a
// `long` as data means 32 bits throughout the library, so std::int64_t is not the type to declare
// a 64-bit field with.
#ifndef __int64
typedef long long __int64;
#endif

namespace zan {

using uint64 = unsigned long long;

// Empty tags, passed by value: they pick the overload that lays down a null or an empty value.
struct null_type {};
struct empty_type {};

// The end of the text, in all arguments that are a size or a count.
constexpr unsigned long npos = ~0UL;

// One shared zero of a type: what a guarded access answers with when there is nothing to refer to.
template <class T>
ZAN_EXPORT T const& GetNull() {
    static T const null = T();
    return null;
}

namespace detail {

// `P` is a pointer that converts to `T const*`. Keeps the literal 0 out of an overload for ranges,
// where it would compete with a size.
template <class P, class T>
using PointerTo = std::enable_if_t<std::is_pointer_v<P> && std::is_convertible_v<P, T const*>, int>;

template <class U>
using UnsignedChar = std::enable_if_t<std::is_same_v<U, unsigned char>, int>;

}  // namespace detail
}  // namespace zan
