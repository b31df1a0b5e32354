#include "zan/util/printf.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>

namespace {

using namespace zan;

std::string filled(char const* format, std::vector<std::string> const& values, char flag = '$',
                   char right = '}') {
    Printf const text(format, flag, '{', right, '\\');
    for (auto const& value : values) text.replaceNext(value);
    return text.str();
}

TEST(PrintfPlaceholders, AreFilledOneAfterTheOther) {
    struct {
        char const* format;
        std::vector<std::string> values;
        char const* want;
    } const cases[] = {{"a${x}b${y}c", {"1", "2"}, "a1b2c"},
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
    for (auto const& c : cases) EXPECT_EQ(c.want, filled(c.format, c.values)) << c.want;
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
    std::ostringstream os;
    Printf("a$}", '$', '{', '}', '\\').dump(os);
    EXPECT_EQ(
        "@zan::Printf{\n    format_ = 'a$}'\n    tags_ = @zan::vector{"
        "\n        [0]@zan::Printf::Tag{\n            begin_ = 0\n            end_ = 1\n        }"
        "\n        [1]@zan::Printf::Tag{\n            begin_ = 1\n            end_ = 3\n        }"
        "\n    }\n    curr_ = 0\n    tempbuf_ = \n    result_ = "
        "\n    flag_ = '$'\n    left_ = '{'\n    right_ = '}'\n    escape_ = '\\'\n}",
        os.str());
}

}  // namespace
