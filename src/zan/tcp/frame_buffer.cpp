#include "zan/tcp/frame_buffer.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace zan::tcp {

namespace {

// How many frames in a row have to be small before a large buffer goes.
constexpr unsigned int SMALL_FRAMES = 64;

// A line of the processor's cache.
constexpr std::uintptr_t LINE = 64;

char* nextLine(void* p) {
    return static_cast<char*>(p) + (-reinterpret_cast<std::uintptr_t>(p) & (LINE - 1));
}

}  // namespace

FrameBuffer::~FrameBuffer() {
    std::free(block_);
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
        std::free(block_);
        block_ = nullptr;
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

// The system copies a large frame faster to and from whole lines. Aligned allocation would leave
// scraps in the heap that keep it from giving memory back.
bool FrameBuffer::resize(unsigned long capacity) {
    std::ptrdiff_t const before = buffer_ - block_;
    void* const p = std::realloc(block_, capacity + LINE - 1);
    if (p == nullptr) return false;
    block_ = static_cast<char*>(p);
    buffer_ = nextLine(p);
    if (buffer_ - block_ != before && end_ != 0) std::memmove(buffer_, block_ + before, end_);
    capacity_ = capacity;
    return true;
}

}  // namespace zan::tcp
