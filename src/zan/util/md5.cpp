#include "zan/util/md5.h"

#include <cstdint>
#include <cstring>

namespace zan {

namespace {

using Word = std::uint32_t;

Word load(unsigned char const* p) {
    return static_cast<Word>(p[0]) | static_cast<Word>(p[1]) << 8 | static_cast<Word>(p[2]) << 16 |
           static_cast<Word>(p[3]) << 24;
}

void store(unsigned char* p, Word v) {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<unsigned char>(v >> (8 * i));
}

template <int N>
Word rotate(Word v) {
    return v << N | v >> (32 - N);
}

// Each step waits for the one before it, so what counts is how few operations lie between its `b`
// and its result. The sums are written so that only those wait.
template <int N>
void stepF(Word& a, Word b, Word c, Word d, Word xk) {
    a = rotate<N>(a + xk + (d ^ (b & (c ^ d)))) + b;
}
template <int N>
void stepG(Word& a, Word b, Word c, Word d, Word xk) {
    // The two halves have no bit in common: their sum is their union.
    a = rotate<N>(a + xk + (c & ~d) + (b & d)) + b;
}
template <int N>
void stepH(Word& a, Word b, Word c, Word d, Word xk) {
    a = rotate<N>(a + xk + ((c ^ d) ^ b)) + b;
}
template <int N>
void stepI(Word& a, Word b, Word c, Word d, Word xk) {
    a = rotate<N>(a + xk + (c ^ (b | ~d))) + b;
}

#define ZAN_MD5_ROUND(step, s0, s1, s2, s3, i0, i1, i2, i3, k0, k1, k2, k3) \
    step<s0>(a, b, c, d, load(p + 4 * (i0)) + (k0));                        \
    step<s1>(d, a, b, c, load(p + 4 * (i1)) + (k1));                        \
    step<s2>(c, d, a, b, load(p + 4 * (i2)) + (k2));                        \
    step<s3>(b, c, d, a, load(p + 4 * (i3)) + (k3))

void blocks(Word* state, unsigned char const* p, unsigned long n) {
    Word a = state[0];
    Word b = state[1];
    Word c = state[2];
    Word d = state[3];
    for (; n != 0; --n, p += 64) {
        Word const a0 = a;
        Word const b0 = b;
        Word const c0 = c;
        Word const d0 = d;
        // clang-format off
        ZAN_MD5_ROUND(stepF, 7, 12, 17, 22,  0,  1,  2,  3, 0xD76AA478, 0xE8C7B756, 0x242070DB, 0xC1BDCEEE);
        ZAN_MD5_ROUND(stepF, 7, 12, 17, 22,  4,  5,  6,  7, 0xF57C0FAF, 0x4787C62A, 0xA8304613, 0xFD469501);
        ZAN_MD5_ROUND(stepF, 7, 12, 17, 22,  8,  9, 10, 11, 0x698098D8, 0x8B44F7AF, 0xFFFF5BB1, 0x895CD7BE);
        ZAN_MD5_ROUND(stepF, 7, 12, 17, 22, 12, 13, 14, 15, 0x6B901122, 0xFD987193, 0xA679438E, 0x49B40821);
        ZAN_MD5_ROUND(stepG, 5,  9, 14, 20,  1,  6, 11,  0, 0xF61E2562, 0xC040B340, 0x265E5A51, 0xE9B6C7AA);
        ZAN_MD5_ROUND(stepG, 5,  9, 14, 20,  5, 10, 15,  4, 0xD62F105D, 0x02441453, 0xD8A1E681, 0xE7D3FBC8);
        ZAN_MD5_ROUND(stepG, 5,  9, 14, 20,  9, 14,  3,  8, 0x21E1CDE6, 0xC33707D6, 0xF4D50D87, 0x455A14ED);
        ZAN_MD5_ROUND(stepG, 5,  9, 14, 20, 13,  2,  7, 12, 0xA9E3E905, 0xFCEFA3F8, 0x676F02D9, 0x8D2A4C8A);
        ZAN_MD5_ROUND(stepH, 4, 11, 16, 23,  5,  8, 11, 14, 0xFFFA3942, 0x8771F681, 0x6D9D6122, 0xFDE5380C);
        ZAN_MD5_ROUND(stepH, 4, 11, 16, 23,  1,  4,  7, 10, 0xA4BEEA44, 0x4BDECFA9, 0xF6BB4B60, 0xBEBFBC70);
        ZAN_MD5_ROUND(stepH, 4, 11, 16, 23, 13,  0,  3,  6, 0x289B7EC6, 0xEAA127FA, 0xD4EF3085, 0x04881D05);
        ZAN_MD5_ROUND(stepH, 4, 11, 16, 23,  9, 12, 15,  2, 0xD9D4D039, 0xE6DB99E5, 0x1FA27CF8, 0xC4AC5665);
        ZAN_MD5_ROUND(stepI, 6, 10, 15, 21,  0,  7, 14,  5, 0xF4292244, 0x432AFF97, 0xAB9423A7, 0xFC93A039);
        ZAN_MD5_ROUND(stepI, 6, 10, 15, 21, 12,  3, 10,  1, 0x655B59C3, 0x8F0CCC92, 0xFFEFF47D, 0x85845DD1);
        ZAN_MD5_ROUND(stepI, 6, 10, 15, 21,  8, 15,  6, 13, 0x6FA87E4F, 0xFE2CE6E0, 0xA3014314, 0x4E0811A1);
        ZAN_MD5_ROUND(stepI, 6, 10, 15, 21,  4, 11,  2,  9, 0xF7537E82, 0xBD3AF235, 0x2AD7D2BB, 0xEB86D391);
        // clang-format on
        a += a0;
        b += b0;
        c += c0;
        d += d0;
    }
    state[0] = a;
    state[1] = b;
    state[2] = c;
    state[3] = d;
}

#undef ZAN_MD5_ROUND

}  // namespace

struct MD5::Context {
    Word bits[2];  // low word first
    Word state[4];
    unsigned char buffer[64];

    Context() { reset(); }
    void reset();
    unsigned long used() const { return bits[0] / 8 % 64; }
    void update(istr const& bytes);
    void finish(unsigned char* digest);
};

void MD5::Context::reset() {
    bits[0] = bits[1] = 0;
    state[0] = 0x67452301;
    state[1] = 0xEFCDAB89;
    state[2] = 0x98BADCFE;
    state[3] = 0x10325476;
}

void MD5::Context::update(istr const& bytes) {
    if (bytes.empty()) return;
    auto const* p = reinterpret_cast<unsigned char const*>(bytes.data());
    unsigned long n = bytes.size();
    unsigned long const before = used();
    uint64 const total = (static_cast<uint64>(bits[1]) << 32 | bits[0]) + n * 8;
    bits[0] = static_cast<Word>(total);
    bits[1] = static_cast<Word>(total >> 32);
    if (before != 0) {
        unsigned long const part = n < 64 - before ? n : 64 - before;
        std::memcpy(buffer + before, p, part);
        if (before + part < 64) return;
        blocks(state, buffer, 1);
        p += part;
        n -= part;
    }
    blocks(state, p, n / 64);
    std::memcpy(buffer, p + n / 64 * 64, n % 64);
}

void MD5::Context::finish(unsigned char* digest) {
    unsigned long const n = used();
    buffer[n] = 0x80;
    std::memset(buffer + n + 1, 0, 63 - n);
    if (n >= 56) {
        blocks(state, buffer, 1);
        std::memset(buffer, 0, 56);
    }
    store(buffer + 56, bits[0]);
    store(buffer + 60, bits[1]);
    blocks(state, buffer, 1);
    for (int i = 0; i < 4; ++i) store(digest + 4 * i, state[i]);
}

MD5::MD5() {
    digest_.fill(0);
}

// A message that comes in one piece needs no context on the heap.
MD5::MD5(istr const& text) {
    Context context;
    context.update(text);
    context.finish(digest_.buffer());
}

MD5::~MD5() = default;

MD5::Context& MD5::context() {
    if (context_ == nullptr) context_ = std::make_unique<Context>();
    return *context_;
}

void MD5::update(istr const& bytes) {
    context().update(bytes);
}

void MD5::finish() {
    context().finish(digest_.buffer());
    context_->reset();
}

}  // namespace zan
