#include "zan/base/base_type_bytes.h"

#include <gtest/gtest.h>

#include "support/log_capture.h"
#include "support/text.h"
#include "zan/zan.h"

namespace {

using namespace zan;
using zan_test::LogCapture;

std::string hex(istr const& bytes) {
    return zan_test::dumped(hexdata(bytes), true);
}

TEST(BytesGrowth, DoublesAndKeepsTheZeroBehindTheCapacity) {
    Bytes b;
    EXPECT_EQ(nullptr, b.data());
    std::string capacities;
    for (unsigned long n : {1ul, 2ul, 4ul, 8ul, 100ul}) {
        b.append(istr(std::string(n, 'x')));
        capacities += std::to_string(b.max_size()) + " ";
        EXPECT_EQ(0, b.data()[b.max_size()]);
    }
    EXPECT_EQ("2 6 14 30 115 ", capacities);
    EXPECT_EQ(115u, b.size());
    b.resize(5);
    EXPECT_EQ(115u, b.max_size()) << "never shrinks";
    b.clear();
    EXPECT_EQ(nullptr, b.data());
}

TEST(BytesContent, AssignPadAndCompare) {
    EXPECT_EQ("ab  ", istr(Bytes(istr("ab"), 4, 0x20)));
    EXPECT_EQ("abcd", istr(Bytes(istr("abcdef"), 4, 0)));
    Bytes b(istr("abc"));
    unsigned long const capacity = b.max_size();
    b = istr();
    EXPECT_TRUE(b.empty());
    EXPECT_EQ(capacity, b.max_size()) << "a null view empties and keeps the memory";
    b = istr("xyz");
    Bytes copy(b);
    Bytes& self = b;
    b = self;
    EXPECT_TRUE(copy == b && b == "xyz" && b < istr("xz"));
    Bytes moved(std::move(copy));
    EXPECT_EQ("xyz", istr(moved));
    moved.fill(0x41);
    EXPECT_EQ(std::string(moved.max_size(), 'A'), std::string(moved.c_str()));
    moved.init(10);
    EXPECT_TRUE(moved.empty());
    EXPECT_GE(ostr(moved).max_size(), 10u);
}

TEST(BytesContent, AViewOfItsOwnBytesMayBeAppended) {
    Bytes b(istr("abc"));
    for (int i = 0; i < 5; ++i) b.append(b);
    std::string want;
    for (int i = 0; i < 32; ++i) want += "abc";
    EXPECT_EQ(want, static_cast<std::string>(istr(b)));
    b.assign(istr(b).substr(1, 4));
    EXPECT_EQ("bcab", istr(b));
}

TEST(FixedArrays, TooMuchDataIsReportedAndCut) {
    LogCapture log;
    octets<4> four;
    four.fill('.');
    four.assign("ab", 2);
    EXPECT_EQ("ab..", istr(four));
    EXPECT_EQ("", log.text());
    four.assign("12345", 5);
    EXPECT_EQ("1234", istr(four));
    EXPECT_EQ(1u, log.count("ENSURE FAILURE\n"));
    EXPECT_TRUE(log.has(" CONDITION: _sz<=max_size()\n"));
    log.clear();
    charray<8> eight;
    eight = "123456789";
    EXPECT_EQ("12345678", istr(eight));
    EXPECT_EQ(0, eight[8]);
    EXPECT_TRUE(log.has(" CONDITION: _sz<=max_size(), _buf(123456789)_sz(9)max_size()(8)\n"));
    EXPECT_TRUE(log.has("zan::charray<8>::assign(string_charray.h:"));
    eight = "x";
    EXPECT_EQ(1u, eight.size());
}

TEST(ByteOrder, MostSignificantFirst) {
    EXPECT_EQ("12 34", hex(hton(static_cast<unsigned short>(0x1234))));
    EXPECT_EQ("12 34 56 78", hex(hton(0x12345678u)));
    EXPECT_EQ("12 34 56 78", hex(hton(0x12345678ul)));
    EXPECT_EQ("FF FF FF FE", hex(hton(-2)));
    EXPECT_EQ("FF FF FF FE", hex(hton(-2L)));
    EXPECT_EQ("01 02 03 04 05 06 07 08", hex(hton(0x0102030405060708ull)));
    EXPECT_EQ(0x1234u, ntoh(octets<2>(istr("\x12\x34"))));
    EXPECT_EQ(0xFFFFFFFEul, ntoh(octets<4>(istr("\xff\xff\xff\xfe"))));
    EXPECT_EQ(0x80ull << 56, ntoh(octets<8>(istr("\x80\0\0\0\0\0\0\0", 8))));
    EXPECT_THROW(hton(0x100000000ul), OutOfRangeException) << "data has 32 bits";
    EXPECT_THROW(hton(-0x80000001l), OutOfRangeException);
    EXPECT_EQ("127.0.0.1", ip_ntoa(ip_aton("127.0.0.1")));
    EXPECT_EQ(0xFFFFFFFFul, ip_aton("no address"));
}

}  // namespace
