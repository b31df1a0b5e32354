#include "zan/string/string_ref.h"

#include <gtest/gtest.h>

#include <functional>

#include "support/assertions.h"
#include "support/log_capture.h"
#include "support/text.h"
#include "zan/zan.h"

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
    for (char const* part :
         {"ENSURE FAILURE", "curSize_ + _sz <= maxSize_", "zan::StringRef::append"})
        EXPECT_TRUE(log.has(part)) << part;
    EXPECT_EQ(4u, r.size());
    r = istr("xyz12345");
    EXPECT_EQ("xyz1", m.text());
}

TEST(StringRefOverflow, MovingPastTheEndThrows) {
    Memory m(2);
    StringRef r = m.ref();
    r << 'a' << Byte('b');
    zan_test::LogCapture const log;
    std::string const message = "OutOfRangeException: OutOfRangeException";
    EXPECT_EQ(message, zan_test::messageOf<OutOfRangeException>([&r] { r << 'c'; }));
    EXPECT_TRUE(log.has(message));
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
    std::pair<char const*, std::function<void(StringRef&)>> const rows[] = {
        {"ab -----", [](StringRef& r) { r.left("ab"); }},
        {"abcdefg ", [](StringRef& r) { r.left("abcdefghij"); }},
        {"----- ab", [](StringRef& r) { r.right("ab"); }},
        {" defghij", [](StringRef& r) { r.right("abcdefghij"); }},
        {"---- ***", [](StringRef& r) { r.right('*', 3); }},
        {" *******", [](StringRef& r) { r.right('*', 99); }},
        {"-- ab --", [](StringRef& r) { r.center("ab"); }},
        {"- abc --", [](StringRef& r) { r.center("abc"); }},
        {" bcdefg ", [](StringRef& r) { r.center("abcdefgh"); }},
        {"--------", [](StringRef& r) { r.center("").left("").right("").right('*', 0); }}};
    for (auto const& [wanted, write] : rows)
        for (unsigned long n : {0ul, 1ul, 2ul, 8ul}) {
            Memory m(n);
            StringRef r = m.ref();
            r.fill('-');
            write(r);
            EXPECT_EQ(n, r.size()) << "the position stays";
            EXPECT_TRUE(n != 8 || m.text() == wanted) << m.text() << " instead of " << wanted;
        }
}

TEST(StringRefMemory, Views) {
    SKIP_WHERE_ASSERTIONS_ABORT();
    Memory m(8);
    StringRef r = m.ref();
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
    EXPECT_EQ("{buffer_='xy' curSize_=2 maxSize_=4}", zan_test::dumped(onBytes, true));
}

}  // namespace
