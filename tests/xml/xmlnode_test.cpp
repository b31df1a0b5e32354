#include "zan/xml/xmlnode.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/seed.h"
#include "zan/log/log_dumper.h"
#include "zan/xml/xmlparser.h"

namespace {

using zan::istr;
using zan::String;
using zan::XMLAttr;
using zan::XMLNode;
using zan::XMLParser;

std::string names(std::vector<XMLNode*> const& nodes) {
    std::string text;
    for (XMLNode const* node : nodes) text += node->cdata();
    return text;
}

// Children "name" with a cdata each that tells them apart.
void fill(XMLNode& root, std::string const& letters) {
    for (char const c : letters) {
        XMLNode* const child = root.addChildNode(istr(&c, 1));
        child->cdata(String(std::to_string(root.numofChildren())));
    }
}

TEST(XmlNodeText, LaysOutAttributesChildrenAndText) {
    XMLNode a("a");
    a.addAttr("x", "1");
    a.addAttr("y", "2<3");
    a.addAttr("__type__", "T");
    a.cdata("tail");
    a["b"].cdata("hi");
    a["c"];
    std::string const lines =
        "<a x=\"1\"\n"
        "     y=\"2&lt;3\" __type__=\"T\"\n"
        "    >\n"
        "    <b>hi</b>\n"
        "    <c/>\n"
        "    tail\n"
        "</a>";
    EXPECT_EQ(lines, a.str(true, 0));
    EXPECT_EQ("<a x=\"1\" y=\"2&lt;3\" __type__=\"T\"><b>hi</b><c/>tail</a>", a.str(false, 0));
    std::ostringstream os;
    os << a;
    EXPECT_EQ(lines, os.str());
    zan::dumper d;
    d.level(1);
    a["b"].dump(d) << zan::nl;
    a.dump(d);
    EXPECT_EQ("<b>hi</b>\n" + a.str(true, 1), d.str());
}

TEST(XmlNodeText, CoversEachFormOfAnElement) {
    EXPECT_EQ("<>t</>", XMLNode("t", zan::cdata_t()).str(true, 3));
    EXPECT_EQ("", XMLNode::null().str(true, 0));
    EXPECT_EQ("</>", XMLNode().str(true, 0));
    XMLNode x("x");
    EXPECT_EQ("<x/>", x.str(true, 0));
    x.attr("a").value("1");
    EXPECT_EQ("<x a=\"1\"/>", x.str(true, 0));
    x.attr("b");
    EXPECT_EQ("<x a=\"1\"\n         b=\"\"\n        />", x.str(true, 1));
    x.cdata("]]> & more");
    EXPECT_EQ("<x a=\"1\"\n     b=\"\"\n    >]]&gt; &amp; more</x>", x.str(true, 0));
    x.cdata("<");
    EXPECT_EQ("<x a=\"1\" b=\"\"><![CDATA[<]]></x>", x.str(false, 0));
    x.clearAttrs();
    x.addAttr("", "lost");
    x.cdata("");
    EXPECT_EQ("<x/>", x.str(true, 0));
    // Buffers of the writer end somewhere in here.
    String const longText(std::string(20000, '<'));
    x.clearAttrs();
    x.addAttr("v", longText);
    x.cdata(String(std::string(20000, '-')));
    String want("<x v=\"");
    for (int i = 0; i < 20000; ++i) want += "&lt;";
    EXPECT_EQ(want + "\">" + x.cdata() + "</x>", x.str(false, 0));
    EXPECT_EQ(" n=\"&quot;&apos;\"", XMLAttr("n", "\"'").str());
    EXPECT_EQ("", XMLAttr("", "v").str());
    std::ostringstream os;
    os << XMLAttr("n", "v");
    EXPECT_EQ(" n=\"v\"", os.str());
}

TEST(XmlNodeAttributes, KeepOrderKeyAndIdentity) {
    for (unsigned long const others : {0ul, 40ul}) {  // without and with an index
        XMLNode n("n");
        auto const& names = n.getAttrNames();
        auto const& map = n.getAttrMap();
        XMLAttr& x = n.attr("x");
        EXPECT_EQ(nullptr, x.node());
        for (unsigned long i = 0; i < others; ++i) n.addAttr(String("o" + std::to_string(i)), "");
        n.addAttr("x", "2");
        EXPECT_EQ(&x, &n("x"));
        EXPECT_EQ(&n, x.node());
        EXPECT_EQ(others + 2, n.numofAttrs());
        EXPECT_EQ(others + 1, map.size());
        EXPECT_EQ(n.numofAttrs(), names.size());
        EXPECT_EQ(&n.attr(0), &n.attr(others + 1));
        // What a reference changes shows in the map; a new name is not a new key.
        x.value("three");
        x.name("renamed");
        EXPECT_EQ("three", map.at("x").value());
        EXPECT_EQ("renamed", map.at("x").name());
        EXPECT_EQ("renamed", n.attr("x").name());
        EXPECT_EQ("x", names[0]);
        XMLNode const& c = n;
        EXPECT_TRUE(c.attr("renamed").isNull());
        EXPECT_TRUE(c("y").isNull());
        EXPECT_TRUE(c.attr(others + 2).isNull());
        XMLNode const copy(n);
        EXPECT_EQ(&copy, copy.attr("x").node());
        EXPECT_EQ("renamed", copy.attr("x").name());
        EXPECT_EQ(n.str(false, 0), copy.str(false, 0));
        n.clearAttrs();
        EXPECT_TRUE(map.empty() && names.empty() && n.isSimple());
        XMLAttr const alone("b", "1", nullptr);
        n.addAttr(alone);
        n.addAttr(n.attr(0));
        EXPECT_EQ("<n b=\"1\" b=\"1\"/>", n.str(false, 0));
        EXPECT_EQ(nullptr, n.attr("b").node());
        n.attr("b") = XMLAttr("c", "2");
        EXPECT_EQ(1u, map.count("b"));
        EXPECT_EQ("2", map.at("b").value());
    }
}

TEST(XmlNodeChildren, AreFoundByNameInOrderOfAddition) {
    for (std::string const letters : {"xyxzx", "xyxzxabcdefghijklmnop"}) {
        XMLNode root("root");
        fill(root, letters);
        XMLNode const& c = root;
        std::vector<XMLNode*> found;
        for (bool const map : {false, true}) {
            EXPECT_EQ(letters.size(), map ? c.getChildNodeMap().size() : c.numofChildren());
            EXPECT_EQ("1", c["x"].cdata());
            c.getChildren("x", found);
            EXPECT_EQ("135", names(found));
            c.getChildren("none", found);
            EXPECT_TRUE(found.empty());
            EXPECT_TRUE(c["none"]["deeper"]("attr").isNull());
            EXPECT_TRUE(c.child(letters.size()).isNull());
            EXPECT_EQ("2", c[1].cdata());
        }
        // A new name: the place stays, and look-up finds the node behind those of that name.
        root["y"].name("x");
        EXPECT_EQ("x", c[1].name());
        c.getChildren("x", found);
        EXPECT_EQ("1352", names(found));
        root["x"].name("y");
        EXPECT_EQ("3", c["x"].cdata());
        EXPECT_EQ("1", c["y"].cdata());
        EXPECT_EQ(3u, c.getChildNodeMap().count("x"));
        root["new"].cdata("n");
        EXPECT_EQ(letters.size() + 1, c.numofChildren());
        EXPECT_EQ("n", c["new"].cdata());
        EXPECT_EQ(1, c["new"].getDepth());
        root.clearNodes();
        EXPECT_TRUE(c["x"].isNull() && c.getChildNodeMap().empty());
    }
    // The last child needs no index to change its name.
    XMLNode root("root");
    fill(root, "aba");
    XMLNode* const made = new XMLNode("", &root);
    made->name("b");
    made->cdata("4");
    std::vector<XMLNode*> found;
    root.getChildren("b", found);
    EXPECT_EQ("24", names(found));
    EXPECT_TRUE(root[3].isSimple() && !root[3].isEmpty() && !root.isSimple());
}

TEST(XmlNodeCopies, AreDeepAndMayComeFromBelow) {
    XMLParser const parser("<a x='1'>t<b y='2'><c>deep</c></b><d/></a>");
    XMLNode copy(*parser.rootNode());
    EXPECT_EQ(nullptr, copy.parent());
    EXPECT_EQ(&copy, copy[0].parent());
    EXPECT_EQ(parser.rootNode()->str(true, 0), copy.str(true, 0));
    copy = *&copy;
    copy.assign(copy);
    EXPECT_EQ(parser.rootNode()->str(true, 0), copy.str(true, 0));
    copy.append(copy);
    EXPECT_EQ(3u, copy.numofChildren());
    EXPECT_EQ(parser.rootNode()->str(true, 0), copy[2].str(true, 0));
    copy["b"] += copy["b"]["c"];
    EXPECT_EQ("<b y=\"2\"><c>deep</c><c>deep</c></b>", copy["b"].str(false, 0));
    auto const& map = copy.getChildNodeMap();
    copy = copy["b"];
    EXPECT_EQ("<b y=\"2\"><c>deep</c><c>deep</c></b>", copy.str(false, 0));
    EXPECT_EQ(2u, map.count("c"));
    EXPECT_EQ(&copy, copy.attr("y").node());

    // The parent goes on by the old name, until the next renaming.
    XMLNode root("root");
    fill(root, "pq");
    root["p"] = copy;
    XMLNode const& c = root;
    EXPECT_EQ("b", c["p"].name());
    EXPECT_TRUE(c["b"].isNull());
    root["p"].name("r");
    EXPECT_EQ(&c[0], &c["r"]);
    EXPECT_TRUE(c["p"].isNull());
    EXPECT_EQ(2u, c.getChildNodeMap().size());
}

TEST(XmlNodeNull, NeverChanges) {
    auto& null = const_cast<XMLNode&>(XMLNode::null());
    null.name("x");
    null.cdata("x");
    null.cdata() = "x";
    null.parent(&null);
    null.addAttr("a", "1");
    null.attr("b").value("2");
    null["c"]["d"].cdata("3");
    null += XMLNode("e");
    null = XMLNode("f");
    EXPECT_TRUE(null.isEmpty() && null.isNull() && null.parent() == nullptr);
    EXPECT_TRUE(null.cdata().empty() && XMLNode::null().getAttrMap().empty());
    EXPECT_TRUE(XMLAttr::null().value().empty() && XMLAttr::null().isNull());
    EXPECT_FALSE(XMLNode().isNull() || XMLAttr().isNull());
    XMLNode::destroy_null();
    XMLAttr::destroy_null();
    EXPECT_TRUE(XMLNode::null().isNull() && XMLNode::null().attr("x").isNull());
}

TEST(XmlNodeDepth, IsNoLimit) {
    constexpr unsigned long N = 1000000;
    std::string text;
    for (unsigned long i = 0; i < N; ++i) text += "<n>";
    XMLParser parser;
    parser.parse(text);
    auto root = std::unique_ptr<XMLNode>(parser.release());
    XMLNode copy(*root);
    root.reset();
    XMLNode again;
    again = copy;
    EXPECT_EQ(N * 7 - 3, again.str(false, 0).size());
    std::ostringstream os;
    zan::dumper d(os);
    XMLNode const* last = &again;
    while (last->numofChildren() != 0) last = &last->child(0ul);
    EXPECT_EQ(N - 1, static_cast<unsigned long>(last->getDepth()));
    last->parent()->dump(d);
    EXPECT_EQ("<n>\n    <n/>\n</n>", os.str());
}

TEST(XmlNodeThreads, MayReadWhileNobodyWrites) {
    std::string text = "<r";
    for (int i = 0; i < 40; ++i) text += " a" + std::to_string(i) + "='v'";
    text += ">";
    for (int i = 0; i < 40; ++i) text += "<c" + std::to_string(i) + "/>";
    for (int round = 0; round < 20; ++round) {
        XMLParser const parser(text + "</r>");
        XMLNode const& root = *parser.rootNode();
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([&] {
                EXPECT_FALSE(root["c39"].isNull());
                EXPECT_EQ(40u, root.getAttrMap().size());
                EXPECT_EQ("v", root("a39").value());
                EXPECT_TRUE(root["c1"].getAttrNames().empty());
                EXPECT_EQ(40u, root.getChildNodeMap().size());
            });
        for (auto& thread : threads) thread.join();
    }
}

// Random changes, beside the plainest code that does the same.
TEST(XmlNodeModel, BehavesAsTwoListsDo) {
    auto random = zan_test::makeRandom();
    for (int round = 0; round < 60; ++round) {
        XMLNode root("root");
        std::vector<std::pair<std::string, XMLNode*>> children;  // as look-up orders them
        unsigned long const letters = 1 + random() % 30;
        auto const name = [&] {
            return std::string(1 + random() % 3, char('a' + random() % letters));
        };
        for (int step = 0; step < 120; ++step) {
            std::string const key = name();
            if (random() % 4 != 0 || children.empty()) {
                children.emplace_back(key, root.addChildNode(istr(key)));
            } else {
                auto const at = children.begin() + static_cast<long>(random() % children.size());
                auto const moved = *at;
                if (moved.first == key) continue;
                moved.second->name(istr(key));
                children.erase(at);
                children.emplace_back(key, moved.second);
            }
            if (random() % 8 != 0) continue;
            std::vector<XMLNode*> want, found;
            for (auto const& child : children)
                if (child.first == key) want.push_back(child.second);
            root.getChildren(istr(key), found);
            ASSERT_EQ(want, found);
            XMLNode const& c = root;
            ASSERT_EQ(want.front(), &c[istr(key)]);
        }
    }
}

}  // namespace
