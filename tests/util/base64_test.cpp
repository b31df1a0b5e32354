#include "zan/util/base64.h"

#include <gtest/gtest.h>

#include "support/seed.h"
#include "support/vectors.h"

namespace {

using namespace zan;

std::string encoded(istr const& in, bool lineBreaks = false) {
    String out;
    Base64::encode(in, out, lineBreaks);
    return out;
}

std::string decoded(istr const& in) {
    Bytes out("old");
    Base64::decode(in, out);
    std::vector<unsigned char> vector(3, 'o');
    Base64::decode(in, vector);
    if (out.empty())
        EXPECT_EQ(std::vector<unsigned char>(3, 'o'), vector) << "no Base64 leaves the vector";
    else
        EXPECT_EQ(istr(out), istr(vector.data(), vector.size()));
    EXPECT_EQ(out, Bytes(base64(in)));
    return istr(out);
}

TEST(Base64Text, VectorsOfTheRfc) {
    for (auto const& v : zan_test::vectors("ciphers.txt", "base64")) {
        EXPECT_EQ(v.fields[1], encoded(v.fields[0]));
        EXPECT_EQ(v.fields[0], decoded(v.fields[1]));
    }
    EXPECT_EQ("+/+/", encoded("\xFB\xFF\xBF"));
    String kept("text");
    Base64::encode(istr(), kept, true);
    Base64::encode(std::vector<unsigned char>(), kept, false);
    EXPECT_EQ("text", kept);
    for (int c = -128; c < 128; ++c)
        EXPECT_EQ(c > 0 && (std::isalnum(c) || std::strchr("+/=", c)),
                  Base64::isBase64(static_cast<char>(c)))
            << c;
}

TEST(Base64Text, LinesBreakBehind76CharactersButNotAtTheEnd) {
    for (std::size_t bytes : {1u, 56u, 57u, 58u, 114u, 115u, 500u}) {
        std::string const raw(bytes, 'x');
        std::string const flat = encoded(raw);
        std::string want = flat.substr(0, 76);
        for (std::size_t at = 76; at < flat.size(); at += 76) want += "\r\n" + flat.substr(at, 76);
        EXPECT_EQ(want, encoded(raw, true)) << bytes;
        EXPECT_EQ(raw, decoded(want));
    }
}

TEST(Base64Text, TheDecoderTakesAnything) {
    EXPECT_EQ(std::string("f\0\0", 3), decoded("Zg"));
    EXPECT_EQ(std::string("fo\0", 3), decoded("Zm8"));
    EXPECT_EQ("foobar", decoded(" Z\tm9\r\nvY-m_F.y\xFF"));
    EXPECT_EQ("fof", decoded("Zm8=Zg==")) << "padding does not end it";
    EXPECT_EQ("g\xFF", decoded("Zz=/")) << "the third byte without the second";
    EXPECT_EQ("\xFF", decoded("===="));
    EXPECT_EQ("", decoded(" \r\n-"));
    EXPECT_EQ("", decoded(istr()));
}

TEST(Base64Text, RoundTripsWithNoise) {
    auto random = zan_test::makeRandom();
    for (int i = 0; i < 2000; ++i) {
        std::string const raw = zan_test::randomBytes(random, 1 + random() % 200);
        std::string text = encoded(raw, random() % 2 != 0);
        EXPECT_EQ(raw, decoded(text));
        for (auto n = random() % 20; n != 0; --n)
            text.insert(random() % text.size(), 1, "- \n\xE9"[n % 4]);
        EXPECT_EQ(raw, decoded(text)) << text;
    }
}

TEST(Base64Text, OutputOverItsOwnInput) {
    String text("some bytes that are encoded where they stand");
    std::string const want = encoded(istr(text).substr(5));
    Base64::encode(istr(text).substr(5), text, false);
    EXPECT_EQ(want, text);
    Bytes bytes{istr(text)};
    Base64::decode(bytes, bytes);
    EXPECT_EQ("bytes that are encoded where they stand", std::string(istr(bytes)));
    std::vector<unsigned char> vector(want.begin(), want.end());
    Base64::decode(istr(vector.data(), vector.size()), vector);
    EXPECT_EQ(istr(bytes), istr(vector.data(), vector.size()));
}

}  // namespace
