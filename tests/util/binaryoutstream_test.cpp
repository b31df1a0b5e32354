#include "zan/util/binaryoutstream.h"

#include <gtest/gtest.h>

#include "zan/base/exception.h"

namespace {

using namespace std::string_literals;
using namespace zan;

template <class T>
std::string bytesOf(T const& v) {
    BinaryOutStream out;
    out.write(v);
    return out.str();
}

TEST(BinaryOutWire, Values) {
    BinaryOutStream out;
    out.write(short(300)).write(String("xy"));
    EXPECT_EQ("\1\2\x2C\1\1\2xy", std::string(out.str()));
    EXPECT_EQ("\0"s, bytesOf(null_type()));
    EXPECT_EQ("\1\0"s, bytesOf(empty_type()));
    EXPECT_EQ("\1\1\xC8", bytesOf(static_cast<unsigned char>(200)));
    EXPECT_EQ("\1\1\1", bytesOf(Bit(true)));
    EXPECT_EQ("\1\2\xFF\xFF", bytesOf(static_cast<char>(-1)));
    EXPECT_EQ("\1\4\xFF\xFF\xFF\xFF", bytesOf(-1l));
    EXPECT_EQ("\1\4\0\0\x80\x3F"s, bytesOf(1.0f));
    EXPECT_EQ("\1\3xyz", bytesOf("xyz")) << "a literal is no bool";
    EXPECT_EQ("\1\2\xC3\xA9", bytesOf(L"\u00E9"));
    EXPECT_EQ("\2\x2C\1" + std::string(300, 'x'), bytesOf(Bytes(std::string(300, 'x'))));
    out.buffer().psize(0);
    out.writeRaw("ab", npos).writeRaw(istr("c")).writeRaw(static_cast<unsigned char>('d'));
    EXPECT_EQ("abcd", std::string(out.str()));
}

TEST(BinaryOutOfRange, NothingIsWritten) {
    BinaryOutStream out;
    EXPECT_THROW(out.write(1l << 31), OutOfRangeException);
    EXPECT_THROW(out.write(~0ul), OutOfRangeException);
    EXPECT_THROW(out.write(Wchar(0x10000)), OutOfRangeException);
    EXPECT_THROW(out.write(istr("", 1ul << 32)), OutOfRangeException);
    EXPECT_TRUE(out.str().empty());
}

}  // namespace
