#include "zan/util/aes.h"

#include <gtest/gtest.h>

#include <atomic>

#include "support/assertions.h"
#include "support/seed.h"
#include "support/threads.h"
#include "support/vectors.h"

namespace {

using namespace zan;
using namespace zan_test;

unsigned char const* raw(std::string const& s) {
    return reinterpret_cast<unsigned char const*>(s.data());
}

std::string run(AesCipher const& cipher, bool encrypt, std::string const& in, int mode) {
    std::string out(in.size(), 'x');
    auto* const result = reinterpret_cast<unsigned char*>(&out[0]);
    if (encrypt)
        cipher.encrypt(raw(in), result, in.size(), mode);
    else
        cipher.decrypt(raw(in), result, in.size(), mode);
    return out;
}

constexpr AesCipher::Path PATHS[] = {AesCipher::FASTEST, AesCipher::TABLES};

TEST(AesVectors, OfTheStandards) {
    for (auto const path : PATHS)
        for (auto const& v : zan_test::vectors("ciphers.txt", "aes")) {
            int const mode = std::stoi(v.fields[0]);
            std::string const key = fromDigits(v.fields[1]);
            std::string const start = fromDigits(v.fields[2]);
            std::string const text = fromDigits(v.fields[3]);
            std::string const encrypted = fromDigits(v.fields[4]);
            AesCipher cipher(path);
            cipher.setKey(raw(key), static_cast<int>(key.size()));
            cipher.setIv(raw(start));
            cipher.setCounter(raw(start));
            EXPECT_EQ(static_cast<int>(key.size() / 4 + 6), cipher.rounds());
            EXPECT_EQ(encrypted, run(cipher, true, text, mode)) << "line " << v.line;
            EXPECT_EQ(text, run(cipher, false, encrypted, mode)) << "line " << v.line;
        }
}

// Many blocks at once take other ways than few; the modes chain them.
TEST(AesModes, BothPathsAgreeAndWorkInPlace) {
    auto random = zan_test::makeRandom();
    for (int round = 0; round < 300; ++round) {
        std::string const key = randomBytes(random, 16 + 8 * (random() % 3));
        std::string const start = std::string(random() % 17, '\xFF') + randomBytes(random, 16);
        std::string const text = randomBytes(random, 16 * (1 + random() % 40));
        AesCipher paths[2]{AesCipher(PATHS[0]), AesCipher(PATHS[1])};
        for (auto& cipher : paths) {
            cipher.setKey(raw(key), static_cast<int>(key.size()));
            cipher.setIv(raw(start));
            cipher.setCounter(raw(start));
        }
        for (int mode = AesCipher::ECB; mode <= AesCipher::CTR; ++mode) {
            std::string const encrypted = run(paths[1], true, text, mode);
            for (auto const& cipher : paths) {
                ASSERT_EQ(encrypted, run(cipher, true, text, mode)) << mode;
                std::string place = encrypted;
                auto* const p = reinterpret_cast<unsigned char*>(&place[0]);
                cipher.decrypt(p, p, place.size(), mode);
                ASSERT_EQ(text, place) << mode;
                cipher.encrypt(p, p, place.size(), mode);
                ASSERT_EQ(encrypted, place) << mode;
            }
        }
    }
}

TEST(AesModes, ThreadsThatDecryptFirstAtOnceAgree) {
    for (AesCipher::Path const path : PATHS)
        for (int i = 0; i < 200; ++i) {
            AesCipher cipher(path);
            unsigned char text[AesCipher::BLOCK_SIZE] = {static_cast<unsigned char>(i)};
            unsigned char sealed[AesCipher::BLOCK_SIZE];
            cipher.setKey(text, sizeof text);
            cipher.encrypt(text, sealed, sizeof text, AesCipher::ECB);
            std::atomic<int> waiting{4};
            zan_test::Threads(4, [&](unsigned) {
                unsigned char opened[AesCipher::BLOCK_SIZE];
                for (--waiting; waiting != 0;) std::this_thread::yield();
                cipher.decrypt(sealed, opened, sizeof sealed, AesCipher::ECB);
                EXPECT_TRUE(std::equal(text, text + sizeof text, opened));
            });
        }
}

TEST(AesText, LengthsAndKeysAreCutAndFilled) {
    std::string const text = "seventeen letters";
    Bytes longer;
    Bytes shorter;
    Bytes back;
    AES const cipher("short", "iv");
    cipher.encrypt(text, longer);
    EXPECT_EQ(32u, longer.size());
    cipher.decrypt(longer, back);
    EXPECT_EQ(istr(text + std::string(15, '\0')), istr(back));
    cipher.encrypt(istr(text, 16), shorter);
    EXPECT_EQ(istr(longer).leftstr(16), istr(shorter)) << "the chain starts anew";
    AES(istr("short\0\0\0\0\0\0\0\0\0\0\0beyond", 22), "iv").encrypt(text, shorter);
    EXPECT_EQ(istr(longer), istr(shorter));
    // `out` may be where the input stands.
    back = istr(text);
    cipher.encrypt(back, back);
    EXPECT_EQ(istr(longer), istr(back));
    cipher.decrypt(back, back);
    EXPECT_EQ(istr(text), istr(back).leftstr(17));
    cipher.encrypt(istr(), back);
    EXPECT_TRUE(back.empty());
    cipher.decrypt(istr(), back);
    EXPECT_TRUE(back.empty());
}

TEST(AesText, BrokenPreconditionsDoNothing) {
    SKIP_WHERE_ASSERTIONS_ABORT();
    Bytes out("before");
    AES("key", "iv").decrypt("no whole block", out);
    EXPECT_TRUE(out.empty());
    std::string const in(32, 'a');
    std::string const untouched(32, 'x');
    AesCipher cipher;
    EXPECT_EQ(untouched, run(cipher, true, in, AesCipher::ECB)) << "no key";
    cipher.setKey(nullptr, 16);
    cipher.setKey(raw(in), 17);
    EXPECT_EQ(0, cipher.keyLength());
    EXPECT_EQ(0, cipher.rounds());
    cipher.setKey(raw(in), 24);
    cipher.setKey(raw(in), 0);
    EXPECT_EQ(24, cipher.keyLength());
    // Set, and taken away again.
    cipher.setIv(raw(in));
    cipher.setCounter(raw(in));
    cipher.setIv(nullptr);
    cipher.setCounter(nullptr);
    for (int const mode : {-1, 1, 2, 3, 4, 5})
        for (bool const encrypt : {true, false})
            EXPECT_EQ(untouched, run(cipher, encrypt, in, mode)) << mode;
    std::string const odd(17, 'x');
    EXPECT_EQ(odd, run(cipher, true, odd, AesCipher::ECB));
    EXPECT_EQ("", run(cipher, true, "", AesCipher::ECB));
}

}  // namespace
