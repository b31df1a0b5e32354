#include "zan/timer/timercallbackblock.h"

#include "zan/base/system.h"
#include "zan/log/log_factory.h"

namespace zan {

OnTimerResult TimerCallbackBlock::exec() {
    OnTimerResult const usual(Time(), 1);
    if (block_ == nullptr || block_->m_pCallBackTimerObject == nullptr || System::closing())
        return usual;
    ITimerObject& object = *block_->m_pCallBackTimerObject;
    switch (type_) {
        case ON_TIMER:
            return object.onTimer(block_->m_nTimerID, block_->m_nUserTimerID, block_->m_pParam);
        case ON_TIMER_RELEASE:
            object.onTimerRelease(block_->m_nTimerID, block_->m_nUserTimerID, block_->m_pParam);
            break;
        default:
            ZAN_WARNING(detail::zanLogger(), "unknown timer callback event type");
    }
    return usual;
}

}  // namespace zan
