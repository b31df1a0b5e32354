#include "zan/timer/timercallbackblock.h"

#include "zan/base/system.h"
#include "zan/log/log_factory.h"

namespace zan {

OnTimerResult TimerCallbackBlock::exec() {
    OnTimerResult const usual(Time(), 1);
    if (type_ != ON_TIMER && type_ != ON_TIMER_RELEASE) {
        ZAN_WARNING(detail::zanLogger(), "unknown timer callback event type");
        return usual;
    }
    if (block_ == nullptr || block_->m_pCallBackTimerObject == nullptr || System::closing())
        return usual;
    ITimerObject& object = *block_->m_pCallBackTimerObject;
    if (type_ == ON_TIMER)
        return object.onTimer(block_->m_nTimerID, block_->m_nUserTimerID, block_->m_pParam);
    object.onTimerRelease(block_->m_nTimerID, block_->m_nUserTimerID, block_->m_pParam);
    return usual;
}

}  // namespace zan
