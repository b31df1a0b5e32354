#include "zan/platform/aes_instructions.h"

#if defined(__x86_64__)

#include <immintrin.h>

#include <utility>

// Only these functions are compiled for the instructions, and nothing calls them before the test.
#define ZAN_AES __attribute__((target("aes,sse2")))
#define ZAN_AES_INLINE ZAN_AES inline __attribute__((always_inline))

namespace zan::platform {

namespace {

using Block = __m128i;

// A round takes several cycles, but one can begin in each: this many blocks are worked on side by
// side where none waits for another.
constexpr unsigned long LANES = 8;
using Lanes = std::make_index_sequence<LANES>;
using One = std::index_sequence<0>;

ZAN_AES_INLINE Block load(void const* p) {
    return _mm_loadu_si128(static_cast<Block const*>(p));
}

ZAN_AES_INLINE void store(void* p, Block b) {
    _mm_storeu_si128(static_cast<Block*>(p), b);
}

// All but the first step, which adds the first key.
template <std::size_t... I>
ZAN_AES_INLINE void encryptRounds(Block* b, Block const* keys, int rounds,
                                  std::index_sequence<I...>) {
    Block key;
    for (int r = 1; r < rounds; ++r) {
        key = load(keys + r);
        ((b[I] = _mm_aesenc_si128(b[I], key)), ...);
    }
    key = load(keys + rounds);
    ((b[I] = _mm_aesenclast_si128(b[I], key)), ...);
}

template <std::size_t... I>
ZAN_AES_INLINE void encrypt(Block* b, Block const* keys, int rounds,
                            std::index_sequence<I...> lanes) {
    Block const key = load(keys);
    ((b[I] = _mm_xor_si128(b[I], key)), ...);
    encryptRounds(b, keys, rounds, lanes);
}

template <std::size_t... I>
ZAN_AES_INLINE void decrypt(Block* b, Block const* keys, int rounds, std::index_sequence<I...>) {
    Block key = load(keys);
    ((b[I] = _mm_xor_si128(b[I], key)), ...);
    for (int r = 1; r < rounds; ++r) {
        key = load(keys + r);
        ((b[I] = _mm_aesdec_si128(b[I], key)), ...);
    }
    key = load(keys + rounds);
    ((b[I] = _mm_aesdeclast_si128(b[I], key)), ...);
}

struct Run {
    Block const* keys;
    int rounds;
    unsigned char const* in;
    unsigned char* out;
};

// --- What is done with as many blocks as there are lanes. `at` counts bytes.

template <bool ENCRYPT, std::size_t... I>
ZAN_AES_INLINE void ecb(Run const& run, unsigned long at, std::index_sequence<I...> lanes) {
    Block b[sizeof...(I)];
    ((b[I] = load(run.in + at + 16 * I)), ...);
    if constexpr (ENCRYPT)
        encrypt(b, run.keys, run.rounds, lanes);
    else
        decrypt(b, run.keys, run.rounds, lanes);
    (store(run.out + at + 16 * I, b[I]), ...);
}

template <std::size_t... I>
ZAN_AES_INLINE void cbcDecrypt(Run const& run, unsigned long at, Block& chain,
                               std::index_sequence<I...> lanes) {
    unsigned char const* const in = run.in + at;
    Block b[sizeof...(I)];
    ((b[I] = load(in + 16 * I)), ...);
    decrypt(b, run.keys, run.rounds, lanes);
    // All is read before anything is written: it may be the same place.
    ((b[I] = _mm_xor_si128(b[I], I == 0 ? chain : load(in + 16 * (I == 0 ? 0 : I - 1)))), ...);
    chain = load(in + 16 * (sizeof...(I) - 1));
    (store(run.out + at + 16 * I, b[I]), ...);
}

template <std::size_t... I>
ZAN_AES_INLINE void cfbDecrypt(Run const& run, unsigned long at, Block& chain,
                               std::index_sequence<I...> lanes) {
    unsigned char const* const in = run.in + at;
    Block b[sizeof...(I)];
    ((b[I] = I == 0 ? chain : load(in + 16 * (I == 0 ? 0 : I - 1))), ...);
    chain = load(in + 16 * (sizeof...(I) - 1));
    encrypt(b, run.keys, run.rounds, lanes);
    ((b[I] = _mm_xor_si128(b[I], load(in + 16 * I))), ...);
    (store(run.out + at + 16 * I, b[I]), ...);
}

struct Counter {
    unsigned long long low;
    unsigned long long high;
};

ZAN_AES_INLINE Block next(Counter& counter) {
    Block const b =
        _mm_set_epi64x(static_cast<long long>(counter.high), static_cast<long long>(counter.low));
    if (++counter.low == 0) ++counter.high;
    return b;
}

template <std::size_t... I>
ZAN_AES_INLINE void ctr(Run const& run, unsigned long at, Counter& counter,
                        std::index_sequence<I...> lanes) {
    Block b[sizeof...(I)];
    ((b[I] = next(counter)), ...);
    encrypt(b, run.keys, run.rounds, lanes);
    ((b[I] = _mm_xor_si128(b[I], load(run.in + at + 16 * I))), ...);
    (store(run.out + at + 16 * I, b[I]), ...);
}

// Each block waits for the one before it, and nothing else may: the text is mixed with the first
// key ahead of time.
template <int MODE>
ZAN_AES_INLINE void serial(Run const& run, unsigned long size, Block c) {
    Block const key = load(run.keys);
    for (unsigned long at = 0; at < size; at += 16) {
        Block const text = load(run.in + at);
        c = _mm_xor_si128(c, MODE == 1 ? _mm_xor_si128(text, key) : key);
        encryptRounds(&c, run.keys, run.rounds, One());
        if constexpr (MODE == 2) c = _mm_xor_si128(c, text);
        store(run.out + at, MODE == 3 ? _mm_xor_si128(c, text) : c);
    }
}

}  // namespace

bool hasAesInstructions() {
    static bool const has = __builtin_cpu_supports("aes") != 0;
    return has;
}

ZAN_AES std::uint32_t aesSubWord(std::uint32_t word) {
    // Four columns that are the same: exchanging their rows changes nothing.
    Block const columns = _mm_set1_epi32(static_cast<int>(word));
    Block const result = _mm_aesenclast_si128(columns, _mm_setzero_si128());
    return static_cast<std::uint32_t>(_mm_cvtsi128_si32(result));
}

ZAN_AES void aesInvertKeys(std::uint32_t const* keys, int rounds, std::uint32_t* inverse) {
    store(inverse, load(keys + 4 * rounds));
    for (int r = 1; r < rounds; ++r)
        store(inverse + 4 * r, _mm_aesimc_si128(load(keys + 4 * (rounds - r))));
    store(inverse + 4 * rounds, load(keys));
}

ZAN_AES void aesEncrypt(std::uint32_t const* keys, int rounds, int mode, unsigned char const* chain,
                        unsigned char const* in, unsigned char* out, unsigned long blocks) {
    Run const run{reinterpret_cast<Block const*>(keys), rounds, in, out};
    unsigned long const size = 16 * blocks;
    unsigned long const wide = size - size % (16 * LANES);
    unsigned long at = 0;
    if (mode == 0) {
        for (; at < wide; at += 16 * LANES) ecb<true>(run, at, Lanes());
        for (; at < size; at += 16) ecb<true>(run, at, One());
    } else if (mode == 4) {
        Counter counter;
        __builtin_memcpy(&counter, chain, sizeof counter);
        for (; at < wide; at += 16 * LANES) ctr(run, at, counter, Lanes());
        for (; at < size; at += 16) ctr(run, at, counter, One());
    } else {
        Block const c = load(chain);
        if (mode == 1) serial<1>(run, size, c);
        if (mode == 2) serial<2>(run, size, c);
        if (mode == 3) serial<3>(run, size, c);
    }
}

ZAN_AES void aesDecrypt(std::uint32_t const* keys, int rounds, int mode, unsigned char const* chain,
                        unsigned char const* in, unsigned char* out, unsigned long blocks) {
    if (mode > 2) return aesEncrypt(keys, rounds, mode, chain, in, out, blocks);
    Run const run{reinterpret_cast<Block const*>(keys), rounds, in, out};
    unsigned long const size = 16 * blocks;
    unsigned long const wide = size - size % (16 * LANES);
    unsigned long at = 0;
    if (mode == 0) {
        for (; at < wide; at += 16 * LANES) ecb<false>(run, at, Lanes());
        for (; at < size; at += 16) ecb<false>(run, at, One());
        return;
    }
    Block c = load(chain);
    if (mode == 1) {
        for (; at < wide; at += 16 * LANES) cbcDecrypt(run, at, c, Lanes());
        for (; at < size; at += 16) cbcDecrypt(run, at, c, One());
    } else {
        for (; at < wide; at += 16 * LANES) cfbDecrypt(run, at, c, Lanes());
        for (; at < size; at += 16) cfbDecrypt(run, at, c, One());
    }
}

}  // namespace zan::platform

#undef ZAN_AES
#undef ZAN_AES_INLINE

#else

namespace zan::platform {

bool hasAesInstructions() {
    return false;
}

std::uint32_t aesSubWord(std::uint32_t word) {
    return word;
}

void aesInvertKeys(std::uint32_t const*, int, std::uint32_t*) {}

void aesEncrypt(std::uint32_t const*, int, int, unsigned char const*, unsigned char const*,
                unsigned char*, unsigned long) {}

void aesDecrypt(std::uint32_t const*, int, int, unsigned char const*, unsigned char const*,
                unsigned char*, unsigned long) {}

}  // namespace zan::platform

#endif
