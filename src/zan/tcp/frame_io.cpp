#include "zan/tcp/frame_io.h"

#include <ace/OS_NS_poll.h>
#include <ace/Time_Value.h>

#include <cerrno>
#include <climits>

namespace zan::tcp {

namespace {

// errno is ETIME when the time has passed.
bool waitWritable(ACE_HANDLE handle, Deadline& deadline) {
    for (;;) {
        int const left = deadline.milliSecondsLeft();
        pollfd wanted = {handle, POLLOUT, 0};
        ACE_Time_Value const time(left / 1000, left % 1000 * 1000);
        int const n = ACE_OS::poll(&wanted, 1, left < 0 ? nullptr : &time);
        if (n > 0) return true;  // an error too: the next send tells which
        if (n < 0 && errno != EINTR) return false;
        if (n == 0 && deadline.milliSecondsLeft() == 0) {
            errno = ETIME;
            return false;
        }
    }
}

// Takes `n` bytes that were sent off the front.
void advance(iovec* parts, unsigned long n) {
    for (int i = 0; i < 2; ++i) {
        unsigned long const taken = n < parts[i].iov_len ? n : parts[i].iov_len;
        parts[i].iov_base = static_cast<char*>(parts[i].iov_base) + taken;
        parts[i].iov_len -= taken;
        n -= taken;
    }
}

}  // namespace

Sent continueSend(ACE_HANDLE handle, istr const& first, istr const& second, ssize_t sent,
                  Deadline& deadline) {
    iovec parts[] = {{const_cast<char*>(first.data()), first.size()},
                     {const_cast<char*>(second.data()), second.size()}};
    msghdr message = {};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    unsigned long const size = first.size() + second.size();
    unsigned long left = size;
    int const flags = sendFlags(deadline.never() ? -1 : 0);
    for (;; sent = ACE_OS::sendmsg(handle, &message, flags)) {
        if (sent > 0) {
            left -= static_cast<unsigned long>(sent);
            if (left == 0) return Sent::Whole;
            advance(parts, static_cast<unsigned long>(sent));
        } else if (sent < 0 && errno != EINTR) {
            bool const full = errno == EWOULDBLOCK;
            if (!full || deadline.atOnce() || !waitWritable(handle, deadline))
                return left == size ? Sent::Nothing : Sent::Part;
        }
    }
}

int Deadline::milliSecondsLeft() {
    if (seconds_ <= 0) return seconds_ < 0 ? -1 : 0;
    auto const left = std::chrono::ceil<std::chrono::milliseconds>(end() - Clock::now()).count();
    return left <= 0 ? 0 : left < INT_MAX ? static_cast<int>(left) : INT_MAX;
}

Sent sendFrame(ACE_HANDLE handle, istr const& data, Deadline& deadline) {
    if (data.size() <= SmallFrame::MAX_SIZE)
        return continueSend(handle, SmallFrame(data), istr(), 0, deadline);
    char head[FrameBuffer::HEADER_SIZE];
    putHeader(head, data.size());
    return continueSend(handle, istr(head, sizeof head), data, 0, deadline);
}

void waitReadable(ACE_HANDLE handle) {
    pollfd wanted = {handle, POLLIN, 0};
    ACE_OS::poll(&wanted, 1, nullptr);
}

}  // namespace zan::tcp
