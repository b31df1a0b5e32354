// UTF-8 to and from wide text. Runs of ASCII go sixteen at a time; the other characters go by one
// load of four bytes and one comparison for each length.

#include <climits>
#include <cstring>

#include "zan/platform/codepage.h"
#include "zan/platform/utf8.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

static_assert(sizeof(wchar_t) == 4, "a wchar_t holds a whole code point");

namespace zan::platform {

namespace {

using Byte = unsigned char;

constexpr wchar_t REPLACEMENT = 0xFFFD;

inline std::uint32_t load4(Byte const* p) {
    return std::uint32_t{p[0]} | std::uint32_t{p[1]} << 8 | std::uint32_t{p[2]} << 16 |
           std::uint32_t{p[3]} << 24;
}

inline bool continues(Byte b) {
    return (b & 0xC0) == 0x80;
}

// The length of the sequence at `p`, which is not ASCII, and its character; 0 if it is no whole
// and valid one. REQUIRES: four bytes can be read.
inline unsigned long decodeFast(Byte const* p, std::uint32_t& c) {
    std::uint32_t const x = load4(p);
    if ((x & 0x00C0C0F0) == 0x008080E0) {
        c = (x & 0x0F) << 12 | (x >> 2 & 0x0FC0) | (x >> 16 & 0x3F);
        return c >= 0x800 && (c & 0xF800) != 0xD800 ? 3 : 0;
    }
    if ((x & 0xC0E0) == 0x80C0) {
        c = (x & 0x1F) << 6 | (x >> 8 & 0x3F);
        return c >= 0x80 ? 2 : 0;
    }
    if ((x & 0xC0C0C0F8) == 0x808080F0) {
        c = (x & 0x07) << 18 | (x << 4 & 0x3F000) | (x >> 10 & 0x0FC0) | (x >> 24 & 0x3F);
        return c - 0x10000 < 0x100000 ? 4 : 0;
    }
    return 0;
}

// The same where fewer bytes are left.
inline unsigned long decodeTail(Byte const* p, unsigned long left, std::uint32_t& c) {
    Byte four[4] = {};
    std::memcpy(four, p, left < 4 ? left : 4);
    unsigned long const n = decodeFast(four, c);
    return n <= left ? n : 0;  // a NUL put in is no continuation, so this never decides
}

// Decodes until the input ends, or in front of the first damage if STOP. `room` is the end of the
// output, which may be written to up to there, whatever the result is.
// REQUIRES: room for as many characters as there are bytes; where STOP, for as many as there are
// bytes that do not continue a sequence.
template <bool STOP>
unsigned long decode(Byte const*& in, Byte const* end, wchar_t* const out, wchar_t* const room) {
    Byte const* p = in;
    wchar_t* o = out;
    while (p != end) {
#if defined(__SSE2__)
        while (end - p >= 16 && room - o >= 16) {
            __m128i const zero = _mm_setzero_si128();
            __m128i const b = _mm_loadu_si128(reinterpret_cast<__m128i const*>(p));
            int const high = _mm_movemask_epi8(b);
            if (high & 1) break;
            __m128i const lo = _mm_unpacklo_epi8(b, zero);
            __m128i const hi = _mm_unpackhi_epi8(b, zero);
            auto* to = reinterpret_cast<__m128i*>(o);
            _mm_storeu_si128(to, _mm_unpacklo_epi16(lo, zero));
            _mm_storeu_si128(to + 1, _mm_unpackhi_epi16(lo, zero));
            _mm_storeu_si128(to + 2, _mm_unpacklo_epi16(hi, zero));
            _mm_storeu_si128(to + 3, _mm_unpackhi_epi16(hi, zero));
            if (high) {
                int const run = __builtin_ctz(static_cast<unsigned>(high));
                p += run;
                o += run;
                break;
            }
            p += 16;
            o += 16;
        }
#else
        while (end - p >= 8) {
            std::uint64_t word;
            std::memcpy(&word, p, 8);
            if (word & 0x8080808080808080) break;
            for (int i = 0; i < 8; ++i) o[i] = p[i];
            p += 8;
            o += 8;
        }
#endif
        // Stays here as long as the text is not ASCII, and takes single ASCII characters along: a
        // blank between two words is not worth the way back.
        while (p != end) {
            std::uint32_t c;
            if (*p < 0x80) {
                *o++ = *p++;
                if (p != end && *p < 0x80) {
                    *o++ = *p++;
                    break;
                }
                continue;
            }
            auto const left = static_cast<unsigned long>(end - p);
            unsigned long const n = left >= 4 ? decodeFast(p, c) : decodeTail(p, left, c);
            if (n != 0) {
                *o++ = static_cast<wchar_t>(c);
                p += n;
                continue;
            }
            if (STOP) {
                in = p;
                return static_cast<unsigned long>(o - out);
            }
            *o++ = REPLACEMENT;
            p += utf8Damage(reinterpret_cast<char const*>(p), left);
        }
    }
    in = p;
    return static_cast<unsigned long>(o - out);
}

inline char* encode(char* o, std::uint32_t c) {
    if (c < 0x800) {
        o[0] = static_cast<char>(0xC0 | c >> 6);
        o[1] = static_cast<char>(0x80 | (c & 0x3F));
        return o + 2;
    }
    if (c < 0x10000) {
        if ((c & 0xF800) == 0xD800) c = REPLACEMENT;
        o[0] = static_cast<char>(0xE0 | c >> 12);
        o[1] = static_cast<char>(0x80 | (c >> 6 & 0x3F));
        o[2] = static_cast<char>(0x80 | (c & 0x3F));
        return o + 3;
    }
    if (c > 0x10FFFF) {
        std::memcpy(o, "\xEF\xBF\xBD", 3);
        return o + 3;
    }
    o[0] = static_cast<char>(0xF0 | c >> 18);
    o[1] = static_cast<char>(0x80 | (c >> 12 & 0x3F));
    o[2] = static_cast<char>(0x80 | (c >> 6 & 0x3F));
    o[3] = static_cast<char>(0x80 | (c & 0x3F));
    return o + 4;
}

// The bytes that do not continue a sequence: in valid text, the characters.
unsigned long countLeads(char const* in, unsigned long n) {
    unsigned long count = 0;
    unsigned long i = 0;
#if defined(__SSE2__)
    __m128i const limit = _mm_set1_epi8(-65);
    while (n - i >= 16) {
        unsigned long blocks = (n - i) / 16;
        if (blocks > 255) blocks = 255;  // a lane counts no further
        __m128i lanes = _mm_setzero_si128();
        for (; blocks != 0; --blocks, i += 16) {
            __m128i const b = _mm_loadu_si128(reinterpret_cast<__m128i const*>(in + i));
            lanes = _mm_sub_epi8(lanes, _mm_cmpgt_epi8(b, limit));
        }
        __m128i const sums = _mm_sad_epu8(lanes, _mm_setzero_si128());
        count += static_cast<unsigned long>(_mm_cvtsi128_si64(sums)) +
                 static_cast<unsigned long>(_mm_cvtsi128_si64(_mm_unpackhi_epi64(sums, sums)));
    }
#endif
    for (; i < n; ++i) count += !continues(static_cast<Byte>(in[i]));
    return count;
}

}  // namespace

unsigned long utf8Damage(char const* text, unsigned long n) {
    auto const* p = reinterpret_cast<Byte const*>(text);
    Byte const lead = p[0];
    if (lead < 0xC2 || lead > 0xF4 || n < 2) return 1;
    Byte low = 0x80;
    Byte high = 0xBF;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
    if (p[1] < low || p[1] > high || lead < 0xE0) return 1;
    if (n < 3 || !continues(p[2]) || lead < 0xF0) return 2;
    return 3;
}

unsigned long utf8ToWide(char const* in, unsigned long n, wchar_t* out) {
    auto const* p = reinterpret_cast<Byte const*>(in);
    return decode<false>(p, p + n, out, out + n);
}

void utf8ToWide(char const* in, unsigned long n, std::wstring& out) {
    // Valid text needs a single exact allocation; only damage can make more characters than that.
    unsigned long const expected = countLeads(in, n);
    out.resize(expected);
    auto const* p = reinterpret_cast<Byte const*>(in);
    Byte const* const end = p + n;
    unsigned long written = decode<true>(p, end, out.data(), out.data() + expected);
    if (p != end) {
        auto const left = static_cast<unsigned long>(end - p);
        out.resize(written + left);
        written += decode<false>(p, end, out.data() + written, out.data() + written + left);
    }
    out.resize(written);
}

unsigned long utf8Length(wchar_t const* in, unsigned long n) {
    constexpr unsigned long BLOCK = 1UL << 20;  // keeps the inner sum in 32 bits
    unsigned long length = n;
    while (n != 0) {
        unsigned long const m = n < BLOCK ? n : BLOCK;
        std::uint32_t more = 0;
        for (unsigned long i = 0; i < m; ++i) {
            auto const c = static_cast<std::uint32_t>(in[i]);
            more += static_cast<std::uint32_t>(c > 0x7F) + static_cast<std::uint32_t>(c > 0x7FF) +
                    static_cast<std::uint32_t>(c - 0x10000 < 0x100000);
        }
        length += more;
        in += m;
        n -= m;
    }
    return length;
}

unsigned long wideToUtf8(wchar_t const* in, unsigned long n, char* out) {
    wchar_t const* const end = in + n;
    char* o = out;
    while (in != end) {
#if defined(__SSE2__)
        while (end - in >= 16) {
            auto const* from = reinterpret_cast<__m128i const*>(in);
            __m128i const a = _mm_loadu_si128(from);
            __m128i const b = _mm_loadu_si128(from + 1);
            __m128i const c = _mm_loadu_si128(from + 2);
            __m128i const d = _mm_loadu_si128(from + 3);
            __m128i const all = _mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d));
            __m128i const high = _mm_and_si128(all, _mm_set1_epi32(~0x7F));
            if (_mm_movemask_epi8(_mm_cmpeq_epi32(high, _mm_setzero_si128())) != 0xFFFF) break;
            __m128i const packed = _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(o), packed);
            in += 16;
            o += 16;
        }
#endif
        // A run of ASCII of some length goes back to the wide steps.
        int run = 0;
        while (in != end && run < 8) {
            auto const c = static_cast<std::uint32_t>(*in++);
            if (c < 0x80) {
                *o++ = static_cast<char>(c);
                ++run;
            } else {
                o = encode(o, c);
                run = 0;
            }
        }
    }
    return static_cast<unsigned long>(o - out);
}

}  // namespace zan::platform
