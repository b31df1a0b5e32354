#include "zan/tcp/frame_io.h"

#include <ace/OS_NS_poll.h>
#include <ace/Time_Value.h>

#include <cerrno>
#include <climits>
#include <cstring>

namespace zan::tcp {

namespace {

constexpr unsigned long HEADER_SIZE = 4;
// Up to this size a copy behind the four bytes costs less than a call with two buffers.
constexpr unsigned long SMALL_FRAME = 508;

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

void putSize(char* head, unsigned long n) {
    for (unsigned long i = 0; i < HEADER_SIZE; ++i) head[i] = static_cast<char>(n >> (24 - 8 * i));
}

// Sends both parts, or goes on after a send that gave `sent`.
[[gnu::noinline]] Sent sendRest(ACE_HANDLE handle, istr const& first, istr const& second,
                                ssize_t sent, int flags, Deadline& deadline) {
    iovec parts[] = {{const_cast<char*>(first.data()), first.size()},
                     {const_cast<char*>(second.data()), second.size()}};
    msghdr message = {};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    unsigned long const size = first.size() + second.size();
    unsigned long left = size;
    // A count of 0 stands for no send yet.
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

}  // namespace

int Deadline::milliSecondsLeft() {
    if (seconds_ <= 0) return seconds_ < 0 ? -1 : 0;
    auto const left = std::chrono::ceil<std::chrono::milliseconds>(end() - Clock::now()).count();
    return left <= 0 ? 0 : left < INT_MAX ? static_cast<int>(left) : INT_MAX;
}

Sent sendFrame(ACE_HANDLE handle, istr const& data, Deadline& deadline) {
    unsigned long const n = data.size();
    int const flags = MSG_NOSIGNAL | (deadline.never() ? 0 : MSG_DONTWAIT);
    if (__builtin_expect(n > SMALL_FRAME, 0)) {
        char head[HEADER_SIZE];
        putSize(head, n);
        return sendRest(handle, istr(head, HEADER_SIZE), data, 0, flags, deadline);
    }
    char frame[HEADER_SIZE + SMALL_FRAME];
    putSize(frame, n);
    if (n != 0) std::memcpy(frame + HEADER_SIZE, data.data(), n);
    ssize_t const sent = ACE_OS::send(handle, frame, HEADER_SIZE + n, flags);
    if (__builtin_expect(sent == static_cast<ssize_t>(HEADER_SIZE + n), 1)) return Sent::Whole;
    return sendRest(handle, istr(frame, HEADER_SIZE + n), istr(), sent, flags, deadline);
}

void waitReadable(ACE_HANDLE handle) {
    pollfd wanted = {handle, POLLIN, 0};
    ACE_OS::poll(&wanted, 1, nullptr);
}

}  // namespace zan::tcp
