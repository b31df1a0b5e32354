#pragma once

#include "zan/base/base_type_view.h"
#include "zan/mt/mutex.h"

namespace zan::tcp {

// Where the bytes of one connection arrive, and from where whole frames are handed out without a
// copy. Reading runs ahead: one read may bring many frames, or the size and the payload together.
//
//     while (buffer.available() < need) {
//         ostr room = buffer.room(need);
//         buffer.arrived(read(room.buffer(), room.max_size()));
//     }
//
// Memory: FIRST_SIZE, and doubles when it is full, so it never exceeds twice the bytes that were
//   there at once. What large frames have made large becomes small again by itself, as far as small
//   frames follow; trim() is for a connection that falls silent.
// Errors: refused memory shows as an empty room; nothing throws.
class FrameBuffer : noncopyable {
public:
    static constexpr unsigned long FIRST_SIZE = 4 * 1024;
    // A silent connection keeps no more than this.
    static constexpr unsigned long QUIET_SIZE = 4 * FIRST_SIZE;
    static constexpr unsigned long HEADER_SIZE = 4;

    FrameBuffer() = default;
    ~FrameBuffer();

    // Bytes arrived and not dropped.
    unsigned long available() const { return end_ - begin_; }
    unsigned long capacity() const { return capacity_; }
    char const* data() const { return buffer_ + begin_; }
    // The size that the frame at the front announces. REQUIRES: available() >= HEADER_SIZE.
    unsigned long announced() const {
        auto const* const p = reinterpret_cast<unsigned char const*>(data());
        return static_cast<unsigned long>(p[0]) << 24 | static_cast<unsigned long>(p[1]) << 16 |
               static_cast<unsigned long>(p[2]) << 8 | p[3];
    }

    // Where the next bytes go, on the way to `need` at the front: empty if memory is refused. Moves
    // what data() gives. REQUIRES: available() < need.
    ostr room(unsigned long need);
    void arrived(unsigned long n) { end_ += n; }
    // Removes bytes at the front, usually a frame. REQUIRES: n <= available().
    void drop(unsigned long n) {
        begin_ += n;
        if (__builtin_expect(capacity_ > QUIET_SIZE, 0)) watch(n);
    }
    // Drops the `n` bytes at the front where these are all that a small buffer holds, which then
    // is ready to take bytes from its start on. False changes nothing.
    bool restart(unsigned long n) {
        if (begin_ + n != end_ || capacity_ - 1 >= QUIET_SIZE) return false;
        begin_ = end_ = 0;
        return true;
    }
    // The same as room() where nothing has to be moved or allocated; else an empty room.
    ostr quickRoom(unsigned long need) {
        if (begin_ == end_) begin_ = end_ = 0;
        if (__builtin_expect(need > capacity_ - begin_, 0)) return ostr();
        return ostr(buffer_ + end_, capacity_ - end_);
    }
    // Gives back what the bytes at hand do not need.
    void trim();

private:
    void watch(unsigned long dropped);
    bool resize(unsigned long capacity);

    char* buffer_ = nullptr;  // in block_, at the start of a line of the processor's cache
    unsigned long capacity_ = 0;
    unsigned long begin_ = 0;
    unsigned long end_ = 0;
    // The largest of the last frames, and how many these are; counted while the buffer is large.
    unsigned long largest_ = 0;
    unsigned int frames_ = 0;
    char* block_ = nullptr;
};

}  // namespace zan::tcp
