#include "zan/util/md5.h"

#include <gtest/gtest.h>

#include "support/seed.h"
#include "support/vectors.h"

namespace {

using namespace zan;

std::string digest(MD5 const& md5) {
    String raw;
    md5.getDigest(raw);
    return raw;
}

TEST(Md5Digest, VectorsOfTheRfc) {
    MD5 reused;
    for (auto const& v : zan_test::vectors("ciphers.txt", "md5")) {
        std::string const wanted = zan_test::fromDigits(v.fields[1]);
        EXPECT_EQ(wanted, digest(MD5(v.fields[0])));
        reused.update(v.fields[0]);
        reused.finish();
        EXPECT_EQ(wanted, digest(reused)) << "nothing of the message before";
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
        EXPECT_EQ(digest(MD5(whole)), digest(pieces)) << size;
    }
}

}  // namespace
