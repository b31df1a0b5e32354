#include "zan/util/aes.h"

#include <gtest/gtest.h>

#include "support/assertions.h"
#include "support/log_capture.h"
#include "support/seed.h"
#include "support/vectors.h"

namespace {

using namespace zan;
using zan_test::fromDigits;
using zan_test::randomBytes;

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
    std::string const iv = fromDigits("000102030405060708090A0B0C0D0E0F");
    for (auto const path : PATHS)
        for (auto const& v : zan_test::vectors("ciphers.txt", "aes")) {
            int const mode = std::stoi(v.fields[0]);
            std::string const key = fromDigits(v.fields[1]);
            std::string const text = fromDigits(v.fields[2]);
            std::string const encrypted = fromDigits(v.fields[3]);
            AesCipher cipher(path);
            cipher.setKey(raw(key), static_cast<int>(key.size()));
            cipher.setIv(raw(iv));
            EXPECT_EQ(static_cast<int>(key.size() / 4 + 6), cipher.rounds());
            EXPECT_EQ(encrypted, run(cipher, true, text, mode)) << "line " << v.line;
            EXPECT_EQ(text, run(cipher, false, encrypted, mode)) << "line " << v.line;
        }
}

// What each mode is, block by block, from the block function alone.
std::string model(AesCipher const& block, bool encrypt, std::string const& in, int mode,
                  std::string chain) {
    auto const mix = [](std::string a, std::string const& b) {
        for (std::size_t i = 0; i < a.size(); ++i) a[i] = static_cast<char>(a[i] ^ b[i]);
        return a;
    };
    std::string out;
    for (std::size_t at = 0; at < in.size(); at += 16) {
        std::string const text = in.substr(at, 16);
        std::string made;
        if (mode == 0) {
            made = run(block, encrypt, text, 0);
        } else if (mode == 1 && encrypt) {
            made = chain = run(block, true, mix(chain, text), 0);
        } else if (mode == 1) {
            made = mix(run(block, false, text, 0), chain);
            chain = text;
        } else {
            std::string const stream = run(block, true, chain, 0);
            made = mix(stream, text);
            if (mode == 2) chain = encrypt ? made : text;
            if (mode == 3) chain = stream;
            for (std::size_t i = 0; mode == 4 && i < 16 && ++chain[i] == 0;) ++i;
        }
        out += made;
    }
    return out;
}

TEST(AesModes, BothPathsDoAsTheBlocksSay) {
    auto random = zan_test::makeRandom();
    for (int round = 0; round < 300; ++round) {
        int const keyLength = 16 + 8 * (round % 3);
        std::string const key = randomBytes(random, static_cast<std::size_t>(keyLength));
        std::string chain = randomBytes(random, 16);
        // A counter that is about to carry through all its bytes, or some.
        for (std::size_t i = 0; i < random() % 17; ++i) chain[i] = '\xFF';
        std::string const in = randomBytes(random, 16 * (1 + random() % 40));
        AesCipher paths[2]{AesCipher(PATHS[0]), AesCipher(PATHS[1])};
        for (auto& cipher : paths) {
            cipher.setKey(raw(key), keyLength);
            cipher.setIv(raw(chain));
            cipher.setCounter(raw(chain));
        }
        for (int mode = AesCipher::ECB; mode <= AesCipher::CTR; ++mode)
            for (bool const encrypt : {true, false}) {
                std::string const want = model(paths[1], encrypt, in, mode, chain);
                for (auto const& cipher : paths) {
                    ASSERT_EQ(want, run(cipher, encrypt, in, mode)) << mode << encrypt;
                    std::string place = in;
                    auto* const p = reinterpret_cast<unsigned char*>(&place[0]);
                    encrypt ? cipher.encrypt(p, p, place.size(), mode)
                            : cipher.decrypt(p, p, place.size(), mode);
                    ASSERT_EQ(want, place) << "in place " << mode << encrypt;
                }
            }
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
    zan_test::LogCapture const quiet;
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
