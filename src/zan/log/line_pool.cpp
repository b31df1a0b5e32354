#include "zan/log/line_pool.h"

#include <locale>

#include "zan/base/mlcheck.h"
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
        UncheckedBlocks const lifelong;  // in the main thread
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
    if (!formatted_) return;
    formatted_ = false;
    stream_.clear();
    stream_.exceptions(std::ios_base::goodbit);
    stream_.flags(std::ios_base::skipws | std::ios_base::dec);
    stream_.fill(' ');
    stream_.precision(6);
    stream_.width(0);
}

LineStream::LineStream()
    : slot_(LineSlot::take()), next_(slot_.buffer().next()), end_(slot_.buffer().roomEnd()) {}

LineStream::~LineStream() {
    LineSlot::giveBack(slot_);
}

void LineStream::appendSlowly(istr const& text) {
    LineBuffer& buffer = slot_.buffer();
    buffer.next(next_);
    buffer.append(text);
    next_ = buffer.next();
    end_ = buffer.roomEnd();
}

std::ostream& LineStream::beginStream() {
    slot_.buffer().next(next_);
    return slot_.stream();
}

void LineStream::endStream() {
    next_ = slot_.buffer().next();
    end_ = slot_.buffer().roomEnd();
    plain_ = slot_.plain();
}

char const* LineStream::c_str() {
    return view().data();
}

istr LineStream::view() {
    slot_.buffer().next(next_);
    return slot_.buffer().view();
}

}  // namespace zan::detail
