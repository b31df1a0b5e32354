#include "zan/base/base_type_time.h"

#include <ace/OS_NS_stdio.h>
#include <ace/OS_NS_sys_time.h>
#include <ace/OS_NS_time.h>
#include <ace/Time_Value.h>

#include <cstdio>
#include <iomanip>
#include <limits>
#include <ostream>

#include "zan/base/date_text.h"
#include "zan/base/exception.h"
#include "zan/mt/threadexception.h"
#include "zan/platform/clock.h"
#include "zan/platform/last_error.h"
#include "zan/platform/thread.h"

namespace zan {

namespace {

char const STANDARD_FORMAT[] = "%04d-%02d-%02d %02d:%02d:%02d.%03d";
constexpr unsigned long FIELD = 64;

// Counts per second of the high-resolution counter; 0.0 where there is none.
double const g_frequency = [] {
    long long value = 0;
    long long perSecond = 0;
    return platform::readCounter(value) && platform::queryFrequency(perSecond)
               ? static_cast<double>(perSecond)
               : 0.0;
}();

__int64 truncate(double v) {
    constexpr double bound = 9223372036854775808.0;
    if (v >= bound) return std::numeric_limits<__int64>::max();
    if (v <= -bound) return std::numeric_limits<__int64>::min();
    return v == v ? static_cast<__int64>(v) : 0;
}

void putDigits(char* out, int digits, unsigned long v) {
    while (digits-- != 0) {
        out[digits] = static_cast<char>('0' + v % 10);
        v /= 10;
    }
}

String padded(uint64 v, int digits) {
    char text[24];
    return String(text, static_cast<unsigned long>(
                            ACE_OS::snprintf(text, sizeof(text), "%0*llu", digits, v)));
}

}  // namespace

namespace detail {

bool dateText(Time const& t, char* out) {
    struct Second {
        __int64 second;
        bool valid;
        char text[DATE_TEXT_SIZE];
    };
    // Local time changes its offset at whole seconds only, so the rendered second can be kept.
    static thread_local Second cached{};
    __int64 const us = t.toMicroSeconds();
    __int64 const second = us / 1000000;
    if (!cached.valid || cached.second != second) {
        Time::Detail const d{Time::seconds(second)};
        if (d.year < 0 || d.year > 9999) return false;
        putDigits(cached.text, 4, static_cast<unsigned long>(d.year));
        cached.text[4] = cached.text[7] = '-';
        putDigits(cached.text + 5, 2, static_cast<unsigned long>(d.month));
        putDigits(cached.text + 8, 2, static_cast<unsigned long>(d.day));
        cached.text[10] = ' ';
        putDigits(cached.text + 11, 2, static_cast<unsigned long>(d.hour));
        cached.text[13] = cached.text[16] = ':';
        putDigits(cached.text + 14, 2, static_cast<unsigned long>(d.minute));
        putDigits(cached.text + 17, 2, static_cast<unsigned long>(d.second));
        cached.text[19] = '.';
        cached.second = second;
        cached.valid = true;
    }
    if (us < second * 1000000) return false;  // before the epoch: a negative fraction
    std::memcpy(out, cached.text, 20);
    putDigits(out + 20, 3, static_cast<unsigned long>((us - second * 1000000) / 1000));
    return true;
}

}  // namespace detail

Time::Detail::Detail(Time const& t) {
    __int64 const total = t.us_ / 1000000;
    time_t const seconds = static_cast<time_t>(total);
    struct tm broken {};
    if (ACE_OS::localtime_r(&seconds, &broken) == nullptr)
        ZAN_USER_THROW_MSG(zan::logger_factory::instance(zan::LOGGER_ID), InvalidDataException,
                           "InvalidDataException");
    year = broken.tm_year + 1900;
    month = broken.tm_mon + 1;
    day = broken.tm_mday;
    hour = broken.tm_hour;
    minute = broken.tm_min;
    second = broken.tm_sec;
    int const rest = static_cast<int>(t.us_ - total * 1000000);
    milliSecond = rest / 1000;
    microSecond = rest - milliSecond * 1000;
}

Time::Detail::Detail(istr const& text, char const* fmt) {
    char field[FIELD + 1];
    std::memset(field, ' ', FIELD);
    field[FIELD] = 0;
    MemCopy(field, text.data(), text.size() < FIELD ? text.size() : FIELD);
    // The result is of no interest: what the text does not reach stays 0.
    static_cast<void>(std::sscanf(field, fmt, &year, &month, &day, &hour, &minute, &second,
                                  &milliSecond, &microSecond));
}

void Time::Detail::format(ostr out, char const* fmt) const {
    if (out.empty()) return;
    ACE_OS::snprintf(out.buffer(), out.max_size(), fmt, year, month, day, hour, minute, second,
                     milliSecond, microSecond);
}

Time::Detail::operator Time() const {
    time_t const epoch = 0;
    struct tm broken {};
    if (ACE_OS::localtime_r(&epoch, &broken) == nullptr) return Time();
    // A text may hold any number.
    auto const from = [](int value, int first) {
        return value < std::numeric_limits<int>::min() + first ? std::numeric_limits<int>::min()
                                                               : value - first;
    };
    broken.tm_year = from(year, 1900);
    broken.tm_mon = from(month, 1);
    broken.tm_mday = day;
    broken.tm_hour = hour;
    broken.tm_min = minute;
    broken.tm_sec = second;
    return seconds(ACE_OS::mktime(&broken)) + milliSeconds(milliSecond) + microSeconds(microSecond);
}

Time Time::now(Clock clock) {
    if (clock == Realtime || g_frequency <= 0.0) {
        ACE_Time_Value const t = ACE_OS::gettimeofday();
        return Time(static_cast<__int64>(t.sec()) * 1000000 + t.usec());
    }
    long long counter = 0;
    if (!platform::readCounter(counter)) {
        ZAN_ASSERT_TEXT_DO(false, "0", "", );
        throw ThreadSyscallException(ZAN_HERE, platform::lastError());
    }
    return Time(truncate(static_cast<double>(counter) / g_frequency * 1000000.0));
}

void Time::fromString(istr const& text, char const* fmt) {
    *this = Detail(text, fmt == nullptr || *fmt == 0 ? STANDARD_FORMAT : fmt);
}

Time::operator timeval() const {
    timeval tv{};
    tv.tv_sec = us_ / 1000000;
    tv.tv_usec = us_ % 1000000;
    return tv;
}

void Time::sleep() const {
    if (us_ > 0) platform::sleepMilliSeconds(static_cast<unsigned long>(us_ / 1000));
}

void Time::format(ostr out, char const* fmt) const {
    toDetail().format(out, fmt);
}

void Time::format(String& out, char const* fmt) const {
    char field[FIELD + 1] = {};
    format(ostr(field, sizeof(field)), fmt);
    out = field;
}

String Time::format(char const* fmt) const {
    String text;
    format(text, fmt);
    return text;
}

void Time::toFullDateTime(ostr out) const {
    out.clear();
    char text[detail::DATE_TEXT_SIZE];
    try {
        if (detail::dateText(*this, text))
            out.assign(text, sizeof(text));
        else
            format(out, STANDARD_FORMAT);
    } catch (Exception const&) {
        String invalid("<INVALID DATETIME(");
        invalid << us_ << ")>";
        out = istr(invalid);
    }
}

void Time::toFullDateTime(String& out) const {
    char field[FIELD + 1] = {};
    toFullDateTime(ostr(field, sizeof(field)));
    out = field;
}

String Time::toFullDateTime() const {
    String text;
    toFullDateTime(text);
    return text;
}

void Time::toDateTime(ostr out) const {
    if (us_ == 0) {
        out.clear();
        out = "<null>";
    } else {
        toFullDateTime(out);
    }
}

void Time::toDateTime(String& out) const {
    char field[FIELD + 1] = {};
    toDateTime(ostr(field, sizeof(field)));
    out = field;
}

String Time::toDateTime() const {
    String text;
    toDateTime(text);
    return text;
}

String Time::toString() const {
    __int64 const micro = us_ % 1000000;
    String text;
    text << us_ / 1000000 << "." << padded(static_cast<uint64>(micro < 0 ? -micro : micro), 6);
    return text;
}

String Time::toDuration() const {
    uint64 const absolute = us_ < 0 ? 0 - static_cast<uint64>(us_) : static_cast<uint64>(us_);
    uint64 const total = absolute / 1000000;
    uint64 const micro = absolute % 1000000;
    String text;
    if (us_ < 0) text << "-";
    if (total >= 86400) text << total / 86400 << "d ";
    text << padded((total / 3600) % 24, 2) << ":" << padded((total / 60) % 60, 2) << ":"
         << padded(total % 60, 2);
    if (micro != 0) {
        text << "." << padded(micro / 1000, 3);
        if (micro % 1000 != 0) text << padded(micro % 1000, 3);
    }
    return text;
}

Time& Time::operator*=(double f) {
    us_ = truncate(static_cast<double>(us_) * f);
    return *this;
}

Time& Time::operator/=(double f) {
    us_ = truncate(static_cast<double>(us_) / f);
    return *this;
}

std::ostream& operator<<(std::ostream& os, Time const& t) {
    return os << static_cast<std::string const&>(t.toDuration());
}

}  // namespace zan
