#pragma once

#include <cstdint>
#include <iosfwd>

#include "zan/base/base_type_time.h"
#include "zan/log/log_dumper.h"

namespace zan {

// One use of one timer. The position tells the slot, the serial its use: once the timer has ended,
// its id finds nothing, although the slot is used again.
//
// Threads: a plain value. Errors: numbers that do not fit 32 bits throw OutOfRangeException.
class ZAN_EXPORT TimerId {
public:
    TimerId() = default;  // no timer
    // The form that get() gives; it holds 15 bits of the serial and 17 of the position.
    explicit TimerId(unsigned long packed);
    TimerId(unsigned long serial, unsigned long position);

    unsigned long get() const {
        return static_cast<std::uint32_t>(serial_ << 17 | (position_ & 0x1FFFF));
    }
    void reset() { *this = TimerId(); }
    bool empty() const { return serial_ == NONE && position_ == NONE; }
    unsigned long serial() const { return serial_; }
    unsigned long position() const { return position_; }

    // "(serial, position)".
    dumper& dump(dumper& d) const;
    std::ostream& dump(std::ostream& os) const;

private:
    friend class TimerQueue;
    static constexpr std::uint32_t NONE = 0xFFFFFFFF;

    std::uint32_t serial_ = NONE;
    std::uint32_t position_ = NONE;
};

// By get(), so two uses of a slot that lie 32768 uses apart count as equal.
inline bool operator==(TimerId const& a, TimerId const& b) {
    return a.get() == b.get();
}
inline bool operator!=(TimerId const& a, TimerId const& b) {
    return a.get() != b.get();
}
inline bool operator<(TimerId const& a, TimerId const& b) {
    return a.get() < b.get();
}
inline bool operator<=(TimerId const& a, TimerId const& b) {
    return a.get() <= b.get();
}
inline bool operator>(TimerId const& a, TimerId const& b) {
    return a.get() > b.get();
}
inline bool operator>=(TimerId const& a, TimerId const& b) {
    return a.get() >= b.get();
}
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, TimerId const& id);

// What a timer does after a firing: with a default Time it goes on as planned, with any other it
// fires `times` more, 0 for without end, each after that span.
struct OnTimerResult {
    OnTimerResult(Time interval, unsigned long n) : nextInterval(interval), times(n) {}
    Time nextInterval;
    unsigned long times;
};

// Receives the firings of timers. It must outlive the timers that name it.
//
// Threads: see TimerManager and TimerUserThread. An exception that leaves a callback is reported,
// and counts as OnTimerResult(Time(), 1).
class ZAN_EXPORT ITimerObject {
public:
    virtual ~ITimerObject();
    // May set, reset and kill any timer, its own too. A timer that is killed from another thread
    // may still be in here when killTimer() returns.
    virtual OnTimerResult onTimer(TimerId id, unsigned long userTimerId, void* param) = 0;
    // Once for each timer that was killed or ran out, with the queue's lock held: it must not wait
    // for anything that could be waiting for a timer operation.
    virtual void onTimerRelease(TimerId id, unsigned long userTimerId, void* param) = 0;
    virtual dumper& dump(dumper& d) const;
};

}  // namespace zan
