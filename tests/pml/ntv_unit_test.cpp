#include "zan/pml/ntv_unit.h"

#include <gtest/gtest.h>

#include <limits>
#include <map>

#include "support/log_capture.h"
#include "support/pml.h"
#include "support/seed.h"
#include "support/text.h"
#include "zan/zan.h"

namespace {

using namespace zan::pml::ntv;
using namespace zan;
using zan_test::parsedPml;

std::string text(Unit const& u) {
    return u.getStringValue();
}

// The text of a value, which reads back as the same value.
template <class T>
std::string written(T const& v) {
    Unit u;
    u << v;
    T back{};
    EXPECT_TRUE(u >> back);
    EXPECT_TRUE(v == back);
    return u.type() + (u.type().empty() ? "" : ":") + text(u);
}

TEST(NtvConversions, WriteTheTextOfTheTable) {
    EXPECT_EQ("1", written(true));
    EXPECT_EQ("0", written(zan::Bit(false)));
    EXPECT_EQ("A", written('A'));
    EXPECT_EQ("A", written(static_cast<unsigned char>('A')));
    EXPECT_EQ("65", written(zan::Char('A')));
    EXPECT_EQ("200", written(zan::Byte(200)));
    EXPECT_EQ("-5", written(static_cast<short>(-5)));
    EXPECT_EQ("-9223372036854775808", written(std::numeric_limits<long>::min()));
    EXPECT_EQ("18446744073709551615", written(~0UL));
    EXPECT_EQ("-1", written(zan::Longlong(-1)));
    EXPECT_EQ("4294967295", written(zan::Ulong(4294967295u)));
    EXPECT_EQ("0.333", written(0.333));
    EXPECT_EQ("1.5", written(zan::Float(1.5f)));
    EXPECT_EQ("txt", written(String("txt")));
    EXPECT_EQ("utf8:0JbDqQ==", written(std::wstring(L"\x416\xE9")));
    EXPECT_EQ("base64:AP8=", written(zan::Bytes(istr("\0\xff", 2))));
    EXPECT_EQ("\\u00E9", written(zan::Wchar(0xE9)));
    zan::Time const time = zan::Time::milliSeconds(1402899187125);
    EXPECT_EQ(time.toFullDateTime(), written(time));
    Unit u("n", "", "old");
    EXPECT_THROW(u << zan::Wchar(0x10000), zan::OutOfRangeException);
    EXPECT_EQ("old", text(u));
}

// The target afterwards, and whether the result was true.
template <class T>
std::pair<bool, T> readAs(istr const& s, T v = T()) {
    bool const ok = Unit("n", "", s) >> v;
    return {ok, v};
}

TEST(NtvConversions, ReadOrLeaveTheTargetAlone) {
    EXPECT_EQ(std::pair(true, true), readAs<bool>("true"));
    EXPECT_EQ(std::pair(true, false), readAs<bool>("0", true));
    EXPECT_EQ(std::pair(false, true), readAs<bool>("False", true));
    EXPECT_EQ(std::pair(false, true), readAs<bool>("2", true));
    EXPECT_EQ(std::pair(true, 12), readAs<int>(" +12ab"));
    EXPECT_EQ(std::pair(false, 7l), readAs<long>("abc", 7));
    EXPECT_EQ(std::pair(false, 7l), readAs<long>("", 7));
    EXPECT_EQ(std::pair(false, short{7}), readAs<short>("40000", 7));
    EXPECT_EQ(std::pair(true, ~0ull), readAs<zan::uint64>("18446744073709551615"));
    EXPECT_EQ(std::pair(false, 7ull), readAs<zan::uint64>("18446744073709551616", 7));
    EXPECT_EQ(std::pair(true, 'x'), readAs<char>(" x "));
    EXPECT_EQ(std::pair(false, 'q'), readAs<char>("  ", 'q'));
    EXPECT_EQ(44, readAs<zan::Byte>("300").second.value());
    EXPECT_EQ(std::pair(true, 0.25), readAs<double>("0.25x"));
    EXPECT_EQ(0xE9, readAs<zan::Wchar>("\\u00e9").second.value());
    EXPECT_FALSE(readAs<zan::Wchar>("\\u00g9").first);
    EXPECT_FALSE(readAs<zan::Wchar>("\\u00e90").first);
    int volatile number = 3;
    EXPECT_FALSE(Unit("n", "", "x") >> number);
    EXPECT_EQ(3, number);
}

TEST(NtvConversions, NeedAText) {
    Unit const list = parsedPml("a(b(1))");
    for (Unit const* u : {&list, &Unit::null()}) {
        int n = 3;
        String s("old");
        std::wstring w(L"old");
        zan::Time t = zan::Time::seconds(1);
        EXPECT_FALSE(*u >> n || *u >> s || *u >> w || *u >> t);
        EXPECT_EQ(3, n);
        EXPECT_EQ("old", s);
    }
    Unit target("n", "t", "old");
    EXPECT_TRUE(list >> target);
    EXPECT_FALSE(Unit::null() >> target);
    EXPECT_EQ("n(b(1))", target.str());
}

TEST(NtvTree, AddsAndUpdatesChildren) {
    Unit u("r", "", "text");
    u["x"] << 1;
    EXPECT_EQ("r((text)x(1))", u.str());
    EXPECT_TRUE(u.addChild("z", "t", "3"));
    EXPECT_TRUE(u.addChild(""));
    EXPECT_TRUE(u.addChild(istr()));
    Unit second(istr("x"));
    EXPECT_THROW(u.addChild(&second), zan::DuplicatedUnitException);
    EXPECT_THROW(u.addChild("x", "9"), zan::DuplicatedUnitException);
    EXPECT_THROW(u.addChild("[0]", "9"), zan::DuplicatedUnitException);
    EXPECT_EQ(3u, static_cast<Unit const&>(u).at("[3]")->index());
    Unit const copy(u);
    EXPECT_EQ(nullptr, copy.at("[3]"));
    EXPECT_EQ("text", text(copy["[0]"]));
    EXPECT_EQ(nullptr, copy.childAt(1)->parent());
    EXPECT_FALSE(u.updateChild("x", "new"));
    EXPECT_FALSE(u.updateChild("w", "t", "made"));
    EXPECT_TRUE(u.updateChild("", "another"));
    EXPECT_EQ("r((text)x(new)z:t(3)()()w:t(made)(another))", u.str());
    EXPECT_EQ("r((text)x(1)z:t(3)()())", copy.str());
    String out("old");
    EXPECT_FALSE(u.getChild("none", out));
    EXPECT_EQ("old", out);
    EXPECT_TRUE(u.getChild("x", out));
    EXPECT_EQ("new", out);
}

TEST(NtvTree, TakesPartsOfItself) {
    Unit u = parsedPml("m(p(1)q(r(2)))");
    u += *u.find("q");
    EXPECT_EQ("m(p(1)q(r(2))r(2))", u.str());
    u = *u.find("q");
    EXPECT_EQ("q(r(2))", u.str());
    u["r"] << u;
    EXPECT_EQ("q(r(r(2)))", u.str());
    u.setValue(u.find("r/r")->getStringValue());
    EXPECT_EQ("q(2)", u.str());
    u.clear();
    EXPECT_TRUE(u.empty());
}

TEST(NtvTree, KeepsUpWithRenamedChildren) {
    Unit u;
    for (int i = 0; i < 20; ++i) u.addChild("n" + std::to_string(i), std::to_string(i));
    Unit const& in = u;
    ListValue* list = nullptr;
    ASSERT_TRUE(u.getValue(list));
    list->data()[3]->name("changed");
    list->data()[4]->name() = "too";
    EXPECT_EQ("3", text(in["changed"]));
    EXPECT_EQ("4", text(in["too"]));
    EXPECT_EQ(nullptr, in.at("n3"));
    EXPECT_THROW(u.addChild("too", "x"), zan::DuplicatedUnitException);
    EXPECT_TRUE(u.addChild("n3", "again"));
    EXPECT_EQ("again", text(in["n3"]));
    list->push_back(new Unit("pushed", "", "p"));
    EXPECT_EQ("p", text(in["pushed"]));
    Unit const copy(u);
    EXPECT_EQ("4", text(copy["too"]));
    EXPECT_EQ("p", text(copy["pushed"]));
}

TEST(NtvTree, AgreesWithAMapOfNames) {
    auto random = zan_test::makeRandom();
    Unit u;
    std::map<std::string, std::string> model;
    for (int i = 0; i < 3000; ++i) {
        std::string const name = "k" + std::to_string(random() % 1000);
        std::string const value = std::to_string(random());
        u[name] << value;
        model[name] = value;
    }
    ASSERT_EQ(model.size(), u.numofChildren());
    Unit const copy(u);
    for (auto const& entry : model) ASSERT_EQ(entry.second, text(copy[entry.first]));
}

TEST(NtvPaths, LeadThroughTheTree) {
    Unit const u = parsedPml("r(a(b(1)c((x)(y)d(2)))e(3))");
    // The path, whose it is, and what is logged.
    char const* const table[][3] = {{"a/b", "/a/b", ""},
                                    {"/a/b", "/a/b", ""},
                                    {"a[1][1]", "/a/c/[1]", ""},
                                    {"a[1]/d", "/a/c/d", ""},
                                    {"/[1]", "/e", ""},
                                    {"", "/", ""},
                                    {"/", "/", ""},
                                    {"a/b/../../e", "/e", ""},
                                    {"./a/.", "/a", ""},
                                    {"a/", "/a", ""},
                                    {"a[", "/a", ""},
                                    {"..", "null", ""},
                                    {"a[]", "null", ""},
                                    {"a[1x]", "null", ""},
                                    {"a[99999999999999999999]", "null", ""},
                                    {"none/b", "null", ""},
                                    {"a[7]", "null", "Index too large: 7"},
                                    {"e[0]", "null", "Value was not a list."}};
    for (auto const& [path, wanted, logged] : table) {
        zan_test::LogCapture const log;
        Unit const* const found = u.find(path);
        EXPECT_EQ(wanted, found == nullptr ? std::string("null") : found->path()) << path;
        EXPECT_TRUE(*logged == 0 || log.has(logged)) << path;
    }
    EXPECT_EQ(&u, u.at("/"));
    EXPECT_EQ(u.find("a"), u.find("a/b")->at(".."));
    EXPECT_EQ(&Unit::null(), &u["none"]["more"]("x")(5));
}

TEST(NtvValues, HaveTheirTextAndTheirDump) {
    String const time = zan::Time::seconds(5).toFullDateTime();
    std::tuple<ValueBase*, std::string, std::string> const table[] = {
        {BooleanValue::create(true), "1", "true"},
        {BytesValue::create(istr("\0\1", 2)), "AAE=", "AAE="},
        {CharacterValue::create('x'), "x", "'x'"},
        {FloatValue::create(0.1), "0.1", "0.1"},
        {IntegerValue::create(-5), "-5", "-5"},
        {StringValue::create("a:b"), "\"a:b\"", "'a:b'"},
        {UnsignedValue::create(~0ull), "18446744073709551615", "18446744073709551615"},
        {WcharValue::create(0xE9), "\\u00E9", "\\u00E9"},
        {WstringValue::create(L"\xE9"), "w6k=", "w6k="},
        {TimeValue::create(zan::Time::seconds(5)), "'" + time + "'", "'" + time + "'"}};
    for (auto const& [value, text, dump] : table) {
        Unit const unit(value);
        Unit const copy(unit);
        EXPECT_EQ("(" + text + ")", copy.str());
        zan::dumper d(true);
        copy.value()->dump(d);
        EXPECT_EQ(dump, d.str());
        EXPECT_EQ(&copy, copy.value()->owner());
    }
}

TEST(NtvValues, ThatAreDisplacedGo) {
    Unit u(IntegerValue::create(5));
    StringValue* s = nullptr;
    EXPECT_FALSE(u.getValue(s));
    u.setValue("stays");
    EXPECT_EQ("(5)", u.str());
    u.value(IntegerValue::create(6));
    u.addChild("a", "1");
    EXPECT_EQ("(a(1))", u.str());
    ValueBase* const list = u.popValue();
    EXPECT_TRUE(u.valueEmpty());
    u.value(list);
    EXPECT_EQ("1", text(static_cast<Unit const&>(u)["a"]));
    u << "text";
    EXPECT_EQ("(text)", u.str());
    Unit twin(istr("a"));
    auto* const bad = new ListValue(std::vector<Unit*>(2, &twin));
    EXPECT_THROW(Unit{bad}, zan::DuplicatedUnitException);
}

TEST(NtvDump, ShowsNamesTypesAndValues) {
    Unit const u = parsedPml("r:t(a(1)b(c:x(2) (3)))");
    EXPECT_EQ("r:t({a'1' b({c:x'2' '3'})})", zan_test::dumped(u, true));
    EXPECT_EQ("r:t({\n    a'1'\n    b({\n        c:x'2'\n        '3'\n    })\n})",
              zan_test::dumped(u));
}

}  // namespace
