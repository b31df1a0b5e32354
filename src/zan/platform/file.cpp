#include "zan/platform/file.h"

#include <fcntl.h>

#include <cerrno>

namespace zan::platform {

int openFlags(int flags) {
    struct {
        int from;
        int to;
    } const known[] = {{0x0001, O_WRONLY}, {0x0002, O_RDWR}, {0x0008, O_APPEND}, {0x0100, O_CREAT},
                       {0x0200, O_TRUNC},  {0x4000, 0},      {0x8000, 0}};
    int result = O_RDONLY | O_CLOEXEC;
    int rest = flags;
    for (auto const& flag : known) {
        if ((flags & flag.from) == 0) continue;
        result |= flag.to;
        rest &= ~flag.from;
    }
    if (rest != 0 || (flags & 0x0003) == 0x0003) {
        errno = EINVAL;
        return -1;
    }
    return result;
}

}  // namespace zan::platform
