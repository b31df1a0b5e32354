#include "zan/util/des3.h"

#include <gtest/gtest.h>

#include "support/log_capture.h"
#include "support/seed.h"
#include "support/vectors.h"

namespace {

using namespace zan;
using namespace zan_test;

TEST(DesVectors, KnownAnswers) {
    for (auto const& v : zan_test::vectors("ciphers.txt", "des")) {
        std::string const key = fromDigits(v.fields[0]);
        Bytes out;
        EXPECT_TRUE(des3::encode(fromDigits(v.fields[1]), out, key));
        EXPECT_EQ(fromDigits(v.fields[2]), std::string(istr(out))) << "line " << v.line;
        EXPECT_TRUE(des3::decode(out, out, key));
        EXPECT_EQ(fromDigits(v.fields[1]), std::string(istr(out))) << "line " << v.line;
    }
}

TEST(DesText, EachBlockStandsForItselfAndIsFilledUp) {
    auto random = zan_test::makeRandom();
    for (unsigned long n = 0; n < 70; ++n) {
        std::string text = randomBytes(random, n);
        std::string const key = randomBytes(random, random() % 9);
        Bytes all;
        ASSERT_TRUE(des3::encode(text, all, key));
        ASSERT_EQ((n + 7) / 8 * 8, all.size());
        // A short key is one with zeros behind it; parity does not count.
        std::string fullKey = key + std::string(8 - key.size(), '\0');
        for (char& c : fullKey) c = static_cast<char>(c ^ 1);
        std::string pieces;
        for (unsigned long at = 0; at < n; at += 8) {
            Bytes one;
            des3::encode(text.substr(at, 8), one, fullKey);
            pieces += std::string(istr(one));
        }
        ASSERT_EQ(istr(pieces), istr(all));
        Bytes back;
        ASSERT_TRUE(des3::decode(all, back, key));
        text.resize(all.size());
        ASSERT_EQ(istr(text), istr(back));
    }
}

TEST(DesText, TooLongAKeyIsReportedAndCut) {
    Bytes want;
    Bytes got;
    des3::encode("the text", want, "12345678");
    zan_test::LogCapture const log;
    EXPECT_TRUE(des3::encode("the text", got, "123456789"));
    EXPECT_EQ(istr(want), istr(got));
    EXPECT_TRUE(log.has("ENSURE FAILURE"));
}

}  // namespace
