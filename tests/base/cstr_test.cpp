#include "zan/base/cstr.h"

#include <gtest/gtest.h>

#include "support/assertions.h"
#include "support/log_capture.h"
#include "zan/base/exception.h"

namespace {

using namespace zan;
using zan_test::LogCapture;

TEST(CstrNull, ANullSourceIsAnEmptySource) {
    EXPECT_EQ(0u, StrLen(static_cast<char const*>(nullptr), 5));
    EXPECT_EQ(2u, StrLen("abc", 2)) << "unread";
    EXPECT_STREQ("<null>", SafeStr(static_cast<char const*>(nullptr)));
    char d[4] = "xyz";
    EXPECT_EQ(d, StrCopy(d, nullptr));
    EXPECT_STREQ("", d);
    EXPECT_EQ(d, StrCat(d, nullptr));
    EXPECT_EQ(d, MemCopy(d, nullptr, 3));
    EXPECT_EQ(d, MemCopyZ(d, nullptr, 3));
    EXPECT_EQ(nullptr, StrToUpper(nullptr));
    EXPECT_EQ(-1, MemCmp(nullptr, "a", 1));
    EXPECT_EQ(1, MemCmp("a", nullptr, 1));
    EXPECT_EQ(0, MemCmp("a", nullptr, 0));
    EXPECT_FALSE(StrIsAllDigits(nullptr));
    EXPECT_FALSE(StrIsAllDigits(""));
}

TEST(CstrNull, ANullDestinationIsReportedAndHarmless) {
    SKIP_WHERE_ASSERTIONS_ABORT();
    LogCapture const log;
    EXPECT_EQ(nullptr, StrCopy(nullptr, "a"));
    EXPECT_EQ(nullptr, StrCat(nullptr, "a"));
    EXPECT_EQ(nullptr, MemSet(nullptr, 0, 1));
    EXPECT_EQ(nullptr, MemCopy(nullptr, "a", 1));
    EXPECT_EQ(nullptr, MemCopyZ(nullptr, "a", 1));
    EXPECT_EQ(5u, log.count(" CONDITION: dest!=0\n"));
    EXPECT_EQ(2u, log.count("\n   WILL DO: return dest\n"));
    EXPECT_EQ(3u, log.count("\n   WILL DO: return 0\n"));
}

TEST(CstrCopy, AlwaysTerminates) {
    char d[8] = "zzzzzzz";
    StrCopy(d, "abcdef", 3);
    EXPECT_STREQ("abc", d);
    StrCat(d, "defgh", 2);
    EXPECT_STREQ("abcde", d);
    EXPECT_EQ(d, StrCopy(d, d, 1)) << "a copy onto itself is nothing";
    EXPECT_STREQ("abcde", d);
    MemCopyZ(d, "xy", 2);
    EXPECT_STREQ("xy", d);
    StrToUpper(d, 1);
    EXPECT_STREQ("Xy", d);
}

TEST(CstrCompare, TextAndBytes) {
    EXPECT_EQ(0, StrCmp("", static_cast<char const*>(nullptr)));
    EXPECT_EQ(1, StrCmp("a", ""));
    EXPECT_EQ(-1, StrCmp("", "a"));
    EXPECT_LT(StrCmp("abc", "ABD", ~0UL, true), 0);
    EXPECT_EQ(0, StrCmp("abC", "ABc", ~0UL, true));
    EXPECT_EQ(0, StrCmp("abcX", "abcY", 3));
    EXPECT_EQ(-1, StrCmp(istr("ab"), istr("abc"), ~0UL, false));
    EXPECT_EQ(0, StrCmp(istr("ab"), istr("abc"), 2, false));
    EXPECT_EQ(0, StrCmp(istr("a\0b", 3), istr("a\0c", 3))) << "a zero byte ends text";
    EXPECT_TRUE(StrBeginWith("abc", "ab"));
    EXPECT_GT(StrCmpUnsafe("\xff", "a", ~0UL, true), 0) << "characters compare as bytes";
}

TEST(CstrGuardedAccess, TheTerminatorIsTheLastLegalPlace) {
    LogCapture log;
    char memory[4] = "abc";
    char const* const text = memory;
    EXPECT_EQ(0, CharAt(text, 3, 3));
    EXPECT_EQ("", log.text());
    EXPECT_EQ(&GetNull<char>(), &CharAt(text, 3, 4));
    EXPECT_TRUE(log.has("ENSURE FAILURE"));
    EXPECT_TRUE(log.has(" CONDITION: _buf!=0 && i<=_size\n"));
    EXPECT_TRUE(log.has("\n   WILL DO: return GetNull<char>()\n"));
    log.clear();
    EXPECT_EQ(&GetNull<unsigned char>(), &CharAt(static_cast<unsigned char const*>(nullptr), 3, 0));
    EXPECT_TRUE(log.has("\n   WILL DO: return GetNull<uchar>()\n"));
    SKIP_WHERE_ASSERTIONS_ABORT();
    log.clear();
    CharAt(memory, 3, 3) = '!';
    EXPECT_THROW(CharAt(memory, 3, 4) = 'x', OutOfRangeException);
    EXPECT_TRUE(log.has(" CONDITION: _buf!=0 && i<=_max_size\n"));
    EXPECT_TRUE(
        log.has("\n   WILL DO: ZAN_USER_THROW_MSG(zan::logger_factory::instance(zan::LOGGER_ID), "
                "zan::OutOfRangeException, \"zan::OutOfRangeException\")\n"));
    EXPECT_EQ(1u, log.count("                                        THROWING\n"));
}

}  // namespace
