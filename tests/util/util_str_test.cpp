#include "zan/util/util_str.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <sstream>

#include "support/assertions.h"
#include "support/log_capture.h"

namespace zan {
namespace {

// A buffer of exactly `n` bytes, so that a memory checker sees each byte too far, with a terminated
// text in it.
class Room {
public:
    explicit Room(unsigned long n, char const* text = "") : memory_(new char[n]), size_(n) {
        std::memset(memory_.get(), '#', n);
        std::strcpy(memory_.get(), text);
    }
    Str str() { return Str(memory_.get(), size_); }
    std::string text() { return std::string(memory_.get(), StrLenN(memory_.get(), size_)); }

private:
    std::unique_ptr<char[]> memory_;
    unsigned long size_;
};

TEST(UtilStrBounds, TextThatDoesNotFitIsCutAndTerminated) {
    SKIP_WHERE_ASSERTIONS_ABORT();
    Room room(4);
    Str s = room.str();
    EXPECT_EQ("abc", (s.copy("abc"), room.text()));
    EXPECT_EQ("abc", (s = "abcdef", room.text()));
    EXPECT_EQ("x", (s = "x", room.text()));
    EXPECT_EQ(3UL, s.left());
    EXPECT_EQ("xyz", (s += "yz", room.text()));
    EXPECT_EQ("xyz", (s += "more", room.text()));
    EXPECT_EQ("x", (s = "x", room.text()));
    EXPECT_EQ("xab", (s.cat("abc"), room.text()));  // as much as left(), with no room for the end
    EXPECT_EQ("a", (s = istr("a\0b", 3), room.text()));
    EXPECT_EQ("", (s = istr(), room.text()));

    // No room for more than the end, none at all, and no buffer.
    Room one(1);
    char byte = '#';
    for (Str none : {one.str(), Str(&byte, 0), Str()}) {
        none = "abc";
        none += "abc";
        none.fill('x', 5).toUpper().toLower();
        EXPECT_TRUE(none.empty() && none == "" && !none.isAllDigits());
    }
    EXPECT_EQ("", one.text());
    EXPECT_EQ('#', byte);
}

#if defined(_ZAN_ASSERT_ON)
TEST(UtilStrBounds, WhatIsCutIsReported) {
    SKIP_WHERE_ASSERTIONS_ABORT();
    zan_test::LogCapture log;
    Room room(4);
    Str s = room.str();
    s = "abc";
    s.cat("");
    EXPECT_EQ("", log.text());
    s = "abcd";
    EXPECT_EQ(1UL, log.count("CONDITION: max_size()-1 >= _src.size()")) << log.text();
    s += "ef";
    EXPECT_EQ(1UL, log.count("CONDITION: left()>=_src.size()")) << log.text();
}
#endif

TEST(UtilStrBounds, ABufferOfUnknownSizeTakesAll) {
    char memory[32] = "a";
    Str s(memory, ~0UL);
    EXPECT_EQ(~0UL, s.left());
    s += "bcdef";
    EXPECT_STREQ("abcdef", memory);
    s.fill('x', ~0UL);
    EXPECT_STREQ("xxxxxx", memory);
    s.fill('y', 2);
    EXPECT_STREQ("yy", memory);
}

TEST(UtilStrBounds, TheSourceMayLieInTheBuffer) {
    Room room(8, "abcdef");
    Str s = room.str();
    EXPECT_EQ("cdef", (s.copy(s.text().removeLeft(2)), room.text()));
    EXPECT_EQ("cdefcde", (s.cat(s.text()), room.text()));
}

TEST(UtilMem, CopiesAsMuchAsBothHave) {
    char memory[] = "12345";
    Mem m(memory, 5);
    m = "ab";
    EXPECT_STREQ("ab345", memory);
    m.copy("ABCDEFGH");
    EXPECT_STREQ("ABCDE", memory);
    m.copyZ("xyzuvw");
    EXPECT_EQ(0, std::memcmp(memory, "xyzu\0", 6));
    m.copyZ("q");
    EXPECT_EQ(0, std::memcmp(memory, "q\0zu\0", 6));
    m.fill('-');
    EXPECT_STREQ("-----", memory);
    EXPECT_EQ(0, m.cmp("-----"));
    EXPECT_EQ(2, m.cmp("---"));
    EXPECT_EQ(-1, m.cmp("------"));
    EXPECT_LT(m.cmp("\xFF"), 0);
    Mem(memory, 0).copyZ("x");
    EXPECT_STREQ("-----", memory);
    std::ostringstream os;
    m.dump(os);
    EXPECT_EQ("5, -----", os.str());
}

}  // namespace
}  // namespace zan
