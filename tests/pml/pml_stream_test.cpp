#include "zan/pml/pml_stream.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "support/temp_dir.h"
#include "zan/base/version.h"
#include "zan/pml/pml_t.h"
#include "zan/tcp/tcp_impl_base.h"

namespace {

using zan::istr;
using zan::String;
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

TEST(PmlCodec, OfEndpoints) {
    zan::TcpAddr addr(8080, "127.0.0.1");
    zan::pml::stream s;
    addr.codec(s);
    EXPECT_EQ("(ip(127.0.0.1)port(8080))", s.toPml(false));
    zan::TcpAddr read(1, "x");
    zan::pml::stream in("server(port(99999) ip(10.0.0.1))", false);
    read.codec(in);
    EXPECT_EQ(zan::TcpAddr(1, "10.0.0.1"), read);
}

TEST(PmlCodec, OfVersions) {
    zan::Version v(2, 3);
    zan::pml::stream s;
    v.codec(s);
    EXPECT_EQ("(version(2)patch(3))", s.toPml(false));
    zan::Version read;
    s.setAsInputStream();
    read.codec(s);
    EXPECT_TRUE(v == read);
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
    EXPECT_EQ("a(b(c(1))d()made())", s.toPml(false));
    EXPECT_EQ("a(\n    b(c(1))\n    d()\n    made()\n)", s.toPml(true));
    zan::pml::stream const other("a(b(9) e(2))", false);
    s.combine(other);
    EXPECT_EQ("a(b(c(1))d()made()e(2))", s.str(1, 7));
    s.clear();
    s.enter("T", "n");
    s.enter("T2", "n2");
    EXPECT_EQ("n:T()", s.toPml(false));
    s.value("v");
    std::ostringstream os;
    os << s;
    EXPECT_EQ("n:T(v)", os.str());
    String text("=");
    text << s;
    EXPECT_EQ("=n:T(v)", text);
    zan::dumper d(true);
    d << s;
    EXPECT_EQ("{direction_=input unit_=n:T'v'}", d.str());
}

TEST(PmlStream, MovesTreesTextsAndLists) {
    zan::pml::stream s("a:t(b(1))", false);
    Unit u(istr("n"));
    u << s;
    EXPECT_EQ("n:t(b(1))", u.str());
    zan::pml::stream target;
    target.name("keeps");
    u >> target;
    EXPECT_EQ("keeps:t(b(1))", target.toPml(false));
    Unit const none(istr("none"));
    none >> target;
    EXPECT_EQ("keeps:t(b(1))", target.toPml(false));
    zan::pml::stream const wide(L"a(\xE9)", false);
    EXPECT_EQ("\xC3\xA9", std::string(wide.unit().getStringValue()));
    zan::pml::stream const body("b(1)", true);
    EXPECT_EQ("(b(1))", body.toPml(false));
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
    EXPECT_TRUE(zan::pml::pmlString("b(c(1)d(2))").toNTV(u));
    EXPECT_TRUE(f.fromNTV(u, 4, 7));
    Unit back;
    EXPECT_TRUE(f.toNTV(back));
    EXPECT_EQ("b(c(1)d(2))", back.str());
    EXPECT_TRUE(zan::pml::pmlFile(name, true).toNTV(back));
    EXPECT_EQ("(b(c(1)d(2)))", back.str());
    zan::pml::stream const from(name, zan::pml::from_file(), false);
    EXPECT_EQ("b(c(1)d(2))", from.str());
    zan::pml::stream const missing(dir.file("none"), zan::pml::from_file(), false);
    EXPECT_TRUE(missing.unit().empty());
}

}  // namespace
