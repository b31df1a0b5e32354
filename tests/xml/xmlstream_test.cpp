#include "zan/xml/xmlstream.h"

#include <gtest/gtest.h>

#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "support/log_capture.h"
#include "support/temp_dir.h"
#include "zan/base/exception.h"
#include "zan/util/base64.h"

namespace {

using zan::in_t;
using zan::istr;
using zan::out_t;
using zan::String;
using zan::XMLInputString;
using zan::XMLInStream;
using zan::XMLNode;
using zan::XMLOutStream;
using zan::XMLStream;

// "type|cdata" of what was written.
template <class T>
std::string written(T const& value) {
    XMLOutStream s("v");
    s << value;
    return (s.type() == "v" ? "" : s.type() + "|") + std::as_const(s).node().cdata();
}

TEST(XmlStreamText, IsWrittenAsTheExampleShows) {
    XMLOutStream root;
    root("id").value("7");
    XMLOutStream("name", root) << String("Ann & Bob");
    XMLOutStream("age", root) << 42;
    XMLOutStream("ok", root) << true;
    XMLOutStream("ratio", root) << 0.5;
    XMLOutStream("pic", root) << zan::Bytes(istr("\0\xFF", 2));
    XMLOutStream("title", root) << std::wstring(L"\u00E9");
    XMLOutStream("mark", root) << zan::Wchar(wchar_t{0x4E2D});
    EXPECT_EQ(
        "<root id=\"7\">\n"
        "    <name><![CDATA[Ann & Bob]]></name>\n"
        "    <age>42</age>\n"
        "    <ok>1</ok>\n"
        "    <ratio>0.5</ratio>\n"
        "    <pic __type__=\"base64\">AP8=</pic>\n"
        "    <title __type__=\"utf8\">w6k=</title>\n"
        "    <mark>\\u4E2D</mark>\n"
        "</root>",
        root.str(true, 0));
    XMLOutStream("age", root) << 43;
    EXPECT_EQ("43", root["age"].cdata());
    XMLOutStream more;
    more += root;
    EXPECT_EQ("43", more.childAt(0)["age"].cdata());
    zan::dumper d;
    more.dump(d);
    EXPECT_EQ(more.str(true, 0), d.str());
}

TEST(XmlStreamValues, HaveTheirTextForms) {
    EXPECT_EQ("0", written(zan::Bit(false)));
    EXPECT_EQ("c", written('c'));
    EXPECT_EQ("\xFF", written(static_cast<unsigned char>(255)));
    EXPECT_EQ("-1", written(zan::Char(char(-1))));
    EXPECT_EQ("255", written(zan::Byte(static_cast<unsigned char>(255))));
    EXPECT_EQ("-32768", written(short(-32768)));
    EXPECT_EQ("65535", written(zan::Ushort(static_cast<unsigned short>(65535))));
    EXPECT_EQ("4294967295", written(4294967295u));
    EXPECT_EQ("-9223372036854775808", written(std::numeric_limits<long>::min()));
    EXPECT_EQ("18446744073709551615", written(~0ull));
    EXPECT_EQ("3.14159", written(3.14159265));
    EXPECT_EQ("1e+10", written(1e10f));
    EXPECT_EQ("text", written(reinterpret_cast<unsigned char const*>("text")));
    EXPECT_EQ("utf8|w6k=", written(L"\u00E9"));
    zan::Time const time = zan::Time::now();
    EXPECT_EQ(time.toFullDateTime(), written(time));
    XMLOutStream named("base64");
    named << zan::Bytes(istr("x"));
    EXPECT_EQ("<base64>eA==</base64>", named.str(false, 0));
    zan_test::LogCapture const quiet;
    named << zan::Wchar(wchar_t{0xFFFF});
    EXPECT_THROW(named << zan::Wchar(wchar_t{0x10000}), zan::OutOfRangeException);
    EXPECT_EQ("\\uFFFF", named.cdata());
}

// Writes, renders, parses, reads.
template <class T>
T through(T const& value, T start = T()) {
    XMLOutStream out("v");
    out << value;
    EXPECT_TRUE(XMLInStream(out.str(true, 0)) >> start);
    return start;
}

TEST(XmlStreamValues, ComeBackThroughText) {
    EXPECT_EQ(-128, through(zan::Char(char(-128))).value());
    EXPECT_EQ(200, through(zan::Byte(static_cast<unsigned char>(200))).value());
    EXPECT_EQ(std::numeric_limits<long>::min(), through(std::numeric_limits<long>::min()));
    EXPECT_EQ(~0ull, through(zan::Ulonglong(~0ull)).value());
    EXPECT_EQ(3.14159, through(3.14159265));
    for (char const* text : {"", "a<b>&\"c'", "]]> and <", " <leading", "tail "})
        EXPECT_EQ(text, through(String(text)));
    EXPECT_EQ("lost", through(std::string("  lost")));
    EXPECT_EQ(L"\u4E2D \U0001F600", through(std::wstring(L"\u4E2D \U0001F600")));
    EXPECT_EQ(zan::Bytes(istr("\0\1\2", 3)), through(zan::Bytes(istr("\0\1\2", 3))));
    EXPECT_EQ(L'\u4E2D', through(zan::Wchar(wchar_t{0x4E2D})).value());
    zan::Time time;
    time.fromString("2014-06-16 14:13:07.125");
    EXPECT_EQ(time, through(time));
}

template <class T>
void expectKept(char const* cdata, T const& start) {
    XMLNode node("v");
    node.cdata(cdata);
    T value = start;
    EXPECT_FALSE(XMLInStream(node) >> value) << cdata;
    EXPECT_TRUE(value == start) << cdata;
    EXPECT_FALSE(XMLInStream() >> value);
    EXPECT_TRUE(value == start);
}

TEST(XmlStreamValues, StayWhereTheTextDoesNotConvert) {
    for (char const* text : {"true", "2", "", "x"}) expectKept(text, true);
    for (char const* text : {"", "x", "40000", "99999999999999999999"}) expectKept(text, short(7));
    for (char const* text : {"", "-", "70000"}) expectKept(text, zan::Byte(7));
    expectKept(" ", 'c');
    expectKept("", 1.5);
    zan::Wchar mark(L'x');
    for (char const* text : {"", "\\u12", "\\u12345", "\\u12G4", "/u1234"}) {
        XMLNode node;
        node.cdata(text);
        mark = L'x';
        EXPECT_FALSE(XMLInStream(node) >> mark);
        EXPECT_EQ(0, mark.value());
    }
    XMLInStream const null;
    String s("kept");
    std::wstring w(L"kept");
    zan::Bytes b(istr("kept"));
    zan::Time t = zan::Time::seconds(7);
    EXPECT_FALSE(null >> s || null >> w || null >> b || null >> t);
    EXPECT_TRUE(s == "kept" && w == L"kept" && b == istr("kept") && t == zan::Time::seconds(7));
    XMLNode node;
    node.cdata(" 12ab");
    int volatile n = 0;
    EXPECT_TRUE(XMLInStream(node) >> n);
    EXPECT_EQ(12, n);
}

TEST(XmlStreamNodes, ComeFromEachConstructor) {
    EXPECT_EQ("<root/>", XMLStream().str(true, 0));
    EXPECT_EQ("<a/>", XMLStream("a").str(true, 0));
    EXPECT_EQ("<a/>", XMLStream(out_t(), "a").str(true, 0));
    EXPECT_EQ("<a>b</a>", XMLStream(XMLInputString("<a>b</a>")).str(true, 0));
    XMLStream const in(in_t(), "<a x='1'><b>2</b></a>");
    EXPECT_TRUE(in.isInputting());
    int n = 0;
    EXPECT_TRUE(XMLStream(in_t(), "b", in) >> n);
    EXPECT_TRUE(XMLInStream("b", in) >> n);
    EXPECT_EQ(2, n);
    EXPECT_EQ("1", in("x").value());
    EXPECT_TRUE(in["c"].isNull() && in("y").isNull() && XMLInStream("c", in).isNull());
    XMLNode node("n");
    XMLStream out(out_t(), node);
    out["b"].cdata("3");
    XMLStream(out_t(), "b", out) << 4;
    out("x").value("5");
    EXPECT_EQ("<n x=\"5\"><b>4</b></n>", node.str(false, 0));
    zan_test::TempDir const dir;
    std::ofstream(dir.file("a.xml")) << "<f/>";
    std::ifstream file(dir.file("a.xml"));
    EXPECT_EQ("f", XMLStream(file).name());
    for (char const* text : {"", "<a b>", "none"}) {
        XMLStream s(in_t(), text);
        EXPECT_TRUE(s.isNull());
        // Written to what is missing, nothing changes.
        s["x"]["y"].cdata("z");
        s("x").value("z");
        s.name("z");
        s.cdata("z");
        s.type("z");
        s << 7;
        EXPECT_EQ("", s.name() + s.cdata() + s.type() + s.str(true, 0));
        zan_test::LogCapture const quiet;
        EXPECT_THROW(s.node(), zan::NullPointerException);
    }
    EXPECT_TRUE(XMLNode::null().isEmpty());
}

TEST(XmlStreamNodes, PassWithCopies) {
    XMLOutStream first("a");
    XMLOutStream second(first);
    EXPECT_TRUE(first.isNull());
    EXPECT_EQ("a", second.name());
    first << 1;  // makes a node without a name
    EXPECT_EQ("<>1</>", first.str(true, 0));
    first = second;
    first = *&first;
    EXPECT_TRUE(second.isNull());
    EXPECT_EQ("<a/>", first.str(true, 0));
    XMLStream both("b");
    XMLStream taken(out_t(), "c");
    taken = both;
    EXPECT_EQ("b", taken.name());
    EXPECT_TRUE(both.isNull());
    both.name("d");
    EXPECT_EQ("<d/>", both.str(true, 0));
    both.type("d");
    EXPECT_EQ(0u, both.numofAttrs());
    EXPECT_EQ("d", both.type());
    both.type("t");
    both.type("d");
    EXPECT_EQ("t", both.type());
    XMLNode* const node = both.release();
    EXPECT_TRUE(both.isNull());
    XMLInStream in;
    in.setInputNode(node, true);
    in.swap(taken);
    EXPECT_EQ("d", taken.name());
    EXPECT_EQ("b", in.name());
    in.clear();
    in.setInputNode(&XMLNode::null(), true);
    EXPECT_TRUE(in.isNull() && in.release() == nullptr);
    in.setOutputNode(nullptr, false);
    EXPECT_EQ("", in.node().name());
}

TEST(XmlStreamObjects, EnterNamesTheElement) {
    struct Case {
        char const* node;
        char const* args[4];
        char const* element;
    };
    Case const cases[] = {
        {"root", {"Person", "", "Person", "Object"}, "<Person/>"},
        {"root", {"person", "", "Person", ""}, "<person/>"},
        {"root",
         {"Person", "employee", "CPerson", "Human"},
         "<employee __type__=\"Person\" __class__=\"CPerson\" __super__=\"Human\"/>"},
        {"any", {"T", "", "", ""}, "<T/>"},
        {"", {"T", "e", "", ""}, "<e __type__=\"T\"/>"},
        {"mine", {"T", "e", "t", ""}, "<mine __type__=\"T\"/>"},
        {"root", {"", "", "X", "Y"}, "<root __class__=\"X\" __super__=\"Y\"/>"},
        {"root", {"", "", "Roof", ""}, "<root __class__=\"Roof\"/>"},
        {"root", {"", "", "", ""}, "<root/>"},
    };
    for (Case const& c : cases) {
        XMLStream s(out_t(), c.node);
        s.enter(c.args[0], c.args[1], c.args[2], c.args[3]);
        s.enterSuper();
        s.leaveSuper();
        s.leave();
        EXPECT_EQ(c.element, s.str(false, 0));
    }
}

// [item]
struct Item : zan::XMLCodecBase {
    String name;
    zan::Long count = 1;
    std::vector<String> tags;

    void codecXml(XMLStream& s) override {
        s.enter("Item");
        field(s, "name", name);
        field(s, "count", count);
        if (s.isInputting()) {
            std::vector<XMLNode*> nodes;
            std::as_const(s).node().getChildren("tag", nodes);
            for (XMLNode const* node : nodes) tags.push_back(node->cdata());
        } else {
            for (String const& tag : tags) s.node().addChildNode("tag")->cdata(tag);
        }
    }

    template <class T>
    static void field(XMLStream& s, char const* key, T& value) {
        if (s.isInputting())
            XMLStream(in_t(), key, s) >> value;
        else
            XMLStream(out_t(), key, s) << value;
    }
};
// [/item]

TEST(XmlStreamObjects, ReadBackWhatTheyWrote) {
    Item item;
    item.name = "bolt & nut";
    item.count = 12;
    item.tags = {"x", "", "<y>"};
    EXPECT_EQ(
        "<Item><name><![CDATA[bolt & nut]]></name><count>12</count><tag>x</tag><tag/>"
        "<tag><![CDATA[<y>]]></tag></Item>",
        item.toXml(false));
    for (bool const indent : {false, true}) {
        Item back;
        back.fromXml(item.toXml(indent));
        EXPECT_EQ(item.toXml(true), back.toXml(true));
    }
    XMLOutStream list("list");
    for (char const* key : {"first", "second"}) {
        XMLOutStream s(key, list);
        item.encodeXml(s);
    }
    Item second;
    second.decodeXml(XMLInStream("second", XMLInStream(list.node())));
    EXPECT_EQ("12", second.count.toString());
    Item kept;
    kept.fromXml("<Item><count>9</count><name b></Item>");
    EXPECT_EQ(1, kept.count.value());
    std::ostringstream os;
    os << item;
    EXPECT_EQ(item.toXml(true), os.str());
}

}  // namespace
