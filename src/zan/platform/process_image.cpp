#include "zan/platform/process_image.h"

#include <unistd.h>

#include <cerrno>

namespace zan::platform {

std::string executablePath() {
    int const saved = errno;
    std::string path(256, '\0');
    for (;;) {
        ssize_t const n = readlink("/proc/self/exe", path.data(), path.size());
        if (n < 0) {
            path.clear();
            break;
        }
        if (static_cast<unsigned long>(n) < path.size()) {
            path.resize(static_cast<unsigned long>(n));
            break;
        }
        path.resize(path.size() * 2);  // it may have been cut
    }
    // The kernel marks a file that is not there any more.
    static std::string const GONE = " (deleted)";
    if (path.size() > GONE.size() &&
        path.compare(path.size() - GONE.size(), GONE.size(), GONE) == 0 &&
        access(path.c_str(), F_OK) != 0)
        path.resize(path.size() - GONE.size());
    errno = saved;
    return path;
}

}  // namespace zan::platform
