#include "zan/xml/xmlparser.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <memory>

#include "support/seed.h"
#include "support/temp_dir.h"
#include "support/text.h"

namespace {

using namespace zan;
using namespace std::string_literals;

// An element in full, in one line: name[attributes]{cdata}(children).
std::string shape(XMLNode const& node) {
    std::string text = node.name();
    for (unsigned long i = 0; i < node.numofAttrs(); ++i)
        text += "[" + node.attr(i).name() + "=" + node.attr(i).value() + "]";
    if (!node.cdata().empty()) text += "{" + node.cdata() + "}";
    if (node.numofChildren() == 0) return text;
    text += "(";
    for (XMLNode const* child : node.getChildNodes()) {
        EXPECT_EQ(&node, child->parent());
        text += shape(*child) + ",";
    }
    text.back() = ')';
    return text;
}

// Writes down what it is told.
struct Events : zan::XMLParserCallback {
    void onNodeBegin(XMLParser*, XMLNode* node) override {
        EXPECT_EQ(0u, node->numofAttrs());
        text += "+" + node->name() + " ";
    }
    void onNodeEnd(XMLParser*, XMLNode* node) override {
        text += "-" + (node == nullptr ? "null" : node->name()) + " ";
    }
    void onCDATAFound(XMLParser*, XMLNode* node) override {
        text += node->name() + "{" + static_cast<XMLNode const*>(node)->cdata() + "} ";
    }
    void onAttrFound(XMLParser*, XMLAttr* attr) override {
        text += attr->node()->name() + "@" + attr->name() + " ";
    }
    std::string text;
};

struct Read {
    std::string tree;  // empty without a root
    std::string fault;
    std::string events;
};

Read read(std::string const& text, bool silent = false) {
    Events events;
    XMLParser parser;
    if (!silent) parser.setCallback(&events);
    Read result;
    try {
        parser.parse(istr(text));
    } catch (XMLRuntimeException const& e) {
        result.fault = e.message();
        std::string const place = e.file() + ":" + std::to_string(e.line());
        EXPECT_STREQ("XMLRuntimeException", e.what());
        EXPECT_EQ(e.message() + " @ " + place, zan_test::printed(e));
        EXPECT_NE(std::string::npos, e.file().find("xmlparser.cpp"));
    }
    if (parser.rootNode() != nullptr) result.tree = shape(*parser.rootNode());
    result.events = events.text;
    if (!result.events.empty()) result.events.pop_back();
    if (!result.fault.empty()) {
        // It finds the same again, and of a tree that is gone it knows nothing.
        std::unique_ptr<XMLNode>(parser.release()).reset();
        EXPECT_THROW(parser.nextNode(), XMLRuntimeException);
    }
    return result;
}

constexpr char const NO_EQUALS[] = "Malformed XML Attribute - no = found";
constexpr char const NO_BEGIN[] =
    "Malformed XML Attribute - string literal expected, but no beginning quote (\") found.";
constexpr char const NO_END[] =
    "Malformed XML Attribute - string literal expected, but no ending quote (\") found.";
constexpr char const NO_PI_END[] =
    "Malformed XML processing node - end '?>' expected, but none found.";

TEST(XmlParserLanguage, EveryConstructIsReadInItsDefinedWay) {
    struct {
        std::string text, tree, fault = "", events = "";
    } const cases[] = {
        {"<?xml version=\"1.0\"?><!-- c --><a x=\"1\" y='2'>  hi &amp; bye  <b/>tail"
         "<![CDATA[<raw>]]></a>more",
         "a[x=1][y=2]{hi & bye  tail<raw>}(b)", "",
         "+a a@x a@y a{hi & bye  } +b -b a{hi & bye  tail} a{hi & bye  tail<raw>} -a"},
        {"", ""},
        {" \n\t\r ", ""},
        {"no tag at all", ""},
        {"\xEF\xBB\xBFstray<a/>", "a"},
        {"<a/><b/>", "b", "", "+a -a +b -b"},
        {"<a></a><b/>", "a"},
        {"<a><b></a>", "a(b)"},
        {"</a><b/>", "", "", "-null"},
        {"</><b/>", "b"},
        {"<a>x", "a{x}"},
        {"<", ""},
        {"<>x</>", "{x}"},
        {"<a>]x</a>", "a{]x}", "", "+a -a"},
        {"<a> \n x  <b/>  y  </a>", "a{x  y  }(b)"},
        // Tags that close, and tags that do not.
        {"<a b=\"1\" / >x</a>", "a[b=1]{x}"},
        {"<a/b='1'>x</a>", "a{x}"},
        {"<a b='1'<c>x</a>", "a[b=1]{x}"},
        // Attributes.
        {"<r>< a\tx\n=\r'1' x=\"2\"/><a b='x>y/z<\"'/><a b=  junk 'v'/><a b>c='1'/><a ='1'/>"
         "<a b='&lt;&#65;&bogus;'/><a b='\0'/><a:b c:d=\"1\"e='2'/></r>"s,
         "r(a[x=2][x=2],a[b=x>y/z<\"],a[b=v],a[b>c=1],a[=1],a[b=<A&bogus;],a[b=\0],"
         "a:b[c:d=1][e=2])"s},
        {"<a abc='1' axc='2'/>", "a[abc=1][axc=2]"},  // alike at both ends
        {"<a b>text</a>", "a", NO_EQUALS},
        {"<a b=1>", "a", NO_BEGIN},
        {"<a b=1><c d='2'/>", "a[b=2]"},
        {"<a x='1'><b c='2>", "a[x=1](b)", NO_END},
        // Declarations.
        {"<?pi <a> ?><?><b/>", "b"},
        {"<a><?pi", "a", NO_PI_END},
        {"<?pi \0 ?><a/>"s, "", NO_PI_END},
        {"<!DOCTYPE a><b/>", "b"},
        {"<!DOCTYPE a [<!ENTITY x 'y'> ]><b>]x</b>", "b{]x}"},
        {"<!DOCTYPE a [<!ENTITY x '>'> ]><b/>", "b"},
        {"<!DOCTYPE a [<!ELEMENT b ANY> ]><b>]x>y</b>", "b{y}"},
        {"<!DOCTYPE a [<!ELEMENT b ANY> ]><!DOCTYPE c><b>]x</b>", "b{]x}"},
        {"<a><!NOTATION n></a>", "a{NOTATION n>}"},
        {"<a><!", "a"},
        // Comments.
        {"<a><!-- <b> -- > --><!--></a>--><!-- \0 --><b/></a>"s, "a(b)"},
        {"<a><!-- x", "a"},
        // CDATA sections.
        {"<a><![CDATA[&lt;<b>]] >]]>|<![CDATA[]]]]><![CDATA[> ]]> </a>", "a{&lt;<b>]] >|]]> }"},
        {"<a><![CDATA[abc", "a{a}"},
        {"<a><![CDATA[ab]]", "a{ab}"},
        {"<![CDATA[x]]><a/>", "a"},
        {"<a><![CDATA[abc\0de</a>"s, "a{a\0de}"s},
        // NUL bytes.
        {"<a>\0x<\0y</a>"s, "a{\0x\0y}"s},
        {"<a\0b='1'>x</a>"s, "a[\0b=1]{x}"s}};
    for (auto const& c : cases) {
        Read const r = read(c.text);
        EXPECT_EQ(c.tree, r.tree) << c.text;
        EXPECT_EQ(c.fault, r.fault) << c.text;
        EXPECT_TRUE(c.events.empty() || c.events == r.events) << r.events;
        // Without a callback attributes are put down in another way.
        EXPECT_EQ(c.tree, read(c.text, true).tree) << c.text;
    }
}

TEST(XmlParserReferences, ResolveToOneByteAtMost) {
    std::string const cases[][2] = {
        {"&amp;&quot;&apos;&lt;&gt;", "&\"'<>"},
        {"&#65;&#x41;&#x61;|&#x10FF;|&#233;|&#256;|&#12345;", "AAa|\xFF|\xE9|\0|\x39"s},
        {"&#-1;|&#+65;&# 65;&#65z;|&#0;&#x0;&#x;&#;&#z;", "\xFF|AAA|"},
        {"&bogus;&toolongname;&#1234567;&#xZZ;&#X41;&;&AMP;",
         "&bogus;&toolongname;&#1234567;&#xZZ;&;&AMP;"},
        {"a&b;c|&&amp;&", "a&b;c|&&amp;&"},  // the name is "&amp"
        {"&amp", "&amp"}};
    for (auto const& c : cases) {
        for (unsigned long const before : {0ul, 1000ul}) {  // short ones have a way of their own
            std::string const plain(before, '=');
            String out("<");
            zan::xml::unescape(out, istr(plain + c[0]));
            EXPECT_EQ("<" + plain + c[1], out) << c[0];
        }
    }
    std::string const encoded[][2] = {{"", ""},
                                      {"plain", "plain"},
                                      {"a<b", "<![CDATA[a<b]]>"},
                                      {"\"it's\"", "<![CDATA[\"it's\"]]>"},
                                      {"]]><", "]]&gt;&lt;"}};
    for (auto const& c : encoded) {
        String s(c[0]);
        zan::xml::encode_cdata(s);
        EXPECT_EQ(c[1], s);
        zan::xml::decode_cdata(s);
        EXPECT_EQ(c[0], s);
    }
}

TEST(XmlParserLife, ReadsOnBehindTheRootAndGivesTreesAway) {
    XMLParser parser;
    EXPECT_FALSE(parser.nextNode());
    parser.parse("<a></a><b><c/>x</b><d/>");
    std::unique_ptr<XMLNode> const first(parser.release());
    EXPECT_EQ(nullptr, parser.rootNode());
    while (parser.nextNode()) continue;
    EXPECT_EQ("a", shape(*first));
    EXPECT_EQ("b{x}(c)", shape(*parser.rootNode()));
    // What the parser laid down in one piece may grow.
    parser.parse("<a b='1' c='2' d='3'/>");
    for (unsigned long i = 0; i < 3; ++i)
        const_cast<XMLAttr&>(parser.rootNode()->attr(i))
            .value("a value that is not short any more");
    EXPECT_EQ(3u, parser.rootNode()->getAttrMap().size());
    // The text may stand in the tree that it replaces.
    parser.parse("<a><![CDATA[<b>a text that is not short any more</b>]]></a>");
    parser.parse(parser.rootNode()->cdata());
    EXPECT_EQ("b{a text that is not short any more}", shape(*parser.rootNode()));
    EXPECT_EQ("<b>a text that is not short any more</b>", zan_test::printed(parser));
    parser.parse("");
    EXPECT_EQ(nullptr, parser.rootNode());
}

TEST(XmlParserLife, ReadsFilesAndStopsAtOneThatFails) {
    zan_test::TempDir const dir;
    std::ifstream file(dir.put("a.xml", "<a>\n  one\r\n  two"));
    XMLParser const parser(file);
    EXPECT_EQ("a{one\r\n  two\n}", shape(*parser.rootNode()));
    std::ifstream missing(dir.file("none"));
    EXPECT_EQ(nullptr, XMLParser(missing).rootNode());
    std::ifstream folder(dir.path());
    EXPECT_EQ(nullptr, XMLParser(folder).rootNode());
}

TEST(XmlParserLife, ACallbackMayThinOutTheTree) {
    struct Thin : zan::XMLParserCallback {
        void onNodeBegin(XMLParser*, XMLNode* node) override { node->addAttr("mine", "1"); }
        void onNodeEnd(XMLParser*, XMLNode* node) override { node->clearNodes(); }
    } thin;
    XMLParser parser;
    parser.setCallback(&thin);
    std::string text = "<r>";
    for (int i = 0; i < 1000; ++i) text += "<a b='1'><c>text</c><d/></a>";
    parser.parse(text + "</r>");
    EXPECT_EQ("r", shape(*parser.rootNode()));
}

TEST(XmlParserHostile, EveryCutAndEveryDamagedByteEndsInGoodOrder) {
    std::string const text =
        "<?xml version='1.0'?><!DOCTYPE a [<!ENTITY e 'x'> ]><a x=\"1\" y='&amp;'><!-- c -->"
        "<b z='2'/>t&lt;t<![CDATA[<&>]]><c><d>]e</d></c></a>";
    XMLParser parser;
    auto const survive = [&](std::string const& damaged) {
        try {
            parser.parse(damaged);
        } catch (XMLRuntimeException const&) {
        }
        if (parser.rootNode() != nullptr) parser.rootNode()->str(true, 0);
    };
    for (std::size_t n = 0; n <= text.size(); ++n) survive(text.substr(0, n));
    for (std::size_t at = 0; at < text.size(); ++at) {
        for (char const c : {'\0', '<', '>', '/', '&', ';', '"', '\'', '[', ']', '!', '?', ' '}) {
            std::string damaged = text;
            damaged[at] = c;
            survive(damaged);
        }
    }
}

// Each would take minutes if the time grew with the square.
TEST(XmlParserHostile, TakesTimeInProportionToTheText) {
    constexpr int N = 200000;
    auto const repeated = [](std::string const& part) {
        std::string text;
        for (int i = 0; i < N; ++i) text += part;
        return text;
    };
    std::string many;
    for (int i = 0; i < N; ++i) many += " n" + std::to_string(i) + "='1'";
    for (std::string const& text :
         {"<r" + repeated(" x='1'") + "/>", "<r" + many + "/>", "<r>" + repeated("<x/>") + "</r>",
          "<r>" + repeated("<![CDATA[x]]>") + "</r>", "<r>" + repeated("<!x") + "</r>",
          "<r>" + repeated("&") + "</r>", "<r>" + repeated("<!--") + "</r>",
          "<r>" + repeated("<?x?>") + "</r>", repeated("<a "), repeated("<a/>"),
          "<r a='" + repeated("&amp") + "'/>"}) {
        XMLParser parser;
        try {
            parser.parse(text);
        } catch (XMLRuntimeException const&) {
        }
        if (parser.rootNode() == nullptr) continue;
        XMLNode copy(*parser.rootNode());
        XMLNode const& tree = copy;
        EXPECT_EQ(parser.rootNode()->str(false, 0).size(), tree.str(false, 0).size());
        EXPECT_TRUE(tree["none"].isNull());
        EXPECT_TRUE(tree.attr("none").isNull());
    }
}

}  // namespace
