#pragma once

#include <sched.h>

#include <atomic>

namespace zan::platform {

// A lock that is held for some ten steps and no call that waits, at half the cost of a mutex. Any
// thread may let it go, as the child of a fork has to.
class BriefLock {
public:
    void lock() {
        while (taken_.exchange(true, std::memory_order_acquire)) wait();
    }
    void unlock() { taken_.store(false, std::memory_order_release); }

private:
    // Who holds it may have lost the processor.
    [[gnu::noinline]] void wait() const {
        for (int i = 0; taken_.load(std::memory_order_relaxed); ++i)
            if (i > 100) sched_yield();
    }

    std::atomic<bool> taken_{false};
};

}  // namespace zan::platform
