#include "zan/pml/pml_t.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>

#include "support/seed.h"
#include "support/temp_dir.h"
#include "zan/pml/ntv_integervalue.h"
#include "zan/pml/ntv_time_value.h"

namespace {

using zan::istr;
using zan::String;
using zan::pml::ShowMode;
using zan::pml::ShowPattern;
using zan::pml::ntv::Unit;

Unit read(istr const& text) {
    Unit u;
    zan::pml::ntvFromPml(u, text);
    return u;
}

char const FIRST[] = "cfg:t(log(level(3) file(\"a:b\"))port:int(80))";

TEST(PmlLayouts, AreThoseOfTheExamples) {
    Unit u;
    zan::pml::ntvFromPml(u, FIRST);
    std::string const compact = "cfg:t(log(level(3)file(\"a:b\"))port:int(80))";
    std::string const lines =
        "cfg:t(\n"
        "    log(\n"
        "        level(3)\n"
        "        file(\"a:b\")\n"
        "    )\n"
        "    port:int(80)\n"
        ")";
    EXPECT_EQ(compact, u.str(ShowMode::COMPACT, 7));
    EXPECT_EQ(lines, u.str(ShowMode::SIMPLE, 7));
    EXPECT_EQ(lines, u.str(ShowMode::FORMATTED, 7));
    EXPECT_EQ(compact, u.str(ShowMode::MIXED, 7));
    EXPECT_EQ("(((3)(\"a:b\"))(80))", u.str(ShowMode::COMPACT, 1));
    EXPECT_EQ("cfg(log(level()file())port())", u.str(ShowMode::COMPACT, 4));
    EXPECT_EQ(
        "list(\n"
        "        :item(1)\n"
        "        :item(2)\n"
        "        :item(    x(1)    y(2))\n"
        ")",
        read("list(:item(1):item(2):item(x(1)y(2)))").str(ShowMode::MIXED, 7));
    Unit a;
    zan::pml::ntvFromPml(a, "a(b(1)c(2))");
    EXPECT_EQ(
        "(* / *) a(\n"
        "    (* /b *) b(1)\n"
        "    (* /c *) c(2)\n"
        ")",
        a.str(ShowMode::FORMATTED, 15));
    EXPECT_EQ("a(\n    b(1)\n    c(2)\n)", a.str(ShowMode::SIMPLE, 15));
}

TEST(PmlLayouts, AtTheirEdges) {
    for (int mode = 1; mode <= 4; ++mode) EXPECT_EQ("a(1)", read("a(1)").str(mode, 7));
    EXPECT_EQ("a(\n    (1)\n    (2)\n)", read("a((1)(2))").str(4, 7));
    EXPECT_EQ("a(b(c(1)))", read("a(b(c(1)))").str(4, 7));
    EXPECT_EQ("a(\n    b(c(1))\n    d(\n        e(1)\n        f(2)\n    )\n)",
              read("a(b(c(1))d(e(1)f(2)))").str(2, 7));
    EXPECT_EQ("a(\n    b(\n        c(1)\n        d(2)\n    )\n)", read("a(b(c(1)d(2)))").str(4, 7));
    EXPECT_EQ("a()", Unit(istr("a")).str(4, 7));
    Unit list(istr("a"));
    list.initValueAsList();
    EXPECT_EQ("a()", list.str(4, 7));
    EXPECT_EQ("()", Unit().str(1, 7));
    EXPECT_EQ("n^^a^\"(1)", Unit("n^a\"", "", "1").str(1, 7));
    EXPECT_EQ("a:b(\"a:b\")", Unit("a:b", "", "a:b").str(1, 7));
    EXPECT_EQ("a:t()", Unit("a", "t", "1").str(1, 6));
    String out("x");
    EXPECT_TRUE(zan::pml::ntvToPml(read("a(1)"), out, 1, 7));
    EXPECT_EQ("xa(1)", out);
    EXPECT_FALSE(zan::pml::ntvToPml(read("a(1)"), out, 5, 7));
    EXPECT_FALSE(zan::pml::ntvToPml(read("a(1)"), out, 0, 7));
    EXPECT_EQ("xa(1)", out);
}

TEST(PmlLayouts, ShowTypedValuesThatReadBackAsText) {
    Unit u(istr("a"));
    u.value(zan::pml::ntv::IntegerValue::create(5));
    EXPECT_EQ("a(5)", u.str(1, 7));
    EXPECT_EQ("5", std::string(read(u.str(1, 7)).getStringValue()));
    u.value(zan::pml::ntv::TimeValue::create(zan::Time::seconds(1402899187)));
    String const time = zan::Time::seconds(1402899187).toFullDateTime();
    EXPECT_EQ("a('" + time + "')", u.str(1, 7));
    EXPECT_EQ(time, std::string(read(u.str(1, 7)).getStringValue()));
    EXPECT_EQ("a()", u.str(1, 6));
}

TEST(PmlOutputs, AgreeInAllForms) {
    Unit u;
    zan::pml::ntvFromPml(u, FIRST);
    zan_test::TempDir const dir;
    zan::pml::File const file{istr(dir.file("out.pml"))};
    for (int mode = 1; mode <= 4; ++mode) {
        String text;
        EXPECT_TRUE(zan::pml::ntvToPml(u, text, mode, 7));
        std::ostringstream os;
        EXPECT_TRUE(zan::pml::ntvToPml(u, os, mode, 7));
        EXPECT_EQ(text, os.str());
        EXPECT_TRUE(zan::pml::ntvToPml(u, file, mode, 7));
        std::ifstream in(file.filename());
        EXPECT_EQ(text, std::string(std::istreambuf_iterator<char>(in), {}));
        String formatted;
        EXPECT_TRUE(zan::pml::format(FIRST, formatted, mode, 7));
        EXPECT_EQ(text, formatted);
        formatted.clear();
        EXPECT_TRUE(zan::pml::format(file, formatted, mode, 7));
        EXPECT_EQ(text, formatted);
    }
    zan::pml::File const nowhere{istr(dir.file("no/such"))};
    EXPECT_FALSE(zan::pml::ntvToPml(u, nowhere, 1, 7));
    String text;
    EXPECT_FALSE(zan::pml::format(nowhere, text, 1, 7));
    std::ostringstream os;
    os << u;
    EXPECT_EQ(u.str(4, 7), os.str());
    text << u;
    EXPECT_EQ(u.str(4, 7), text);
}

TEST(PmlOutputs, NameTheirModesAndPatterns) {
    auto const shown = [](auto const& v) {
        std::ostringstream os;
        os << v;
        return os.str();
    };
    EXPECT_EQ("COMPACT", shown(ShowMode()));
    EXPECT_EQ("SIMPLE", shown(ShowMode(2)));
    EXPECT_EQ("MIXED", shown(ShowMode(3)));
    EXPECT_EQ("FORMATTED", shown(ShowMode(4)));
    EXPECT_EQ("<UnknownShowMode>", shown(ShowMode(5)));
    EXPECT_EQ("NONE", shown(ShowPattern(0)));
    EXPECT_EQ("NAME TYPE VALUE", shown(ShowPattern()));
    EXPECT_EQ("PATH NAME TYPE VALUE", shown(ShowPattern(15)));
    EXPECT_EQ("PATH VALUE", shown(ShowPattern(0).show_path(true).show_value(true)));
    Unit u;
    u << ShowMode(4);
    EXPECT_EQ("FORMATTED", std::string(u.getStringValue()));
}

// --- What is rendered reads back as the same tree, in every layout.

std::string const NAME_CHARS = "abcxyz_09 -";
std::string const TEXT_CHARS = "abcxyz 09()^:*'\"\n\t\xC3\xA9";

void grow(Unit& u, std::mt19937_64& random, int depth) {
    auto const text = [&random](std::string const& from, unsigned long most) {
        std::string s;
        for (auto n = random() % (most + 1); n != 0; --n) s += from[random() % from.size()];
        return s;
    };
    if (random() % 3 == 0) u.type("t" + std::to_string(random() % 9));
    if (depth == 0 || random() % 3 == 0) {
        u.setValue(istr(text(TEXT_CHARS, 20)));
        return;
    }
    u.initValueAsList();
    auto const children = random() % 12 + 1;
    bool const unnamed = random() % 4 == 0;
    for (unsigned long i = 0; i < children; ++i) {
        Unit* const child = ZAN_NEW(Unit);
        if (!unnamed && random() % 5 != 0)
            child->name("n" + text(NAME_CHARS, 18) + std::to_string(i));
        u.addChild(child);
        grow(*child, random, depth - 1);
    }
}

void expectSame(Unit const& a, Unit const& b) {
    ASSERT_EQ(a.name(), b.name());
    ASSERT_EQ(a.type(), b.type());
    ASSERT_EQ(a.numofChildren(), b.numofChildren());
    ASSERT_EQ(std::string(a.getStringValue()), std::string(b.getStringValue()));
    for (unsigned long i = 0; i < a.numofChildren(); ++i) expectSame(a[i], b[i]);
}

TEST(PmlRoundTrip, TreesSurviveEveryLayout) {
    auto random = zan_test::makeRandom();
    for (int round = 0; round < 100; ++round) {
        Unit u(istr("root"));
        grow(u, random, 4);
        for (int mode = 1; mode <= 4; ++mode) {
            for (int pattern : {7, 15}) {
                String const text = u.str(mode, pattern);
                Unit back;
                zan::pml::ntvFromPml(back, istr(text));
                ASSERT_NO_FATAL_FAILURE(expectSame(u, back)) << "round " << round << "\n" << text;
                ASSERT_EQ(text, back.str(mode, pattern));
            }
        }
    }
}

}  // namespace
