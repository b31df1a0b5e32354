#include "zan/pml/pml_stream.h"

#include <gtest/gtest.h>

#include <map>

#include "support/temp_dir.h"
#include "support/text.h"
#include "zan/zan.h"

namespace {

using namespace zan;
using zan::pml::field;
using zan::pml::ntv::Unit;

struct Settings {
    int a = 5;
    String b = "x y";
    std::wstring wide = L"w\xE9";
    std::map<String, zan::Bit> logs;
    std::map<String, std::map<int, double>> nested;
    unsigned long volatile limit = 9;
    void codec(zan::pml::stream& s) {
        s& field("a", a) & field("b", b, "text");
        s& field("wide", wide) & field("logs", logs) & field("nested", nested);
        s& field("limit", limit);
    }
};

TEST(PmlCodec, OneMemberWritesAndReads) {
    Settings out;
    out.a = -7;
    out.logs["A"] = true;
    out.logs["B"] = false;
    out.nested["x"][3] = 0.5;
    zan::pml::stream s;
    EXPECT_TRUE(s.isOutputStream());
    out.codec(s.name("obj"));
    EXPECT_EQ(
        "obj(a(-7)b:text(x y)wide:utf8(d8Op)logs:map(A(1)B(0))nested:map(x:map(3(0.5)))limit(9))",
        s.toPml(false));
    EXPECT_THROW(out.codec(s), zan::DuplicatedUnitException);
    Settings in;
    in.logs["old"] = true;
    zan::pml::stream const text(s.toPml(true), false);
    EXPECT_TRUE(text.isInputStream());
    zan::pml::stream reader(text);
    in.codec(reader);
    EXPECT_EQ(-7, in.a);
    EXPECT_EQ("x y", in.b);
    EXPECT_EQ(L"w\xE9", in.wide);
    EXPECT_EQ(2u, in.logs.size());
    EXPECT_TRUE(in.logs["A"]);
    EXPECT_EQ(0.5, in.nested["x"][3]);
}

TEST(PmlCodec, MissingAndUnreadableFieldsKeepTheirDefaults) {
    Settings in;
    in.logs["old"] = true;
    zan::pml::stream s("obj(a(none) logs(text) limit())", false);
    in.codec(s);
    EXPECT_EQ(5, in.a);
    EXPECT_EQ("x y", in.b);
    EXPECT_EQ(1u, in.logs.size());
    EXPECT_EQ(9u, in.limit);
    zan::pml::stream empty("obj(logs())", false);
    in.codec(empty);
    EXPECT_TRUE(in.logs.empty());
}

TEST(PmlCodec, OfEndpointsAndVersions) {
    zan::TcpAddr addr(8080, "127.0.0.1");
    zan::pml::stream s;
    addr.codec(s);
    EXPECT_EQ("(ip(127.0.0.1)port(8080))", s.toPml());
    zan::TcpAddr read(1, "x");
    zan::pml::stream in("server(port(99999) ip(10.0.0.1))", false);
    read.codec(in);
    EXPECT_EQ(zan::TcpAddr(1, "10.0.0.1"), read);

    zan::Version version(2, 3);
    zan::pml::stream both;
    version.codec(both);
    EXPECT_EQ("(version(2)patch(3))", both.toPml());
    zan::Version back;
    both.setAsInputStream();
    back.codec(both);
    EXPECT_TRUE(version == back);
}

struct Key : zan::pml::name_id {
    char const* name() const override { return "b"; }
};

TEST(PmlStream, LooksUpChildrenByNameAndByPath) {
    zan::pml::stream s("a(b(c(1)) d())", false);
    zan::pml::stream const& in = s;
    EXPECT_TRUE(s.has("b/c"));
    EXPECT_FALSE(s.has("b/x"));
    EXPECT_TRUE(s.isEmptyChild("b/c"));
    EXPECT_TRUE(s.isEmptyChild("d"));
    EXPECT_FALSE(s.isEmptyChild("b"));
    EXPECT_EQ(&in["b"], &in[Key()]);
    EXPECT_EQ(&Unit::null(), &in["none"]);
    s["made"];
    EXPECT_EQ("a(\n    b(c(1))\n    d()\n    made()\n)", s.toPml(true));
    s.combine(zan::pml::stream("a(b(9) e(2))", false));
    EXPECT_EQ("a(b(c(1))d()made()e(2))", s.toPml());
    s.clear();
    s.enter("T", "n");
    s.enter("T2", "n2");
    s.value("v");
    std::ostringstream os;
    os << s;
    EXPECT_EQ("n:T(v)", os.str());
    String text("=");
    text << s;
    EXPECT_EQ("=n:T(v)", text);
    EXPECT_EQ("{direction_=input unit_=n:T'v'}", zan_test::dumped(s, true));
}

TEST(PmlStream, MovesTreesTextsAndLists) {
    Unit u(istr("n"));
    u << zan::pml::stream("a:t(b(1))", false);
    EXPECT_EQ("n:t(b(1))", u.str());
    zan::pml::stream target;
    target.name("keeps");
    u >> target;
    Unit(istr("none")) >> target;
    EXPECT_EQ("keeps:t(b(1))", target.toPml());
    zan::pml::stream const wide(L"a(\xE9)", false);
    EXPECT_EQ("a(\"\xC3\xA9\")", wide.toPml());
    EXPECT_EQ("(b(1))", zan::pml::stream("b(1)", true).toPml());
}

TEST(PmlTypes, StandForTextAndFiles) {
    zan::pml::pmlString s("a(1)");
    Unit u;
    EXPECT_TRUE(s.toNTV(u));
    EXPECT_TRUE(s.fromNTV(u, 1, 7));
    EXPECT_EQ("a(1)a(1)", s.data());
    zan_test::TempDir const dir;
    std::string const name = dir.file("f.pml");
    zan::pml::pmlFile f(name, false);
    EXPECT_FALSE(f.toNTV(u));
    EXPECT_TRUE(s.toNTV(u));
    EXPECT_TRUE(f.fromNTV(u, 4, 7));
    EXPECT_EQ("a(1)", dir.content("f.pml"));
    EXPECT_TRUE(f.toNTV(u));
    EXPECT_TRUE(zan::pml::pmlFile(name, true).toNTV(u));
    EXPECT_EQ("(a(1))", u.str());
    zan::pml::from_file const file;
    EXPECT_EQ("a(1)", zan::pml::stream(name, file, false).str());
    EXPECT_TRUE(zan::pml::stream(dir.file("none"), file, false).unit().empty());
}

}  // namespace
