// The first two bytes are the flag and the right-hand character, the third tells how many
// placeholders are filled; the format is the rest up to a NUL. The result is what a plain reading
// of the rules gives.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "zan/util/printf.h"

namespace {

std::string model(std::string const& format, char flag, char right, int fill) {
    std::string out;
    bool in = false;
    bool skip = false;
    for (char const c : format) {
        if (!in && c == flag) {
            in = true;
            skip = fill > 0;
            if (skip) {
                --fill;
                out += "<value>";
            }
        }
        if (!skip) out += c;
        if (in && c == right) in = skip = false;
    }
    for (; fill > 0; --fill) out += "<value>";
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size < 3) return 0;
    std::string const format(
        std::string(reinterpret_cast<char const*>(data + 3), size - 3).c_str());
    char const flag = static_cast<char>(data[0]);
    char const right = static_cast<char>(data[1]);
    zan::Printf text(format.c_str(), flag, '{', right, '\\');
    for (int round = 0; round < 2; ++round) {
        if (text.str() != format) std::abort();
        int const fill = data[2] % 16;
        for (int i = 0; i < fill; ++i) text.replaceNext("<value>");
        if (text.str() != model(format, flag, right, fill)) std::abort();
        text.reset();
    }
    return 0;
}
