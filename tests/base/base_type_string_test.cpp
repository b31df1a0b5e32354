#include "zan/base/base_type_string.h"

#include <gtest/gtest.h>

#include "support/seed.h"
#include "zan/base/base_type_bytes.h"

namespace {

using namespace zan;

String const UTF8_TEXT("\xe4\xb8\xad\xe6\x96\x87 \xf0\x9f\x98\x80 abc");  // CJK, an emoji, ASCII
std::wstring const WIDE_TEXT(L"\u4e2d\u6587 \U0001F600 abc");

TEST(StringForms, NullCountsAsEmptyEverywhere) {
    char const* const none = nullptr;
    wchar_t const* const wideNone = nullptr;
    String s(none);
    EXPECT_TRUE(!s && s == none);
    EXPECT_EQ(nullptr, static_cast<void*>(s));
    EXPECT_EQ("", s = String("abc") = none);
    EXPECT_EQ("", s = String("abc") = wideNone);
    EXPECT_EQ("", s = String("abc") = istr());
    s += none;
    s += wideNone;
    s += istr();
    EXPECT_EQ("", s);
    EXPECT_STREQ("", to_str(none).get());
    EXPECT_STREQ(L"", to_wstr(none).get());
    EXPECT_STREQ("", to_utf8str(nullptr).get());
}

TEST(StringForms, KeepsZeroBytesWhereTheLengthIsGiven) {
    istr const bytes("a\0b", 3);
    EXPECT_EQ(bytes, String(bytes));
    EXPECT_EQ(bytes, String("a\0b", 3));
    EXPECT_EQ(bytes, String(bytes.data(), bytes.data() + 3));
    String s("a");
    s += '\0';
    s += static_cast<unsigned char>('b');
    EXPECT_EQ(bytes, s);
    EXPECT_EQ(bytes, s = bytes);
}

TEST(StringForms, ComposesTextAndNumbers) {
    String s;
    s << "n=" << 7 << ", " << -1L << ", " << 2.5 << ", " << std::string("x") << String("y")
      << istr("zz", 1) << L"\u00e4" << 'c' << true;
    EXPECT_EQ(String("n=7, -1, 2.5, xyz") + "\xc3\xa4" + "c1", s);
}

TEST(StringForms, ComparesWithEverythingTextual) {
    String const a("ab");
    EXPECT_TRUE(a == "ab" && "ab" == a && a == std::string("ab") && std::string("ab") == a);
    EXPECT_TRUE(a == istr("ab") && istr("ab") == a && a != String("ac") && a < "b" && "a" < a);
    EXPECT_TRUE(String("\x80") > "\x7f" && a <= a && a >= a && !(a < a));
}

TEST(StringEdits, PairsAndReplacements) {
    std::pair<char const*, char const*> const trimmed[] = {
        {"'x'", "x"}, {"'", "'"}, {"''x''", "'x'"}, {"''", ""}};
    for (auto const& [text, want] : trimmed) EXPECT_EQ(want, String(text).trimLeftRight('\''));
    char const* const replaced[][4] = {{"aaa", "a", "aa", "aaaaaa"},
                                       {"aaa", "aa", "b", "ba"},
                                       {"abc", "", "x", "abc"},
                                       {"", "x", "y", ""}};
    for (auto const& [text, from, to, want] : replaced)
        EXPECT_EQ(want, String(text).replace(from, to));
}

TEST(Conversion, Utf8IsTheDefaultAndPassesUnchecked) {
    Bytes out(istr("old"));
    ansiToUtf8(istr("\xff\x00\xfe", 3), out);
    EXPECT_EQ(istr("\xff\x00\xfe", 3), istr(out));
    EXPECT_EQ(WIDE_TEXT, toWstring(ansi(UTF8_TEXT)));
    EXPECT_EQ(UTF8_TEXT, String(WIDE_TEXT));
    EXPECT_EQ(UTF8_TEXT, String(WIDE_TEXT.c_str()));
    EXPECT_EQ(WIDE_TEXT, static_cast<std::wstring>(UTF8_TEXT));
    EXPECT_EQ(istr(UTF8_TEXT), istr(toUtf8(wstr(WIDE_TEXT))));
    String text("x");
    text += WIDE_TEXT;
    EXPECT_EQ("x" + UTF8_TEXT, text);
}

TEST(Conversion, GoesThroughWideTextForOtherPages) {
    String const gbk("\xd6\xd0\xce\xc4");
    Bytes utf8Bytes;
    gbk.ansiToUtf8(utf8Bytes, 936);
    EXPECT_EQ("\xe4\xb8\xad\xe6\x96\x87", istr(utf8Bytes));
    EXPECT_EQ(gbk, String::fromUtf8(istr(utf8Bytes), 936));
    EXPECT_EQ(L"\u4e2d\u6587", gbk.toWstring(936));
    EXPECT_EQ(gbk, toAnsi(wstr(L"\u4e2d\u6587"), 936));
    EXPECT_STREQ("\xd6\xd0", to_str(L"\u4e2d", 936).get());
    EXPECT_EQ("\xe4", String::fromWstring(L"\u00e4", 1252));
    EXPECT_EQ("?", String::fromWstring(L"\u4e2d", 1252)) << "the target cannot hold it";
    EXPECT_EQ(L"\ufffdZ", toWstring(utf8("\xffZ"))) << "damage never stops a conversion";
}

TEST(Conversion, ANulEndsTextOnTheWideRouteOnly) {
    String out;
    ansiToAnsi(istr("a\0b", 3), 65001, out, 936);
    EXPECT_EQ("a", out);
    ansiToAnsi(istr("a\0b", 3), 936, out, 936);
    EXPECT_EQ(istr("a\0b", 3), out);
    // -1 and 65001 are different numbers, so this one converts.
    ansiToAnsi(istr("a\xff\0b", 4), -1, out, 65001);
    EXPECT_EQ("a\xef\xbf\xbd", out);
    EXPECT_EQ(1u, toWstring(ansi(istr("a\0b", 3))).size());
}

TEST(Conversion, AnUnknownPageGivesAnEmptyResult) {
    Bytes bytes(istr("old"));
    ansiToUtf8("abc", bytes, 12345);
    EXPECT_TRUE(bytes.empty());
    ansiToUtf8("", bytes, 936);
    EXPECT_TRUE(bytes.empty());
    String text("old");
    utf8ToAnsi("abc", text, 12345);
    EXPECT_EQ("", text);
}

TEST(Conversion, RandomTextComesBack) {
    auto random = zan_test::makeRandom();
    for (int round = 0; round < 200; ++round) {
        std::wstring wide(random() % 200, L'a');
        for (wchar_t& c : wide) {
            do c = static_cast<wchar_t>(1 + random() % 0x10FFFF);
            while (c >= 0xD800 && c <= 0xF8FF);  // surrogates, and characters of private use
        }
        ASSERT_EQ(wide, toWstring(ansi(String(wide))));
        ASSERT_EQ(wide, String::fromWstring(wide, 54936).toWstring(54936)) << "GB18030";
    }
}

TEST(ScratchBuffers, OwnOneCharacterMoreAndHandOver) {
    CharBuffer five(5);
    EXPECT_EQ(6u, five.max_size());
    CharBuffer text{istr("abc")};
    CharBuffer copy(text);
    five = copy;
    EXPECT_EQ("abc", istr(five));
    EXPECT_EQ(4u, ostr(five).max_size());
    char* const raw = five.release();
    EXPECT_STREQ("abc", raw);
    EXPECT_EQ(nullptr, five.data());
    delete[] raw;
    five = CharBuffer(five);
    EXPECT_EQ(0u, five.max_size());
    EXPECT_EQ(L"ab", iwstr(WcharBuffer{iwstr(L"ab")}));
    AutoPtr<char> first = to_str("abc");
    AutoPtr<char> second(first);
    EXPECT_EQ(nullptr, first.get());
    EXPECT_STREQ("abc", second.get());
}

}  // namespace
