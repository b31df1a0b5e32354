#include "zan/base/base_type_value.h"

#include <sstream>

#include "zan/base/exception.h"
#include "zan/log/log_dumper.h"

namespace zan::detail {
namespace {

// The types of which the text is that of a wider number.
template <class T>
constexpr bool IS_SMALL = std::is_same_v<T, bool> || std::is_same_v<T, unsigned char> ||
                          std::is_same_v<T, char> || std::is_same_v<T, wchar_t>;

template <class T>
struct Wider {
    using type = T;
};
template <>
struct Wider<bool> {
    using type = short;
};
template <>
struct Wider<unsigned char> {
    using type = unsigned short;
};
template <>
struct Wider<char> {
    using type = short;
};
template <>
struct Wider<wchar_t> {
    using type = long;
};

}  // namespace

void throwValueOutOfRange(char const* file, unsigned int line, char const* func) {
    char const* const text = "OutOfRangeException: OutOfRangeException";
    exceptionThrown(logger_factory::instance(LOGGER_ID), file, line, func, text);
#if _ZAN_THROW_REALLY
    throw OutOfRangeException(file, line, func, text);
#else
    endProcess();
#endif
}

template <class Self, class T>
Self& Value<Self, T>::fromString(String const& text) {
    typename Wider<T>::type read{};
    bool ok = false;
    if (!text.empty()) {
        std::istringstream is(text);
        is >> read;
        ok = !is.fail();
    }
    // An extraction that fails leaves 0 where there was no number, and a bound where it did not
    // fit.
    if (IS_SMALL<T>)
        value_ = static_cast<T>(read);
    else if (ok || read != 0)
        value_ = static_cast<T>(read);
    return static_cast<Self&>(*this);
}

template <class Self, class T>
String Value<Self, T>::toString() const {
    std::ostringstream os;
    os << static_cast<typename Wider<T>::type>(value_);
    return os.str();
}

template <class Self, class T>
std::ostream& Value<Self, T>::dump(std::ostream& os) const {
    if constexpr (std::is_same_v<T, bool>)
        return os << (value_ ? "true" : "false");
    else if constexpr (sizeof(T) == 1)
        return Print(os, static_cast<char>(value_));
    else
        return os << static_cast<typename Wider<T>::type>(value_);
}

template <class Self, class T>
dumper& Value<Self, T>::dump(dumper& d) const {
    if constexpr (std::is_same_v<T, bool>)
        return d.raw(value_ ? "true" : "false");
    else if constexpr (std::is_same_v<T, wchar_t>)
        return d << static_cast<long>(value_);
    else
        return d << value_;
}

template class Value<Bit, bool>;
template class Value<Byte, unsigned char>;
template class Value<Char, char>;
template class Value<Wchar, wchar_t>;
template class Value<Short, short>;
template class Value<Ushort, unsigned short>;
template class Value<Long, std::int32_t>;
template class Value<Ulong, std::uint32_t>;
template class Value<Longlong, __int64>;
template class Value<Ulonglong, uint64>;
template class Value<Float, float>;
template class Value<Double, double>;

static_assert(sizeof(Bit) == sizeof(bool) && sizeof(Byte) == 1 && sizeof(Wchar) == 4 &&
              sizeof(Short) == 2 && sizeof(Long) == 4 && sizeof(Ulong) == 4 &&
              sizeof(Longlong) == 8 && sizeof(Float) == 4 && sizeof(Double) == 8);

}  // namespace zan::detail
