#include "zan/platform/last_error.h"

#include <string.h>

#include <cerrno>

namespace zan::platform {

int lastError() {
    return errno;
}

void setLastError(int code) {
    errno = code;
}

// Unlike strerror, this is no subject of the locale and has no buffer to share.
char const* errorDescription(int code) {
    return strerrordesc_np(code);
}

std::string errorText(int code) {
    int const saved = errno;
    char const* text = errorDescription(code);
    std::string result = text != nullptr ? text : "Unknown error " + std::to_string(code);
    errno = saved;
    return result;
}

}  // namespace zan::platform
