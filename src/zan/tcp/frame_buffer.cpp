#include "zan/tcp/frame_buffer.h"

#include <cstdlib>
#include <cstring>

namespace zan::tcp {

namespace {

// How many frames in a row have to be small before a large buffer goes.
constexpr unsigned int SMALL_FRAMES = 64;

// A line of the processor's cache. The system copies a large frame faster to and from whole lines.
constexpr unsigned long LINE = 64;
// Up to here: what is larger grows in place where it can, and costs no second block meanwhile.
constexpr unsigned long LARGEST_IN_LINES = 128 * 1024;

}  // namespace

FrameBuffer::~FrameBuffer() {
    std::free(buffer_);
}

ostr FrameBuffer::room(unsigned long need) {
    if (begin_ == end_) {
        begin_ = end_ = 0;
    } else if (begin_ != 0 && need > capacity_ - begin_) {
        std::memmove(buffer_, buffer_ + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
    }
    if (end_ == capacity_) {
        unsigned long larger = capacity_ != 0 ? 2 * capacity_ : FIRST_SIZE;
        if (larger > need && capacity_ != 0) larger = need;
        if (!resize(larger)) return ostr();
    }
    return ostr(buffer_ + end_, capacity_ - end_);
}

void FrameBuffer::watch(unsigned long dropped) {
    if (dropped > largest_) largest_ = dropped;
    if (++frames_ < SMALL_FRAMES) return;
    if (largest_ < capacity_ / 4) trim();
    frames_ = 0;
    largest_ = 0;
}

void FrameBuffer::trim() {
    unsigned long const kept = available();
    if (capacity_ <= FIRST_SIZE || kept > capacity_ / 2) return;
    if (kept == 0) {
        std::free(buffer_);
        buffer_ = nullptr;
        capacity_ = begin_ = end_ = 0;
        return;
    }
    if (begin_ != 0) std::memmove(buffer_, buffer_ + begin_, kept);
    begin_ = 0;
    end_ = kept;
    // Refused, the larger block stays.
    resize(kept > FIRST_SIZE ? kept : FIRST_SIZE);
}

bool FrameBuffer::resize(unsigned long capacity) {
    void* p = nullptr;
    if (capacity > QUIET_SIZE && capacity <= LARGEST_IN_LINES) {
        p = std::aligned_alloc(LINE, (capacity + LINE - 1) / LINE * LINE);
        if (p == nullptr) return false;
        if (end_ != 0) std::memcpy(p, buffer_, end_);
        std::free(buffer_);
    } else {
        p = std::realloc(buffer_, capacity);
        if (p == nullptr) return false;
    }
    buffer_ = static_cast<char*>(p);
    capacity_ = capacity;
    return true;
}

}  // namespace zan::tcp
