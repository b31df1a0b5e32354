#include "zan/util/bmputil.h"

#include <gtest/gtest.h>

#include "support/assertions.h"
#include "support/vectors.h"

namespace {

using namespace zan;
using zan_test::fromDigits;

std::string bytesOf(StringBuffer const& out) {
    return std::string(istr(out));
}

using Compress = void (*)(istr, StringBuffer&);

void expectMade(Compress compress, std::string const& in, std::string const& made) {
    StringBuffer out;
    compress(fromDigits(in), out);
    EXPECT_EQ(fromDigits(made), bytesOf(out)) << in;
}

TEST(BitmapPixels, AreReduced) {
    std::tuple<unsigned short, char const*, char const*> const cases[] = {
        {24, "", ""},
        {24, "FF0000", "7C00"},
        {24, "00FF00", "03E0"},
        {24, "0000FF", "001F"},
        {24, "FFFFFF 12", "7FFF"},
        {24, "1234", ""},
        {24, "070707 F8F8F8 08 10 20 FF0000 00FF00 0000FF 808080",
         "0000 7FFF 0444 7C00 03E0 001F 4210"},
        {16, "FFFF 8001 11", "7FFF 0001"},
        {16, "FF", ""},
        {32, "FFFFFFFF 80", "FFFFFFFF 80"}};
    for (auto const& [bits, in, want] : cases) {
        StringBuffer out("head");
        toBmp15Data(fromDigits(in), bits, out);
        EXPECT_EQ("head" + fromDigits(want), bytesOf(out)) << in;
        EXPECT_EQ(0, out.c_str()[out.size()]);
    }
}

TEST(BitmapRuns, OfAnImage) {
    char const* const cases[][2] = {{"", ""},
                                    {"7C00", "7C00"},
                                    {"7C007C00", "817C007C00"},
                                    {"7C00 001F", "7C00001F"},
                                    {"7C007C00001F03E0", "827C00001F03E0"},
                                    {"7C007C007C007C00", "837C007C00"},
                                    {"7C00001F001F", "7C0081001F001F"},
                                    {"7C00001F7C00001F7C007C00001F", "7C00001F7C00001F827C00001F"}};
    for (auto const& [in, want] : cases) expectMade(compressBmp15Data, in, want);
    std::pair<std::size_t, std::string> const counts[] = {
        {63, "BF"},          {64, "8040"},          {255, "80FF"},
        {256, "8100"},       {16383, "BFFF"},       {16384, "FFFF81"},
        {32766, "FFFFBFFF"}, {32767, "FFFFFFFF81"}, {99999, "FFFFFFFFFFFFFFFFFFFFFFFF86A5"}};
    for (auto const& [n, token] : counts) {
        std::string const times = "*" + std::to_string(n);
        expectMade(compressBmp15Data, "1234" + times + " 1234", token + "12341234");
        expectMade(compressBmp15Data, "1234" + times + " 0001", token + "12340001");
        expectMade(compressBmp15DiffData, "0000" + times, token);
        expectMade(compressBmp15DiffData, "1234 0000" + times, "1234" + token);
    }
}

TEST(BitmapRuns, OfADifference) {
    expectMade(compressBmp15DiffData, "", "");
    expectMade(compressBmp15DiffData, "000000007C000000", "827C0081");
    expectMade(compressBmp15DiffData, "0001*5 7F00", "0001*5 7F00");
    StringBuffer out("x");
    diffBmp15Data(fromDigits("7C00 1234 5678"), fromDigits("7C00 1235 0000"), out);
    EXPECT_EQ(fromDigits("78 0000 0001 5678"), bytesOf(out));
    // In one buffer.
    StringBuffer one(fromDigits("1234*3"));
    diffBmp15Data(one, one, one);
    compressBmp15Data(istr(one).leftstr(6), one);
    compressBmp15DiffData(istr(one).substr(6, 6), one);
    toBmp15Data(istr(one).leftstr(3), 24, one);
    EXPECT_EQ(fromDigits("1234*3 0000*3 8212341234 83 08C2"), bytesOf(one));
}

TEST(BitmapRuns, BrokenPreconditionsAppendNothing) {
    SKIP_WHERE_ASSERTIONS_ABORT();
    StringBuffer out("head");
    diffBmp15Data("ab", "abc", out);
    compressBmp15Data("abc", out);
    compressBmp15DiffData("abc", out);
    for (int i = 0; i < 12; ++i) {
        std::string bad = fromDigits("0001*12");
        bad[static_cast<std::size_t>(2 * i)] = '\x80';
        compressBmp15DiffData(bad, out);
    }
    EXPECT_EQ(istr("head"), istr(out));
}

}  // namespace
