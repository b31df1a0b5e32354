#include "zan/util/des3.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <utility>

#include "zan/string/string_charray.h"
#include "zan/util/overlap.h"

namespace zan {

namespace {

using Word = std::uint32_t;

// clang-format off
constexpr unsigned char S_BOXES[8][64] = {
    {14, 4, 13, 1, 2, 15, 11, 8, 3, 10, 6, 12, 5, 9, 0, 7,
     0, 15, 7, 4, 14, 2, 13, 1, 10, 6, 12, 11, 9, 5, 3, 8,
     4, 1, 14, 8, 13, 6, 2, 11, 15, 12, 9, 7, 3, 10, 5, 0,
     15, 12, 8, 2, 4, 9, 1, 7, 5, 11, 3, 14, 10, 0, 6, 13},
    {15, 1, 8, 14, 6, 11, 3, 4, 9, 7, 2, 13, 12, 0, 5, 10,
     3, 13, 4, 7, 15, 2, 8, 14, 12, 0, 1, 10, 6, 9, 11, 5,
     0, 14, 7, 11, 10, 4, 13, 1, 5, 8, 12, 6, 9, 3, 2, 15,
     13, 8, 10, 1, 3, 15, 4, 2, 11, 6, 7, 12, 0, 5, 14, 9},
    {10, 0, 9, 14, 6, 3, 15, 5, 1, 13, 12, 7, 11, 4, 2, 8,
     13, 7, 0, 9, 3, 4, 6, 10, 2, 8, 5, 14, 12, 11, 15, 1,
     13, 6, 4, 9, 8, 15, 3, 0, 11, 1, 2, 12, 5, 10, 14, 7,
     1, 10, 13, 0, 6, 9, 8, 7, 4, 15, 14, 3, 11, 5, 2, 12},
    {7, 13, 14, 3, 0, 6, 9, 10, 1, 2, 8, 5, 11, 12, 4, 15,
     13, 8, 11, 5, 6, 15, 0, 3, 4, 7, 2, 12, 1, 10, 14, 9,
     10, 6, 9, 0, 12, 11, 7, 13, 15, 1, 3, 14, 5, 2, 8, 4,
     3, 15, 0, 6, 10, 1, 13, 8, 9, 4, 5, 11, 12, 7, 2, 14},
    {2, 12, 4, 1, 7, 10, 11, 6, 8, 5, 3, 15, 13, 0, 14, 9,
     14, 11, 2, 12, 4, 7, 13, 1, 5, 0, 15, 10, 3, 9, 8, 6,
     4, 2, 1, 11, 10, 13, 7, 8, 15, 9, 12, 5, 6, 3, 0, 14,
     11, 8, 12, 7, 1, 14, 2, 13, 6, 15, 0, 9, 10, 4, 5, 3},
    {12, 1, 10, 15, 9, 2, 6, 8, 0, 13, 3, 4, 14, 7, 5, 11,
     10, 15, 4, 2, 7, 12, 9, 5, 6, 1, 13, 14, 0, 11, 3, 8,
     9, 14, 15, 5, 2, 8, 12, 3, 7, 0, 4, 10, 1, 13, 11, 6,
     4, 3, 2, 12, 9, 5, 15, 10, 11, 14, 1, 7, 6, 0, 8, 13},
    {4, 11, 2, 14, 15, 0, 8, 13, 3, 12, 9, 7, 5, 10, 6, 1,
     13, 0, 11, 7, 4, 9, 1, 10, 14, 3, 5, 12, 2, 15, 8, 6,
     1, 4, 11, 13, 12, 3, 7, 14, 10, 15, 6, 8, 0, 5, 9, 2,
     6, 11, 13, 8, 1, 4, 10, 7, 9, 5, 0, 15, 14, 2, 3, 12},
    {13, 2, 8, 4, 6, 15, 11, 1, 10, 9, 3, 14, 5, 0, 12, 7,
     1, 15, 13, 8, 10, 3, 7, 4, 12, 5, 6, 11, 0, 14, 9, 2,
     7, 11, 4, 1, 9, 12, 14, 2, 0, 6, 10, 13, 15, 3, 5, 8,
     2, 1, 14, 7, 4, 10, 8, 13, 15, 12, 9, 0, 3, 5, 6, 11}};

// Of the bits of a result, which of the source each is, from 1 for the highest.
constexpr unsigned char P[32] = {
    16, 7, 20, 21, 29, 12, 28, 17, 1, 15, 23, 26, 5, 18, 31, 10,
    2, 8, 24, 14, 32, 27, 3, 9, 19, 13, 30, 6, 22, 11, 4, 25};
constexpr unsigned char PC1[56] = {
    57, 49, 41, 33, 25, 17, 9, 1, 58, 50, 42, 34, 26, 18,
    10, 2, 59, 51, 43, 35, 27, 19, 11, 3, 60, 52, 44, 36,
    63, 55, 47, 39, 31, 23, 15, 7, 62, 54, 46, 38, 30, 22,
    14, 6, 61, 53, 45, 37, 29, 21, 13, 5, 28, 20, 12, 4};
constexpr unsigned char PC2[48] = {
    14, 17, 11, 24, 1, 5, 3, 28, 15, 6, 21, 10,
    23, 19, 12, 4, 26, 8, 16, 7, 27, 20, 13, 2,
    41, 52, 31, 37, 47, 55, 30, 40, 51, 45, 33, 48,
    44, 49, 39, 56, 34, 53, 46, 42, 50, 36, 29, 32};
constexpr unsigned char SHIFTS[16] = {1, 1, 2, 2, 2, 2, 2, 2, 1, 2, 2, 2, 2, 2, 2, 1};
// clang-format on

constexpr Word rotateLeft(Word v, int n) {
    return v << n | v >> (32 - n);
}

// A substitution and the permutation P in one. The halves of a block are kept rotated to the left
// by one bit, so that the groups of the expansion lie one behind the other; so are the entries.
struct Tables {
    std::array<std::array<Word, 64>, 8> sp{};

    constexpr Tables() {
        for (unsigned box = 0; box < 8; ++box)
            for (unsigned i = 0; i < 64; ++i) {
                unsigned const row = (i >> 4 & 2) | (i & 1);
                Word const s = static_cast<Word>(S_BOXES[box][16 * row + (i >> 1 & 15)])
                               << (28 - 4 * box);
                Word p = 0;
                for (unsigned const from : P) p = p << 1 | (s >> (32 - from) & 1);
                sp[box][i] = rotateLeft(p, 1);
            }
    }
};
constexpr Tables TABLES;

// For each round the groups for the boxes 1, 3, 5, 7 and for 2, 4, 6, 8, a byte to each.
using Schedule = std::array<std::array<Word, 2>, 16>;

Schedule scheduleOf(unsigned char const* key, bool decrypt) {
    unsigned char bits[56];
    for (int i = 0; i < 56; ++i) {
        unsigned const from = PC1[i] - 1u;
        bits[i] = key[from / 8] >> (7 - from % 8) & 1;
    }
    Schedule schedule;
    unsigned shift = 0;
    for (unsigned r = 0; r < 16; ++r) {
        shift += SHIFTS[r];
        std::array<Word, 2> round{};
        for (unsigned i = 0; i < 48; ++i) {
            unsigned const from = PC2[i] - 1u;
            unsigned const half = from / 28 * 28;
            Word& word = round[i / 6 % 2];
            word = word << 1 | bits[half + (from - half + shift) % 28];
            if (i % 6 == 5 && i < 36) word <<= 2;
        }
        schedule[decrypt ? 15 - r : r] = round;
    }
    return schedule;
}

[[gnu::always_inline]] inline Word boxes(Word half, std::array<Word, 2> const& key) {
    auto const& sp = TABLES.sp;
    Word const a = (rotateLeft(half, 28) ^ key[0]) & 0x3F3F3F3F;
    Word const b = (half ^ key[1]) & 0x3F3F3F3F;
    return sp[0][a >> 24] ^ sp[2][a >> 16 & 0xFF] ^ sp[4][a >> 8 & 0xFF] ^ sp[6][a & 0xFF] ^
           sp[1][b >> 24] ^ sp[3][b >> 16 & 0xFF] ^ sp[5][b >> 8 & 0xFF] ^ sp[7][b & 0xFF];
}

// Exchanges the bits of the mask in `b` with those `n` places higher in `a`.
[[gnu::always_inline]] inline void exchange(Word& a, Word& b, int n, Word mask) {
    Word const difference = (a >> n ^ b) & mask;
    b ^= difference;
    a ^= difference << n;
}

Word loadWord(unsigned char const* p) {
    return static_cast<Word>(p[0]) << 24 | static_cast<Word>(p[1]) << 16 |
           static_cast<Word>(p[2]) << 8 | static_cast<Word>(p[3]);
}

void storeWord(unsigned char* p, Word v) {
    for (int i = 3; i >= 0; --i, v >>= 8) p[i] = static_cast<unsigned char>(v);
}

// `N` blocks side by side: what one waits for leaves time for the other.
template <int N>
[[gnu::always_inline]] inline void crypt(Schedule const& schedule, unsigned char const* in,
                                         unsigned char* out) {
    Word left[N];
    Word right[N];
    for (int i = 0; i < N; ++i) {
        Word& l = left[i] = loadWord(in + 8 * i);
        Word& r = right[i] = loadWord(in + 8 * i + 4);
        exchange(l, r, 4, 0x0F0F0F0F);
        exchange(l, r, 16, 0x0000FFFF);
        exchange(r, l, 2, 0x33333333);
        exchange(r, l, 8, 0x00FF00FF);
        r = rotateLeft(r, 1);
        exchange(l, r, 0, 0xAAAAAAAA);
        l = rotateLeft(l, 1);
    }
    for (unsigned round = 0; round < 16; round += 2) {
        for (int i = 0; i < N; ++i) left[i] ^= boxes(right[i], schedule[round]);
        for (int i = 0; i < N; ++i) right[i] ^= boxes(left[i], schedule[round + 1]);
    }
    for (int i = 0; i < N; ++i) {
        Word& l = left[i];
        Word& r = right[i];
        r = rotateLeft(r, 31);
        exchange(l, r, 0, 0xAAAAAAAA);
        l = rotateLeft(l, 31);
        exchange(l, r, 8, 0x00FF00FF);
        exchange(l, r, 2, 0x33333333);
        exchange(r, l, 16, 0x0000FFFF);
        exchange(r, l, 4, 0x0F0F0F0F);
        storeWord(out + 8 * i, r);
        storeWord(out + 8 * i + 4, l);
    }
}

bool run(istr const& in, Bytes& out, istr const& key, bool decrypt) {
    if (detail::within(in, out.data(), out.max_size()) ||
        detail::within(key, out.data(), out.max_size())) {
        Bytes result;
        run(in, result, key, decrypt);
        out = std::move(result);
        return true;
    }
    charray<8> whole;
    whole.fill(0);
    whole = key;
    Schedule const schedule =
        scheduleOf(reinterpret_cast<unsigned char const*>(whole.data()), decrypt);
    unsigned long const n = in.empty() ? 0 : in.size();
    out.init(0);
    out.resize((n + 7) / 8 * 8);
    auto const* from = reinterpret_cast<unsigned char const*>(in.data());
    unsigned char* to = out.buffer();
    unsigned long left = n;
    for (; left >= 16; left -= 16, from += 16, to += 16) crypt<2>(schedule, from, to);
    for (; left >= 8; left -= 8, from += 8, to += 8) crypt<1>(schedule, from, to);
    if (left != 0) {
        unsigned char last[8] = {};
        std::memcpy(last, from, left);
        crypt<1>(schedule, last, to);
    }
    out.size((n + 7) / 8 * 8);
    return true;
}

}  // namespace

bool des3::encode(istr const& in, Bytes& out, istr const& key) {
    return run(in, out, key, false);
}

bool des3::decode(istr const& in, Bytes& out, istr const& key) {
    return run(in, out, key, true);
}

}  // namespace zan
