#include "zan/util/bmputil.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/assertions.h"
#include "support/log_capture.h"
#include "support/seed.h"
#include "zan/util/hex16.h"

namespace {

using namespace zan;

std::string bytesOf(std::string hex) {
    hex.erase(std::remove(hex.begin(), hex.end(), ' '), hex.end());
    Bytes bytes;
    Hex16::decode(hex, bytes);
    return std::string(istr(bytes));
}

std::string shown(StringBuffer const& out) {
    String text;
    Hex16::encode(out, text);
    return text;
}

std::string pixels(std::size_t n, std::string const& hex) {
    std::string result;
    while (n-- != 0) result += bytesOf(hex);
    return result;
}

using Compress = void (*)(istr, StringBuffer&);

void expectMade(Compress compress, std::string const& in, std::string const& hex) {
    StringBuffer out;
    compress(in, out);
    EXPECT_EQ(bytesOf(hex), std::string(istr(out))) << shown(out).substr(0, 100);
}

TEST(BitmapPixels, AreReduced) {
    struct {
        unsigned short bits;
        char const* in;
        char const* want;
    } const cases[] = {{24, "", ""},
                       {24, "FF0000", "7C00"},
                       {24, "00FF00", "03E0"},
                       {24, "0000FF", "001F"},
                       {24, "FFFFFF 12", "7FFF"},
                       {24, "1234", ""},
                       {24, "070707 F8F8F8 08 10 20 FF0000 00FF00 0000FF 808080",
                        "0000 7FFF 0444 7C00 03E0 001F 4210"},
                       {16, "FFFF 8001 1", "7FFF 0001"},
                       {16, "FF", ""},
                       {32, "FFFFFFFF 80", "FFFFFFFF 80"}};
    for (auto const& c : cases) {
        StringBuffer out("head");
        toBmp15Data(bytesOf(c.in), c.bits, out);
        EXPECT_EQ("head" + bytesOf(c.want), std::string(istr(out))) << c.in;
        EXPECT_EQ(0, out.c_str()[out.size()]);
    }
}

TEST(BitmapRuns, OfAnImage) {
    struct {
        char const* in;
        char const* want;
    } const cases[] = {{"", ""},
                       {"7C00", "7C00"},
                       {"7C007C00", "817C007C00"},
                       {"7C00 001F", "7C00001F"},
                       {"7C007C007C00001F", "837C00001F"},
                       {"7C007C00001F03E0", "827C00001F03E0"},
                       {"7C007C007C007C00", "837C007C00"},
                       {"7C00001F001F", "7C0081001F001F"},
                       {"7C00001F7C00001F7C007C00001F", "7C00001F7C00001F827C00001F"}};
    for (auto const& c : cases) expectMade(compressBmp15Data, bytesOf(c.in), c.want);
    struct {
        std::size_t n;
        char const* token;
    } const counts[] = {
        {63, "BF"},          {64, "8040"},          {255, "80FF"},
        {256, "8100"},       {16383, "BFFF"},       {16384, "FFFF81"},
        {32766, "FFFFBFFF"}, {32767, "FFFFFFFF81"}, {99999, "FFFFFFFFFFFFFFFFFFFFFFFF86A5"}};
    for (auto const& c : counts) {
        expectMade(compressBmp15Data, pixels(c.n + 1, "1234"), std::string(c.token) + "12341234");
        expectMade(compressBmp15Data, pixels(c.n, "1234") + bytesOf("0001"),
                   std::string(c.token) + "12340001");
        expectMade(compressBmp15DiffData, pixels(c.n, "0000"), c.token);
        expectMade(compressBmp15DiffData, bytesOf("1234") + pixels(c.n, "0000"),
                   std::string("1234") + c.token);
    }
}

TEST(BitmapRuns, OfADifference) {
    expectMade(compressBmp15DiffData, "", "");
    expectMade(compressBmp15DiffData, bytesOf("000000007C000000"), "827C0081");
    expectMade(compressBmp15DiffData, bytesOf("000100010001000100017F00"),
               "000100010001000100017F00");
    StringBuffer out("x");
    diffBmp15Data(bytesOf("7C00 1234 5678"), bytesOf("7C00 1235 0000"), out);
    EXPECT_EQ("78000000015678", shown(out));
    // In one buffer.
    StringBuffer one(bytesOf("1234 1234 1234"));
    diffBmp15Data(one, one, one);
    compressBmp15Data(istr(one).leftstr(6), one);
    compressBmp15DiffData(istr(one).substr(6, 6), one);
    toBmp15Data(istr(one).leftstr(3), 24, one);
    EXPECT_EQ("123412341234000000000000821234123483" + std::string("08C2"), shown(one));
}

TEST(BitmapRuns, BrokenPreconditionsAppendNothing) {
    SKIP_WHERE_ASSERTIONS_ABORT();
    zan_test::LogCapture const quiet;
    StringBuffer out("head");
    diffBmp15Data("ab", "abc", out);
    compressBmp15Data("abc", out);
    compressBmp15DiffData("abc", out);
    for (int i = 0; i < 12; ++i) {
        std::string bad = pixels(12, "0001");
        bad[static_cast<std::size_t>(2 * i)] = '\x80';
        compressBmp15DiffData(bad, out);
    }
    EXPECT_EQ(istr("head"), istr(out));
}

}  // namespace
