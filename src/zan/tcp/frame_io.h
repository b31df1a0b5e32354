#pragma once

#include <ace/OS_NS_sys_socket.h>

#include <chrono>

#include "zan/base/base_type_view.h"

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

// Sends one frame, size and payload in one call as far as the socket takes them. Never raises
// SIGPIPE, and does not touch the socket's blocking mode.
// REQUIRES: data.size() <= TcpChannel::MAX_FRAME_SIZE.
Sent sendFrame(ACE_HANDLE handle, istr const& data, Deadline& deadline);

// Until the socket can be read, or reading reports its end or error at once.
void waitReadable(ACE_HANDLE handle);

}  // namespace zan::tcp
