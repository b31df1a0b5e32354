// UTF-8 to and from wide text. Runs of ASCII go sixteen at a time; the other characters go by one
// load of four bytes and one comparison for each length.

#include "zan/platform/utf8.h"

#include <cstdint>
#include <cstring>

#include "zan/platform/codepage.h"

#if defined(__SSE2__)
#include <immintrin.h>
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

#if defined(__SSE2__)

inline __m128i load16(void const* p) {
    return _mm_loadu_si128(static_cast<__m128i const*>(p));
}
inline void store16(void* p, __m128i v) {
    _mm_storeu_si128(static_cast<__m128i*>(p), v);
}

// Bytes to characters, as if all were ASCII.
inline void widen8(__m128i b, wchar_t* o) {
    __m128i const zero = _mm_setzero_si128();
    __m128i const words = _mm_unpacklo_epi8(b, zero);
    store16(o, _mm_unpacklo_epi16(words, zero));
    store16(o + 4, _mm_unpackhi_epi16(words, zero));
}
inline void widen16(__m128i b, wchar_t* o) {
    widen8(b, o);
    widen8(_mm_unpackhi_epi64(b, b), o + 8);
}

// How many bytes of the next four sequences are whole and valid ones of three, counted from the
// first: 0, 3, 6, 9 or 12. Leads with a narrower choice of second bytes (E0, ED) end the count:
// what follows them looks the same here whether it is valid or not. REQUIRES: 16 bytes can be read.
inline unsigned runOfThrees(__m128i b) {
    __m128i const lead = _mm_and_si128(b, _mm_set1_epi8(static_cast<char>(0xF0)));
    __m128i const three = _mm_cmpeq_epi8(lead, _mm_set1_epi8(static_cast<char>(0xE0)));
    __m128i const narrow = _mm_or_si128(_mm_cmpeq_epi8(b, _mm_set1_epi8(static_cast<char>(0xE0))),
                                        _mm_cmpeq_epi8(b, _mm_set1_epi8(static_cast<char>(0xED))));
    __m128i const next = _mm_cmpgt_epi8(_mm_set1_epi8(-64), b);  // 80 to BF
    auto const leads = static_cast<unsigned>(_mm_movemask_epi8(_mm_andnot_si128(narrow, three)));
    auto const nexts = static_cast<unsigned>(_mm_movemask_epi8(next));
    unsigned const good = leads & nexts >> 1 & nexts >> 2;
    // The lowest of the bits 0, 3, 6 and 9 that is missing; bit 12 ends the search.
    return static_cast<unsigned>(__builtin_ctz((~good & 0x249) | 0x1000));
}

// Four sequences of three bytes.
inline void decodeThrees(Byte const* p, wchar_t* o) {
    auto const at = [p](int i) { return static_cast<int>(load4(p + i)); };
    __m128i const x = _mm_setr_epi32(at(0), at(3), at(6), at(9));
    __m128i const a = _mm_slli_epi32(_mm_and_si128(x, _mm_set1_epi32(0x0F)), 12);
    __m128i const b = _mm_and_si128(_mm_srli_epi32(x, 2), _mm_set1_epi32(0x0FC0));
    __m128i const c = _mm_and_si128(_mm_srli_epi32(x, 16), _mm_set1_epi32(0x3F));
    store16(o, _mm_or_si128(_mm_or_si128(a, b), c));
}

#endif

// REQUIRES: room for as many characters as there are bytes.
unsigned long decode(Byte const* p, Byte const* const end, wchar_t* const out) {
    wchar_t* o = out;
    while (p != end) {
#if defined(__SSE2__)
        // The wide steps write whole registers and then go on by what was right in them, so the
        // length of a run costs no branch: branches on text are guessed wrong all the time.
        while (end - p >= 32) {
            __m128i const b = load16(p);
            int const high = _mm_movemask_epi8(b);
            widen16(b, o);
            if (high == 0) {
                p += 16;
                o += 16;
                continue;
            }
            int const run = __builtin_ctz(static_cast<unsigned>(high));
            p += run;
            o += run;
            unsigned threes;
            // A long run goes on at a place that is known before it has been looked at.
            while ((threes = runOfThrees(load16(p))) == 12 && end - p >= 32) {
                decodeThrees(p, o);
                p += 12;
                o += 4;
            }
            decodeThrees(p, o);
            p += threes;
            o += threes / 3;
            if (threes != 0) continue;
            // Another kind of sequence, or the ASCII behind a long run.
            std::uint32_t c;
            unsigned long n = 1;
            while (*p >= 0x80 && end - p >= 32 && (n = decodeFast(p, c)) != 0) {
                *o++ = static_cast<wchar_t>(c);
                p += n;
            }
            if (n == 0) break;
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
#if defined(__SSE2__)
        // What is left of it, and short texts.
        if (end - p >= 8) {
            __m128i const b = _mm_loadl_epi64(reinterpret_cast<__m128i const*>(p));
            if (_mm_movemask_epi8(b) == 0) {
                widen8(b, o);
                p += 8;
                o += 8;
                continue;
            }
        }
#endif
        // Stays here as long as the text is not ASCII, and takes single ASCII characters along: a
        // blank between two words is not worth the way back.
        while (p != end) {
            if (*p < 0x80) {
                *o++ = *p++;
                if (p == end || *p >= 0x80) continue;
                *o++ = *p++;
                break;
            }
            std::uint32_t c;
            auto const left = static_cast<unsigned long>(end - p);
            unsigned long const n = left >= 4 ? decodeFast(p, c) : decodeTail(p, left, c);
            if (n != 0) {
                *o++ = static_cast<wchar_t>(c);
                p += n;
                continue;
            }
            *o++ = REPLACEMENT;
            p += utf8Damage(reinterpret_cast<char const*>(p), left);
        }
    }
    return static_cast<unsigned long>(o - out);
}

inline char* encode(char* o, std::uint32_t c) {
    if (c < 0x80) {
        *o = static_cast<char>(c);
        return o + 1;
    }
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

#if defined(__SSE2__)

// For each choice of lengths of four characters: which bytes of their full forms are wanted, and in
// the last place how many that are. The low four bits of the index say which characters take more
// than one byte, the high four which take more than two.
struct Packing {
    alignas(16) unsigned char entry[256][16] = {};
};

constexpr Packing makePacking() {
    Packing packing;
    for (unsigned index = 0; index < 256; ++index) {
        unsigned char n = 0;
        for (unsigned i = 0; i < 4; ++i) {
            unsigned const length = 1 + (index >> i & 1) + (index >> (4 + i) & 1);
            for (unsigned k = 3 - length; k < 3; ++k)
                packing.entry[index][n++] = static_cast<unsigned char>(4 * i + k);
        }
        packing.entry[index][15] = n;
    }
    return packing;
}

constexpr Packing PACKING = makePacking();

// What follows runs where the processor has AVX2, which is asked at run time.
#define ZAN_AVX2 __attribute__((target("avx2")))

ZAN_AVX2 inline __m256i load32(void const* p) {
    return _mm256_loadu_si256(static_cast<__m256i const*>(p));
}

// Eight characters, with no branch on whether they take one, two or three bytes: the full form of
// each is made, and the bytes that are too much are left out. Writes up to 16 bytes more than the
// result.
ZAN_AVX2 inline char* encode8(char* o, wchar_t const* in) {
    __m256i const c = load32(in);
    __m256i const surrogate =
        _mm256_cmpeq_epi32(_mm256_srli_epi32(c, 11), _mm256_set1_epi32(0xD800 >> 11));
    if (!_mm256_testz_si256(c, _mm256_set1_epi32(~0xFFFF)) ||
        !_mm256_testz_si256(surrogate, surrogate)) {
        for (int i = 0; i < 8; ++i) o = encode(o, static_cast<std::uint32_t>(in[i]));
        return o;
    }
    __m256i const over1 = _mm256_cmpgt_epi32(c, _mm256_set1_epi32(0x7F));
    __m256i const over2 = _mm256_cmpgt_epi32(c, _mm256_set1_epi32(0x7FF));
    // The last byte: 7 bits, or 6 and the mark of a continuation.
    __m256i const low = _mm256_and_si256(c, _mm256_set1_epi32(0x3F));
    __m256i const last =
        _mm256_blendv_epi8(c, _mm256_or_si256(low, _mm256_set1_epi32(0x80)), over1);
    // The one before it: a continuation, or the lead of two, which has the next bit set.
    __m256i const middle = _mm256_and_si256(_mm256_srli_epi32(c, 6), _mm256_set1_epi32(0x3F));
    __m256i const mark =
        _mm256_sub_epi32(_mm256_set1_epi32(0xC0), _mm256_and_si256(over2, _mm256_set1_epi32(0x40)));
    __m256i const first = _mm256_or_si256(_mm256_srli_epi32(c, 12), _mm256_set1_epi32(0xE0));
    __m256i const full =
        _mm256_or_si256(_mm256_or_si256(first, _mm256_slli_epi32(_mm256_or_si256(middle, mark), 8)),
                        _mm256_slli_epi32(last, 16));
    auto const twos = static_cast<unsigned>(_mm256_movemask_ps(_mm256_castsi256_ps(over1)));
    auto const threes = static_cast<unsigned>(_mm256_movemask_ps(_mm256_castsi256_ps(over2)));
    unsigned char const* const left = PACKING.entry[(twos & 15) | (threes & 15) << 4];
    unsigned char const* const right = PACKING.entry[twos >> 4 | (threes & 0xF0)];
    store16(o, _mm_shuffle_epi8(_mm256_castsi256_si128(full), load16(left)));
    o += left[15];
    store16(o, _mm_shuffle_epi8(_mm256_extracti128_si256(full, 1), load16(right)));
    return o + right[15];
}

// Encodes as far as the steps of 16 characters go. What is left unread keeps their stores inside
// the result: each character gives a byte at least.
ZAN_AVX2 char* encodeWide(char* o, wchar_t const*& in, wchar_t const* end) {
    while (end - in >= 32) {
        __m256i const a = load32(in);
        __m256i const b = load32(in + 8);
        if (_mm256_testz_si256(_mm256_or_si256(a, b), _mm256_set1_epi32(~0x7F))) {
            __m128i const half1 =
                _mm_packs_epi32(_mm256_castsi256_si128(a), _mm256_extracti128_si256(a, 1));
            __m128i const half2 =
                _mm_packs_epi32(_mm256_castsi256_si128(b), _mm256_extracti128_si256(b, 1));
            store16(o, _mm_packus_epi16(half1, half2));
            o += 16;
        } else {
            o = encode8(o, in);
            o = encode8(o, in + 8);
        }
        in += 16;
    }
    return o;
}

// How many bytes more than one the characters take, as far as the blocks of 1024 go, or up to one
// with something in it that is no character.
ZAN_AVX2 unsigned long moreBytes(wchar_t const* in, unsigned long n, unsigned long& done) {
    unsigned long more = 0;
    for (done = 0; n - done >= 1024; done += 1024) {
        __m256i lanes = _mm256_setzero_si256();
        __m256i damage = _mm256_setzero_si256();
        for (wchar_t const* p = in + done; p != in + done + 1024; p += 8) {
            __m256i const c = load32(p);
            // A mask is -1.
            __m256i const over12 =
                _mm256_add_epi32(_mm256_cmpgt_epi32(c, _mm256_set1_epi32(0x7F)),
                                 _mm256_cmpgt_epi32(c, _mm256_set1_epi32(0x7FF)));
            __m256i const over3 = _mm256_cmpgt_epi32(c, _mm256_set1_epi32(0xFFFF));
            lanes = _mm256_sub_epi32(lanes, _mm256_add_epi32(over12, over3));
            // Too large, or below 0.
            damage = _mm256_or_si256(
                damage, _mm256_or_si256(c, _mm256_cmpgt_epi32(c, _mm256_set1_epi32(0x10FFFF))));
        }
        if (_mm256_movemask_ps(_mm256_castsi256_ps(damage)) != 0) break;
        alignas(32) std::uint32_t sums[8];
        _mm256_store_si256(reinterpret_cast<__m256i*>(sums), lanes);
        for (std::uint32_t sum : sums) more += sum;
    }
    return more;
}

#endif

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
            __m128i const b = load16(in + i);
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

unsigned long widenAscii(char const* in, unsigned long n, wchar_t* out) {
    auto const* p = reinterpret_cast<Byte const*>(in);
    unsigned long i = 0;
#if defined(__SSE2__)
    for (; n - i >= 16; i += 16) {
        __m128i const b = load16(p + i);
        widen16(b, out + i);
        int const high = _mm_movemask_epi8(b);
        if (high != 0)
            return i + static_cast<unsigned long>(__builtin_ctz(static_cast<unsigned>(high)));
    }
#endif
    for (; i < n && p[i] < 0x80; ++i) out[i] = p[i];
    return i;
}

unsigned long utf8ToWide(char const* in, unsigned long n, wchar_t* out) {
    auto const* p = reinterpret_cast<Byte const*>(in);
    return decode(p, p + n, out);
}

void utf8ToWide(char const* in, unsigned long n, std::wstring& out) {
    // In pieces that stay in the nearest cache: memory is then written once, not cleared first.
    constexpr unsigned long PIECE = 1024;
    wchar_t piece[PIECE];
    if (n <= PIECE) {
        auto const* const p = reinterpret_cast<Byte const*>(in);
        out.assign(piece, decode(p, p + n, piece));
        return;
    }
    out.clear();
    out.reserve(countLeads(in, n));
    auto const* p = reinterpret_cast<Byte const*>(in);
    while (n != 0) {
        unsigned long length = n;
        if (n > PIECE) {
            // Not within a sequence, so before the start of the one that the cut would fall into.
            // One has three continuing bytes at most: behind four of them no sequence goes on.
            unsigned long back = 0;
            while (back != 4 && continues(p[PIECE - back])) ++back;
            length = back == 4 ? PIECE : PIECE - back;
        }
        out.append(piece, decode(p, p + length, piece));
        p += length;
        n -= length;
    }
}

unsigned long utf8Length(wchar_t const* in, unsigned long n) {
    unsigned long length = n;
    unsigned long i = 0;
#if defined(__SSE2__)
    if (__builtin_cpu_supports("avx2")) length += moreBytes(in, n, i);
#endif
    for (; i < n; ++i) {
        auto const c = static_cast<std::uint32_t>(in[i]);
        length += static_cast<unsigned long>(c > 0x7F) + static_cast<unsigned long>(c > 0x7FF) +
                  static_cast<unsigned long>(c - 0x10000 < 0x100000);
    }
    return length;
}

unsigned long wideToUtf8(wchar_t const* in, unsigned long n, char* out) {
    wchar_t const* const end = in + n;
    char* o = out;
#if defined(__SSE2__)
    if (__builtin_cpu_supports("avx2")) o = encodeWide(o, in, end);
#endif
    while (in != end) o = encode(o, static_cast<std::uint32_t>(*in++));
    return static_cast<unsigned long>(o - out);
}

}  // namespace zan::platform
