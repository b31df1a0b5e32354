#include "zan/base/base_type_view.h"

#include <gtest/gtest.h>

#include <sstream>

#include "zan/base/base_type_string.h"

namespace {

using namespace zan;

template <class T>
std::string dumped(T const& value) {
    std::ostringstream os;
    value.dump(os);
    return os.str();
}

TEST(ViewNullAndEmpty, BothCountAsEmptyAndCompareEqual) {
    EXPECT_TRUE(istr(0).is_null() && iwstr(0).is_null()) << "a literal zero is no length";
    EXPECT_FALSE(istr("", 0).is_null());
    EXPECT_TRUE(istr().empty() && istr("", 0).empty());
    EXPECT_TRUE(istr() == istr("") && iwstr() == iwstr(L""));
    EXPECT_EQ(std::string(), static_cast<std::string>(istr()));
    EXPECT_EQ("0, <null>", dumped(istr()));
    EXPECT_EQ("2, ab", dumped(istr("ab")));
    EXPECT_EQ("2, ab", dumped(iwstr(L"ab")));
}

TEST(ViewOrder, BytesAreUnsignedAndPrefixesSortFirst) {
    istr const ordered[] = {"", "\1", "a", istr("a\0b", 3), istr("a\0c", 3), "ab", "abc", "\x80"};
    for (istr const& a : ordered)
        for (istr const& b : ordered) {
            EXPECT_EQ(&a < &b, a < b) << a << ' ' << b;
            EXPECT_EQ(&a == &b, a == b) << a << ' ' << b;
            EXPECT_EQ(&a > &b, a > b) << a << ' ' << b;
        }
}

TEST(ViewCutting, NeverReachesOutside) {
    istr const abc("abc");
    EXPECT_TRUE(abc.substr(5, 2).empty());
    EXPECT_EQ("bc", abc.substr(1, 100));
    EXPECT_EQ("bc", abc.substr(1));
    EXPECT_EQ("bc", abc.rightstr(2));
    EXPECT_EQ("abc", abc.rightstr(~0UL));
    EXPECT_EQ("ab", istr(abc, 2));
    EXPECT_EQ("abc", istr(abc, ~0UL));
    EXPECT_EQ("c", abc.removeLeft(istr("xy")));
    EXPECT_EQ("a", abc.removeRight(2));
    EXPECT_TRUE(abc.beginWith(istr()) && abc.endWith("bc") && !abc.beginWith("abcd"));
    EXPECT_EQ(L"bc", std::wstring(iwstr(L"abc").rightstr(2)));
}

TEST(ViewTrim, StopsAtBothEnds) {
    EXPECT_EQ("ab", istr("  ab  ").trim());
    EXPECT_EQ("a b\t ", istr("\n a b\t ").trimLeft());
    EXPECT_EQ("\n a b", istr("\n a b\t ").trimRight());
    char const blanks[3] = {' ', ' ', ' '};  // not terminated
    EXPECT_TRUE(istr(blanks, 3).trim().empty());
    EXPECT_TRUE(istr().trim().empty());
    wchar_t const wide[2] = {L' ', L'\u3000'};
    EXPECT_LE(iwstr(wide, 2).trimLeft().size(), 1u);
}

TEST(ViewStream, WritesRawBytesWhateverTheWidth) {
    std::ostringstream os;
    os.width(10);
    os << istr("a\0b", 3) << iwstr(L"\u00e4") << istr() << iwstr();
    EXPECT_EQ(std::string("a\0b\xc3\xa4", 5), os.str());
}

TEST(WritableBuffer, CutsAndStaysTerminated) {
    char memory[5] = {'x', 'x', 'x', 'x', '!'};
    ostr out(memory, 4);
    out = "abcdef";
    EXPECT_STREQ("abc", memory);
    EXPECT_EQ("3/4, abc", dumped(out));
    EXPECT_EQ('!', memory[4]);
    out.assign("a\0b", 3);
    EXPECT_STREQ("a", memory);
    EXPECT_EQ(4u, istr(out).size());
    EXPECT_EQ(0, memory[2]) << "the rest is padded";
    ostr none(memory, 0);
    none.assign("abc");
    EXPECT_STREQ("a", memory);
    EXPECT_TRUE(none.empty());
    EXPECT_EQ("0/0, <null>", dumped(ostr()));
}

TEST(WritableBuffer, AssignFromAnotherRebindsInsteadOfCopying) {
    char a[4] = "aaa";
    char b[4] = "bbb";
    ostr out(a, sizeof(a));
    out = ostr(b, sizeof(b));
    out.substr(1, 2).assign("x");
    EXPECT_STREQ("aaa", a);
    EXPECT_STREQ("bx", b);
    out.reset();
    EXPECT_STREQ("", b);
    EXPECT_EQ(0, b[3]);
    char full[3] = {'a', 'b', 'c'};
    EXPECT_EQ(3u, ostr(full, 3).sizeN());
    EXPECT_EQ(2u, ostr(full, 3).sizeN(2));
}

}  // namespace
