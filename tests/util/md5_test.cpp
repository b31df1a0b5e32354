#include "zan/util/md5.h"

#include <gtest/gtest.h>

#include "support/seed.h"
#include "zan/util/hex16.h"

namespace {

using namespace zan;

std::string shown(MD5 const& md5) {
    String raw;
    md5.getDigest(raw);
    EXPECT_EQ(16u, raw.size());
    String text;
    Hex16::encode(raw, text);
    return text;
}

TEST(Md5Digest, VectorsOfTheRfc) {
    struct {
        char const* text;
        char const* digest;
    } const vectors[] = {
        {"", "D41D8CD98F00B204E9800998ECF8427E"},
        {"a", "0CC175B9C0F1B6A831C399E269772661"},
        {"abc", "900150983CD24FB0D6963F7D28E17F72"},
        {"message digest", "F96B697D7CB7938D525A2F31AAF161D0"},
        {"abcdefghijklmnopqrstuvwxyz", "C3FCD3D76192E4007DFB496CCA67E13B"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
         "D174AB98D277D9F5A5611C2C9F419D9F"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57EDF4A22BE3C955AC49DA2E2107B67A"}};
    MD5 reused;
    for (auto const& v : vectors) {
        EXPECT_EQ(v.digest, shown(MD5(v.text)));
        reused.update(v.text);
        reused.finish();
        EXPECT_EQ(v.digest, shown(reused)) << "nothing of the message before";
    }
}

TEST(Md5Digest, TheCutsDoNotMatter) {
    auto random = zan_test::makeRandom();
    std::string const text = zan_test::randomBytes(random, 300);
    for (std::size_t size = 0; size <= text.size(); ++size) {
        istr const whole(text.data(), size);
        MD5 pieces;
        for (std::size_t at = 0, n = 0; at < size; at += n) {
            n = random() % 150;
            pieces.update(whole.substr(at, n));
        }
        pieces.finish();
        EXPECT_EQ(shown(MD5(whole)), shown(pieces)) << size;
    }
}

}  // namespace
