#include "zan/util/aes_impl.h"

#include <array>
#include <cstring>

#include "zan/base/report.h"
#include "zan/platform/aes_instructions.h"

namespace zan {

namespace {

using Word = std::uint32_t;

// --- Tables, worked out by the compiler. The low byte of a word is the first byte of a column.

constexpr Word rotate(Word v, unsigned n) {
    return n == 0 ? v : v << n | v >> (32 - n);
}

constexpr unsigned times2(unsigned v) {
    return v << 1 ^ (v >= 0x80 ? 0x11B : 0);
}

constexpr unsigned multiply(unsigned a, unsigned b) {
    unsigned product = 0;
    for (; b != 0; b >>= 1, a = times2(a))
        if (b & 1) product ^= a;
    return product;
}

struct Tables {
    std::array<unsigned char, 256> sbox{};
    std::array<unsigned char, 256> inverse{};
    // SubBytes and MixColumns in one, for each of the four rows; the second for decryption.
    std::array<std::array<Word, 256>, 4> encrypt{};
    std::array<std::array<Word, 256>, 4> decrypt{};

    constexpr Tables() {
        // p runs through all but zero as powers of 3, and q through their reciprocals.
        unsigned p = 1;
        unsigned q = 1;
        do {
            p ^= times2(p);
            q = multiply(q, 0xF6);
            unsigned const v = q ^ q << 1 ^ q << 2 ^ q << 3 ^ q << 4;
            setBox(p, ((v ^ v >> 8) & 0xFF) ^ 0x63);
        } while (p != 1);
        setBox(0, 0x63);
        for (unsigned i = 0; i < 256; ++i) {
            unsigned const s = sbox[i];
            unsigned const t = inverse[i];
            Word const e = times2(s) | s << 8 | s << 16 | (times2(s) ^ s) << 24;
            Word const d = multiply(t, 14) | multiply(t, 9) << 8 | multiply(t, 13) << 16 |
                           multiply(t, 11) << 24;
            for (unsigned row = 0; row < 4; ++row) {
                encrypt[row][i] = rotate(e, 8 * row);
                decrypt[row][i] = rotate(d, 8 * row);
            }
        }
    }

private:
    constexpr void setBox(unsigned from, unsigned to) {
        sbox[from] = static_cast<unsigned char>(to);
        inverse[to] = static_cast<unsigned char>(from);
    }
};
constexpr Tables TABLES;

// --- The block functions

// The four columns.
struct Block {
    Word a;
    Word b;
    Word c;
    Word d;
};

[[gnu::always_inline]] inline Word loadWord(unsigned char const* p) {
    return static_cast<Word>(p[0]) | static_cast<Word>(p[1]) << 8 | static_cast<Word>(p[2]) << 16 |
           static_cast<Word>(p[3]) << 24;
}

// g++ 12 would not make one store of the four bytes, as it makes one load above.
[[gnu::always_inline]] inline void storeWord(unsigned char* p, Word v) {
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    v = __builtin_bswap32(v);
#endif
    std::memcpy(p, &v, sizeof(v));
}

[[gnu::always_inline]] inline Block load(unsigned char const* p) {
    return {loadWord(p), loadWord(p + 4), loadWord(p + 8), loadWord(p + 12)};
}

[[gnu::always_inline]] inline Block loadKey(Word const* k) {
    return {k[0], k[1], k[2], k[3]};
}

[[gnu::always_inline]] inline void store(unsigned char* p, Block const& s) {
    storeWord(p, s.a);
    storeWord(p + 4, s.b);
    storeWord(p + 8, s.c);
    storeWord(p + 12, s.d);
}

[[gnu::always_inline]] inline Block operator^(Block const& s, Block const& t) {
    return {s.a ^ t.a, s.b ^ t.b, s.c ^ t.c, s.d ^ t.d};
}

// A column of a round, from the columns that its rows come from.
struct Mixed {
    std::array<std::array<Word, 256>, 4> const& t;
    [[gnu::always_inline]] Word operator()(std::uint64_t a, std::uint64_t b, std::uint64_t c,
                                           std::uint64_t d, Word k) const {
        return t[0][a & 0xFF] ^ k ^ t[1][b >> 8 & 0xFF] ^ t[2][c >> 16 & 0xFF] ^ t[3][d >> 24];
    }
};

// A column of the last round, which does not mix.
struct Substituted {
    std::array<unsigned char, 256> const& box;
    [[gnu::always_inline]] Word operator()(Word a, Word b, Word c, Word d, Word k) const {
        return (static_cast<Word>(box[a & 0xFF]) | static_cast<Word>(box[b >> 8 & 0xFF]) << 8 |
                static_cast<Word>(box[c >> 16 & 0xFF]) << 16 |
                static_cast<Word>(box[d >> 24]) << 24) ^
               k;
    }
};

// Rows move to the left for encryption, to the right for decryption.
template <bool ENCRYPT, class Column>
[[gnu::always_inline]] inline Block round(Column const& column, Block const& s, Block const& k) {
    if constexpr (ENCRYPT)
        return {column(s.a, s.b, s.c, s.d, k.a), column(s.b, s.c, s.d, s.a, k.b),
                column(s.c, s.d, s.a, s.b, k.c), column(s.d, s.a, s.b, s.c, k.d)};
    else
        return {column(s.a, s.d, s.c, s.b, k.a), column(s.b, s.a, s.d, s.c, k.b),
                column(s.c, s.b, s.a, s.d, k.c), column(s.d, s.c, s.b, s.a, k.d)};
}

template <bool ENCRYPT>
[[gnu::always_inline]] inline Block cipher(Mixed const& mixed, Substituted const& last, Block s,
                                           Word const* k, int rounds) {
    s = s ^ loadKey(k);
    for (int half = rounds / 2;;) {
        s = round<ENCRYPT>(mixed, s, loadKey(k + 4));
        k += 8;
        if (--half == 0) break;
        s = round<ENCRYPT>(mixed, s, loadKey(k));
    }
    return round<ENCRYPT>(last, s, loadKey(k));
}

[[gnu::always_inline]] inline Block encrypted(Block const& b, Word const* keys, int rounds) {
    return cipher<true>({TABLES.encrypt}, {TABLES.sbox}, b, keys, rounds);
}

[[gnu::always_inline]] inline Block decrypted(Block const& b, Word const* keys, int rounds) {
    return cipher<false>({TABLES.decrypt}, {TABLES.inverse}, b, keys, rounds);
}

Word subWord(Word v) {
    return Substituted{TABLES.sbox}(v, v, v, v, 0);
}

// The four columns of a round's key at a time.
using Columns __attribute__((vector_size(16))) = Word;

// Each byte times 2, as times2() does.
Columns doubled(Columns v) {
    Columns const high = v & 0x80808080;
    return (v & 0x7F7F7F7F) << 1 ^ ((high - (high >> 7)) & 0x1B1B1B1B);
}

Columns rotated(Columns v, int n) {
    return v << n | v >> (32 - n);
}

// InvMixColumns by arithmetic: the tables would need the S-box to take theirs out again.
Columns inverted(Columns v) {
    Columns const by2 = doubled(v);
    Columns const by4 = doubled(by2);
    Columns const by8 = doubled(by4);
    Columns const by9 = by8 ^ v;
    return by8 ^ by4 ^ by2 ^ rotated(by9, 8) ^ rotated(by9 ^ by4, 16) ^ rotated(by9 ^ by2, 24);
}

// From the oldest key to the one that was written last: those can't be read as a whole yet.
void invertKeys(Word const* keys, int rounds, Word* inverse) {
    std::memcpy(inverse + 4 * rounds, keys, sizeof(Columns));
    for (int r = 1; r < rounds; ++r) {
        Columns key;
        std::memcpy(&key, keys + 4 * r, sizeof(key));
        key = inverted(key);
        std::memcpy(inverse + 4 * (rounds - r), &key, sizeof(key));
    }
    std::memcpy(inverse, keys + 4 * rounds, sizeof(Columns));
}

void increment(unsigned char* counter) {
    for (unsigned long i = 0; i < AesCipher::BLOCK_SIZE && ++counter[i] == 0; ++i) {
    }
}

// --- The modes on the tables. Each block is read before it is written. A mode is a function by
// itself, so that the registers are its own.

template <int MODE>
[[gnu::noinline]] void encryptMode(Word const* keys, int rounds, unsigned char const* chain,
                                   unsigned char const* in, unsigned char* out,
                                   unsigned long size) {
    Block c{};
    unsigned char counter[AesCipher::BLOCK_SIZE];
    if constexpr (MODE == AesCipher::CTR)
        std::memcpy(counter, chain, sizeof counter);
    else if constexpr (MODE != AesCipher::ECB)
        c = load(chain);
    for (unsigned long at = 0; at != size; at += AesCipher::BLOCK_SIZE) {
        Block const text = load(in + at);
        if constexpr (MODE == AesCipher::ECB) {
            store(out + at, encrypted(text, keys, rounds));
        } else if constexpr (MODE == AesCipher::CBC) {
            store(out + at, c = encrypted(c ^ text, keys, rounds));
        } else if constexpr (MODE == AesCipher::CFB) {
            store(out + at, c = encrypted(c, keys, rounds) ^ text);
        } else if constexpr (MODE == AesCipher::OFB) {
            store(out + at, (c = encrypted(c, keys, rounds)) ^ text);
        } else {
            store(out + at, encrypted(load(counter), keys, rounds) ^ text);
            increment(counter);
        }
    }
}

// From the last block to the first: what a block is mixed with is then still there, in the same
// place too, and need not be carried along.
template <int MODE>
[[gnu::noinline]] void decryptMode(Word const* keys, int rounds, unsigned char const* chain,
                                   unsigned char const* in, unsigned char* out,
                                   unsigned long size) {
    for (unsigned long at = size; at != 0;) {
        at -= AesCipher::BLOCK_SIZE;
        unsigned char const* const before = at == 0 ? chain : in + at - AesCipher::BLOCK_SIZE;
        if constexpr (MODE == AesCipher::ECB)
            store(out + at, decrypted(load(in + at), keys, rounds));
        else if constexpr (MODE == AesCipher::CBC)
            store(out + at, decrypted(load(in + at), keys, rounds) ^ load(before));
        else
            store(out + at, encrypted(load(before), keys, rounds) ^ load(in + at));
    }
}

using ModeRun = void (*)(Word const*, int, unsigned char const*, unsigned char const*,
                         unsigned char*, unsigned long);
constexpr ModeRun ENCRYPT[] = {encryptMode<0>, encryptMode<1>, encryptMode<2>, encryptMode<3>,
                               encryptMode<4>};
constexpr ModeRun DECRYPT[] = {decryptMode<0>, decryptMode<1>, decryptMode<2>};

template <class SubWord>
void expandKey(unsigned char const* key, int n, int total, SubWord const& sub, Word* w) {
    for (int i = 0; i < n; ++i) w[i] = loadWord(key + 4 * i);
    unsigned constant = 1;
    Word last = w[n - 1];
    for (int i = n; i < total; i += n, constant = times2(constant)) {
        w[i] = last = w[i - n] ^ constant ^ rotate(sub(last), 24);
        for (int j = i + 1; j < i + n && j < total; ++j)
            w[j] = last = w[j - n] ^ (j == i + 4 && n == 8 ? sub(last) : last);
    }
}

// The keys of decryption: not made, being made, to be read.
enum { ABSENT, IN_WORK, READY };

// The compiler is told that somebody reads the zeros.
void wipe(void* p, unsigned long n) {
    std::memset(p, 0, n);
    asm volatile("" : : "r"(p) : "memory");
}

}  // namespace

AesCipher::AesCipher(Path path)
    : instructions_(path == FASTEST && platform::hasAesInstructions()) {}

AesCipher::~AesCipher() {
    wipe(encryptKeys_, sizeof encryptKeys_);
    wipe(decryptKeys_, sizeof decryptKeys_);
}

void AesCipher::setKey(unsigned char const* key, int keyLength) {
    ZAN_ASSERT_TEXT_DO(key != nullptr, "key != 0", "return", return );
    ZAN_ASSERT_TEXT_DO(keyLength == 16 || keyLength == 24 || keyLength == 32,
                       "keyLength == 16 || keyLength == 24 || keyLength == 32", "return", return );
    keyLength_ = keyLength;
    rounds_ = keyLength / 4 + 6;
    int const words = keyLength / 4;
    int const total = 4 * (rounds_ + 1);
    if (instructions_)
        expandKey(key, words, total, platform::aesSubWord, encryptKeys_);
    else
        expandKey(
            key, words, total, [](Word v) { return subWord(v); }, encryptKeys_);
    decryptKeysState_.store(ABSENT, std::memory_order_relaxed);
    m_bKey = true;
}

// `own` is the caller's room for them, used while another thread makes those of the object.
Word const* AesCipher::decryptKeys(Word* own) const {
    if (decryptKeysState_.load(std::memory_order_acquire) == READY) return decryptKeys_;
    int state = ABSENT;
    bool const first = decryptKeysState_.compare_exchange_strong(state, IN_WORK);
    if (state == READY) return decryptKeys_;
    Word* const keys = first ? decryptKeys_ : own;
    if (instructions_)
        platform::aesInvertKeys(encryptKeys_, rounds_, keys);
    else
        invertKeys(encryptKeys_, rounds_, keys);
    if (first) decryptKeysState_.store(READY, std::memory_order_release);
    return keys;
}

void AesCipher::setIv(unsigned char const* iv) {
    m_bIv = iv != nullptr;
    if (m_bIv) std::memcpy(iv_, iv, BLOCK_SIZE);
}

void AesCipher::setCounter(unsigned char const* counter) {
    m_bCounter = counter != nullptr;
    if (m_bCounter) std::memcpy(counter_, counter, BLOCK_SIZE);
}

bool AesCipher::ready(unsigned char const* in, unsigned char const* result, unsigned long num,
                      int mode) const {
    ZAN_ASSERT_DO(mode >= ECB && mode <= CTR, return false);
    if (mode != ECB && mode != CTR) ZAN_ASSERT_TEXT_DO(m_bIv, "m_bIv", "return", return false);
    if (mode == CTR) ZAN_ASSERT_TEXT_DO(m_bCounter, "m_bCounter", "return", return false);
    ZAN_ASSERT_TEXT_DO(in != nullptr && result != nullptr && m_bKey,
                       "in != 0 && result != 0 && m_bKey", "return", return false);
    ZAN_ASSERT_TEXT_DO(num > 0 && num % BLOCK_SIZE == 0, "num > 0 && num % BLOCK_SIZE == 0",
                       "return", return false);
    return true;
}

void AesCipher::encrypt(unsigned char const* in, unsigned char* result, unsigned long num,
                        int mode) const {
    if (!ready(in, result, num, mode)) return;
    unsigned char const* const chain = mode == CTR ? counter_ : iv_;
    if (instructions_)
        platform::aesEncrypt(encryptKeys_, rounds_, mode, chain, in, result, num / BLOCK_SIZE);
    else
        ENCRYPT[mode](encryptKeys_, rounds_, chain, in, result, num);
}

void AesCipher::decrypt(unsigned char const* in, unsigned char* result, unsigned long num,
                        int mode) const {
    if (mode == OFB || mode == CTR) return encrypt(in, result, num, mode);
    if (!ready(in, result, num, mode)) return;
    Word own[MAX_WORDS];
    Word const* const keys = mode == CFB ? encryptKeys_ : decryptKeys(own);
    if (instructions_)
        platform::aesDecrypt(keys, rounds_, mode, iv_, in, result, num / BLOCK_SIZE);
    else
        DECRYPT[mode](keys, rounds_, iv_, in, result, num);
    if (keys == own) wipe(own, sizeof own);
}

}  // namespace zan
