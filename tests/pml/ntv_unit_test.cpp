#include "zan/pml/ntv_unit.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

#include "support/log_capture.h"
#include "support/seed.h"
#include "zan/base/exception.h"
#include "zan/log/log_dumper.h"
#include "zan/pml/ntv_boolean_value.h"
#include "zan/pml/ntv_bytes_value.h"
#include "zan/pml/ntv_character_value.h"
#include "zan/pml/ntv_float_value.h"
#include "zan/pml/ntv_integervalue.h"
#include "zan/pml/ntv_time_value.h"
#include "zan/pml/ntv_unsigned_value.h"
#include "zan/pml/ntv_wchar_value.h"
#include "zan/pml/ntv_wstring_value.h"
#include "zan/pml/pml_t.h"

namespace {

using namespace zan::pml::ntv;
using zan::istr;
using zan::String;

void parse(Unit& u, istr const& text) {
    zan::pml::ntvFromPml(u, text);
}

std::string text(Unit const& u) {
    return u.getStringValue();
}

template <class T>
std::string written(T const& v) {
    Unit u;
    u << v;
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
    EXPECT_EQ("-5", written(-5));
    EXPECT_EQ("5", written(5u));
    EXPECT_EQ("-9223372036854775808", written(std::numeric_limits<long>::min()));
    EXPECT_EQ("18446744073709551615", written(~0UL));
    EXPECT_EQ("-1", written(zan::Longlong(-1)));
    EXPECT_EQ("4294967295", written(zan::Ulong(4294967295u)));
    EXPECT_EQ("0.333333", written(1.0 / 3));
    EXPECT_EQ("1.5", written(zan::Float(1.5f)));
    EXPECT_EQ("txt", written("txt"));
    EXPECT_EQ("txt", written(String("txt")));
    EXPECT_EQ("utf8:w6k=", written(std::wstring(L"\xE9")));
    EXPECT_EQ("base64:AP8=", written(zan::Bytes(istr("\0\xff", 2))));
    EXPECT_EQ("\\u00E9", written(zan::Wchar(0xE9)));
    EXPECT_EQ("5", written(zan::Longlong(5)));
    zan_test::LogCapture const log;
    Unit u("n", "", "old");
    EXPECT_THROW(u << zan::Wchar(0x10000), zan::OutOfRangeException);
    EXPECT_EQ("old", text(u));
}

// The target afterwards, and whether the result was true.
template <class T>
std::pair<bool, T> readAs(istr const& s, T v = T()) {
    Unit u("n", "", s);
    bool const ok = u >> v;
    return {ok, v};
}

TEST(NtvConversions, ReadOrLeaveTheTargetAlone) {
    EXPECT_EQ(std::make_pair(true, true), readAs<bool>("true"));
    EXPECT_EQ(std::make_pair(true, false), readAs<bool>("0", true));
    EXPECT_EQ(std::make_pair(false, true), readAs<bool>("False", true));
    EXPECT_EQ(std::make_pair(false, true), readAs<bool>("2", true));
    EXPECT_EQ(std::make_pair(true, 12), readAs<int>("12ab"));
    EXPECT_EQ(std::make_pair(true, 12l), readAs<long>(" 12"));
    EXPECT_EQ(std::make_pair(true, 12), readAs<int>("+12"));
    EXPECT_EQ(std::make_pair(false, 7l), readAs<long>("abc", 7));
    EXPECT_EQ(std::make_pair(false, 7l), readAs<long>("", 7));
    EXPECT_EQ(std::make_pair(false, static_cast<short>(7)), readAs<short>("40000", 7));
    EXPECT_EQ(std::make_pair(true, -3ll), readAs<__int64>("-3"));
    EXPECT_EQ(std::make_pair(true, ~0ull), readAs<zan::uint64>("18446744073709551615"));
    EXPECT_EQ(std::make_pair(false, 7ull), readAs<zan::uint64>("18446744073709551616", 7));
    EXPECT_EQ(std::make_pair(true, 'x'), readAs<char>(" x "));
    EXPECT_EQ(std::make_pair(false, 'q'), readAs<char>("  ", 'q'));
    EXPECT_EQ('A', readAs<zan::Char>("65").second.value());
    EXPECT_EQ(44, readAs<zan::Byte>("300").second.value());
    EXPECT_EQ(std::make_pair(true, 0.25), readAs<double>("0.25x"));
    EXPECT_EQ(0xE9, readAs<zan::Wchar>("\\u00e9").second.value());
    EXPECT_FALSE(readAs<zan::Wchar>("\\u00g9").first);
    EXPECT_FALSE(readAs<zan::Wchar>("\\u00e90").first);
    Unit u;
    u << std::wstring(L"\x416\xE9");
    std::wstring wide;
    EXPECT_TRUE(u >> wide);
    EXPECT_EQ(L"\x416\xE9", wide);
    u << zan::Time::milliSeconds(1402899187125);
    zan::Time time;
    EXPECT_TRUE(u >> time);
    EXPECT_EQ(1402899187125, time.toMilliSeconds());
    zan::Bytes bytes;
    u << zan::Bytes(istr("\0\1\2\3", 4));
    EXPECT_TRUE(u >> bytes);
    EXPECT_EQ(istr("\0\1\2\3", 4), istr(bytes));
    int volatile number = 3;
    u << "x";
    EXPECT_FALSE(u >> number);
    EXPECT_EQ(3, number);
}

TEST(NtvConversions, NeedAText) {
    Unit list;
    parse(list, "a(b(1))");
    for (Unit const* u : {static_cast<Unit const*>(&list), &Unit::null()}) {
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
    EXPECT_EQ("n(b(1))", target.str());
    EXPECT_FALSE(Unit::null() >> target);
    EXPECT_EQ("n(b(1))", target.str());
}

TEST(NtvTree, AddsAndFindsChildren) {
    Unit u("r", "", "text");
    u["x"] << 1;
    EXPECT_EQ("r((text)x(1))", u.str());
    EXPECT_EQ("text", text(*static_cast<Unit const&>(u).at("[0]")));
    EXPECT_TRUE(u.addChild("y", "2"));
    EXPECT_TRUE(u.addChild("z", "t", "3"));
    EXPECT_TRUE(u.addChild(""));
    EXPECT_TRUE(u.addChild(istr()));
    Unit* second = new Unit(istr("x"));
    EXPECT_THROW(u.addChild(second), zan::DuplicatedUnitException);
    delete second;
    EXPECT_THROW(u.addChild("x", "9"), zan::DuplicatedUnitException);
    EXPECT_THROW(u.addChild("[0]", "9"), zan::DuplicatedUnitException);
    EXPECT_EQ(6u, u.numofChildren());
    EXPECT_EQ(4u, static_cast<Unit const&>(u).at("[4]")->index());
    Unit const copy(u);
    EXPECT_EQ(u.str(), copy.str());
    EXPECT_EQ(nullptr, copy.at("[4]"));
    EXPECT_EQ("text", text(*copy.at("[0]")));
    EXPECT_EQ(nullptr, copy.childAt(1)->parent());
    EXPECT_FALSE(u.updateChild("x", "new"));
    EXPECT_FALSE(u.updateChild("w", "t", "made"));
    EXPECT_TRUE(u.updateChild("", "another"));
    EXPECT_EQ("r((text)x(new)y(2)z:t(3)()()w:t(made)(another))", u.str());
    String out("old");
    EXPECT_FALSE(u.getChild("none", out));
    EXPECT_EQ("old", out);
    EXPECT_TRUE(u.getChild("x", out));
    EXPECT_EQ("new", out);
    Unit more;
    parse(more, "m(p(1)q(r(2)))");
    more += *more.find("q");
    EXPECT_EQ("m(p(1)q(r(2))r(2))", more.str());
    more = *more.find("q");
    EXPECT_EQ("q(r(2))", more.str());
    more["r"] << more;
    EXPECT_EQ("q(r(r(2)))", more.str());
    more.setValue(more.find("r/r")->getStringValue());
    EXPECT_EQ("q(2)", more.str());
    more.clear();
    EXPECT_TRUE(more.empty());
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
    Unit u;
    parse(u, "r(a(b(1)c((x)(y)d(2)))e(3))");
    auto const found = [&u](istr const& path) {
        Unit const* const unit = u.find(path);
        return unit == nullptr ? std::string("null") : unit->path();
    };
    EXPECT_EQ("/a/b", found("a/b"));
    EXPECT_EQ("/a/b", found("/a/b"));
    EXPECT_EQ("/a/c/[1]", found("a[1][1]"));
    EXPECT_EQ("/a/c/d", found("a[1]/d"));
    EXPECT_EQ("/e", found("/[1]"));
    EXPECT_EQ("/", found(""));
    EXPECT_EQ("/", found("/"));
    EXPECT_EQ("/e", found("a/b/../../e"));
    EXPECT_EQ("/a", found("./a/."));
    EXPECT_EQ("null", found(".."));
    EXPECT_EQ("/a", found("a["));
    EXPECT_EQ("null", found("a[]"));
    EXPECT_EQ("null", found("a[x]"));
    EXPECT_EQ("null", found("a[1x]"));
    EXPECT_EQ("null", found("a[99999999999999999999]"));
    EXPECT_EQ("null", found("none/b"));
    EXPECT_EQ("/a", found("a/"));
    zan_test::LogCapture const log;
    EXPECT_EQ("null", found("a[7]"));
    EXPECT_TRUE(log.has("Index too large: 7"));
    EXPECT_EQ("null", found("e[0]"));
    EXPECT_TRUE(log.has("Value was not a list."));
    EXPECT_EQ(&u, static_cast<Unit const&>(u).at("/"));
    EXPECT_EQ(u.find("a"), u.find("a/b")->at(".."));
    EXPECT_EQ("r(a(b(1)c((x)(y)d(2)))e(3))", u.str());
    EXPECT_EQ(&Unit::null(), &static_cast<Unit const&>(u)["none"]["more"]("x")(5));
}

TEST(NtvValues, HaveTheirTextAndTheirDump) {
    auto const shown = [](ValueBase* v) {
        Unit u(v);
        zan::dumper d(true);
        Unit const copy(u);
        copy.value()->dump(d);
        EXPECT_EQ(&copy, copy.value()->owner());
        return copy.str() + " " + d.str();
    };
    EXPECT_EQ("(1) true", shown(BooleanValue::create(true)));
    EXPECT_EQ("(AAE=) AAE=", shown(BytesValue::create(istr("\0\1", 2))));
    EXPECT_EQ("(x) 'x'", shown(CharacterValue::create('x')));
    EXPECT_EQ("(0.1) 0.1", shown(FloatValue::create(0.1)));
    EXPECT_EQ("(-5) -5", shown(IntegerValue::create(-5)));
    EXPECT_EQ("(\"a:b\") 'a:b'", shown(StringValue::create("a:b")));
    EXPECT_EQ("(18446744073709551615) 18446744073709551615", shown(UnsignedValue::create(~0ull)));
    EXPECT_EQ("(\\u00E9) \\u00E9", shown(WcharValue::create(0xE9)));
    EXPECT_EQ("(w6k=) w6k=", shown(WstringValue::create(L"\xE9")));
    String const time = zan::Time::seconds(5).toFullDateTime();
    EXPECT_EQ("('" + time + "') '" + time + "'", shown(TimeValue::create(zan::Time::seconds(5))));
}

TEST(NtvValues, ThatAreDisplacedGo) {
    Unit u(IntegerValue::create(5));
    EXPECT_FALSE(u.valueEmpty());
    EXPECT_TRUE(u.simple());
    StringValue* s = nullptr;
    EXPECT_FALSE(u.getValue(s));
    u.setValue("stays");
    EXPECT_EQ("(5)", u.str());
    u.value(IntegerValue::create(6));
    u.addChild("a", "1");
    EXPECT_EQ("(a(1))", u.str());
    ValueBase* const list = u.popValue();
    EXPECT_EQ(nullptr, u.value());
    EXPECT_TRUE(u.valueEmpty());
    u.value(list);
    EXPECT_EQ("1", text(static_cast<Unit const&>(u)["a"]));
    u << "text";
    EXPECT_EQ("(text)", u.str());
    std::vector<Unit*> const twice{new Unit(istr("a")), new Unit(istr("a"))};
    auto* const bad = new ListValue(twice);
    for (Unit* const unit : twice) delete unit;
    EXPECT_THROW(Unit{bad}, zan::DuplicatedUnitException);
}

TEST(NtvDump, ShowsNamesTypesAndValues) {
    Unit u;
    parse(u, "r:t(a(1)b(c:x(2) (3)))");
    zan::dumper compact(true);
    compact << u;
    EXPECT_EQ("r:t({a'1' b({c:x'2' '3'})})", compact.str());
    zan::dumper lines;
    lines << u;
    EXPECT_EQ("r:t({\n    a'1'\n    b({\n        c:x'2'\n        '3'\n    })\n})", lines.str());
}

}  // namespace
