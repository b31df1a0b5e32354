#include "zan/pml/pml_t.h"

#include <gtest/gtest.h>

#include <sstream>

#include "support/pml.h"
#include "support/seed.h"
#include "support/temp_dir.h"
#include "zan/zan.h"

namespace {

using namespace zan;
using zan::pml::ShowMode;
using zan::pml::ShowPattern;
using zan::pml::ntv::Unit;
using zan_test::parsedPml;

char const FIRST[] = "cfg:t(log(level(3) file(\"a:b\"))port:int(80))";
char const FIRST_LINES[] =
    "cfg:t(\n"
    "    log(\n"
    "        level(3)\n"
    "        file(\"a:b\")\n"
    "    )\n"
    "    port:int(80)\n"
    ")";

TEST(PmlLayouts, AreThese) {
    std::tuple<char const*, int, int, char const*> const table[] = {
        {FIRST, ShowMode::COMPACT, 7, "cfg:t(log(level(3)file(\"a:b\"))port:int(80))"},
        {FIRST, ShowMode::SIMPLE, 7, FIRST_LINES},
        {FIRST, ShowMode::FORMATTED, 7, FIRST_LINES},
        {FIRST, ShowMode::MIXED, 7, "cfg:t(log(level(3)file(\"a:b\"))port:int(80))"},
        {FIRST, ShowMode::COMPACT, 1, "(((3)(\"a:b\"))(80))"},
        {FIRST, ShowMode::COMPACT, 4, "cfg(log(level()file())port())"},
        {"list(:item(1):item(2):item(x(1)y(2)))", ShowMode::MIXED, 7,
         "list(\n"
         "        :item(1)\n"
         "        :item(2)\n"
         "        :item(    x(1)    y(2))\n"
         ")"},
        {"a(b(1)c(2))", ShowMode::FORMATTED, 15,
         "(* / *) a(\n"
         "    (* /b *) b(1)\n"
         "    (* /c *) c(2)\n"
         ")"},
        {"a(b(1)c(2))", ShowMode::SIMPLE, 15, "a(\n    b(1)\n    c(2)\n)"},
        {"a((1)(2))", ShowMode::FORMATTED, 7, "a(\n    (1)\n    (2)\n)"},
        {"a(b(c(1)))", ShowMode::FORMATTED, 7, "a(b(c(1)))"},
        {"a(b(c(1))d(e(1)f(2)))", ShowMode::SIMPLE, 7,
         "a(\n    b(c(1))\n    d(\n        e(1)\n        f(2)\n    )\n)"},
        {"a(b(c(1)d(2)))", ShowMode::FORMATTED, 7,
         "a(\n    b(\n        c(1)\n        d(2)\n    )\n)"},
        {"a)", ShowMode::FORMATTED, 7, "a()"},
        {"", ShowMode::COMPACT, 7, "()"},
        {"n^^a^\"(1)", ShowMode::COMPACT, 7, "n^^a^\"(1)"},
        {"a^:b(\"a:b\")", ShowMode::COMPACT, 7, "a:b(\"a:b\")"},
        {"a:t(1)", ShowMode::COMPACT, 6, "a:t()"}};
    for (auto const& [unit, mode, pattern, text] : table)
        EXPECT_EQ(text, parsedPml(unit).str(mode, pattern)) << unit;
    for (int mode = 1; mode <= 4; ++mode) EXPECT_EQ("a(1)", parsedPml("a(1)").str(mode, 7));
    Unit list(istr("a"));
    list.initValueAsList();
    EXPECT_EQ("a()", list.str(ShowMode::FORMATTED, 7));
}

TEST(PmlLayouts, ShowTypedValuesThatReadBackAsText) {
    Unit u(istr("a"));
    u.value(zan::pml::ntv::IntegerValue::create(5));
    EXPECT_EQ("a(5)", u.str(1, 7));
    u.value(zan::pml::ntv::TimeValue::create(zan::Time::seconds(1402899187)));
    String const time = zan::Time::seconds(1402899187).toFullDateTime();
    EXPECT_EQ("a('" + time + "')", u.str(1, 7));
    EXPECT_EQ(time, std::string(parsedPml(u.str(1, 7)).getStringValue()));
    EXPECT_EQ("a()", u.str(1, 6));
}

TEST(PmlOutputs, AgreeInAllForms) {
    Unit const u = parsedPml(FIRST);
    zan_test::TempDir const dir;
    zan::pml::File const file{istr(dir.file("out.pml"))};
    for (int mode = 1; mode <= 4; ++mode) {
        String const text = u.str(mode, 7);
        String appended("x");
        EXPECT_TRUE(zan::pml::ntvToPml(u, appended, mode, 7));
        EXPECT_EQ("x" + text, appended);
        std::ostringstream os;
        EXPECT_TRUE(zan::pml::ntvToPml(u, os, mode, 7));
        EXPECT_EQ(text, os.str());
        EXPECT_TRUE(zan::pml::ntvToPml(u, file, mode, 7));
        EXPECT_EQ(text, dir.content("out.pml"));
        String formatted;
        EXPECT_TRUE(zan::pml::format(file, formatted, mode, 7));
        EXPECT_EQ(text, formatted);
    }
    String text;
    for (int const unknown : {0, 5}) EXPECT_FALSE(zan::pml::ntvToPml(u, text, unknown, 7));
    zan::pml::File const nowhere{istr(dir.file("no/such"))};
    EXPECT_FALSE(zan::pml::ntvToPml(u, nowhere, 1, 7));
    EXPECT_FALSE(zan::pml::format(nowhere, text, 1, 7));
    EXPECT_EQ("", text);
    std::ostringstream os;
    os << u;
    EXPECT_EQ(FIRST_LINES, os.str());
    text << u;
    EXPECT_EQ(FIRST_LINES, text);
}

TEST(PmlOutputs, NameTheirModesAndPatterns) {
    std::ostringstream os;
    for (int mode = 1; mode <= 5; ++mode) os << ShowMode(mode) << ' ';
    EXPECT_EQ("COMPACT SIMPLE MIXED FORMATTED <UnknownShowMode> ", os.str());
    os.str("");
    os << ShowPattern(0) << ", " << ShowPattern() << ", " << ShowPattern(0).show_path(true);
    EXPECT_EQ("NONE, NAME TYPE VALUE, PATH", os.str());
    Unit u;
    u << ShowMode(4);
    EXPECT_EQ("(FORMATTED)", u.str());
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

TEST(PmlRoundTrip, TreesSurviveEveryLayout) {
    auto random = zan_test::makeRandom();
    for (int round = 0; round < 100; ++round) {
        Unit u(istr("root"));
        grow(u, random, 4);
        for (int mode = 1; mode <= 4; ++mode) {
            for (int pattern : {7, 15}) {
                String const text = u.str(mode, pattern);
                Unit const back = parsedPml(text);
                ASSERT_EQ(zan_test::shape(u), zan_test::shape(back)) << "round " << round << "\n"
                                                                     << text;
                ASSERT_EQ(text, back.str(mode, pattern));
            }
        }
    }
}

}  // namespace
