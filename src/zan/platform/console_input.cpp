#include "zan/platform/console_input.h"

#include <poll.h>
#include <stdio.h>

#include <cerrno>
#include <iostream>

namespace zan::platform {

namespace {

// By default std::cin has no buffer of its own but takes its characters from stdin, which has
// taken more than one line from the system as soon as they came together.
bool stdinBuffered() {
    if (ftrylockfile(stdin) != 0) return false;
    bool const waiting = stdin->_IO_read_ptr < stdin->_IO_read_end;
    funlockfile(stdin);
    return waiting;
}

}  // namespace

bool inputWaiting() {
    if (std::cin.rdbuf() != nullptr && std::cin.rdbuf()->in_avail() > 0) return true;
    if (stdinBuffered()) return true;
    int const saved = errno;
    pollfd input = {0, POLLIN, 0};
    bool const waiting = poll(&input, 1, 0) > 0 && (input.revents & POLLNVAL) == 0;
    errno = saved;
    return waiting;
}

}  // namespace zan::platform
