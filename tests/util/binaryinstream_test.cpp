#include "zan/util/binaryinstream.h"

#include <gtest/gtest.h>

#include "support/log_capture.h"
#include "support/text.h"
#include "zan/util/binaryoutstream.h"

namespace {

using namespace zan;
using zan_test::messageOf;

// Everything that can be written, once.
std::string sample() {
    BinaryOutStream out;
    out.write(true).write('\xFE').write(static_cast<unsigned char>(200)).write(short(-300));
    out.write(static_cast<unsigned short>(40000)).write(-70000).write(4000000000u).write(-5l);
    out.write(5ul).write(-(static_cast<__int64>(1) << 40)).write(~0ull).write(1.5f).write(-2.5);
    out.write(Time::microSeconds(-3)).write(Wchar(0xFFFD)).write(Bytes(std::string(130, 'b')));
    out.write(String("t\xC3\xA9")).write(std::wstring(L"\u00E9")).write(null_type());
    out.write(empty_type()).write(istr("view"));
    return out.str();
}

// Reads all of it, and says in text what came.
std::string readAll(istr const& bytes) {
    BinaryInStream in(bytes);
    std::ostringstream os;
    auto const number = [&](auto v) {
        in.read(v);
        os << +v << ' ';
    };
    char c = 'x';
    number(false);
    in.read(c);
    os << int{static_cast<signed char>(c)} << ' ';
    number(static_cast<unsigned char>(1)), number(short(1));
    number(static_cast<unsigned short>(1)), number(1), number(1u), number(1l), number(1ul);
    number(1ll), number(1ull), number(1.0f), number(1.0);
    Time t = Time::forever();
    Wchar w(L'x');
    Bytes b(istr("x"));
    String s("x");
    std::wstring ws(L"x");
    istr view("x");
    in.read(t).read(w).read(b).read(s).read(ws);
    os << t.toMicroSeconds() << ' ' << static_cast<long>(w) << ' ' << istr(b) << ' ' << s << ' '
       << iwstr(ws) << ' ';
    number(1), number(1);
    in.read(view);
    os << view;
    return os.str();
}

TEST(BinaryInRoundTrip, AllTypes) {
    EXPECT_EQ(
        "1 -2 200 -300 40000 -70000 4000000000 -5 5 -1099511627776 18446744073709551615 1.5 "
        "-2.5 -3 65533 " +
            std::string(130, 'b') + " t\xC3\xA9 \xC3\xA9 0 0 view",
        readAll(sample()));
}

TEST(BinaryInDamage, TruncationAndEveryValueOfEveryByte) {
    std::string const whole = sample();
    for (std::size_t n = 0; n <= whole.size(); ++n) {
        std::vector<char> const exact(whole.begin(), whole.begin() + static_cast<long>(n));
        EXPECT_NO_THROW(readAll(istr(exact.data(), n))) << "cut at " << n;
    }
    for (std::size_t i = 0; i<whole.size(); i += i> 90 && i < 200 ? 40 : 1)
        for (int v = 0; v < 256; v += i % 3 == 0 ? 1 : 5) {
            std::vector<char> damaged(whole.begin(), whole.end());
            damaged[i] = static_cast<char>(v);
            try {
                readAll(istr(damaged.data(), damaged.size()));
            } catch (BinaryDecodeException const&) {
            }
        }
}

TEST(BinaryInDamage, Texts) {
    char const* const table[][2] = {{"\2\1\5", "invalid los 2"},
                                    {"\x80\1\5", "invalid los 4294967168"},
                                    {"\1\t123456789", "invalid size 9"},
                                    {"\1\x80z", "invalid size 4294967168"}};
    int v = 0;
    for (auto const& row : table)
        EXPECT_EQ("BinaryDecodeException: " + std::string(row[1]),
                  messageOf<BinaryDecodeException>([&] { BinaryInStream(row[0]).read(v); }));
    Bytes b;
    EXPECT_EQ("BinaryDecodeException: invalid los 5",
              messageOf<BinaryDecodeException>([&] { BinaryInStream("\5\1").read(b); }));
    EXPECT_NO_THROW(BinaryInStream("\2").read(v)) << "the input ended";
}

TEST(BinaryInTruncation, WhatIsThere) {
    zan_test::LogCapture log;
    long v = 7;
    BinaryInStream(istr("\1\4\1\2")).read(v);
    EXPECT_EQ(0, v);
    EXPECT_TRUE(log.has("uncompleted data size 2, expected 4"));
    Bytes b;
    BinaryInStream(istr("\1\5a")).read(b);
    EXPECT_EQ(istr("a"), istr(b));
    BinaryInStream(istr("\4\xFF\xFF\xFF\xFFz")).read(b);
    EXPECT_EQ(1u, b.size());
    EXPECT_GT(64u, b.max_size()) << "4 GiB announced, one byte there";
    String s;
    BinaryInStream(istr("\xF1\3xyz")).read(s);
    EXPECT_EQ("xyz", s) << "the high nibble is dropped";
    BinaryInStream in(istr("\0\1\1\5", 4));
    in.read(v);
    EXPECT_EQ(0, v);
    in.read(v);
    EXPECT_EQ(5, v) << "the next value follows a null";
    char c = 'x';
    unsigned long n = 3;
    char out[3];
    in.readRaw(c).readRaw(out, &n);
    EXPECT_EQ(0, c);
    EXPECT_EQ(0u, n);
    in.str(istr("\x35"));
    EXPECT_EQ(5, in.readLos());
    EXPECT_EQ(0, in.readLos());
    EXPECT_EQ(istr("\x35"), in.str());
}

}  // namespace
