#include "zan/pml/pml_parser.h"

#include <gtest/gtest.h>

#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "support/log_capture.h"
#include "support/seed.h"
#include "support/temp_dir.h"
#include "zan/pml/pml_t.h"

namespace {

using zan::istr;
using zan::iwstr;
using zan::String;
using zan::pml::ntv::Unit;

// A tree in full: name, type, and "value" or the children in brackets; "-" where there is no value.
// Unlike PML it shows every byte, and the difference between no value and an empty one.
std::string shape(Unit const& u) {
    std::string text = "<" + u.name() + "|" + u.type() + "|";
    if (u.listValue() != nullptr) {
        text += "[";
        for (Unit const* child : *u.listValue()) text += shape(*child);
        return text + "]>";
    }
    if (u.stringValue() == nullptr) return text + "->";
    return text + "\"" + u.stringValue()->data() + "\">";
}

std::wstring widened(std::string const& s) {
    return std::wstring(s.begin(), s.end());
}

struct Example {
    char const* text;
    char const* tree;
};

Example const EXAMPLES[] = {
    {"a(1)", "<a||\"1\">"},
    {"a:int(1)", "<a|int|\"1\">"},
    {"a:(1)", "<a||\"1\">"},
    {":t(1)", "<|t|\"1\">"},
    {"a()", "<a||\"\">"},
    {"a( hello world )", "<a||\"hello world\">"},
    {"a(\"x:y\")", "<a||\"x:y\">"},
    {"a('it^'s')", "<a||\"it's\">"},
    {"a(\"^\"\")", "<a||\"\"\">"},
    {"a(^(x^))", "<a||\"(x)\">"},
    {"a(\"ab\" \"cd\")", "<a||\"abcd\">"},
    {"a(\"ab\" 'cd')", "<a||\"abcd\">"},
    {"a(\"q\"z)", "<a||\"\"q\"z\">"},
    {"a(p(*c*)q)", "<a||\"pq\">"},
    {"a(p (*c*) q)", "<a||\"p q\">"},
    {"(* c *) a (* d *) (1)", "<a||\"1\">"},
    {"a(b(1)c(2))", "<a||[<b||\"1\"><c||\"2\">]>"},
    {"a:t(b:x(1) c:y(2))", "<a|t|[<b|x|\"1\"><c|y|\"2\">]>"},
    {"a(b(c(d(1))))", "<a||[<b||[<c||[<d||\"1\">]>]>]>"},
    {"a((1)(2))", "<a||[<||\"1\"><||\"2\">]>"},
    {"a(:t(1):t(2))", "<a||[<|t|\"1\"><|t|\"2\">]>"},
    {"a(x y(1))", "<a||[<x y||\"1\">]>"},
    {"\"a:b\"(1)", "<\"a:b\"||\"1\">"},
    {"a(1)(2)", "<a||\"1\">"},
    // Comments.
    {"(**)a(1)", "<a||\"1\">"},
    {"(*)*)a(1)", "<a||\"1\">"},
    {"(*(*x*)*)a(1)", "<a||\"1\">"},
    {"(***)a(1)", "<a||\"1\">"},
    {"(*((*x*)*)a(1)", "<a||\"1\">"},
    {"(*^*)a(1)", "<a||\"1\">"},
    {"a(\"(*x*)\")", "<a||\"(*x*)\">"},
    // Quotes and escapes.
    {"a(x^ )", "<a||\"x\">"},
    {"a(\"x \")", "<a||\"x \">"},
    {"a('\"')", "<a||\"\"\">"},
    {"a(\"it's\")", "<a||\"it's\">"},
    {"a(\"ab\" 'c\"d')", "<a||\"abc\"d\">"},
    {"a(\"ab\" (*c*) \"cd\")", "<a||\"ab\"\"cd\">"},
    {"a(\"x\" y)", "<a||\"\"x\"y\">"},
    {"a(x \"y\" )", "<a||\"x \"y\"\">"},
    {"a(\"b\"(1))", "<a||[<\"b\"||\"1\">]>"},
    {"a(\"\")", "<a||\"\">"},
    {"a(\")", "<a||\"\")\">"},
    // Input that ends too soon.
    {"", "<||->"},
    {" \t\n", "<||->"},
    {"a", "<||->"},
    {"a(", "<||->"},
    {"a(x", "<a||\"x\">"},
    {"a( x ", "<a||\"x\">"},
    {"a(\"x", "<a||\"\"x\">"},
    {"a(\"x\"", "<a||\"x\">"},
    {"a(x^", "<a||\"x^\">"},
    {"a(\"x^", "<a||\"\"x^\">"},
    {"a(x(", "<a||\"x\">"},
    {"a(x(*y", "<a||\"x\">"},
    {"(*)", "<||->"},
    {"(*", "<||->"},
    {"(", "<||->"},
    {"a(b(1", "<a||[<b||\"1\">]>"},
    {"a(b(1)c", "<a||[<b||\"1\">]>"},
    {"a(b(c(1", "<a||[<b||[<c||\"1\">]>]>"},
    // A name without a body.
    {"a)", "<a||->"},
    {")", "<||->"},
    {"a(b)c", "<a||\"b\">"},
    {"a(b(1) c)", "<a||[<b||\"1\"><c||->]>"},
    {"x(a(b(1) c) d(2))", "<x||[<a||[<b||\"1\"><c||->]><d||\"2\">]>"},
};

TEST(PmlText, GivesTheTreeThatItSaysInAllFormsOfInput) {
    zan_test::TempDir const dir;
    for (Example const& e : EXAMPLES) {
        SCOPED_TRACE(e.text);
        std::string const text = e.text;
        std::wstring const wide = widened(text);
        Unit u("old", "old", "old");
        EXPECT_TRUE(zan::pml::ntvFromPml(u, istr(text)));
        EXPECT_EQ(e.tree, shape(u));
        EXPECT_TRUE(zan::pml::ntvFromPml(u, iwstr(wide)));
        EXPECT_EQ(e.tree, shape(u));
        char const* p = text.c_str();
        EXPECT_TRUE(zan::pml::ntvFromPml(u, p));
        EXPECT_EQ(e.tree, shape(u));
        wchar_t const* w = wide.c_str();
        EXPECT_TRUE(zan::pml::ntvFromPml(u, w));
        EXPECT_EQ(e.tree, shape(u));
        EXPECT_EQ(p - text.c_str(), w - wide.c_str());
        std::istringstream is(text);
        EXPECT_TRUE(zan::pml::ntvFromPml(u, is));
        EXPECT_EQ(e.tree, shape(u));
        is.clear();
        EXPECT_EQ(std::string(p), std::string(std::istreambuf_iterator<char>(is), {}));
        std::wistringstream wis(wide);
        EXPECT_TRUE(zan::pml::ntvFromPml(u, wis));
        EXPECT_EQ(e.tree, shape(u));
        std::string const name = dir.file("x.pml");
        std::ofstream(name, std::ios::binary) << text;
        EXPECT_TRUE(zan::pml::ntvFromPml(u, zan::pml::File(istr(name))));
        EXPECT_EQ(e.tree, shape(u));
    }
}

TEST(PmlText, RendersBackToTheSameTree) {
    for (Example const& e : EXAMPLES) {
        Unit u;
        zan::pml::ntvFromPml(u, istr(e.text));
        // Names are written without quotes.
        if (istr(e.tree).beginWith("<\"") || std::string(e.tree).find("[<\"") != std::string::npos)
            continue;
        for (int mode = 1; mode <= 4; ++mode) {
            Unit back;
            String const text = u.str(mode, 15);
            zan::pml::ntvFromPml(back, istr(text));
            EXPECT_EQ(u.str(1, 7), back.str(1, 7)) << e.text << " as " << text;
        }
    }
}

TEST(PmlText, LeavesWhatStandsBehindTheUnit) {
    std::string const text = "a(b)c(d) e(f)";
    char const* p = text.c_str();
    Unit u;
    std::string names;
    while (zan::pml::ntvFromPml(u, p), !u.empty())
        names += u.name() + "=" + u.getStringValue().data() + " ";
    EXPECT_EQ("a=b c=d e=f ", names);
    std::istringstream is(text);
    zan::pml::ntvFromPml(u, is);
    EXPECT_EQ('c', is.peek());
}

TEST(PmlText, BodiesStandWithoutANameAndItsParentheses) {
    Example const bodies[] = {{"abc", "<||\"abc\">"},
                              {"b(1)c(2)", "<||[<b||\"1\"><c||\"2\">]>"},
                              {"", "<||\"\">"},
                              {"b(1) c", "<||[<b||\"1\">]>"},
                              {"b(1) c)d(2)", "<||[<b||\"1\"><c||->]>"},
                              {"x)y", "<||\"x\">"}};
    for (Example const& e : bodies) {
        Unit u;
        EXPECT_TRUE(zan::pml::ntvFromValueString(u, istr(e.text)));
        EXPECT_EQ(e.tree, shape(u)) << e.text;
        std::istringstream is(e.text);
        EXPECT_TRUE(zan::pml::ntvFromValueString(u, is));
        EXPECT_EQ(e.tree, shape(u)) << e.text;
    }
    zan::pml::ntv::ValueBase* const value = zan::pml::newNtvValue("1");
    EXPECT_EQ("1", static_cast<zan::pml::ntv::StringValue*>(value)->data());
    delete value;
    zan::pml::ntv::ValueBase* const list = zan::pml::newNtvValue("b(1)c(2)");
    EXPECT_FALSE(list->single());
    EXPECT_EQ("/", (*static_cast<zan::pml::ntv::ListValue*>(list)->begin())->path());
    delete list;
    Unit* const unit = zan::pml::newNTV("a(1)");
    EXPECT_EQ("<a||\"1\">", shape(*unit));
    delete unit;
}

TEST(PmlText, EndsAtANulInViewsButNotInFilesAndStreams) {
    using namespace std::string_literals;
    std::string const text = "a(x\0y)"s;
    Unit u;
    zan::pml::ntvFromPml(u, istr(text));
    EXPECT_EQ("<a||\"x\">", shape(u));
    std::istringstream is(text);
    zan::pml::ntvFromPml(u, is);
    EXPECT_EQ("<a||\"x\0y\">"s, shape(u));
    zan_test::TempDir const dir;
    std::string const name = dir.file("x.pml");
    std::ofstream(name, std::ios::binary) << text;
    zan::pml::ntvFromPml(u, zan::pml::File(istr(name)));
    EXPECT_EQ("<a||\"x\0y\">"s, shape(u));
    zan::pml::ntvFromPml(u, istr());
    EXPECT_TRUE(u.empty());
    EXPECT_FALSE(zan::pml::ntvFromPml(u, zan::pml::File(istr(dir.file("none")))));
}

TEST(PmlText, MayBeAPartOfTheUnitThatItIsReadInto) {
    Unit u("n", "", "b(1)");
    zan::pml::ntvFromPml(u, u.getStringValue());
    EXPECT_EQ("<b||\"1\">", shape(u));
    u.name("c(2)");
    zan::pml::ntvFromPml(u, static_cast<Unit const&>(u).name());
    EXPECT_EQ("<c||\"2\">", shape(u));
    u.type(std::string(100, ' ') + "d(3)");
    zan::pml::ntvFromPml(u, u.type());
    EXPECT_EQ("<d||\"3\">", shape(u));
}

std::string errorOf(istr const& text) {
    Unit u;
    try {
        zan::pml::ntvFromPml(u, text);
    } catch (zan::pml::DecodeException const& e) {
        EXPECT_STREQ("zan::pml::DecodeException", e.name());
        return e.msg();
    }
    return "none";
}

TEST(PmlErrors, SayWhatWasDue) {
    zan_test::LogCapture const log;
    EXPECT_EQ("DecodeException: get type token", errorOf("a:b"));
    EXPECT_EQ("DecodeException: get type token", errorOf("a:"));
    EXPECT_EQ("DecodeException: not found value begin tag, token", errorOf("a:b:c(1)"));
    EXPECT_EQ("DecodeException: not found value begin tag, token", errorOf("a:b)"));
    EXPECT_TRUE(log.has("THROWING"));
    std::istringstream is("a(1)");
    is.setstate(std::ios::failbit);
    Unit u;
    try {
        zan::pml::ntvFromPml(u, is);
        ADD_FAILURE();
    } catch (zan::pml::DecodeException const& e) {
        EXPECT_STREQ("DecodeException: get pml name token", e.msg());
    }
}

TEST(PmlErrors, LeaveWhatWasReadSoFar) {
    zan_test::LogCapture const log;
    Unit u;
    EXPECT_THROW(zan::pml::ntvFromPml(u, "x(a(1)b(c(2)c(3)d(4)))"), zan::DuplicatedUnitException);
    EXPECT_EQ("<x||[<a||\"1\"><b||[<c||\"2\">]>]>", shape(u));
    EXPECT_FALSE(log.has("THROWING"));
    EXPECT_THROW(zan::pml::ntvFromPml(u, "x(a(1)b(c(2)d:e)"), zan::pml::DecodeException);
    EXPECT_EQ("<x||[<a||\"1\"><b||[<c||\"2\"><d||->]>]>", shape(u));
    EXPECT_EQ("/b/d", u.find("b/d")->path());
}

TEST(PmlErrors, OfFilesSayWhere) {
    zan_test::LogCapture const log;
    zan_test::TempDir const dir;
    std::string const name = dir.file("x.pml");
    std::ofstream(name) << "x(\n  a(1)\n  b:c)\n)";
    Unit u;
    try {
        zan::pml::ntvFromPml(u, zan::pml::File(istr(name)));
        ADD_FAILURE();
    } catch (zan::pml::DecodeException const& e) {
        EXPECT_EQ("DecodeException: not found value begin tag, token, file " + name +
                      ", line 3, column 6",
                  e.msg());
    }
    std::ofstream(name) << "x(\n  a(1)\n  a(2))";
    try {
        zan::pml::ntvFromPml(u, zan::pml::File(istr(name)));
        ADD_FAILURE();
    } catch (zan::DuplicatedUnitException const& e) {
        EXPECT_EQ("DuplicatedUnitException, file " + name + ", line 3, column 6",
                  std::string(e.msg()));
    }
}

// --- Any text is a value.

std::string throughParser(std::string const& text) {
    String escaped(text);
    zan::pml::escapeString(escaped);
    Unit u;
    zan::pml::ntvFromPml(u, istr("a(" + escaped + ")"));
    EXPECT_EQ("a", static_cast<Unit const&>(u).name());
    return u.getStringValue();
}

TEST(PmlEscapes, AreThoseOfTheTable) {
    char const* const pairs[][2] = {{"", ""},
                                    {"abc", "abc"},
                                    {"a b", "a b"},
                                    {" a", "\" a\""},
                                    {"a:b", "\"a:b\""},
                                    {"a\"b", "\"a^\"b\""},
                                    {"a*", "\"a*\""},
                                    {"a^b", "\"a^^b\""},
                                    {"it's", "\"it's\""},
                                    {"a ", "\"a \""},
                                    {"\xC3\xA9", "\"\xC3\xA9\""}};
    for (auto const& pair : pairs) {
        String s(pair[0]);
        zan::pml::escapeString(s);
        EXPECT_EQ(pair[1], s);
        EXPECT_EQ(pair[0], throughParser(pair[0]));
        std::wstring w = zan::toWstring(zan::ansi(pair[0]));
        zan::pml::escapeString(w);
        EXPECT_EQ(pair[1], zan::toAnsi(zan::wstr(w)));
    }
    String s("'a\"");
    zan::pml::unescapeString(s);
    EXPECT_EQ("'a\"", s);
    s = "\"";
    zan::pml::unescapeString(s);
    EXPECT_EQ("\"", s);
    // The wide form looks at the low 8 bits.
    std::wstring w(1, wchar_t(0x0180));
    zan::pml::escapeString(w);
    EXPECT_EQ(3u, w.size());
    w.assign(1, wchar_t(0x0141));
    zan::pml::escapeString(w);
    EXPECT_EQ(1u, w.size());
}

TEST(PmlEscapes, BringBackAnyTextWithoutANul) {
    auto random = zan_test::makeRandom();
    std::string const likely = "()^:*'\" \t\nax";
    for (int round = 0; round < 20000; ++round) {
        std::string text;
        for (auto n = random() % 12; n != 0; --n)
            text += random() % 4 != 0 ? likely[random() % likely.size()]
                                      : static_cast<char>(random() % 255 + 1);
        ASSERT_EQ(text, throughParser(text)) << "round " << round;
    }
}

TEST(PmlEscapes, BringBackAnyWideText) {
    auto random = zan_test::makeRandom();
    std::wstring const likely = L"()^:*'\" \t\nax\x141\x180\x3000\x85\xA0";
    for (int round = 0; round < 5000; ++round) {
        std::wstring text;
        for (auto n = random() % 12; n != 0; --n) text += likely[random() % likely.size()];
        std::wstring escaped = text;
        zan::pml::escapeString(escaped);
        Unit u;
        zan::pml::ntvFromPml(u, iwstr(L"a(" + escaped + L")"));
        ASSERT_EQ(zan::toAnsi(zan::wstr(text)), std::string(u.getStringValue()))
            << "round " << round;
    }
}

// --- Damage: nothing but the two errors, and all forms of input agree.

std::string outcome(istr const& text, bool asStream) {
    Unit u;
    std::string end = "ok";
    try {
        if (asStream) {
            std::istringstream is{static_cast<std::string>(text)};
            zan::pml::ntvFromPml(u, is);
        } else {
            zan::pml::ntvFromPml(u, text);
        }
    } catch (zan::pml::DecodeException const& e) {
        end = e.msg();
    } catch (zan::DuplicatedUnitException const& e) {
        end = e.msg();
    }
    return end + " " + shape(u);
}

TEST(PmlDamage, CutsAndFlipsNeverDoHarm) {
    zan_test::LogCapture const log;
    std::string const text =
        "cfg:t((* c *)log(level(3) file(\"a:^\"b\" 'c'))port:int(80):x(1)(2) e^()) f(g(h(i))) j )";
    for (unsigned long n = 0; n <= text.size(); ++n)
        EXPECT_EQ(outcome(istr(text).leftstr(n), false), outcome(istr(text).leftstr(n), true)) << n;
    for (unsigned long at = 0; at < text.size(); ++at)
        for (char const c : {'(', ')', ':', '*', '^', '\'', '"', ' ', 'x', '\xff'}) {
            std::string damaged = text;
            damaged[at] = c;
            EXPECT_EQ(outcome(damaged, false), outcome(damaged, true)) << damaged;
        }
}

// --- Depth and width.

constexpr unsigned long DEEP = 1000000;

TEST(PmlDepth, OneMillionLevelsAreReadCopiedShownAndFreed) {
    std::string text;
    for (unsigned long i = 0; i < DEEP; ++i) text += "a(";
    std::string const open = text;
    text += "x" + std::string(DEEP, ')');
    Unit u;
    zan::pml::ntvFromPml(u, istr(text));
    String out;
    EXPECT_TRUE(zan::pml::ntvToCompactPml(u, out, 7));
    EXPECT_TRUE(out == text);
    for (int mode = 2; mode <= 4; ++mode) EXPECT_TRUE(u.str(mode, 7) == text) << mode;
    Unit copy(u);
    Unit const* last = &u;
    unsigned long depth = 1;
    while (last->listValue() != nullptr) {
        last = last->childAt(0);
        ++depth;
    }
    EXPECT_EQ(DEEP, depth);
    EXPECT_EQ(2 * (DEEP - 1), last->path().size());
    EXPECT_EQ(&u, last->root());
    zan::dumper d(true);
    copy.dump(d);
    EXPECT_GT(d.str().size(), 4 * DEEP);
    u = *u.childAt(0);
    copy.setValue("gone");
    // Without its end, and with two children on each level.
    zan::pml::ntvFromPml(u, istr(open));
    std::string wide;
    for (unsigned long i = 0; i < DEEP / 10; ++i) wide += "a(b(1)c(";
    zan::pml::ntvFromPml(u, istr(wide));
    EXPECT_TRUE(zan::pml::ntvToCompactPml(u, out, 7));
    Unit target;
    EXPECT_TRUE(u >> target);
}

TEST(PmlDepth, AChainAboveABranchIsWalkedOnce) {
    std::string text;
    for (unsigned long i = 0; i < DEEP / 10; ++i) text += "a(";
    text += "b(1)c(2)" + std::string(DEEP / 10, ')');
    Unit u;
    zan::pml::ntvFromPml(u, istr(text));
    EXPECT_TRUE(u.str(3, 7) == text);
    EXPECT_FALSE(u.childWasSingle());
}

TEST(PmlDepth, ErrorsFarDownKeepWhatWasRead) {
    std::string text;
    for (unsigned long i = 0; i < DEEP / 10; ++i) text += "a(";
    text += "b(1)b(2)";
    Unit u;
    zan_test::LogCapture const log;
    EXPECT_THROW(zan::pml::ntvFromPml(u, istr(text)), zan::DuplicatedUnitException);
    EXPECT_EQ(DEEP / 10 * 3 + 4, u.str(1, 7).size());
}

TEST(PmlWidth, LongListsFindTheirNames) {
    std::string text = "a(";
    for (int i = 0; i < 50000; ++i) text += "n" + std::to_string(i) + "(" + std::to_string(i) + ")";
    Unit u;
    zan::pml::ntvFromPml(u, istr(text + ")"));
    Unit const& in = u;
    for (int i = 0; i < 50000; i += 7) {
        int value = -1;
        ASSERT_TRUE(in["n" + std::to_string(i)] >> value);
        ASSERT_EQ(i, value);
    }
    EXPECT_EQ(nullptr, in.at("n50000"));
    EXPECT_THROW(zan::pml::ntvFromPml(u, istr(text + "n17(1))")), zan::DuplicatedUnitException);
    EXPECT_EQ(50000u, u.numofChildren());
}

}  // namespace
