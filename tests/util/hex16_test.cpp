#include "zan/util/hex16.h"

#include <gtest/gtest.h>

#include "support/assertions.h"
#include "support/log_capture.h"

namespace {

using namespace zan;

TEST(HexText, EveryByteBothWays) {
    std::string raw;
    std::string digits;
    for (int i = 0; i < 256; ++i) {
        raw += static_cast<char>(i);
        digits += "0123456789ABCDEF"[i / 16];
        digits += "0123456789ABCDEF"[i % 16];
    }
    String text("old");
    Hex16::encode(raw, text);
    EXPECT_EQ(digits, text);
    Bytes bytes;
    Hex16::decode(text, bytes);
    EXPECT_EQ(istr(raw), istr(bytes));
    for (char& c : text) c = static_cast<char>(std::tolower(c));
    Hex16::decode(text, bytes);
    EXPECT_EQ(istr(raw), istr(bytes));
    Hex16::encode(istr(), text);
    EXPECT_EQ("", text);
}

TEST(HexText, WhatIsNoDigitSetsBits) {
    Bytes bytes;
    Hex16::decode("x11xg:", bytes);
    EXPECT_EQ(istr("\xF1\xFF\xFF"), istr(bytes));
    for (int i = -128; i < 128; ++i) {
        char const c = static_cast<char>(i);
        bool const digit = i > 0 && std::isxdigit(i) != 0;
        EXPECT_EQ(digit, Hex16::isHexChar(c));
        EXPECT_EQ(digit ? std::stoul(std::string(1, c), nullptr, 16) : 0xFF, Hex16::decode(c));
    }
    EXPECT_EQ("F?", std::string({Hex16::encode(15), Hex16::encode(16)}));
}

TEST(HexText, AnOddCharacterIsReportedAndDropped) {
    SKIP_WHERE_ASSERTIONS_ABORT();
    zan_test::LogCapture const log;
    Bytes bytes;
    Hex16::decode("ABC", bytes);
    EXPECT_EQ(istr("\xAB"), istr(bytes));
    EXPECT_TRUE(log.has("(_inTxt.size()&1)==0"));
}

TEST(HexText, OutputOverItsOwnInput) {
    Bytes bytes("..616263");
    Hex16::decode(istr(bytes).substr(2), bytes);
    EXPECT_EQ(istr("abc"), istr(bytes));
    String text("..abc");
    Hex16::encode(istr(text).substr(2), text);
    EXPECT_EQ("616263", text);
}

}  // namespace
