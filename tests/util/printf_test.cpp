#include "zan/util/printf.h"

#include <gtest/gtest.h>

#include <memory>

#include "support/text.h"

namespace {

using namespace zan;

std::string filled(char const* format, std::vector<std::string> const& values, char flag = '$',
                   char right = '}') {
    Printf const text(format, flag, '{', right, '\\');
    for (auto const& value : values) text.replaceNext(value);
    return text.str();
}

TEST(PrintfPlaceholders, AreFilledOneAfterTheOther) {
    std::tuple<char const*, std::vector<std::string>, char const*> const cases[] = {
        {"a${x}b${y}c", {"1", "2"}, "a1b2c"},
        {"a${x}b${y}c", {"1"}, "a1b${y}c"},
        {"a${x}b${y}c", {"1", "2", "3"}, "a1b2c3"},
        {"plain", {"1", "2"}, "plain12"},
        {"", {"1"}, "1"},
        {nullptr, {"1"}, "1"},
        {"ab${x", {"1"}, "ab1"},
        {"ab${x", {}, "ab${x"},
        {"$}$}", {"1", "2"}, "12"},
        {"$a$b}c}", {"1"}, "1c}"},
        {"\\${x}", {"1"}, "\\1"}};
    for (auto const& [format, values, want] : cases) EXPECT_EQ(want, filled(format, values));
    EXPECT_EQ("1-2", filled("?-?", {"1", "2"}, '?', '?'));
    EXPECT_EQ("50%", filled("%d%", {"50%"}, '%', '\0')) << "no end but that of the text";
}

TEST(PrintfPlaceholders, AreFilledAnewAndInCopies) {
    auto source = std::make_unique<Printf>("<$}|$}>", '$', '{', '}', '\\');
    source->replaceNext("1");
    Printf copy(*source);
    source.reset();
    EXPECT_EQ("<1|$}>", copy.str());
    EXPECT_EQ("<1|2>", copy.replaceNext("2").str());
    EXPECT_EQ("<3|4>", copy.reset().replaceNext("3").replaceNext("4").str());
    // A value may be the result itself.
    copy.reset().replaceNext(copy.str());
    EXPECT_EQ("<<$}|$}>|$}>", copy.str());
    Printf const text("a$}", '$', '{', '}', '\\');
    std::ostringstream os;
    text.dump(os);
    EXPECT_EQ(zan_test::dumped(text), os.str());
    EXPECT_EQ(
        "{format_='a$}' tags_={[0]{begin_=0 end_=1} [1]{begin_=1 end_=3}} curr_=0 tempbuf_= "
        "result_= flag_='$' left_='{' right_='}' escape_='\\'}",
        zan_test::dumped(text, true));
}

}  // namespace
