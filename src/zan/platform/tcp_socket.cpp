#include "zan/platform/tcp_socket.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>

#include "zan/platform/clock.h"

namespace zan::platform {

void shutdownSocket(int handle) noexcept {
    int const saved = errno;
    shutdown(handle, SHUT_RDWR);  // fails only where there is nothing to end
    errno = saved;
}

Waker::Waker() noexcept : handle_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (handle_ == -1) error_ = errno;
}

Waker::~Waker() {
    if (handle_ != -1) close(handle_);
}

void Waker::wake() noexcept {
    if (handle_ == -1) return;
    int const saved = errno;
    std::uint64_t const one = 1;
    // It fails only with the counter at its limit, and then the descriptor is readable anyway.
    while (write(handle_, &one, sizeof one) == -1 && errno == EINTR) {
    }
    errno = saved;
}

void Waker::reset() noexcept {
    if (handle_ == -1) return;
    int const saved = errno;
    std::uint64_t count;
    while (read(handle_, &count, sizeof count) == -1 && errno == EINTR) {
    }
    errno = saved;
}

Waited waitReadable(int handle, Waker const& waker, long long timeoutMilliSeconds) noexcept {
    long long deadline = 0;
    long long now = 0;
    if (timeoutMilliSeconds > 0) {
        if (!readCounter(now)) return Waited::Failed;
        long long const limit = (LLONG_MAX - now) / 1000000;
        deadline = now + (timeoutMilliSeconds < limit ? timeoutMilliSeconds : limit) * 1000000;
    }
    for (;;) {
        int slice = timeoutMilliSeconds < 0 ? -1 : 0;
        if (timeoutMilliSeconds > 0 && now < deadline) {
            // Rounded up, so that the wait does not end early and spin.
            long long const left = (deadline - now + 999999) / 1000000;
            slice = left < INT_MAX ? static_cast<int>(left) : INT_MAX;
        }
        // A descriptor of -1 is left out by poll.
        pollfd wanted[] = {{waker.handle(), POLLIN, 0}, {handle, POLLIN, 0}};
        int const n = poll(wanted, 2, slice);
        if (n < 0 && errno != EINTR) return Waited::Failed;
        if (n > 0) {
            if ((wanted[0].revents & POLLIN) != 0) return Waited::Woken;
            if ((wanted[1].revents & POLLNVAL) != 0) {
                errno = EBADF;
                return Waited::Failed;
            }
            if (wanted[1].revents != 0) return Waited::Ready;
        }
        if (timeoutMilliSeconds == 0 && n == 0) return Waited::TimedOut;
        if (timeoutMilliSeconds > 0) {
            if (!readCounter(now)) return Waited::Failed;
            if (now >= deadline) return Waited::TimedOut;
        }
    }
}

}  // namespace zan::platform
