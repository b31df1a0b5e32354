#pragma once

#include <ace/OS_NS_sys_socket.h>

#include <chrono>
#include <cstring>

#include "zan/base/base_type_view.h"
#include "zan/tcp/frame_buffer.h"

namespace zan::tcp {

// The end of a time-out in whole seconds. Negative is none, 0 has passed already. The clock is read
// at the first question, since most sends have no need of it.
class Deadline {
public:
    using Clock = std::chrono::steady_clock;

    explicit Deadline(int seconds) : seconds_(seconds) {}
    bool never() const { return seconds_ < 0; }
    bool atOnce() const { return seconds_ == 0; }
    // REQUIRES: neither never() nor atOnce().
    Clock::time_point end() {
        if (end_ == Clock::time_point()) end_ = Clock::now() + std::chrono::seconds(seconds_);
        return end_;
    }
    // For poll: -1 without a limit, 0 when it has passed.
    int milliSecondsLeft();

private:
    int seconds_;
    Clock::time_point end_{};
};

enum class Sent {
    Whole,
    Nothing,  // errno says why
    Part      // errno says why; the order of frames on this connection is lost
};

// Writes what goes ahead of a message of `n` bytes.
inline void putHeader(char* head, unsigned long n) {
    for (unsigned i = 0; i < FrameBuffer::HEADER_SIZE; ++i)
        head[i] = static_cast<char>(n >> (24 - 8 * i));
}

// A frame put together on the stack: up to this size the copy costs less than a call with two
// buffers.
class SmallFrame {
public:
    static constexpr unsigned long MAX_SIZE = 508;

    // REQUIRES: data.size() <= MAX_SIZE.
    explicit SmallFrame(istr const& data) : size_(HEADER_SIZE + data.size()) {
        putHeader(bytes_, data.size());
        if (data.size() != 0) std::memcpy(bytes_ + HEADER_SIZE, data.data(), data.size());
    }
    operator istr() const { return istr(bytes_, size_); }

private:
    static constexpr unsigned long HEADER_SIZE = FrameBuffer::HEADER_SIZE;

    unsigned long const size_;
    char bytes_[HEADER_SIZE + MAX_SIZE];
};

// For send(): it must not raise SIGPIPE, and must not touch the socket's blocking mode.
inline int sendFlags(int timeout) {
    return MSG_NOSIGNAL | (timeout < 0 ? 0 : MSG_DONTWAIT);
}

// Sends one frame, size and payload in one call as far as the socket takes them. Never raises
// SIGPIPE, and does not touch the socket's blocking mode.
// REQUIRES: data.size() <= TcpChannel::MAX_FRAME_SIZE.
Sent sendFrame(ACE_HANDLE handle, istr const& data, Deadline& deadline);

// Goes on with a frame in one or two parts after a send that gave `sent`, with errno as it left it;
// 0 stands for no send yet.
Sent continueSend(ACE_HANDLE handle, istr const& first, istr const& second, ssize_t sent,
                  Deadline& deadline);

// Until the socket can be read, or reading reports its end or error at once.
void waitReadable(ACE_HANDLE handle);

}  // namespace zan::tcp
