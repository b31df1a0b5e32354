#pragma once

#include <atomic>
#include <cstdint>

#include "zan/base/export.h"
#include "zan/mt/mutex.h"

namespace zan {

// The block cipher of FIPS 197, with keys of 128, 192 and 256 bits, in five modes. Most programs
// want the class AES in front of it.
//
//     zan::AesCipher cipher;
//     cipher.setKey(key, 16);
//     cipher.setCounter(counter);
//     cipher.encrypt(in, out, 64, zan::AesCipher::CTR);
//
// Each call starts its chain from the IV or the counter that was set, so two calls on one text give
// one result: set a new IV or counter for each text. No mode tells whether a text was changed.
//
// The processor's AES instructions are used where there are some. Elsewhere tables do the work, and
// how long that takes depends on key and text: who shares the processor can learn from it.
//
// Ownership: the key schedules are in the object, and are wiped when it goes.
// Threads: any number of encrypt() and decrypt() may run at once.
// Cost: the first decrypt() after a setKey() makes the key schedule of decryption.
// Errors: a broken REQUIRES is reported as a failed assertion, and the call does nothing.
class ZAN_EXPORT AesCipher : noncopyable {
public:
    static constexpr unsigned long BLOCK_SIZE = 16;

    // How blocks are chained. CFB is with whole blocks, CFB128. The counter of CTR is a number with
    // its lowest byte first, unlike that of most other programs.
    enum Mode { ECB = 0, CBC = 1, CFB = 2, OFB = 3, CTR = 4 };

    // Which code does the work: TABLES is for tests and measurements.
    enum Path { FASTEST, TABLES };

    explicit AesCipher(Path path = FASTEST);
    ~AesCipher();

    // REQUIRES: key not null, keyLength 16, 24 or 32.
    void setKey(unsigned char const* key, int keyLength);
    // 16 bytes. Null takes the IV away.
    void setIv(unsigned char const* iv);
    // 16 bytes. Null takes the counter away.
    void setCounter(unsigned char const* counter);

    // The key's length in bytes and the rounds of a block, 0 with no key.
    int keyLength() const { return m_bKey ? keyLength_ : 0; }
    int rounds() const { return m_bKey ? rounds_ : 0; }

    // `num` is in bytes. `in` and `result` are the same place or do not overlap.
    // REQUIRES: a key; an IV for CBC, CFB and OFB, a counter for CTR; num a multiple of
    // BLOCK_SIZE and not 0.
    void encrypt(unsigned char const* in, unsigned char* result, unsigned long num, int mode) const;
    void decrypt(unsigned char const* in, unsigned char* result, unsigned long num, int mode) const;

private:
    static constexpr int MAX_WORDS = 4 * (14 + 1);

    bool ready(unsigned char const* in, unsigned char const* result, unsigned long num,
               int mode) const;
    std::uint32_t const* decryptKeys(std::uint32_t* own) const;

    bool m_bKey = false;
    std::uint32_t encryptKeys_[MAX_WORDS];
    mutable std::uint32_t decryptKeys_[MAX_WORDS];
    mutable std::atomic<int> decryptKeysState_{0};
    int keyLength_ = 0;
    int rounds_ = 0;
    bool m_bIv = false;
    unsigned char iv_[BLOCK_SIZE];
    bool m_bCounter = false;
    unsigned char counter_[BLOCK_SIZE];
    bool const instructions_;
};

}  // namespace zan
