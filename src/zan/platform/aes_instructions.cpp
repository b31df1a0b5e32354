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

template <bool ENCRYPT, int ROUND, int ROUNDS, std::size_t... I>
ZAN_AES_INLINE void step(Block* b, Block const* keys, std::index_sequence<I...>) {
    Block const key = load(keys + ROUND);
    if constexpr (ENCRYPT && ROUND < ROUNDS)
        ((b[I] = _mm_aesenc_si128(b[I], key)), ...);
    else if constexpr (ENCRYPT)
        ((b[I] = _mm_aesenclast_si128(b[I], key)), ...);
    else if constexpr (ROUND < ROUNDS)
        ((b[I] = _mm_aesdec_si128(b[I], key)), ...);
    else
        ((b[I] = _mm_aesdeclast_si128(b[I], key)), ...);
}

template <bool ENCRYPT, class Lanes, int... ROUND>
ZAN_AES_INLINE void steps(Block* b, Block const* keys, Lanes lanes,
                          std::integer_sequence<int, ROUND...>) {
    (step<ENCRYPT, ROUND + 1, sizeof...(ROUND)>(b, keys, lanes), ...);
}

// All but the first step, which adds the first key.
template <bool ENCRYPT, int ROUNDS, class Lanes>
ZAN_AES_INLINE void rounds(Block* b, Block const* keys, Lanes lanes) {
    steps<ENCRYPT>(b, keys, lanes, std::make_integer_sequence<int, ROUNDS>());
}

template <bool ENCRYPT, int ROUNDS, std::size_t... I>
ZAN_AES_INLINE void cipher(Block* b, Block const* keys, std::index_sequence<I...> lanes) {
    Block const key = load(keys);
    ((b[I] = _mm_xor_si128(b[I], key)), ...);
    rounds<ENCRYPT, ROUNDS>(b, keys, lanes);
}

struct Run {
    Block const* keys;
    unsigned char const* in;
    unsigned char* out;
};

// --- What is done with as many blocks as there are lanes. `at` counts bytes.

template <bool ENCRYPT, int ROUNDS, std::size_t... I>
ZAN_AES_INLINE void ecb(Run const run, unsigned long at, std::index_sequence<I...> lanes) {
    Block b[sizeof...(I)];
    ((b[I] = load(run.in + at + 16 * I)), ...);
    cipher<ENCRYPT, ROUNDS>(b, run.keys, lanes);
    (store(run.out + at + 16 * I, b[I]), ...);
}

template <int ROUNDS, std::size_t... I>
ZAN_AES_INLINE void cbcDecrypt(Run const run, unsigned long at, Block& chain,
                               std::index_sequence<I...> lanes) {
    unsigned char const* const in = run.in + at;
    Block b[sizeof...(I)];
    ((b[I] = load(in + 16 * I)), ...);
    cipher<false, ROUNDS>(b, run.keys, lanes);
    // All is read before anything is written: it may be the same place.
    ((b[I] = _mm_xor_si128(b[I], I == 0 ? chain : load(in + 16 * (I == 0 ? 0 : I - 1)))), ...);
    chain = load(in + 16 * (sizeof...(I) - 1));
    (store(run.out + at + 16 * I, b[I]), ...);
}

template <int ROUNDS, std::size_t... I>
ZAN_AES_INLINE void cfbDecrypt(Run const run, unsigned long at, Block& chain,
                               std::index_sequence<I...> lanes) {
    unsigned char const* const in = run.in + at;
    Block b[sizeof...(I)];
    ((b[I] = I == 0 ? chain : load(in + 16 * (I == 0 ? 0 : I - 1))), ...);
    chain = load(in + 16 * (sizeof...(I) - 1));
    cipher<true, ROUNDS>(b, run.keys, lanes);
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

template <int ROUNDS, std::size_t... I>
ZAN_AES_INLINE void ctr(Run const run, unsigned long at, Counter& counter,
                        std::index_sequence<I...> lanes) {
    Block b[sizeof...(I)];
    ((b[I] = next(counter)), ...);
    cipher<true, ROUNDS>(b, run.keys, lanes);
    ((b[I] = _mm_xor_si128(b[I], load(run.in + at + 16 * I))), ...);
    (store(run.out + at + 16 * I, b[I]), ...);
}

// Each block waits for the one before it, and nothing else may: the text is mixed with the first
// key ahead of time, and the function is one by itself, so that the chain stays in a register.
template <int MODE, int ROUNDS>
ZAN_AES __attribute__((noinline)) void serial(Run const run, unsigned long size,
                                              unsigned char const* chain) {
    Block const key = load(run.keys);
    Block c = load(chain);
    for (unsigned long at = 0; at < size; at += 16) {
        Block const text = load(run.in + at);
        Block first = MODE == 1 ? _mm_xor_si128(text, key) : key;
        asm("" : "+x"(first));  // or the compiler mixes in another order
        Block b[1] = {_mm_xor_si128(c, first)};
        rounds<true, ROUNDS>(b, run.keys, One());
        c = MODE == 2 ? _mm_xor_si128(b[0], text) : b[0];
        store(run.out + at, MODE == 3 ? _mm_xor_si128(c, text) : c);
    }
}

template <int ROUNDS>
ZAN_AES void encryptAll(Run const run, int mode, unsigned char const* chain, unsigned long size) {
    unsigned long const wide = size - size % (16 * LANES);
    unsigned long at = 0;
    if (mode == 0) {
        for (; at < wide; at += 16 * LANES) ecb<true, ROUNDS>(run, at, Lanes());
        for (; at < size; at += 16) ecb<true, ROUNDS>(run, at, One());
    } else if (mode == 4) {
        Counter counter;
        __builtin_memcpy(&counter, chain, sizeof counter);
        for (; at < wide; at += 16 * LANES) ctr<ROUNDS>(run, at, counter, Lanes());
        for (; at < size; at += 16) ctr<ROUNDS>(run, at, counter, One());
    } else {
        if (mode == 1) serial<1, ROUNDS>(run, size, chain);
        if (mode == 2) serial<2, ROUNDS>(run, size, chain);
        if (mode == 3) serial<3, ROUNDS>(run, size, chain);
    }
}

template <int ROUNDS>
ZAN_AES void decryptAll(Run const run, int mode, unsigned char const* chain, unsigned long size) {
    unsigned long const wide = size - size % (16 * LANES);
    unsigned long at = 0;
    if (mode == 0) {
        for (; at < wide; at += 16 * LANES) ecb<false, ROUNDS>(run, at, Lanes());
        for (; at < size; at += 16) ecb<false, ROUNDS>(run, at, One());
        return;
    }
    Block c = load(chain);
    if (mode == 1) {
        for (; at < wide; at += 16 * LANES) cbcDecrypt<ROUNDS>(run, at, c, Lanes());
        for (; at < size; at += 16) cbcDecrypt<ROUNDS>(run, at, c, One());
    } else {
        for (; at < wide; at += 16 * LANES) cfbDecrypt<ROUNDS>(run, at, c, Lanes());
        for (; at < size; at += 16) cfbDecrypt<ROUNDS>(run, at, c, One());
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

void aesEncrypt(std::uint32_t const* keys, int rounds, int mode, unsigned char const* chain,
                unsigned char const* in, unsigned char* out, unsigned long blocks) {
    Run const run{reinterpret_cast<Block const*>(keys), in, out};
    auto const all = rounds == 10 ? encryptAll<10> : rounds == 12 ? encryptAll<12> : encryptAll<14>;
    all(run, mode, chain, 16 * blocks);
}

void aesDecrypt(std::uint32_t const* keys, int rounds, int mode, unsigned char const* chain,
                unsigned char const* in, unsigned char* out, unsigned long blocks) {
    if (mode > 2) return aesEncrypt(keys, rounds, mode, chain, in, out, blocks);
    Run const run{reinterpret_cast<Block const*>(keys), in, out};
    auto const all = rounds == 10 ? decryptAll<10> : rounds == 12 ? decryptAll<12> : decryptAll<14>;
    all(run, mode, chain, 16 * blocks);
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
