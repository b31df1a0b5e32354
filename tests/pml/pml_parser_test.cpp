#include "zan/pml/pml_parser.h"

#include <gmock/gmock.h>

#include "support/log_capture.h"
#include "support/pml.h"
#include "support/seed.h"
#include "support/temp_dir.h"
#include "support/text.h"
#include "support/vectors.h"
#include "zan/pml/pml_t.h"

namespace {

using namespace std::string_literals;
using namespace zan;
using zan::pml::ntvFromPml;
using zan::pml::ntv::Unit;
using namespace zan_test;

TEST(PmlText, GivesTheTreeThatItSaysInAllFormsOfInput) {
    zan_test::TempDir const dir;
    auto const check = [&dir](std::string const& text, std::string const& tree) {
        SCOPED_TRACE(text);
        auto const gives = [&tree](auto&& input) {
            Unit u("old", "old", "old");
            EXPECT_TRUE(ntvFromPml(u, input));
            EXPECT_EQ(tree, shape(u));
        };
        std::wstring const wide(text.begin(), text.end());
        gives(istr(text));
        gives(iwstr(wide));
        gives(zan::pml::File(istr(dir.put("x.pml", text))));
        // What stands behind the unit stays unread.
        char const* p = text.c_str();
        gives(p);
        wchar_t const* w = wide.c_str();
        gives(w);
        EXPECT_EQ(p - text.c_str(), w - wide.c_str());
        std::istringstream is(text);
        gives(is);
        is.clear();
        EXPECT_EQ(p, std::string(std::istreambuf_iterator<char>(is), {}));
        std::wistringstream wis(wide);
        gives(wis);
    };
    for (auto const& v : zan_test::vectors("pml.txt", "tree")) check(v.fields[0], v.fields[1]);
    // What the file of vectors cannot hold.
    check("a(\"x:y \")", "a=x:y ");
    check("", "");
    check(" \t\n", "");
    check("a( x ", "a=x");
}

TEST(PmlText, UnitsFollowEachOther) {
    char const* p = "a(b)c(d) e(f)";
    Unit u;
    std::string units;
    while (ntvFromPml(u, p), !u.empty()) units += shape(u) + " ";
    EXPECT_EQ("a=b c=d e=f ", units);
}

TEST(PmlText, BodiesStandWithoutANameAndItsParentheses) {
    for (auto const& v : zan_test::vectors("pml.txt", "body")) {
        Unit u;
        EXPECT_TRUE(zan::pml::ntvFromValueString(u, istr(v.fields[0])));
        EXPECT_EQ(v.fields[1], shape(u)) << v.line;
        std::istringstream is(v.fields[0]);
        EXPECT_EQ(v.fields[1], shape(Unit(zan::pml::newNtvValue(is)))) << v.line;
    }
}

TEST(PmlText, EndsAtANulInViewsButNotInFilesAndStreams) {
    std::string const text = "a(x\0y)"s;
    EXPECT_EQ("a=x", shape(parsedPml(text)));
    Unit u;
    std::istringstream is(text);
    ntvFromPml(u, is);
    EXPECT_EQ("a=x\0y"s, shape(u));
    zan_test::TempDir const dir;
    ntvFromPml(u, zan::pml::File(istr(dir.put("x.pml", text))));
    EXPECT_EQ("a=x\0y"s, shape(u));
    EXPECT_FALSE(ntvFromPml(u, zan::pml::File(istr(dir.file("none")))));
    EXPECT_EQ(nullptr, zan::pml::newNTV(zan::pml::File(istr(dir.file("none")))));
}

TEST(PmlText, MayBeAPartOfTheUnitThatItIsReadInto) {
    Unit u("n", "", "b(1)");
    ntvFromPml(u, u.getStringValue());
    EXPECT_EQ("b=1", shape(u));
    u.name("c(2)");
    ntvFromPml(u, static_cast<Unit const&>(u).name());
    EXPECT_EQ("c=2", shape(u));
    u.type(std::string(100, ' ') + "d(3)");
    ntvFromPml(u, u.type());
    EXPECT_EQ("d=3", shape(u));
}

TEST(PmlErrors, SayWhatWasDueAndWhere) {
    zan_test::LogCapture const log;
    zan_test::TempDir const dir;
    Unit u;
    char const* const refused[][2] = {
        {"a:b", "get type token"},
        {"a:", "get type token"},
        {"a:b:c(1)", "not found value begin tag, token"},
        {"a:b)", "not found value begin tag, token"},
        {"x(\n  a(1)\n  b:c)\n)", "not found value begin tag, token"}};
    for (auto const& row : refused) {
        std::string const message = "DecodeException: "s + row[1];
        EXPECT_EQ(message, messageOf<zan::pml::DecodeException>([&] { parsedPml(row[0]); }))
            << row[0];
        EXPECT_TRUE(log.has("THROWING"));
        std::string const file = dir.put("x.pml", row[0]);
        EXPECT_THAT(messageOf<zan::pml::DecodeException>(
                        [&] { ntvFromPml(u, zan::pml::File(istr(file))); }),
                    testing::StartsWith(message + ", file " + file + ", line "));
    }
    std::istringstream bad("a(1)");
    bad.setstate(std::ios::failbit);
    EXPECT_EQ("DecodeException: get pml name token",
              messageOf<zan::pml::DecodeException>([&] { ntvFromPml(u, bad); }));
    std::string const file = dir.put("x.pml", "x(\n  a(1)\n  a(2))");
    EXPECT_EQ("DuplicatedUnitException, file " + file + ", line 3, column 6",
              messageOf<zan::DuplicatedUnitException>(
                  [&] { ntvFromPml(u, zan::pml::File(istr(file))); }));
}

TEST(PmlErrors, LeaveWhatWasReadSoFar) {
    zan_test::LogCapture const log;
    Unit u;
    EXPECT_THROW(ntvFromPml(u, "x(a(1)b(c(2)c(3)d(4)))"), zan::DuplicatedUnitException);
    EXPECT_EQ("x[a=1, b[c=2]]", shape(u));
    EXPECT_FALSE(log.has("THROWING"));
    EXPECT_THROW(ntvFromPml(u, "x(a(1)b(c(2)d:e)"), zan::pml::DecodeException);
    EXPECT_EQ("x[a=1, b[c=2, d]]", shape(u));
    EXPECT_EQ("/b/d", u.find("b/d")->path());
}

// --- Any text is a value.

std::string escaped(String text) {
    zan::pml::escapeString(text);
    return text;
}

std::wstring escaped(std::wstring text) {
    zan::pml::escapeString(text);
    return text;
}

TEST(PmlEscapes, AreThoseOfTheTable) {
    char const* const table[][2] = {{"", ""},
                                    {"a b", "a b"},
                                    {" a", "\" a\""},
                                    {"a ", "\"a \""},
                                    {"a:b", "\"a:b\""},
                                    {"a\"b", "\"a^\"b\""},
                                    {"a*", "\"a*\""},
                                    {"a^b", "\"a^^b\""},
                                    {"it's", "\"it's\""},
                                    {"\xC3\xA9", "\"\xC3\xA9\""}};
    for (auto const& [text, wanted] : table) {
        EXPECT_EQ(wanted, escaped(String(text)));
        EXPECT_EQ(wanted, zan::toAnsi(zan::wstr(escaped(zan::toWstring(zan::ansi(text))))));
    }
    // The wide form looks at the low 8 bits.
    EXPECT_EQ(L"\"\x180\"", escaped(L"\x180"s));
    EXPECT_EQ(L"\x141", escaped(L"\x141"s));
    for (char const* const unmatched : {"'a\"", "\""}) {
        String s(unmatched);
        zan::pml::unescapeString(s);
        EXPECT_EQ(unmatched, s);
    }
}

TEST(PmlEscapes, BringBackAnyTextWithoutANul) {
    auto random = zan_test::makeRandom();
    std::string const likely = "()^:*'\" \t\nax";
    std::wstring const wide =
        std::wstring(likely.begin(), likely.end()) + L"\x141\x180\x3000\x85\xA0";
    for (int round = 0; round < 10000; ++round) {
        std::string text;
        std::wstring wideText;
        for (auto n = random() % 12; n != 0; --n) {
            text += random() % 4 != 0 ? likely[random() % likely.size()]
                                      : static_cast<char>(random() % 255 + 1);
            wideText += wide[random() % wide.size()];
        }
        Unit u;
        ntvFromPml(u, istr("a(" + escaped(String(text)) + ")"));
        ASSERT_EQ("a=" + text, shape(u)) << "round " << round;
        ntvFromPml(u, iwstr(L"a(" + escaped(wideText) + L")"));
        ASSERT_EQ("a=" + zan::toAnsi(zan::wstr(wideText)), shape(u)) << "round " << round;
    }
}

// --- Damage: nothing but the two errors, and all forms of input agree.

template <class Input>
std::string outcome(Input&& input) {
    Unit u;
    std::string end = "ok";
    try {
        ntvFromPml(u, input);
    } catch (zan::pml::DecodeException const& e) {
        end = e.msg();
    } catch (zan::DuplicatedUnitException const& e) {
        end = e.msg();
    }
    return end + " " + shape(u);
}

void expectAgreement(std::string const& text) {
    EXPECT_EQ(outcome(istr(text)), outcome(std::istringstream(text))) << text;
}

TEST(PmlDamage, CutsAndFlipsNeverDoHarm) {
    zan_test::LogCapture const log;
    std::string const text =
        "cfg:t((* c *)log(level(3) file(\"a:^\"b\" 'c'))port:int(80):x(1)(2) e^()) f(g(h(i))) j )";
    for (unsigned long at = 0; at < text.size(); ++at) {
        expectAgreement(text.substr(0, at));
        for (char const c : {'(', ')', ':', '*', '^', '\'', '"', ' ', 'x', '\xff'}) {
            std::string damaged = text;
            damaged[at] = c;
            expectAgreement(damaged);
        }
    }
}

// --- Depth and width.

constexpr unsigned long DEEP = 1000000;

std::string opened(unsigned long levels, char const* level = "a(") {
    std::string text;
    for (unsigned long i = 0; i < levels; ++i) text += level;
    return text;
}

TEST(PmlDepth, OneMillionLevelsAreReadCopiedShownAndFreed) {
    std::string const text = opened(DEEP) + "x" + std::string(DEEP, ')');
    Unit u = parsedPml(text);
    String out;
    EXPECT_TRUE(zan::pml::ntvToCompactPml(u, out, 7));
    EXPECT_TRUE(out == text);
    for (int mode = 2; mode <= 4; ++mode) EXPECT_TRUE(u.str(mode, 7) == text) << mode;
    Unit copy(u);
    Unit const* last = &u;
    unsigned long depth = 1;
    for (; last->listValue() != nullptr; ++depth) last = last->childAt(0);
    EXPECT_EQ(DEEP, depth);
    EXPECT_EQ(2 * (DEEP - 1), last->path().size());
    EXPECT_EQ(&u, last->root());
    EXPECT_GT(zan_test::dumped(copy, true).size(), 4 * DEEP);
    u = *u.childAt(0);
    copy.setValue("gone");
}

TEST(PmlDepth, EndsErrorsAndBranchesFarDown) {
    parsedPml(opened(DEEP / 10));
    Unit const branches = parsedPml(opened(DEEP / 10, "a(b(1)c("));
    EXPECT_GT(branches.str(1, 7).size(), DEEP / 10 * 8);
    Unit u;
    EXPECT_TRUE(branches >> u);
    // A chain above a branch is walked once.
    std::string const chain = opened(DEEP / 10);
    std::string const text = chain + "b(1)c(2)" + std::string(DEEP / 10, ')');
    ntvFromPml(u, istr(text));
    EXPECT_TRUE(u.str(3, 7) == text);
    EXPECT_FALSE(u.childWasSingle());
    EXPECT_THROW(ntvFromPml(u, istr(chain + "b(1)b(2)")), zan::DuplicatedUnitException);
    EXPECT_EQ(chain.size() + 4 + DEEP / 10, u.str(1, 7).size());
}

TEST(PmlWidth, LongListsFindTheirNames) {
    std::string text = "a(";
    for (int i = 0; i < 50000; ++i) text += "n" + std::to_string(i) + "(" + std::to_string(i) + ")";
    Unit u = parsedPml(text + ")");
    Unit const& in = u;
    for (int i = 0; i < 50000; i += 7) {
        int value = -1;
        ASSERT_TRUE(in["n" + std::to_string(i)] >> value);
        ASSERT_EQ(i, value);
    }
    EXPECT_EQ(nullptr, in.at("n50000"));
    EXPECT_THROW(ntvFromPml(u, istr(text + "n17(1))")), zan::DuplicatedUnitException);
    EXPECT_EQ(50000u, u.numofChildren());
}

}  // namespace
