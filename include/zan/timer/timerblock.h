#pragma once

#include "zan/timer/timerobject.h"

namespace zan {

// A slot of the pool of timers. Times are on the monotonic clock; dumps show them as dates.
struct ZAN_EXPORT TimerBlock {
    // A slot is BUSY as long as its timer lives, else IDLE. Nothing makes a timer PAUSED.
    enum Status { IDLE = 0, BUSY = 1, PAUSED = 2 };

    String name_;
    TimerId m_nTimerID;
    unsigned long m_statusPos = ~0UL;  // this slot's index in the queue's m_idStatus
    Time m_expiredTime;
    Time m_nInterval;
    unsigned long m_unTimes = 1;  // firings still to come; 0: without end
    ITimerObject* m_pCallBackTimerObject = nullptr;
    unsigned long m_nUserTimerID = 0;
    void* m_pParam = nullptr;
    Status m_status = IDLE;

    dumper& dump(dumper& d) const;
};

// "(serial, position)(name, period, times)".
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, TimerBlock const& block);

// A planned expiry.
struct ZAN_EXPORT TimeoutBlock {
    Time m_expiredTime;
    TimerId m_nTimerID;
    TimerBlock const* m_tb = nullptr;

    dumper& dump(dumper& d) const;
};

inline bool operator<(TimeoutBlock const& a, TimeoutBlock const& b) {
    if (a.m_expiredTime != b.m_expiredTime) return a.m_expiredTime < b.m_expiredTime;
    return a.m_nTimerID < b.m_nTimerID;
}

}  // namespace zan
