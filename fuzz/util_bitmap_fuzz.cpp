// Any image, of pixels that are made to repeat: what the compressors write is what the plainest
// reading of the rules gives.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "zan/util/bmputil.h"

namespace {

using namespace zan;

void check(bool ok) {
    if (!ok) std::abort();
}

void run(std::string& out, std::size_t n) {
    for (; n > 16383; n -= 16383) out += "\xFF\xFF";
    if (n > 63) out += static_cast<char>(0x80 + (n >> 8));
    out += static_cast<char>(n > 63 ? n : 0x80 + n);
}

using Image = std::vector<std::string>;

std::string image(Image const& pixels) {
    std::string out;
    if (pixels.empty()) return out;
    std::size_t p = 0;
    while (p != pixels.size() - 1) {
        std::size_t q = p + 1;
        if (pixels[q] == pixels[p]) {
            while (q != pixels.size() - 1 && pixels[q] == pixels[p]) ++q;
            run(out, q - p);
        }
        out += pixels[p];
        p = q;
    }
    return out + pixels[p];
}

std::string difference(Image const& pixels) {
    std::string const zero(2, '\0');
    std::string out;
    for (std::size_t p = 0; p != pixels.size();) {
        std::size_t q = p;
        while (q != pixels.size() && pixels[q] == zero) ++q;
        if (q != p)
            run(out, q - p);
        else
            out += pixels[q++];
        p = q;
    }
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    // Each byte of the input is a pixel, of few kinds, and how often it comes.
    Image pixels;
    std::string flat;
    for (std::size_t i = 0; i < size && flat.size() < 100000; ++i) {
        std::size_t const count = data[i] == 0xFF ? 16382 : data[i] == 0xFE ? 61 : data[i] / 64 + 1;
        std::string const pixel{static_cast<char>(data[i] % 4), static_cast<char>(data[i] / 4 % 3)};
        for (std::size_t n = 0; n < count; ++n) {
            pixels.push_back(pixel);
            flat += pixel;
        }
    }
    StringBuffer out("x");
    compressBmp15Data(flat, out);
    check(istr(out) == istr("x" + image(pixels)));
    StringBuffer diff;
    compressBmp15DiffData(flat, diff);
    check(istr(diff) == istr(difference(pixels)));

    istr const raw(data, size);
    StringBuffer reduced;
    toBmp15Data(raw, 24, reduced);
    check(reduced.size() == size / 3 * 2);
    for (std::size_t i = 0; i < size / 3; ++i) {
        unsigned const r = data[3 * i] / 8u;
        unsigned const g = data[3 * i + 1] / 8u;
        unsigned const b = data[3 * i + 2] / 8u;
        check(reduced[2 * i] * 256u + reduced[2 * i + 1] == r * 1024 + g * 32 + b);
    }
    return 0;
}
