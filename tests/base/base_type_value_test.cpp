#include "zan/base/base_type_value.h"

#include <gtest/gtest.h>

#include <climits>

#include "support/log_capture.h"
#include "zan/base/exception.h"

namespace {

using namespace zan;

// --- From text

TEST(ValueText, WhatIsNoNumber) {
    EXPECT_FALSE(Bit(String("0")));
    EXPECT_TRUE(Bit(String("7")));
    EXPECT_FALSE(Bit(String("")));
    EXPECT_FALSE(Bit("0")) << "a literal is text, not a pointer";
    EXPECT_EQ(44, Byte(String("300")).value());
    EXPECT_EQ(42, Long(String("  42x")).value());
    EXPECT_EQ(12, Short("12abc").value());
    EXPECT_EQ(-7, Longlong(std::wstring(L"-7")).value());
    EXPECT_EQ(2.5, Double(String("2.5")).value());
    Long kept(5);
    EXPECT_EQ(5, kept.fromString("").value());
    EXPECT_EQ(5, kept.fromString("x").value());
    EXPECT_EQ(0, kept.fromString("0").value());
    EXPECT_EQ(INT_MAX, kept.fromString("99999999999").value()) << "as the extraction leaves it";
    Double keptDouble(1.5);
    EXPECT_EQ(1.5, keptDouble.fromString("x").value());
    Byte lost(5);
    EXPECT_EQ(0, lost.fromString("").value());
    Char lostChar('x');
    EXPECT_EQ(0, lostChar.fromString("x").value());
    EXPECT_EQ(L'\U0001F600', Wchar(String("128512")).value()) << "a whole code point";
}

TEST(ValueText, ThereAndBack) {
    EXPECT_EQ("1", Bit(true).toString());
    EXPECT_EQ("97", Char('a').toString());
    EXPECT_EQ("97", Byte('a').toString());
    EXPECT_EQ("97", Wchar(L'a').toString());
    EXPECT_EQ("-2147483648", Long(Long::MIN_VAL).toString());
    EXPECT_EQ("-9223372036854775808", Longlong(Longlong::MIN_VAL).toString());
    EXPECT_EQ(Ulonglong::MAX_VAL, Ulonglong(Ulonglong(Ulonglong::MAX_VAL).toString()).value());
    EXPECT_EQ("1.23457", Double(1.23456789).toString());
    EXPECT_EQ("1e+10", Float(1e10f).toString());
}

// --- 32 bits are 32 bits.

TEST(ValueRange, LongAndUlongNeverCut) {
    EXPECT_EQ(INT_MAX, Long(2147483647l).value());
    EXPECT_EQ(INT_MIN, Long(-2147483648l).value());
    EXPECT_EQ(UINT_MAX, Ulong(4294967295ul).value());
    EXPECT_THROW(Long(2147483648l), OutOfRangeException);
    EXPECT_THROW(Long(-2147483649l), OutOfRangeException);
    EXPECT_THROW(Long(2147483648u), OutOfRangeException);
    EXPECT_THROW(Ulong(4294967296ul), OutOfRangeException);
    EXPECT_THROW(Ulong(-1), OutOfRangeException);
    EXPECT_THROW(Long(~0ull), OutOfRangeException);
    EXPECT_THROW(Longlong(0x100000000ul, 0ul), OutOfRangeException);
    Long x(5);
    zan_test::LogCapture log;
    try {
        x = 1l << 40;
        FAIL();
    } catch (OutOfRangeException const& e) {
        EXPECT_STREQ("OutOfRangeException: OutOfRangeException", e.msg());
    }
    EXPECT_TRUE(log.has("THROWING"));
    EXPECT_EQ(5, x.value());
}

// --- Halves and bits

TEST(ValueHalves, LowComesFirst) {
    EXPECT_EQ(0xFA, Byte(0x0A, 0x0F).value());
    EXPECT_EQ(15, Byte(0xFA).high());
    EXPECT_EQ(10, Byte(0xFA).low());
    EXPECT_EQ(0xF3, Byte(0xFA).low(0x73).value()) << "masked";
    EXPECT_EQ(0x3A, Byte(0xFA).high(0x73).value());
    EXPECT_EQ('\xFA', Char(0x0A, 0x0F).value());
    EXPECT_EQ(15, Char('\xFA').high());
    EXPECT_EQ(static_cast<short>(0xABCD), Short(0xCD, 0xAB).value());
    EXPECT_EQ(0xAB, Short(0xCD, 0xAB).high());
    EXPECT_EQ(0xABCD, Ushort(0xCD, 0xAB).value());
    EXPECT_EQ(0xABCD1234, static_cast<std::uint32_t>(Long(0x1234, 0xABCD).value()));
    EXPECT_EQ(0xABCD, Long(0x1234, 0xABCD).high());
    EXPECT_EQ(0x1234FFFFu, Ulong(0x1234ABCD).low(0xFFFF).value());
    EXPECT_EQ(0x100000002, Longlong(2ul, 1ul).value());
    EXPECT_EQ(0xFFFFFFFFul, Longlong(-1).high());
    EXPECT_EQ(0x500000002u, Ulonglong(0x100000002u).high(5).value());
}

}  // namespace
