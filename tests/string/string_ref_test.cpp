#include "zan/string/string_ref.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "support/assertions.h"
#include "support/log_capture.h"
#include "zan/base/base_type_value.h"
#include "zan/base/exception.h"
#include "zan/log/log_dumper.h"

namespace {

using namespace zan;

// A buffer with a guard behind it.
struct Memory {
    explicit Memory(unsigned long n) : size(n) { bytes.assign(n + 1, '#'); }
    ~Memory() { EXPECT_EQ('#', bytes[size]) << "written behind the capacity"; }
    StringRef ref() { return StringRef(bytes.data(), size); }
    std::string text() const { return bytes.substr(0, size); }

    unsigned long size;
    std::string bytes;
};

TEST(StringRefOverflow, AppendReportsAndCuts) {
    Memory m(4);
    StringRef r = m.ref();
    r.append("abc", npos);
    EXPECT_EQ(3u, r.size());
    EXPECT_EQ(0, m.bytes[3]);
    zan_test::LogCapture log;
    r << istr("d");
    EXPECT_EQ("", log.text());
    EXPECT_EQ("abcd", m.text());
    r << istr("e");
    EXPECT_TRUE(log.has("ENSURE FAILURE"));
    EXPECT_TRUE(log.has("curSize_ + _sz <= maxSize_"));
    EXPECT_TRUE(log.has("zan::StringRef::append"));
    EXPECT_EQ(4u, r.size());
    r = istr("xyz12345");
    EXPECT_EQ("xyz1", m.text());
}

TEST(StringRefOverflow, MovingPastTheEndThrows) {
    Memory m(2);
    StringRef r = m.ref();
    r << 'a' << Byte('b');
    zan_test::LogCapture log;
    try {
        r << 'c';
        FAIL();
    } catch (OutOfRangeException const& e) {
        EXPECT_STREQ("OutOfRangeException: OutOfRangeException", e.msg());
    }
    EXPECT_TRUE(log.has("OutOfRangeException: OutOfRangeException"));
    EXPECT_THROW(++r, OutOfRangeException);
    EXPECT_EQ("ab", m.text());
    r.rewind(1);
    EXPECT_EQ('b', *r++);
    EXPECT_EQ(0u, r.left());
    r.rewind().advance(1);
    EXPECT_EQ(0, m.bytes[1]) << "the byte at the new position";
    EXPECT_THROW(r.advance(2), OutOfRangeException);
    EXPECT_EQ(1u, r.size());
}

TEST(StringRefRows, TextsSetOffInAFilledBuffer) {
    auto const row = [](unsigned long n, auto const& write) {
        Memory m(n);
        StringRef r = m.ref();
        r.fill('-');
        EXPECT_EQ(n, r.size());
        write(r);
        EXPECT_EQ(n, r.size()) << "the position stays";
        return m.text();
    };
    EXPECT_EQ("ab -----", row(8, [](StringRef& r) { r.left("ab"); }));
    EXPECT_EQ("abcdefg ", row(8, [](StringRef& r) { r.left("abcdefghij"); }));
    EXPECT_EQ("----- ab", row(8, [](StringRef& r) { r.right("ab"); }));
    EXPECT_EQ(" defghij", row(8, [](StringRef& r) { r.right("abcdefghij"); }));
    EXPECT_EQ("---- ***", row(8, [](StringRef& r) { r.right('*', 3); }));
    EXPECT_EQ(" *******", row(8, [](StringRef& r) { r.right('*', 99); }));
    EXPECT_EQ("-- ab --", row(8, [](StringRef& r) { r.center("ab"); }));
    EXPECT_EQ("- abc --", row(8, [](StringRef& r) { r.center("abc"); }));
    EXPECT_EQ(" bcdefg ", row(8, [](StringRef& r) { r.center("abcdefgh"); })) << "its middle";
    EXPECT_EQ("--------",
              row(8, [](StringRef& r) { r.center("").left("").right("").right('*', 0); }));
    for (unsigned long n : {0ul, 1ul, 2ul})
        row(n, [](StringRef& r) { r.center("abc").left("abc").right("abc").right('*', 3); });
}

TEST(StringRefMemory, Views) {
    SKIP_WHERE_ASSERTIONS_ABORT();
    Memory m(8);
    StringRef r = m.ref();
    EXPECT_FALSE(r.null());
    EXPECT_TRUE(StringRef().null());
    StringRef sum = r + istr("abc");
    EXPECT_EQ(0u, r.size());
    EXPECT_EQ(istr("abc"), istr(sum)) << "the same memory";
    sum.shift(2);
    EXPECT_EQ(6u, sum.max_size());
    EXPECT_EQ(0u, sum.size());
    sum.shift(99);
    EXPECT_EQ(0u, sum.max_size());
    r.rewind(3);
    EXPECT_EQ('c', std::as_const(r).at(2));
    EXPECT_THROW(r.at(9), OutOfRangeException);
    Bytes bytes(4);
    StringRef onBytes(bytes);
    onBytes += 'x';
    onBytes += istr("y");
    EXPECT_EQ(istr("xy"), istr(onBytes));
    dumper d(true);
    d << onBytes;
    EXPECT_EQ("{buffer_='xy' curSize_=2 maxSize_=4}", d.str());
}

}  // namespace
