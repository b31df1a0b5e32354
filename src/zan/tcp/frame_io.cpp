#include "zan/tcp/frame_io.h"

#include <ace/OS_NS_poll.h>
#include <ace/Time_Value.h>

#include <cerrno>
#include <climits>
#include <cstring>

namespace zan::tcp {

namespace {

// Up to this size a copy behind the four bytes costs less than a call with two buffers.
constexpr unsigned long SMALL_FRAME = 2048;

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

// Goes on after a send that gave `sent`, until all of `size` bytes are out.
Sent sendRest(ACE_HANDLE handle, iovec* parts, unsigned long size, ssize_t sent, int flags,
              Deadline& deadline) {
    msghdr message = {};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    unsigned long left = size;
    for (;;) {
        if (sent > 0) {
            left -= static_cast<unsigned long>(sent);
            if (left == 0) return Sent::Whole;
            advance(parts, static_cast<unsigned long>(sent));
        } else if (sent < 0 && errno != EINTR) {
            bool const full = errno == EWOULDBLOCK;
            if (!full || deadline.atOnce() || !waitWritable(handle, deadline))
                return left == size ? Sent::Nothing : Sent::Part;
        }
        sent = ACE_OS::sendmsg(handle, &message, flags);
    }
}

}  // namespace

int Deadline::milliSecondsLeft() {
    if (seconds_ <= 0) return seconds_ < 0 ? -1 : 0;
    auto const left = std::chrono::ceil<std::chrono::milliseconds>(end() - Clock::now()).count();
    return left <= 0 ? 0 : left < INT_MAX ? static_cast<int>(left) : INT_MAX;
}

Sent sendFrame(ACE_HANDLE handle, istr const& data, Deadline& deadline) {
    unsigned long const n = data.size();
    int const flags = MSG_NOSIGNAL | (deadline.never() ? 0 : MSG_DONTWAIT);
    char head[4 + SMALL_FRAME];
    for (int i = 0; i < 4; ++i) head[i] = static_cast<char>(n >> (24 - 8 * i));
    iovec parts[] = {{head, 4}, {const_cast<char*>(data.data()), n}};
    if (n <= SMALL_FRAME) {
        if (n != 0) std::memcpy(head + 4, data.data(), n);
        parts[0].iov_len = 4 + n;
        parts[1].iov_len = 0;
        ssize_t const sent = ACE_OS::send(handle, head, 4 + n, flags);
        if (__builtin_expect(sent == static_cast<ssize_t>(4 + n), 1)) return Sent::Whole;
        return sendRest(handle, parts, 4 + n, sent, flags, deadline);
    }
    return sendRest(handle, parts, 4 + n, 0, flags, deadline);
}

ssize_t receive(ACE_HANDLE handle, void* buffer, unsigned long size, bool timed) {
    for (;;) {
        ssize_t const n = ACE_OS::recv(handle, static_cast<char*>(buffer), size, 0);
        if (n >= 0) return n;
        if (errno == EINTR) continue;
        if (errno != EWOULDBLOCK || timed) return n;
        pollfd wanted = {handle, POLLIN, 0};
        if (ACE_OS::poll(&wanted, 1, nullptr) == -1 && errno != EINTR) return -1;
    }
}

}  // namespace zan::tcp
