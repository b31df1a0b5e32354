#include "zan/util/des3.h"

#include <gtest/gtest.h>

#include "support/log_capture.h"
#include "support/seed.h"
#include "support/vectors.h"

namespace {

using namespace zan;
using zan_test::fromDigits;
using zan_test::randomBytes;

TEST(DesVectors, KnownAnswers) {
    // The first is the worked example of the standard's literature; then come those of SP 500-20
    // for the permutations, the keys and the substitutions.
    char const* const vectors[][3] = {{"133457799BBCDFF1", "0123456789ABCDEF", "85E813540F0AB405"},
                                      {"0101010101010101", "95F8A5E5DD31D900", "8000000000000000"},
                                      {"0101010101010101", "0000000000000001", "166B40B44ABA4BD6"},
                                      {"8001010101010101", "0000000000000000", "95A8D72813DAA94D"},
                                      {"0101010101010102", "0000000000000000", "869EFD7F9F265A09"},
                                      {"1046913489980131", "0000000000000000", "88D55E54F54C97B4"},
                                      {"7CA110454A1A6E57", "01A1D6D039776742", "690F5B0D9A26939B"},
                                      {"0131D9619DC1376E", "5CD54CA83DEF57DA", "7A389D10354BD271"},
                                      {"07A1133E4A0B2686", "0248D43806F67172", "868EBB51CAB4599A"},
                                      {"1C587F1C13924FEF", "305532286D6F295A", "63FAC0D034D9F793"}};
    for (auto const& v : vectors) {
        Bytes out;
        EXPECT_TRUE(des3::encode(fromDigits(v[1]), out, fromDigits(v[0])));
        EXPECT_EQ(fromDigits(v[2]), std::string(istr(out)));
        EXPECT_TRUE(des3::decode(out, out, fromDigits(v[0])));
        EXPECT_EQ(fromDigits(v[1]), std::string(istr(out)));
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
