#include "zan/log/line_pool.h"

#include <locale>

#include "zan/log/log_logger.h"
#include "zan/platform/thread.h"

namespace zan::detail {

// The free slots of one thread. It lives until the thread's end, and comes back if something logs
// even later.
struct LinePool {
    static __thread LineSlot* free;
    static __thread bool registered;

    static void freeAll(void*) {
        registered = false;
        while (free != nullptr) {
            LineSlot* const slot = free;
            free = slot->next_;
            delete slot;
        }
    }

    static LineSlot& take() {
        if (LineSlot* const slot = free) {
            free = slot->next_;
            slot->reset();
            return *slot;
        }
        return *new LineSlot;
    }

    static void giveBack(LineSlot& slot) {
        if (!registered) registered = platform::atThreadExit(&freeAll, nullptr);
        if (!registered) {
            delete &slot;
            return;
        }
        slot.next_ = free;
        free = &slot;
    }
};

__thread LineSlot* LinePool::free = nullptr;
__thread bool LinePool::registered = false;

LineSlot& LineSlot::take() {
    return LinePool::take();
}

void LineSlot::giveBack(LineSlot& slot) {
    LinePool::giveBack(slot);
}

void LineSlot::reset() {
    buffer_.reset();
    stream_.clear();
    stream_.exceptions(std::ios_base::goodbit);
    stream_.flags(std::ios_base::skipws | std::ios_base::dec);
    stream_.fill(' ');
    stream_.precision(6);
    stream_.width(0);
}

LineStream::LineStream() {
    LineSlot& slot = LineSlot::take();
    stream_ = &slot.stream();
    slot_ = &slot;
}

LineStream::~LineStream() {
    LineSlot::giveBack(*static_cast<LineSlot*>(slot_));
}

void LineStream::append(istr const& text) {
    static_cast<LineSlot*>(slot_)->buffer().append(text);
}

char const* LineStream::c_str() {
    return view().data();
}

istr LineStream::view() {
    return static_cast<LineSlot*>(slot_)->buffer().view();
}

}  // namespace zan::detail
