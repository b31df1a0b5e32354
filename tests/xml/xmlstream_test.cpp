#include "zan/xml/xmlstream.h"

#include <gtest/gtest.h>

#include <fstream>
#include <limits>

#include "support/temp_dir.h"
#include "support/text.h"
#include "zan/base/exception.h"

namespace {

using namespace zan;

// "type|cdata" of what was written.
template <class T>
std::string written(T const& value) {
    XMLOutStream s("v");
    s << value;
    return (s.type() == "v" ? "" : s.type() + "|") + std::as_const(s).node().cdata();
}

// Writes in that form, renders, parses, reads the same.
template <class T>
void expectBoth(std::string const& form, T const& value) {
    EXPECT_EQ(form, written(value));
    XMLOutStream out("v");
    out << value;
    T back{};
    EXPECT_TRUE(XMLInStream(out.str(true, 0)) >> back) << form;
    EXPECT_EQ(form, written(back));
}

TEST(XmlStreamValues, HaveTheirTextFormsAndComeBack) {
    expectBoth("1", true);
    expectBoth("c", 'c');
    expectBoth("\xFF", static_cast<unsigned char>(255));
    expectBoth("-128", zan::Char(char(-128)));
    expectBoth("255", zan::Byte(static_cast<unsigned char>(255)));
    expectBoth("-32768", short(-32768));
    expectBoth("65535", static_cast<unsigned short>(65535));
    expectBoth("-2147483648", std::numeric_limits<int>::min());
    expectBoth("4294967295", 4294967295u);
    expectBoth("-9223372036854775808", std::numeric_limits<long>::min());
    expectBoth("18446744073709551615", ~0ul);
    expectBoth("-9223372036854775808", zan::Longlong(std::numeric_limits<long long>::min()));
    expectBoth("18446744073709551615", zan::Ulonglong(~0ull));
    expectBoth("3.14159", 3.14159265);
    expectBoth("1e+10", 1e10f);
    for (char const* text : {"", "a<b>&\"c'", "]]> and <", " <leading", "tail "})
        expectBoth(text, String(text));
    expectBoth("text", std::string("text"));
    expectBoth("utf8|5LitIPCfmIA=", std::wstring(L"\u4E2D \U0001F600"));
    expectBoth("base64|AAEC", zan::Bytes(istr("\0\1\2", 3)));
    expectBoth("\\u4E2D", zan::Wchar(wchar_t{0x4E2D}));
    zan::Time time;
    time.fromString("2014-06-16 14:13:07.125");
    expectBoth(time.toFullDateTime(), time);
    EXPECT_EQ("0", written(zan::Bit(false)));
    EXPECT_EQ("text", written(reinterpret_cast<unsigned char const*>("text")));
    EXPECT_EQ("utf8|w6k=", written(L"\u00E9"));
    String lost("  lost");
    EXPECT_TRUE(XMLInStream("<v>  lost</v>") >> lost && lost == "lost");
    XMLOutStream named("base64");
    named << zan::Bytes(istr("x"));
    EXPECT_EQ("<base64>eA==</base64>", named.str(false, 0));
    named << zan::Wchar(wchar_t{0xFFFF});
    EXPECT_THROW(named << zan::Wchar(wchar_t{0x10000}), zan::OutOfRangeException);
    EXPECT_EQ("\\uFFFF", named.cdata());
}

// `start` stays where the text does not convert, and where there is no node.
template <class T>
void expectKept(T const& start, std::vector<char const*> const& texts) {
    T value = start;
    EXPECT_FALSE(XMLInStream() >> value);
    EXPECT_TRUE(value == start);
    for (char const* text : texts) {
        EXPECT_FALSE(XMLInStream("<v>" + String(text) + "</v>") >> value) << text;
        EXPECT_TRUE(value == start) << text;
    }
}

TEST(XmlStreamValues, StayWhereTheTextDoesNotConvert) {
    expectKept(true, {"true", "2", "", "x"});
    expectKept(short(7), {"", "x", "40000", "99999999999999999999"});
    expectKept(zan::Byte(7), {"", "-", "70000"});
    expectKept('c', {" "});
    expectKept(1.5, {""});
    expectKept(String("kept"), {});
    expectKept(std::string("kept"), {});
    expectKept(std::wstring(L"kept"), {});
    expectKept(zan::Bytes(istr("kept")), {});
    expectKept(zan::Time::seconds(7), {});
    for (char const* text : {"", "\\u12", "\\u12345", "\\u12G4", "/u1234"}) {
        zan::Wchar mark(L'x');
        EXPECT_FALSE(XMLInStream("<v>" + String(text) + "</v>") >> mark);
        EXPECT_EQ(0, mark.value());
    }
    int volatile n = 0;
    EXPECT_TRUE(XMLInStream("<v> 12ab</v>") >> n);
    EXPECT_EQ(12, n);
}

TEST(XmlStreamNodes, ComeFromEachConstructor) {
    EXPECT_EQ("<root/>", XMLStream().str(true, 0));
    EXPECT_EQ("<a/>", XMLStream("a").str(true, 0));
    EXPECT_EQ("<a/>", XMLStream(out_t(), "a").str(true, 0));
    EXPECT_EQ("<a>b</a>", XMLStream(zan::XMLInputString("<a>b</a>")).str(true, 0));
    XMLStream const in(in_t(), "<a x='1'><b>2</b></a>");
    EXPECT_TRUE(in.isInputting());
    int n = 0;
    int m = 0;
    EXPECT_TRUE(XMLStream(in_t(), "b", in) >> n && XMLInStream("b", in) >> m);
    EXPECT_TRUE(n == 2 && m == 2 && in("x").value() == "1");
    EXPECT_TRUE(in["c"].isNull() && in("y").isNull() && XMLInStream("c", in).isNull());
    XMLNode node("n");
    XMLStream out(out_t(), node);
    out["b"].cdata("3");
    XMLStream(out_t(), "b", out) << 4;
    out("x").value("5");
    EXPECT_EQ("<n x=\"5\"><b>4</b></n>", node.str(false, 0));
    XMLOutStream more;
    more += out;
    EXPECT_EQ("4", more.childAt(0)["b"].cdata());
    EXPECT_EQ(more.str(true, 0), zan_test::dumped(more));
    zan_test::TempDir const dir;
    std::ifstream file(dir.put("a.xml", "<f/>"));
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
        EXPECT_THROW(s.node(), zan::NullPointerException);
    }
    EXPECT_TRUE(XMLNode::null().isEmpty());
}

TEST(XmlStreamNodes, PassWithCopies) {
    XMLOutStream first("a");
    XMLOutStream second(first);
    EXPECT_TRUE(first.isNull());
    first << 1;  // makes a node without a name
    EXPECT_EQ("<>1</>", first.str(true, 0));
    first = second;
    first = *&first;
    EXPECT_TRUE(second.isNull());
    EXPECT_EQ("<a/>", first.str(true, 0));
    XMLStream both("b");
    XMLStream taken(out_t(), "c");
    taken = both;
    EXPECT_TRUE(both.isNull());
    both.name("d");
    both.type("d");
    EXPECT_EQ("<d/>", both.str(true, 0));
    both.type("t");
    both.type("d");
    EXPECT_EQ("t", both.type());
    XMLInStream in;
    in.setInputNode(both.release(), true);
    EXPECT_TRUE(both.isNull());
    in.swap(taken);
    EXPECT_TRUE(taken.name() == "d" && in.name() == "b");
    in.clear();
    in.setInputNode(&XMLNode::null(), true);
    EXPECT_TRUE(in.isNull() && in.release() == nullptr);
    in.setOutputNode(nullptr, false);
    EXPECT_EQ("", in.node().name());
}

TEST(XmlStreamObjects, EnterNamesTheElement) {
    // The node's name, what is entered, and the element.
    char const* const cases[][6] = {
        {"root", "Person", "", "Person", "Object", "<Person/>"},
        {"root", "person", "", "Person", "", "<person/>"},
        {"root", "Person", "employee", "CPerson", "Human",
         "<employee __type__=\"Person\" __class__=\"CPerson\" __super__=\"Human\"/>"},
        {"any", "T", "", "", "", "<T/>"},
        {"", "T", "e", "", "", "<e __type__=\"T\"/>"},
        {"mine", "T", "e", "t", "", "<mine __type__=\"T\"/>"},
        {"root", "", "", "X", "Y", "<root __class__=\"X\" __super__=\"Y\"/>"},
        {"root", "", "", "Roof", "", "<root __class__=\"Roof\"/>"},
        {"root", "", "", "", "", "<root/>"}};
    for (auto const& [node, type, name, cls, super, element] : cases) {
        XMLStream s(out_t(), node);
        s.enter(type, name, cls, super);
        s.enterSuper();
        s.leaveSuper();
        s.leave();
        EXPECT_EQ(element, s.str(false, 0));
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
    EXPECT_EQ(item.toXml(true), zan_test::printed(item));
}

}  // namespace
