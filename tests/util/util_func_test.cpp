#include "zan/util/util_func.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

namespace zan {
namespace {

std::vector<std::string> parts(char const* text, char sep, bool keepBlanks) {
    std::vector<String> out;
    Util::split(String(text), out, sep, keepBlanks);
    return std::vector<std::string>(out.begin(), out.end());
}

TEST(UtilSplit, PartsAreOneMoreThanSeparators) {
    using List = std::vector<std::string>;
    EXPECT_EQ((List{"a", "b"}), parts("a, b", ',', false));
    EXPECT_EQ((List{"a", " b"}), parts("a, b", ',', true));
    EXPECT_EQ((List{""}), parts("", ',', false));
    EXPECT_EQ((List{"", ""}), parts(",", ',', false));
    EXPECT_EQ((List{"a", "", "b ", ""}), parts("a,,\t b ,", ',', false));
    std::vector<String> out = {String("kept")};
    Util::split(String("x"), out, ',', false);
    EXPECT_EQ((std::vector<String>{String("kept"), String("x")}), out);
}

TEST(UtilSplit, FirstWordAndRestOfTheLine) {
    struct {
        char const* text;
        char const* first;
        char const* rest;
    } const cases[] = {{"cmd arg 1\nnext", "cmd", "arg 1"},
                       {"cmd", "cmd", ""},
                       {"", "", ""},
                       {" cmd", "", "cmd"},
                       {"a   b ", "a", "b "},
                       {"a\nb c", "a\nb", "c"}};
    for (auto const& c : cases) {
        String first("old");
        String rest("old");
        Util::split(String(c.text), first, rest);
        EXPECT_EQ(c.first, first) << c.text;
        EXPECT_EQ(c.rest, rest) << c.text;
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
