#include "zan/string/string_slice.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/seed.h"
#include "support/text.h"
#include "zan/zan.h"

namespace {

using namespace zan;

TEST(StringSliceEnd, IsNeverPassed) {
    StringSlice s("ab");
    EXPECT_EQ('a', *s++);
    EXPECT_EQ(istr("b"), s.next(5));
    EXPECT_TRUE(s.eof());
    EXPECT_THROW(s.rewind(3), OutOfRangeException);
    EXPECT_THROW(s.advance(~0ul), OutOfRangeException);
    char c = 'k';
    unsigned char u = 'k';
    Byte b('k');
    EXPECT_THROW(s >> c, OutOfRangeException);
    EXPECT_THROW(s >> u, OutOfRangeException);
    EXPECT_THROW(s >> b, OutOfRangeException);
    EXPECT_EQ('k', c);
    unsigned long n = 4;
    s.read(&u, n);
    EXPECT_EQ(0u, n);
    s.rewind();
    s >> c >> ByteRef(u, 0x0F);
    EXPECT_EQ('a', c);
    EXPECT_EQ(2, u);
    EXPECT_EQ(2u, s.cursor());
    EXPECT_EQ(istr(), s.readAllLeft());
    EXPECT_EQ("OutOfRangeException: OutOfRangeException",
              zan_test::messageOf<OutOfRangeException>([&s] { ++s; }));
}

TEST(StringSliceSearch, PiecesBetweenDelimiters) {
    StringSlice s("a,b");
    EXPECT_FALSE(s.skipTo(";"));
    EXPECT_TRUE(s.eof());
    s.rewind();
    EXPECT_TRUE(s.skipTo(","));
    EXPECT_EQ('b', *s);
    EXPECT_TRUE(s.match("b"));
    EXPECT_FALSE(s.match("bc"));
    EXPECT_TRUE(s.match(""));
    EXPECT_EQ(istr(), s.readUntil("")) << "an empty delimiter stands everywhere";
    EXPECT_EQ(2u, s.cursor());
}

// Against a plain search at each place.
TEST(StringSliceSearch, AsAPlainSearch) {
    auto random = zan_test::makeRandom();
    for (int round = 0; round < 2000; ++round) {
        std::string const text = zan_test::randomBytes(random, random() % 30, 3);
        std::string const delim = zan_test::randomBytes(random, 1 + random() % 4, 3);
        std::vector<char> const exact(text.begin(), text.end());
        StringSlice s(exact.data(), exact.size(), 0);
        for (std::size_t at = 0, found = 0; found != std::string::npos;) {
            found = text.find(delim, at);
            ASSERT_EQ(istr(text).substr(at, found - at), s.readUntil(delim));
            at = std::min(found, text.size()) + delim.size();
            ASSERT_EQ(std::min(at, text.size()), s.cursor());
        }
        ASSERT_TRUE(s.eof());
    }
}

TEST(StringSliceCompare, LooksAtThePointersFirst) {
    char const text[] = "abcde";
    EXPECT_TRUE(StringSlice(text, 3, 0) == StringSlice(text, 5, 0));
    EXPECT_GT(StringSlice("", 0, 0), StringSlice());
    EXPECT_LT(StringSlice("ab"), StringSlice(std::string("abc")));
    EXPECT_EQ(StringSlice(String("ab")), StringSlice(istr("ab")));
    EXPECT_NE(StringSlice("ab").substr(1, 9), StringSlice("ab"));
    EXPECT_EQ(StringSlice("abc").substr(1, 9), StringSlice("bc"));
    EXPECT_EQ("{addr_='abcde' size_=5 cursor_=2}", zan_test::dumped(StringSlice(text, 5, 2), true));
}

}  // namespace
