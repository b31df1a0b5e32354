#pragma once

#include "zan/timer/timerblock.h"

namespace zan {

// A callback of a timer that is to be made later, for applications that hand them to threads of
// their own. The block is not owned.
class ZAN_EXPORT TimerCallbackBlock {
public:
    // Which of the two callbacks is to be made.
    enum Type { ON_TIMER = 0, ON_TIMER_RELEASE = 1 };

    TimerCallbackBlock(int type, TimerBlock* block) : type_(type), block_(block) {}

    // Calls the block's object. Without a block, and once the library is closing, it does nothing.
    // Gives OnTimerResult(Time(), 1) where there is no other result.
    OnTimerResult exec();

private:
    int type_;
    TimerBlock* block_;
};

}  // namespace zan
