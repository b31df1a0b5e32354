#pragma once

#include <cstdint>
#include <iosfwd>
#include <limits>
#include <string>
#include <type_traits>

#include "zan/base/base_type_string.h"
#include "zan/base/report.h"

// A class for each built-in scalar: the same value in the same size, an implicit way back to the
// scalar, conversion from and to text, and a dump. They are the field types of the structured
// streams.
//
//     Ulong count(String("42"));
//     count += 1;        // on the scalar
//     count.toString();  // "43"
//
// Text: a number is read as std::istream does it, in decimal, leading white space skipped, up to
// the first character that does not belong: "12abc" gives 12. A number out of the type's range
// gives the bound that it went beyond. Bit, Byte, Char and Wchar are read through a wider number,
// of which Byte and Char keep the low 8 bits; for these four, empty or unreadable text gives 0. All
// others keep their value then.
//
// MIN_VAL and MAX_VAL are for information: no value is tested against them.
//
// Threads: plain values.
// Errors: none is reported, with one exception. Long and Ulong hold 32 bits, whatever the width of
//   `long` here: building or assigning them from an integer that they cannot hold throws
//   OutOfRangeException, and so do halves of more than 32 bits.

namespace zan {

class dumper;

namespace detail {

// What the whole family shares. `Self` is the class, `T` the scalar.
template <class Self, class T>
class Value {
public:
    operator T&() { return value_; }
    operator T const&() const { return value_; }
    T& value() { return value_; }
    T value() const { return value_; }

    Self& fromString(String const& text);
    String toString() const;
    std::ostream& dump(std::ostream& os) const;
    dumper& dump(dumper& d) const;

protected:
    constexpr Value() = default;
    constexpr Value(T v) : value_(v) {}

    T value_ = T();
};

// The low and the high half of an unsigned number of type `U`, each `BITS` wide.
template <class U>
constexpr U joinHalves(U low, U high, unsigned bits) {
    U const mask = static_cast<U>((U(1) << bits) - 1);
    return static_cast<U>(static_cast<U>((high & mask) << bits) | (low & mask));
}

[[noreturn]] ZAN_EXPORT void throwValueOutOfRange(char const* file, unsigned int line,
                                                  char const* func);

// `v` as a `T` that holds 32 bits, or OutOfRangeException.
template <class T, class N>
T to32(N v, char const* file, unsigned int line, char const* func) {
    constexpr auto max = static_cast<uint64>(std::numeric_limits<T>::max());
    bool fits;
    if (std::is_signed_v<N> && v < N())
        fits = static_cast<__int64>(v) >= static_cast<__int64>(std::numeric_limits<T>::min());
    else
        fits = static_cast<uint64>(v) <= max;
    if (__builtin_expect(!fits, 0)) throwValueOutOfRange(file, line, func);
    return static_cast<T>(v);
}

template <class N>
using Integer = std::enable_if_t<std::is_integral_v<N>, int>;

}  // namespace detail

// What all of the family can be built from beside the scalar. A literal text is its own overload,
// by exact type, so that neither the number 0 nor a bool competes with it.
#define ZAN_DETAIL_VALUE(Name)                                             \
    Name() = default;                                                      \
    Name(String const& text) {                                             \
        fromString(text);                                                  \
    }                                                                      \
    template <class C, std::enable_if_t<std::is_same_v<C, char>, int> = 0> \
    explicit Name(C const* text) : Name(String(text)) {}                   \
    Name(std::wstring const& text) {                                       \
        fromString(to_ansi(iwstr(text)));                                  \
    }

class Bit;
class Byte;
class Char;
class Wchar;
class Short;
class Ushort;
class Long;
class Ulong;
class Longlong;
class Ulonglong;
class Float;
class Double;

extern template class ZAN_EXPORT detail::Value<Bit, bool>;
extern template class ZAN_EXPORT detail::Value<Byte, unsigned char>;
extern template class ZAN_EXPORT detail::Value<Char, char>;
extern template class ZAN_EXPORT detail::Value<Wchar, wchar_t>;
extern template class ZAN_EXPORT detail::Value<Short, short>;
extern template class ZAN_EXPORT detail::Value<Ushort, unsigned short>;
extern template class ZAN_EXPORT detail::Value<Long, std::int32_t>;
extern template class ZAN_EXPORT detail::Value<Ulong, std::uint32_t>;
extern template class ZAN_EXPORT detail::Value<Longlong, __int64>;
extern template class ZAN_EXPORT detail::Value<Ulonglong, uint64>;
extern template class ZAN_EXPORT detail::Value<Float, float>;
extern template class ZAN_EXPORT detail::Value<Double, double>;

// A truth value. Its text is "1" or "0", its dump "true" or "false".
class Bit : public detail::Value<Bit, bool> {
public:
    static constexpr bool MIN_VAL = false;
    static constexpr bool MAX_VAL = true;

    ZAN_DETAIL_VALUE(Bit)
    // Of numbers only: a pointer is no truth value.
    template <class N, std::enable_if_t<std::is_arithmetic_v<N>, int> = 0>
    Bit(N v) : Value(v != N()) {}
};

// Eight bits.
class Byte : public detail::Value<Byte, unsigned char> {
public:
    static constexpr unsigned char MIN_VAL = 0;
    static constexpr unsigned char MAX_VAL = 255;

    // One bit, to be read and assigned to.
    class BitHelper {
    public:
        BitHelper(unsigned char& byte, unsigned char n) : byte_(byte), n_(n) {}
        BitHelper(BitHelper const&) = default;
        BitHelper& operator=(bool on) {
            byte_ = with(byte_, n_, on);
            return *this;
        }
        BitHelper& operator=(BitHelper const& other) { return *this = static_cast<bool>(other); }
        operator bool() const { return bit(byte_, n_); }

    private:
        unsigned char& byte_;
        unsigned char n_;
    };

    ZAN_DETAIL_VALUE(Byte)
    Byte(unsigned char v) : Value(v) {}
    // Two nibbles.
    Byte(unsigned char low, unsigned char high)
        : Value(detail::joinHalves<unsigned char>(low, high, 4)) {}

    unsigned char low() const { return value_ & 15; }
    unsigned char high() const { return value_ >> 4; }
    Byte& low(unsigned char v) { return *this = Byte(v, high()); }
    Byte& high(unsigned char v) { return *this = Byte(low(), v); }

    // Bit 0 is the lowest. Bits above 7 are clear and stay so.
    BitHelper operator[](unsigned char n) { return BitHelper(value_, n); }
    bool operator[](unsigned char n) const { return get(n); }
    bool get(unsigned char n) const { return bit(value_, n); }
    Byte& set(unsigned char n, bool on = true) {
        value_ = with(value_, n, on);
        return *this;
    }
    Byte& reset(unsigned char n) { return set(n, false); }

private:
    static bool bit(unsigned char byte, unsigned char n) { return n < 8 && (byte >> n & 1) != 0; }
    static unsigned char with(unsigned char byte, unsigned char n, bool on) {
        unsigned const mask = n < 8 ? 1u << n : 0u;
        return static_cast<unsigned char>(on ? byte | mask : byte & ~mask);
    }
};

// A character; its text form is the number.
class Char : public detail::Value<Char, char> {
public:
    static constexpr char MIN_VAL = -128;
    static constexpr char MAX_VAL = 127;

    ZAN_DETAIL_VALUE(Char)
    Char(char v) : Value(v) {}
    // Two nibbles.
    Char(unsigned char low, unsigned char high)
        : Value(static_cast<char>(detail::joinHalves<unsigned char>(low, high, 4))) {}

    Char operator-() const { return Char(static_cast<char>(-value_)); }
    unsigned char low() const { return static_cast<unsigned char>(value_) & 15; }
    unsigned char high() const {
        return static_cast<unsigned char>(static_cast<unsigned char>(value_) >> 4);
    }
    Char& low(unsigned char v) { return *this = Char(v, high()); }
    Char& high(unsigned char v) { return *this = Char(low(), v); }

    // Becomes the digit of the low four bits; reads the value of a digit, 255 for no digit.
    Char& fromHex(unsigned char v) {
        value_ = HexToChar(v);
        return *this;
    }
    unsigned char toHex() const { return HexFromChar(value_); }

    bool isSpace() const { return CharIsSpace(value_); }
    bool isPrint() const { return CharIsPrint(value_); }
    bool isCntrl() const { return CharIsCntrl(value_); }
    bool isUpper() const { return CharIsUpper(value_); }
    bool isLower() const { return CharIsLower(value_); }
    bool isAlpha() const { return CharIsAlpha(value_); }
    bool isDigit() const { return CharIsDigit(value_); }
    bool isPunct() const { return CharIsPunct(value_); }
    bool isXdigit() const { return CharIsXdigit(value_); }
    bool isAlnum() const { return CharIsAlnum(value_); }
    bool isGraph() const { return CharIsGraph(value_); }
    Char toLower() const { return Char(CharToLower(value_)); }
    Char toUpper() const { return Char(CharToUpper(value_)); }
    // REQUIRES: the set is terminated; its size does not count. NUL is in every set.
    bool in(istr const& set) const { return CharIn(value_, set.data()); }
};

// A whole code point; its text form is the number.
class Wchar : public detail::Value<Wchar, wchar_t> {
public:
    static constexpr wchar_t MIN_VAL = 0;
    static constexpr wchar_t MAX_VAL = 0x10FFFF;

    ZAN_DETAIL_VALUE(Wchar)
    Wchar(wchar_t v) : Value(v) {}
};

// A number of 16 bits with a sign.
class Short : public detail::Value<Short, short> {
public:
    static constexpr short MIN_VAL = -32768;
    static constexpr short MAX_VAL = 32767;

    ZAN_DETAIL_VALUE(Short)
    Short(short v) : Value(v) {}
    Short(unsigned char low, unsigned char high)
        : Value(static_cast<short>(detail::joinHalves<unsigned short>(low, high, 8))) {}

    Short operator-() const { return Short(static_cast<short>(-value_)); }
    unsigned char low() const { return static_cast<unsigned char>(value_); }
    unsigned char high() const {
        return static_cast<unsigned char>(static_cast<unsigned short>(value_) >> 8);
    }
    Short& low(unsigned char v) { return *this = Short(v, high()); }
    Short& high(unsigned char v) { return *this = Short(low(), v); }
};

// A number of 16 bits.
class Ushort : public detail::Value<Ushort, unsigned short> {
public:
    static constexpr unsigned short MIN_VAL = 0;
    static constexpr unsigned short MAX_VAL = 65535;

    ZAN_DETAIL_VALUE(Ushort)
    Ushort(unsigned short v) : Value(v) {}
    Ushort(unsigned char low, unsigned char high)
        : Value(detail::joinHalves<unsigned short>(low, high, 8)) {}

    unsigned char low() const { return static_cast<unsigned char>(value_); }
    unsigned char high() const { return static_cast<unsigned char>(value_ >> 8); }
    Ushort& low(unsigned char v) { return *this = Ushort(v, high()); }
    Ushort& high(unsigned char v) { return *this = Ushort(low(), v); }
};

// A number of 32 bits with a sign, on every platform.
class Long : public detail::Value<Long, std::int32_t> {
public:
    static constexpr std::int32_t MIN_VAL = std::numeric_limits<std::int32_t>::min();
    static constexpr std::int32_t MAX_VAL = std::numeric_limits<std::int32_t>::max();

    ZAN_DETAIL_VALUE(Long)
    Long(std::int32_t v) : Value(v) {}
    template <class N, detail::Integer<N> = 0>
    Long(N v) : Value(detail::to32<std::int32_t>(v, ZAN_HERE)) {}
    Long(unsigned short low, unsigned short high)
        : Value(static_cast<std::int32_t>(detail::joinHalves<std::uint32_t>(low, high, 16))) {}

    Long operator-() const {
        return Long(static_cast<std::int32_t>(0u - static_cast<std::uint32_t>(value_)));
    }
    unsigned short low() const { return static_cast<unsigned short>(value_); }
    unsigned short high() const {
        return static_cast<unsigned short>(static_cast<std::uint32_t>(value_) >> 16);
    }
    Long& low(unsigned short v) { return *this = Long(v, high()); }
    Long& high(unsigned short v) { return *this = Long(low(), v); }
};

// A number of 32 bits, on every platform.
class Ulong : public detail::Value<Ulong, std::uint32_t> {
public:
    static constexpr std::uint32_t MIN_VAL = 0;
    static constexpr std::uint32_t MAX_VAL = std::numeric_limits<std::uint32_t>::max();

    ZAN_DETAIL_VALUE(Ulong)
    Ulong(std::uint32_t v) : Value(v) {}
    template <class N, detail::Integer<N> = 0>
    Ulong(N v) : Value(detail::to32<std::uint32_t>(v, ZAN_HERE)) {}
    Ulong(unsigned short low, unsigned short high)
        : Value(detail::joinHalves<std::uint32_t>(low, high, 16)) {}

    unsigned short low() const { return static_cast<unsigned short>(value_); }
    unsigned short high() const { return static_cast<unsigned short>(value_ >> 16); }
    Ulong& low(unsigned short v) { return *this = Ulong(v, high()); }
    Ulong& high(unsigned short v) { return *this = Ulong(low(), v); }
};

// A number of 64 bits with a sign.
class Longlong : public detail::Value<Longlong, __int64> {
public:
    static constexpr __int64 MIN_VAL = std::numeric_limits<__int64>::min();
    static constexpr __int64 MAX_VAL = std::numeric_limits<__int64>::max();

    ZAN_DETAIL_VALUE(Longlong)
    Longlong(__int64 v) : Value(v) {}
    // Halves of 32 bits.
    Longlong(unsigned long low, unsigned long high)
        : Value(static_cast<__int64>(
              detail::joinHalves<uint64>(detail::to32<std::uint32_t>(low, ZAN_HERE),
                                         detail::to32<std::uint32_t>(high, ZAN_HERE), 32))) {}

    Longlong operator-() const {
        return Longlong(static_cast<__int64>(0ull - static_cast<uint64>(value_)));
    }
    unsigned long low() const { return static_cast<std::uint32_t>(value_); }
    unsigned long high() const { return static_cast<uint64>(value_) >> 32; }
    Longlong& low(unsigned long v) { return *this = Longlong(v, high()); }
    Longlong& high(unsigned long v) { return *this = Longlong(low(), v); }
};

// A number of 64 bits.
class Ulonglong : public detail::Value<Ulonglong, uint64> {
public:
    static constexpr uint64 MIN_VAL = 0;
    static constexpr uint64 MAX_VAL = std::numeric_limits<uint64>::max();

    ZAN_DETAIL_VALUE(Ulonglong)
    Ulonglong(uint64 v) : Value(v) {}
    // Halves of 32 bits.
    Ulonglong(unsigned long low, unsigned long high)
        : Value(detail::joinHalves<uint64>(detail::to32<std::uint32_t>(low, ZAN_HERE),
                                           detail::to32<std::uint32_t>(high, ZAN_HERE), 32)) {}

    unsigned long low() const { return static_cast<std::uint32_t>(value_); }
    unsigned long high() const { return value_ >> 32; }
    Ulonglong& low(unsigned long v) { return *this = Ulonglong(v, high()); }
    Ulonglong& high(unsigned long v) { return *this = Ulonglong(low(), v); }
};

// Text of a Float or Double has 6 significant digits.
class Float : public detail::Value<Float, float> {
public:
    ZAN_DETAIL_VALUE(Float)
    Float(float v) : Value(v) {}
    Float operator-() const { return Float(-value_); }
};

// A number with a fraction, in 64 bits.
class Double : public detail::Value<Double, double> {
public:
    ZAN_DETAIL_VALUE(Double)
    Double(double v) : Value(v) {}
    Double operator-() const { return Double(-value_); }
};

#undef ZAN_DETAIL_VALUE

}  // namespace zan
