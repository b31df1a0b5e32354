#pragma once

#include <iosfwd>

#include "zan/base/base_type_string.h"

struct timeval;

namespace zan {

// The one type for a point in time and for a span of time: signed 64-bit microseconds. As a point
// it counts from 1970-01-01 00:00 UTC; broken-down forms and texts are in the process's local time
// zone. 0 also stands for no time at all, and forever() for a wait without end.
//
// Threads: a plain value. Errors: arithmetic wraps on overflow, and results of the double forms
// that do not fit are cut to the bounds; only toDetail(), format() and now(Monotonic) throw.
class ZAN_EXPORT Time {
public:
    // What now() looks at.
    enum Clock {
        Realtime = 0,  // the wall clock
        Monotonic = 1  // the high-resolution counter, from an arbitrary start, never set back
    };

    // The broken-down form in local time. The fields go to format strings in this order.
    struct ZAN_EXPORT Detail {
        int year = 0;   // in full
        int month = 0;  // 1 to 12
        int day = 0;    // 1 to 31
        int hour = 0;
        int minute = 0;
        int second = 0;
        int milliSecond = 0;  // 0 to 999
        int microSecond = 0;  // 0 to 999, below the milliseconds

        Detail() = default;
        // Throws InvalidDataException for a value that the calendar cannot hold.
        explicit Detail(Time const& t);
        // Reads up to eight integers by `fmt`, as sscanf does. Fields that the text does not reach
        // stay 0; there is no failure. Only the first 64 bytes of the text count.
        Detail(istr const& text, char const* fmt);
        // Prints the eight fields through `fmt`, cut to the buffer. REQUIRES: `fmt` has at most
        // eight conversions, all of them of int.
        void format(ostr out, char const* fmt) const;
        operator Time() const;
    };

    Time() = default;

    static Time seconds(__int64 n) { return Time(mul(n, 1000000)); }
    static Time milliSeconds(__int64 n) { return Time(mul(n, 1000)); }
    static Time microSeconds(__int64 n) { return Time(n); }
    static Time forever() { return Time(0x7FFFFFFFFFFFFFFF); }
    static Time now(Clock clock = Realtime);

    // A null or empty `fmt` is the standard format, "%04d-%02d-%02d %02d:%02d:%02d.%03d".
    void fromString(istr const& text, char const* fmt = nullptr);

    // Truncated towards zero.
    __int64 toSeconds() const { return us_ / 1000000; }
    __int64 toMilliSeconds() const { return us_ / 1000; }
    __int64 toMicroSeconds() const { return us_; }
    double toSecondsDouble() const { return static_cast<double>(us_) / 1000000.0; }
    double toMilliSecondsDouble() const { return static_cast<double>(us_) / 1000.0; }
    double toMicroSecondsDouble() const { return static_cast<double>(us_); }
    operator timeval() const;

    // Blocks the calling thread for this span, in whole milliseconds.
    void sleep() const;
    Detail toDetail() const { return Detail(*this); }

    // At most 64 bytes in the String forms; bounded by the buffer in the others.
    void format(ostr out, char const* fmt) const;
    void format(String& out, char const* fmt) const;
    String format(char const* fmt) const;

    // "2014-06-16 14:13:07.125". A value outside the calendar shows as
    // "<INVALID DATETIME(", the microseconds, ")>"; nothing is thrown.
    void toFullDateTime(ostr out) const;
    void toFullDateTime(String& out) const;
    String toFullDateTime() const;
    // The same, but 0 shows as "<null>".
    void toDateTime(ostr out) const;
    void toDateTime(String& out) const;
    String toDateTime() const;

    // Seconds and six digits. The sign shows only through the seconds: -0.5 s reads "0.500000".
    String toString() const;
    // "1d 01:01:01.500": days only where there are any, the fraction in three or six digits.
    String toDuration() const;

    Time operator-() const { return Time(sub(0, us_)); }
    Time& operator+=(Time const& t) {
        us_ = add(us_, t.us_);
        return *this;
    }
    Time& operator-=(Time const& t) {
        us_ = sub(us_, t.us_);
        return *this;
    }
    Time& operator*=(int n) { return *this *= static_cast<__int64>(n); }
    Time& operator*=(long n) { return *this *= static_cast<__int64>(n); }
    Time& operator*=(__int64 n) {
        us_ = mul(us_, n);
        return *this;
    }
    Time& operator*=(double f);
    // REQUIRES: n is not 0.
    Time& operator/=(int n) { return *this /= static_cast<__int64>(n); }
    Time& operator/=(long n) { return *this /= static_cast<__int64>(n); }
    Time& operator/=(__int64 n) {
        us_ = n == -1 ? sub(0, us_) : us_ / n;
        return *this;
    }
    Time& operator/=(double f);

    friend Time operator+(Time a, Time const& b) { return a += b; }
    friend Time operator-(Time a, Time const& b) { return a -= b; }
    friend Time operator*(Time a, int n) { return a *= n; }
    friend Time operator*(Time a, long n) { return a *= n; }
    friend Time operator*(Time a, __int64 n) { return a *= n; }
    friend Time operator*(Time a, double f) { return a *= f; }
    friend Time operator/(Time a, int n) { return a /= n; }
    friend Time operator/(Time a, long n) { return a /= n; }
    friend Time operator/(Time a, __int64 n) { return a /= n; }
    friend Time operator/(Time a, double f) { return a /= f; }
    // The ratio of two spans.
    friend double operator/(Time const& a, Time const& b) {
        return static_cast<double>(a.us_) / static_cast<double>(b.us_);
    }

    friend bool operator==(Time const& a, Time const& b) { return a.us_ == b.us_; }
    friend bool operator!=(Time const& a, Time const& b) { return a.us_ != b.us_; }
    friend bool operator<(Time const& a, Time const& b) { return a.us_ < b.us_; }
    friend bool operator<=(Time const& a, Time const& b) { return a.us_ <= b.us_; }
    friend bool operator>(Time const& a, Time const& b) { return a.us_ > b.us_; }
    friend bool operator>=(Time const& a, Time const& b) { return a.us_ >= b.us_; }

private:
    explicit Time(__int64 us) : us_(us) {}

    static __int64 add(__int64 a, __int64 b) {
        return static_cast<__int64>(static_cast<uint64>(a) + static_cast<uint64>(b));
    }
    static __int64 sub(__int64 a, __int64 b) {
        return static_cast<__int64>(static_cast<uint64>(a) - static_cast<uint64>(b));
    }
    static __int64 mul(__int64 a, __int64 b) {
        return static_cast<__int64>(static_cast<uint64>(a) * static_cast<uint64>(b));
    }

    __int64 us_ = 0;
};

// Writes toDuration(), whether the value is a point or a span.
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, Time const& t);

// Measures one span on the wall clock.
class ZAN_EXPORT Stopwatch {
public:
    Stopwatch() { start(); }
    void start() { begin_ = end_ = Time::now(); }
    Stopwatch& stop() {
        end_ = Time::now();
        return *this;
    }
    Time begin() const { return begin_; }
    Time end() const { return end_; }
    // 0 until stop().
    Time elapsed() const { return end_ - begin_; }

private:
    Time begin_;
    Time end_;
};

}  // namespace zan
