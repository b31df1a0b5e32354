#include "zan/base/system.h"

#include <atomic>

namespace zan {

namespace {

std::atomic<bool> g_closing{false};

}  // namespace

void System::close() {
    g_closing.store(true, std::memory_order_release);
}

bool System::closing() {
    return g_closing.load(std::memory_order_acquire);
}

}  // namespace zan
