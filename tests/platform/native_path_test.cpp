#include "zan/platform/native_path.h"

#include <gtest/gtest.h>

#include "support/seed.h"

namespace zan::platform {
namespace {

TEST(NativePathNames, SeparatorsAndTextReachTheSystem) {
    EXPECT_EQ("a/b/c d", nativePath(L"a\\b/c d"));
    EXPECT_EQ("/\xE4\xB8\xAD/\xC3\xA9\xF0\x9F\x98\x80", nativePath(L"\\\u4e2d\\\u00e9\U0001f600"));
    EXPECT_EQ("", nativePath(L""));
    EXPECT_EQ("", nativePath(std::wstring(L"good.txt\0.exe", 13))) << "a NUL inside";
    for (wchar_t const c : {0xD800, 0x110000, 0xDC2F})  // no way to forge a '/'
        EXPECT_EQ("\xEF\xBF\xBD", nativePath(std::wstring{c}));
    EXPECT_TRUE(libraryPath("a/\xC3\xA9") == L"a/\u00e9");
    EXPECT_TRUE(libraryPath("\xEF\xBF\xBD") == L"\uFFFD");
}

TEST(NativePathNames, ForeignBytesAndBackslashesOpenTheSameFileAgain) {
    for (std::string const name : {"\xFF", "a\x80/\xC3", "back\\slash", "\xE4\xB8", "\xED\xA0\x80",
                                   "\xC0\xAF", "\xEF\xBF\xBD\xFF\\", "\xF0\x9F\x98"}) {
        EXPECT_EQ(name, nativePath(libraryPath(name))) << testing::PrintToString(name);
        EXPECT_TRUE(libraryPath(name).find(L'\\') == std::wstring::npos);
    }
    auto random = zan_test::makeRandom();
    for (int round = 0; round < 20000; ++round) {
        std::string name;
        for (unsigned long n = random() % 8; n != 0; --n) {
            // Mostly bytes with which sequences begin and go on.
            auto byte = static_cast<char>(random());
            if (byte == 0) byte = '\\';
            if (random() % 2) byte = static_cast<char>(byte | 0x80);
            if (random() % 3 == 0) byte = static_cast<char>(0x80 | (byte & 0x3F));
            name += byte;
        }
        ASSERT_EQ(name, nativePath(libraryPath(name))) << testing::PrintToString(name);
    }
}

}  // namespace
}  // namespace zan::platform
