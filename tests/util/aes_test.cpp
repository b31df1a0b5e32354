#include "zan/util/aes.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "support/assertions.h"
#include "support/log_capture.h"
#include "support/seed.h"
#include "zan/util/hex16.h"

namespace {

using namespace zan;

std::string bytesOf(std::string const& hex) {
    Bytes bytes;
    Hex16::decode(hex, bytes);
    return std::string(istr(bytes));
}

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
    std::string const counting = "00112233445566778899AABBCCDDEEFF";
    std::string const text =
        "6BC1BEE22E409F96E93D7E117393172AAE2D8A571E03AC9C9EB76FAC45AF8E51"
        "30C81C46A35CE411E5FBC1191A0A52EFF69F2445DF4F9B17AD2B417BE66C3710";
    std::string const key128 = "2B7E151628AED2A6ABF7158809CF4F3C";
    std::string const key192 = "8E73B0F7DA0E6452C810F32B809079E562F8EAD2522C6B7B";
    std::string const key256 = "603DEB1015CA71BE2B73AEF0857D77811F352C073B6108D72D9810A30914DFF4";
    std::string const iv = "000102030405060708090A0B0C0D0E0F";
    struct {
        std::string key;
        int mode;
        std::string text;
        std::string cipher;
    } const vectors[] = {
        // The examples of FIPS 197.
        {"000102030405060708090A0B0C0D0E0F", 0, counting, "69C4E0D86A7B0430D8CDB78070B4C55A"},
        {"000102030405060708090A0B0C0D0E0F1011121314151617", 0, counting,
         "DDA97CA4864CDFE06EAF70A0EC0D7191"},
        {"000102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F", 0, counting,
         "8EA2B7CA516745BFEAFC49904B496089"},
        // SP 800-38A, F.1 to F.4.
        {key128, 0, text,
         "3AD77BB40D7A3660A89ECAF32466EF97F5D3D58503B9699DE785895A96FDBAAF"
         "43B1CD7F598ECE23881B00E3ED0306887B0C785E27E8AD3F8223207104725DD4"},
        {key192, 0, text,
         "BD334F1D6E45F25FF712A214571FA5CC974104846D0AD3AD7734ECB3ECEE4EEF"
         "EF7AFD2270E2E60ADCE0BA2FACE6444E9A4B41BA738D6C72FB16691603C18E0E"},
        {key256, 0, text,
         "F3EED1BDB5D2A03C064B5A7E3DB181F8591CCB10D410ED26DC5BA74A31362870"
         "B6ED21B99CA6F4F9F153E7B1BEAFED1D23304B7A39F9F3FF067D8D8F9E24ECC7"},
        {key128, 1, text,
         "7649ABAC8119B246CEE98E9B12E9197D5086CB9B507219EE95DB113A917678B2"
         "73BED6B8E3C1743B7116E69E222295163FF1CAA1681FAC09120ECA307586E1A7"},
        {key192, 1, text,
         "4F021DB243BC633D7178183A9FA071E8B4D9ADA9AD7DEDF4E5E738763F69145A"
         "571B242012FB7AE07FA9BAAC3DF102E008B0E27988598881D920A9E64F5615CD"},
        {key256, 1, text,
         "F58C4C04D6E5F1BA779EABFB5F7BFBD69CFC4E967EDB808D679F777BC6702C7D"
         "39F23369A9D9BACFA530E26304231461B2EB05E2C39BE9FCDA6C19078C6A9D1B"},
        {key128, 2, text,
         "3B3FD92EB72DAD20333449F8E83CFB4AC8A64537A0B3A93FCDE3CDAD9F1CE58B"
         "26751F67A3CBB140B1808CF187A4F4DFC04B05357C5D1C0EEAC4C66F9FF7F2E6"},
        {key192, 2, text,
         "CDC80D6FDDF18CAB34C25909C99A417467CE7F7F81173621961A2B70171D3D7A"
         "2E1E8A1DD59B88B1C8E60FED1EFAC4C9C05F9F9CA9834FA042AE8FBA584B09FF"},
        {key256, 2, text,
         "DC7E84BFDA79164B7ECD8486985D386039FFED143B28B1C832113C6331E5407B"
         "DF10132415E54B92A13ED0A8267AE2F975A385741AB9CEF82031623D55B1E471"},
        {key128, 3, text,
         "3B3FD92EB72DAD20333449F8E83CFB4A7789508D16918F03F53C52DAC54ED825"
         "9740051E9C5FECF64344F7A82260EDCC304C6528F659C77866A510D9C1D6AE5E"},
        {key192, 3, text,
         "CDC80D6FDDF18CAB34C25909C99A4174FCC28B8D4C63837C09E81700C1100401"
         "8D9A9AEAC0F6596F559C6D4DAF59A5F26D9F200857CA6C3E9CAC524BD9ACC92A"},
        {key256, 3, text,
         "DC7E84BFDA79164B7ECD8486985D38604FEBDC6740D20B3AC88F6AD82A4FB08D"
         "71AB47A086E86EEDF39D1C5BBA97C4080126141D67F37BE8538F5A8BE740E484"},
    };
    for (auto const path : PATHS)
        for (auto const& v : vectors) {
            AesCipher cipher(path);
            cipher.setKey(raw(bytesOf(v.key)), static_cast<int>(v.key.size() / 2));
            cipher.setIv(raw(bytesOf(iv)));
            EXPECT_EQ(static_cast<int>(v.key.size() / 8 + 6), cipher.rounds());
            EXPECT_EQ(bytesOf(v.cipher), run(cipher, true, bytesOf(v.text), v.mode)) << v.cipher;
            EXPECT_EQ(bytesOf(v.text), run(cipher, false, bytesOf(v.cipher), v.mode)) << v.cipher;
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
    auto const text = [&](std::size_t n) {
        std::string s(n, 0);
        for (char& c : s) c = static_cast<char>(random());
        return s;
    };
    for (int round = 0; round < 300; ++round) {
        int const keyLength = 16 + 8 * (round % 3);
        std::string const key = text(static_cast<std::size_t>(keyLength));
        std::string chain = text(16);
        // A counter that is about to carry through all its bytes, or some.
        for (std::size_t i = 0; i < random() % 17; ++i) chain[i] = '\xFF';
        std::string const in = text(16 * (1 + random() % 40));
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

TEST(AesModes, ThreadsThatDecryptFirstAtOnceAgree) {
    for (AesCipher::Path const path : PATHS)
        for (int i = 0; i < 200; ++i) {
            AesCipher cipher(path);
            unsigned char text[AesCipher::BLOCK_SIZE] = {static_cast<unsigned char>(i)};
            unsigned char sealed[AesCipher::BLOCK_SIZE];
            cipher.setKey(text, sizeof text);
            cipher.encrypt(text, sealed, sizeof text, AesCipher::ECB);
            std::atomic<int> waiting{4};
            std::vector<std::thread> threads;
            for (int n = waiting; n != 0; --n)
                threads.emplace_back([&] {
                    unsigned char opened[AesCipher::BLOCK_SIZE];
                    for (--waiting; waiting != 0;) std::this_thread::yield();
                    cipher.decrypt(sealed, opened, sizeof sealed, AesCipher::ECB);
                    EXPECT_TRUE(std::equal(text, text + sizeof text, opened));
                });
            for (std::thread& thread : threads) thread.join();
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
    for (bool const taken : {false, true}) {
        for (int const mode : {-1, 1, 2, 3, 4, 5})
            for (bool const encrypt : {true, false})
                EXPECT_EQ(untouched, run(cipher, encrypt, in, mode)) << mode;
        // Set, and taken away again.
        cipher.setIv(taken ? nullptr : raw(in));
        cipher.setCounter(taken ? nullptr : raw(in));
        cipher.setIv(nullptr);
        cipher.setCounter(nullptr);
    }
    std::string const odd(17, 'x');
    EXPECT_EQ(odd, run(cipher, true, odd, AesCipher::ECB));
    EXPECT_EQ("", run(cipher, true, "", AesCipher::ECB));
}

}  // namespace
