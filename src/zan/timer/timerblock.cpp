#include "zan/timer/timerblock.h"

#include <ostream>

#include "zan/timer/timer_time.h"

namespace zan {

namespace {

char const* text(TimerBlock::Status status) {
    switch (status) {
        case TimerBlock::IDLE:
            return "IDLE";
        case TimerBlock::BUSY:
            return "BUSY";
        case TimerBlock::PAUSED:
            return "PAUSED";
    }
    return "UNKNOWN";
}

}  // namespace

dumper& TimerBlock::dump(dumper& d) const {
    dumper::_Entry const entry(d, "zan::TimerBlock");
    d << indent << namestring("name_") << name_ << endline;
    d << indent << namestring("m_nTimerID") << m_nTimerID << endline;
    d << indent << namestring("m_statusPos") << m_statusPos << endline;
    d << indent << namestring("m_expiredTime") << detail::timerDate(m_expiredTime) << endline;
    d << indent << namestring("m_nInterval") << rawstring(m_nInterval.toDuration()) << endline;
    d << indent << namestring("m_unTimes") << m_unTimes << endline;
    d << indent << namestring("m_pCallBackTimerObject");
    if (m_pCallBackTimerObject != nullptr)
        d << *m_pCallBackTimerObject << endline;
    else
        d << rawstring("null") << endline;
    d << indent << namestring("m_nUserTimerID") << m_nUserTimerID << endline;
    d << indent << namestring("m_pParam") << static_cast<void const*>(m_pParam) << endline;
    d << indent << namestring("m_status") << rawstring(text(m_status)) << endline;
    return d;
}

std::ostream& operator<<(std::ostream& os, TimerBlock const& block) {
    return os << block.m_nTimerID << '(' << istr(block.name_) << ", "
              << istr(block.m_nInterval.toDuration()) << ", " << block.m_unTimes << ')';
}

dumper& TimeoutBlock::dump(dumper& d) const {
    dumper::_Entry const entry(d, "zan::TimeoutBlock");
    d << indent << namestring("m_expiredTime") << detail::timerDate(m_expiredTime) << endline;
    d << indent << namestring("m_nTimerID") << m_nTimerID << endline;
    d << indent << namestring("m_tb");
    if (m_tb != nullptr)
        d << *m_tb << endline;
    else
        d << rawstring("null") << endline;
    return d;
}

}  // namespace zan
