#include "zan/util/util_func.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>

namespace zan {
namespace {

TEST(UtilSplit, PartsAreOneMoreThanSeparators) {
    std::tuple<char const*, bool, std::vector<String>> const table[] = {
        {"a, b", false, {"kept", "a", "b"}},
        {"a, b", true, {"kept", "a", " b"}},
        {"", false, {"kept", ""}},
        {"a,,\t b ,", false, {"kept", "a", "", "b ", ""}}};
    for (auto const& [text, keepBlanks, wanted] : table) {
        std::vector<String> parts{"kept"};
        Util::split(String(text), parts, ',', keepBlanks);
        EXPECT_EQ(wanted, parts) << text;
    }
}

TEST(UtilSplit, FirstWordAndRestOfTheLine) {
    char const* const cases[][3] = {{"cmd arg 1\nnext", "cmd", "arg 1"},
                                    {"cmd", "cmd", ""},
                                    {"", "", ""},
                                    {" cmd", "", "cmd"},
                                    {"a   b ", "a", "b "},
                                    {"a\nb c", "a\nb", "c"}};
    for (auto const& [line, word, left] : cases) {
        String first("old");
        String rest("old");
        Util::split(String(line), first, rest);
        EXPECT_EQ(word, first) << line;
        EXPECT_EQ(left, rest) << line;
    }
    String text("a b");
    String rest;
    Util::split(text, text, rest);
    EXPECT_EQ("a", text);
    EXPECT_EQ("b", rest);
}

TEST(UtilProcess, ErrorsAndEnvironment) {
    errno = ENOENT;
    EXPECT_EQ(ENOENT, getLastErrno());
    EXPECT_EQ("(2) No such file or directory", getLastErrorMsg());
    EXPECT_EQ("(4711) Unknown error 4711", getLastErrorMsg(4711));
    EXPECT_EQ(ENOENT, getLastErrno());  // untouched
    setenv("ZAN_TEST_VARIABLE", "value", 1);
    EXPECT_EQ("value", zan::getenv("ZAN_TEST_VARIABLE"));
    unsetenv("ZAN_TEST_VARIABLE");
    EXPECT_EQ("", zan::getenv("ZAN_TEST_VARIABLE"));
    EXPECT_EQ("", zan::getenv(nullptr));
}

}  // namespace
}  // namespace zan
