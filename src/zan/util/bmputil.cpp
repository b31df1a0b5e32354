#include "zan/util/bmputil.h"

#include <cstdint>
#include <cstring>

#include "zan/base/report.h"
#include "zan/util/overlap.h"

namespace zan {

namespace {

constexpr unsigned long PIXEL = 2;
constexpr unsigned long FOUR = 4 * PIXEL;
constexpr unsigned long MAX_SHORT_RUN = 63;
constexpr unsigned long MAX_RUN = 16383;

// Four pixels are looked at as one number, the first in the low bits.
constexpr uint64 ONES = 0x0001000100010001;
constexpr uint64 TOPS = 0x8000800080008000;
constexpr uint64 MARKS = 0x0080008000800080;  // the top bits of the first bytes

unsigned char const* bytesOf(istr const& s) {
    return reinterpret_cast<unsigned char const*>(s.data());
}

// Always inlined: it is one instruction, but becomes that late.
[[gnu::always_inline]] inline uint64 load(unsigned char const* p) {
    return static_cast<uint64>(p[0]) | static_cast<uint64>(p[1]) << 8 |
           static_cast<uint64>(p[2]) << 16 | static_cast<uint64>(p[3]) << 24 |
           static_cast<uint64>(p[4]) << 32 | static_cast<uint64>(p[5]) << 40 |
           static_cast<uint64>(p[6]) << 48 | static_cast<uint64>(p[7]) << 56;
}

uint64 loadPixel(unsigned char const* p) {
    return static_cast<uint64>(p[0]) | static_cast<uint64>(p[1]) << 8;
}

// The highest bit of the first pixel that is zero, and perhaps of others behind it; 0 where none
// is.
uint64 zeroPixels(uint64 four) {
    return (four - ONES) & ~four & TOPS;
}

// How many of the four stand before the lowest bit that is set.
unsigned long pixelsBefore(uint64 bits) {
    return static_cast<unsigned long>(__builtin_ctzll(bits)) / 16;
}

// The end of the run of `pixel`, at most `end`.
unsigned char const* runEnd(unsigned char const* p, unsigned char const* end, uint64 pixel) {
    for (; p + FOUR <= end; p += FOUR)
        if (uint64 const other = load(p) ^ pixel * ONES; other != 0)
            return p + PIXEL * pixelsBefore(other);
    while (p != end && loadPixel(p) == pixel) p += PIXEL;
    return p;
}

unsigned char* putRun(unsigned char* to, unsigned long n) {
    for (; n > MAX_RUN; n -= MAX_RUN) {
        *to++ = 0xFF;
        *to++ = 0xFF;
    }
    if (n > MAX_SHORT_RUN) *to++ = static_cast<unsigned char>(0x80 + (n >> 8));
    *to++ = static_cast<unsigned char>(n > MAX_SHORT_RUN ? n : 0x80 + n);
    return to;
}

unsigned char* putFour(unsigned char* to, unsigned char const* from) {
    std::memcpy(to, from, FOUR);
    return to + FOUR;
}

unsigned char* putPixel(unsigned char* to, unsigned char const* from) {
    std::memcpy(to, from, PIXEL);
    return to + PIXEL;
}

// Calls make(input, to), which gives the end of what it wrote behind the content of `out`, or null
// to leave all as it was. There is room for `room` bytes.
template <class Make>
void append(istr const& in, unsigned long room, StringBuffer& out, Make const& make) {
    if (in.empty()) return;
    String copy;
    istr input = in;
    if (detail::within(in, out.buffer(), out.max_size())) {
        copy = in;
        input = copy;
    }
    if (!out.reserve(room)) return;
    unsigned char const* const end = make(bytesOf(input), out.pbuf());
    if (end == nullptr) return;
    out.psize(out.psize() + static_cast<unsigned long>(end - out.pbuf()));
    out.buffer()[out.psize()] = 0;
}

// Pixels of three bytes, the first in the low ones, as two.
template <class Number>
[[gnu::always_inline]] inline Number reduced(Number v) {
    return (v >> 1 & 0x7C) | (v >> 14 & 0x03) | (v << 2 & 0xE000) | (v >> 11 & 0x1F00);
}

[[gnu::always_inline]] inline std::uint32_t loadThree(unsigned char const* p) {
    return static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 |
           static_cast<std::uint32_t>(p[2]) << 16;
}

unsigned char* reduce(unsigned char const* p, unsigned long n, unsigned char* to) {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    // Four side by side, in what the compiler makes of a vector. Each is read with a byte too many.
    using Words = std::uint32_t __attribute__((vector_size(16)));
    using Pairs = uint64 __attribute__((vector_size(16)));
    for (; n >= 13; n -= 12, p += 12, to += FOUR) {
        std::uint32_t v[4];
        for (int i = 0; i < 4; ++i) std::memcpy(&v[i], p + 3 * i, 4);
        auto pairs = reinterpret_cast<Pairs>(reduced(Words{v[0], v[1], v[2], v[3]}));
        pairs |= pairs >> 16;
        auto const words = reinterpret_cast<Words>(pairs);
        auto const pixels = __builtin_shufflevector(words, words, 0, 2, 0, 2);
        std::memcpy(to, &pixels, FOUR);
    }
#endif
    for (; n >= 3; n -= 3, p += 3, to += PIXEL) {
        std::uint32_t const pixel = reduced(loadThree(p));
        to[0] = static_cast<unsigned char>(pixel);
        to[1] = static_cast<unsigned char>(pixel >> 8);
    }
    return to;
}

// The last pixel stands for itself, whatever comes before it.
unsigned char* compress(unsigned char const* p, unsigned long n, unsigned char* to) {
    unsigned char const* const last = p + n - PIXEL;
    while (p != last) {
        if (p + FOUR <= last) {
            uint64 const repeated = zeroPixels(load(p) ^ load(p + PIXEL));
            if (repeated == 0) {
                to = putFour(to, p);
                p += FOUR;
                continue;
            }
            unsigned long const single = PIXEL * pixelsBefore(repeated);
            putFour(to, p);  // there is room, and what is too much is written over
            to += single;
            p += single;
        } else if (loadPixel(p) != loadPixel(p + PIXEL)) {
            to = putPixel(to, p);
            p += PIXEL;
            continue;
        }
        unsigned char const* const end = runEnd(p + PIXEL, last, loadPixel(p));
        to = putRun(to, static_cast<unsigned long>(end - p) / PIXEL);
        to = putPixel(to, p);
        p = end;
    }
    return putPixel(to, last);
}

unsigned char* compressDiff(unsigned char const* p, unsigned long n, unsigned char* to) {
    unsigned char const* const end = p + n;
    while (p != end) {
        if (p + FOUR <= end) {
            uint64 const four = load(p);
            if ((zeroPixels(four) | (four & MARKS)) == 0) {
                to = putFour(to, p);
                p += FOUR;
                continue;
            }
        }
        if (loadPixel(p) == 0) {
            unsigned char const* const run = runEnd(p, end, 0);
            to = putRun(to, static_cast<unsigned long>(run - p) / PIXEL);
            p = run;
        } else {
            unsigned const c1 = *p;
            ZAN_ASSERT_DO((c1 & 0x80) == 0, return nullptr);
            to = putPixel(to, p);
            p += PIXEL;
        }
    }
    return to;
}

}  // namespace

void toBmp15Data(istr in, unsigned short bits, StringBuffer& out) {
    unsigned long const n = in.empty() ? 0 : in.size();
    if (bits == 24) {
        append(in, n / 3 * PIXEL, out,
               [n](unsigned char const* p, unsigned char* to) { return reduce(p, n, to); });
    } else if (bits == 16) {
        append(in, n / PIXEL * PIXEL, out, [n](unsigned char const* p, unsigned char* to) {
            for (unsigned long i = 0; i + 1 < n; i += PIXEL) {
                to[i] = p[i] & 0x7F;
                to[i + 1] = p[i + 1];
            }
            return to + n / PIXEL * PIXEL;
        });
    } else if (n != 0) {
        out.append(bytesOf(in), n);
    }
}

void diffBmp15Data(istr oldBuf, istr newBuf, StringBuffer& out) {
    ZAN_ASSERT_TEXT_DO(oldBuf.size() == newBuf.size(), "_oldBuf.size() == _newBuf.size()", "return",
                       return );
    if (detail::within(oldBuf, out.buffer(), out.max_size()))
        return diffBmp15Data(String(oldBuf), newBuf, out);
    unsigned long const n = newBuf.empty() ? 0 : newBuf.size();
    unsigned char const* const old = bytesOf(oldBuf);
    append(newBuf, n, out, [n, old](unsigned char const* p, unsigned char* __restrict to) {
        for (unsigned long i = 0; i < n; ++i) to[i] = p[i] ^ old[i];
        return to + n;
    });
}

// Neither makes more of a pixel than two bytes, but for the last one of an image: a run of one
// pixel in front of it has three. Single pixels are written in fours.

void compressBmp15Data(istr input, StringBuffer& out) {
    unsigned long const n = input.empty() ? 0 : input.size();
    ZAN_ASSERT_TEXT_DO(n % PIXEL == 0, "_input.size() % 2 == 0", "return", return );
    append(input, n + FOUR, out,
           [n](unsigned char const* p, unsigned char* to) { return compress(p, n, to); });
}

void compressBmp15DiffData(istr input, StringBuffer& out) {
    unsigned long const n = input.empty() ? 0 : input.size();
    ZAN_ASSERT_TEXT_DO(n % PIXEL == 0, "_input.size() % 2 == 0", "return", return );
    append(input, n + FOUR, out,
           [n](unsigned char const* p, unsigned char* to) { return compressDiff(p, n, to); });
}

}  // namespace zan
