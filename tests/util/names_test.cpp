#include "zan/util/names.h"

#include <gmock/gmock.h>

namespace zan {
namespace {

using testing::ElementsAre;

TEST(NamesFilename, SplitsAtEitherSeparator) {
    wchar_t const* const cases[][5] = {
        {L"c:\\dir\\file.txt", L"c:\\dir\\file.txt", L"c:\\dir", L"file.txt", L"c:\\dir\\file.txt"},
        {L"c:\\dir\\", L"c:\\dir", L"c:", L"dir", L"c:\\dir"},
        {L"a/b/", L"a/b", L"a", L"b", L"a\\b"},
        {L"file.txt", L"file.txt", L"", L"file.txt", L"file.txt"},
        {L"a/b\\c", L"a/b\\c", L"a/b", L"c", L"a/b\\c"},
        {L"\\x", L"\\x", L"", L"x", L"x"},
        {L"a//", L"a/", L"a", L"", L"a\\"},
        {L"/", L"", L"", L"", L""},
        {L"", L"", L"", L"", L""}};
    for (auto const& [in, full, dir, file, merged] : cases) {
        Filename name((iwstr(in)));
        EXPECT_TRUE(name.full() == full && name.dir() == dir && name.file() == file)
            << testing::PrintToString(in);
        name.merge();
        EXPECT_TRUE(name.full() == merged) << testing::PrintToString(in);
    }
}

TEST(NamesFilename, PartsMakeTheWhole) {
    EXPECT_TRUE(Filename(L"", L"f").full() == L"f");
    EXPECT_TRUE(Filename(L"d", L"f\\").full() == L"d\\f");
    EXPECT_TRUE(Filename(L"d", L"f/").full() == L"d\\f/");
    Filename name(L"logs/today.log");
    EXPECT_TRUE(name.file(L"yesterday.log").full() == L"logs\\yesterday.log");
    EXPECT_TRUE(name.dir(L"").full() == L"yesterday.log");
    EXPECT_TRUE(name.full(L"x/y").dir() == L"x");
    // From a view of itself.
    EXPECT_TRUE(name.full(name.file()).full() == L"y");
    EXPECT_TRUE(name.dir(name.full()).full() == L"y\\y");
}

TEST(NamesFuncname, KeepsTheClassWithTheFunction) {
    char const* const cases[][3] = {{"zan::Time::toString", "zan", "Time::toString"},
                                    {"a::b::c::d", "a::b", "c::d"},
                                    {"Time::now", "Time", "now"},
                                    {"main", "", "main"},
                                    {"::main", "", "main"},
                                    {"::a::b", "", "a::b"},
                                    {"a::", "a", ""},
                                    {"", "", ""}};
    for (auto const& [in, ns, func] : cases) {
        Funcname name((istr(in)));
        EXPECT_EQ(ns, std::string(name.ns())) << in;
        EXPECT_EQ(func, std::string(name.func())) << in;
    }
    Funcname name("main");
    name.merge();
    EXPECT_EQ("::main", std::string(name.full()));
    EXPECT_EQ("a::f", std::string(name.ns("a").func("f").full()));
    EXPECT_EQ("n::C::f", std::string(Funcname("n", "C::f").full()));
}

TEST(NamesMultiString, SplitsAndMerges) {
    EXPECT_THAT(MultiString(",a,,b,", ",").list(), ElementsAre("", "a", "", "b", ""));
    EXPECT_THAT(MultiString("a:::b", "::").list(), ElementsAre("a", ":b"));
    EXPECT_THAT(MultiString("a", "long separator").list(), ElementsAre("a"));
    EXPECT_THAT(MultiString("", ",").list(), ElementsAre());

    MultiString text("abc", "");
    EXPECT_THAT(text.list(), ElementsAre("a", "b", "c"));
    text.merge();
    EXPECT_EQ("abc", std::string(text.full()));
    text.separator(", ");
    EXPECT_EQ("a, b, c, d", std::string(text.add("d").full()));
    text.clear();
    EXPECT_EQ("only", std::string(text.add("only").full()));
    EXPECT_EQ("x, y", std::string(text.list({String("x"), String("y")}).full()));
    EXPECT_THAT(text.set("p, q").list(), ElementsAre("p", "q"));
    // An empty first element still counts as one.
    EXPECT_EQ(", z", std::string(MultiString("", ", ").add("").add("z").full()));
}

TEST(NamesNormalized, RunsOfSeparatorsAreOneDot) {
    EXPECT_EQ("zan.Time", normalizeName("zan::Time"));
    EXPECT_EQ("a.b", normalizeName("a..b"));
    EXPECT_EQ(".a.b.", normalizeName("::a:.:b."));
    EXPECT_EQ("", normalizeName(istr()));
}

}  // namespace
}  // namespace zan
