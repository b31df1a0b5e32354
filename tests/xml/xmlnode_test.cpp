#include "zan/xml/xmlnode.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>

#include "support/seed.h"
#include "support/text.h"
#include "support/threads.h"
#include "zan/xml/xmlparser.h"

namespace {

using namespace zan;

std::unique_ptr<XMLNode> parsed(std::string const& text) {
    XMLParser parser{istr(text)};
    return std::unique_ptr<XMLNode>(parser.release());
}

TEST(XmlNodeText, CoversEachFormOfAnElement) {
    // Buffers of the writer end somewhere in here.
    std::string big = "<x v=\"";
    for (int i = 0; i < 20000; ++i) big += "&lt;";
    big += "\">" + std::string(20000, '-') + "</x>";
    std::string const cases[][3] = {
        {"<a x='1' y='2&lt;3' __type__='T'>tail<b>hi</b><c/></a>",
         "<a x=\"1\"\n"
         "     y=\"2&lt;3\" __type__=\"T\"\n"
         "    >\n"
         "    <b>hi</b>\n"
         "    <c/>\n"
         "    tail\n"
         "</a>",
         "<a x=\"1\" y=\"2&lt;3\" __type__=\"T\"><b>hi</b><c/>tail</a>"},
        {"<x/>", "<x/>", "<x/>"},
        {"<>t</>", "<>t</>", "<>t</>"},
        {"<x a='1'/>", "<x a=\"1\"/>", "<x a=\"1\"/>"},
        {"<x a='1' b=''/>", "<x a=\"1\"\n     b=\"\"\n    />", "<x a=\"1\" b=\"\"/>"},
        {"<x a='1' b=''>]]> &amp; c</x>", "<x a=\"1\"\n     b=\"\"\n    >]]&gt; &amp; c</x>",
         "<x a=\"1\" b=\"\">]]&gt; &amp; c</x>"},
        {"<x>&lt;</x>", "<x><![CDATA[<]]></x>", "<x><![CDATA[<]]></x>"},
        {"<x n='&quot;&apos;'/>", "<x n=\"&quot;&apos;\"/>", "<x n=\"&quot;&apos;\"/>"},
        {"<x ='lost'/>", "<x/>", "<x/>"},
        {big, big, big}};
    for (auto const& [source, lines, line] : cases) {
        auto const node = parsed(source);
        EXPECT_EQ(lines, node->str(true, 0));
        EXPECT_EQ(line, node->str(false, 1));
        EXPECT_EQ(lines, zan_test::printed(*node));
        zan::dumper d;
        d.level(1);
        String further(lines);
        EXPECT_EQ(further.replace("\n", "\n    "), node->dump(d).str());
        EXPECT_EQ(further, node->str(true, 1));
    }
    EXPECT_EQ("", XMLNode::null().str(true, 0));
    EXPECT_EQ("</>", XMLNode().str(true, 0));
    XMLAttr const attr("n", "v");
    for (auto const& text :
         {zan_test::printed(attr), zan_test::dumped(attr), std::string(attr.str())})
        EXPECT_EQ(" n=\"v\"", text);
    EXPECT_EQ("", XMLAttr("", "v").str());
}

// Short and long ones, such as lie beside their element, and such as do not.
TEST(XmlNodeCdata, IsOneTextHoweverItCameAbout) {
    for (unsigned long const size : {1ul, 15ul, 400ul, 600ul, 100000ul}) {
        std::string const plain(size, 'x');
        std::string const cases[][2] = {{plain, plain},
                                        {plain + "&amp;", plain + "&"},
                                        {"&lt;" + plain + "<b/>y", "<" + plain + "y"},
                                        {"<![CDATA[&" + plain + "]]>", "&" + plain},
                                        {"y<![CDATA[&]]>" + plain, "y&" + plain}};
        for (auto const& c : cases) {
            auto const root = parsed("<r><a>" + c[0] + "</a><c>z</c></r>");
            XMLNode& node = (*root)["a"];
            XMLNode const copy(*root);
            std::string const text = node.str(false, 0);
            String const& shown = static_cast<XMLNode const&>(node).cdata();
            EXPECT_EQ(c[1], shown);
            EXPECT_EQ(text, node.str(false, 0));
            EXPECT_EQ(c[1], copy["a"].cdata());
            EXPECT_EQ("z", copy["c"].cdata());
            // The reference goes on showing the text.
            node.cdata() += "+";
            node.cdata(shown);
            EXPECT_EQ(c[1] + "+", shown);
            node = copy["a"];
            EXPECT_EQ(c[1], shown);
            node.cdata("");
            EXPECT_TRUE(shown.empty());
        }
    }
}

// Random changes of attributes, beside the plainest code that does the same.
TEST(XmlNodeModel, KeepsAttributesAsAListAndAMapDo) {
    struct Known {
        XMLAttr const* at;  // where it stays
        std::string name, value;
        bool mine;
    };
    auto random = zan_test::makeRandom();
    for (int round = 0; round < 60; ++round) {
        XMLNode n("n");
        XMLNode const& c = n;
        std::vector<String> order;
        std::map<String, Known> known;
        unsigned long const letters = 1 + random() % 40;  // with and without an index
        bool const shown = random() % 2 == 0;             // the views are made early
        if (shown) n.getAttrMap();
        for (int step = 0; step < 100; ++step) {
            std::string const key(1 + random() % 2, char('a' + random() % letters));
            String const text("value " + std::to_string(random() % 1000000000000));
            unsigned long const action = random() % 64;
            if (action == 0) {
                n.clearAttrs();
                order.clear();
                known.clear();
            } else if (action < 32) {
                bool const mine = action % 2 == 0;
                if (mine)
                    n.addAttr(key, text);
                else
                    n.addAttr(XMLAttr(key, text));
                order.push_back(key);
                known[key] = {&c.attr(key), key, text, mine};
            } else {
                if (known.count(key) == 0) {
                    order.push_back(key);
                    known[key] = {&n.attr(key), key, "", false};
                }
                Known& k = known[key];
                if (action % 3 == 0) {
                    n(key).value(k.value = text);
                } else if (action % 3 == 1) {
                    n.attr(key).name(k.name = text);
                } else {
                    n(key) = XMLAttr(key, text, &n);
                    k = {k.at, key, text, true};
                }
            }
            ASSERT_EQ(order.size(), c.numofAttrs());
            ASSERT_TRUE(c.attr(order.size()).isNull() && c("none").isNull());
        }
        XMLNode const copy(n);
        ASSERT_EQ(n.str(true, 0), copy.str(true, 0));
        ASSERT_EQ(order, c.getAttrNames());
        ASSERT_EQ(known.size(), c.getAttrMap().size());
        for (unsigned long i = 0; i < order.size(); ++i) {
            Known const& k = known.at(order[i]);
            XMLAttr const& inMap = c.getAttrMap().at(order[i]);
            ASSERT_EQ(k.at, &c.attr(i));
            ASSERT_EQ(k.at, &c.attr(order[i]));
            for (XMLAttr const* a : {k.at, &inMap, &copy.attr(i), &copy(order[i])}) {
                ASSERT_EQ(k.name, a->name());
                ASSERT_EQ(k.value, a->value());
            }
            ASSERT_EQ(k.mine ? &n : nullptr, k.at->node());
            ASSERT_EQ(k.mine ? &copy : nullptr, copy.attr(i).node());
        }
    }
}

// The same for children, which change their names; their texts come back from the parser.
TEST(XmlNodeModel, FindsChildrenAsAListDoes) {
    auto random = zan_test::makeRandom();
    auto const markup = [&random] {
        std::string text("x");
        for (auto n = random() % 9; n != 0; --n) text += "<>&'\"]; x"[random() % 9];
        return String(text);
    };
    for (int round = 0; round < 60; ++round) {
        XMLNode root("root");
        XMLNode const& c = root;
        std::vector<XMLNode*> order;
        std::vector<std::pair<std::string, XMLNode*>> known;  // as look-up orders them
        unsigned long const letters = 1 + random() % 30;
        for (int step = 0; step < 120; ++step) {
            std::string const key(1 + random() % 3, char('a' + random() % letters));
            if (random() % 4 != 0 || known.empty()) {
                bool const found = !c[istr(key)].isNull();
                XMLNode* const child = found ? new XMLNode(key, &root) : &root[istr(key)];
                child->cdata(markup());
                child->addAttr("a", markup());
                order.push_back(child);
                known.emplace_back(key, child);
            } else {
                auto const at = known.begin() + static_cast<long>(random() % known.size());
                auto const moved = *at;
                if (moved.first == key) continue;
                moved.second->name(istr(key));
                known.erase(at);
                known.emplace_back(key, moved.second);
            }
            ASSERT_EQ(order, c.getChildNodes());
            ASSERT_EQ(order.back(), &c[order.size() - 1]);
            ASSERT_TRUE(c[order.size()].isNull() && c["none"]["deeper"]("attr").isNull());
            if (random() % 8 != 0) continue;
            std::vector<XMLNode*> want, found;
            for (auto const& child : known)
                if (child.first == key) want.push_back(child.second);
            root.getChildren(istr(key), found);
            ASSERT_EQ(want, found);
            ASSERT_EQ(want.front(), &c[istr(key)]);
            if (random() % 8 == 0) {
                ASSERT_EQ(order.size(), c.getChildNodeMap().size());
            }
        }
        for (bool const lines : {false, true})
            ASSERT_EQ(root.str(lines, 0), parsed(root.str(lines, 0))->str(lines, 0));
        root.clearNodes();
        ASSERT_TRUE(c["a"].isNull() && c.getChildNodeMap().empty() && c.isSimple());
    }
}

TEST(XmlNodeCopies, AreDeepAndMayComeFromBelow) {
    auto const source = parsed("<a x='1'>t<b y='2'><c>deep</c></b><d/></a>");
    std::string const text = source->str(true, 0);
    XMLNode copy(*source);
    EXPECT_EQ(nullptr, copy.parent());
    EXPECT_EQ(&copy, copy[0].parent());
    copy = *&copy;
    copy.assign(copy);
    EXPECT_EQ(text, copy.str(true, 0));
    copy.append(copy);
    EXPECT_EQ(3u, copy.numofChildren());
    EXPECT_EQ(text, copy[2].str(true, 0));
    copy["b"] += copy["b"]["c"];
    auto const& map = copy.getChildNodeMap();
    copy = copy["b"];
    EXPECT_EQ("<b y=\"2\"><c>deep</c><c>deep</c></b>", copy.str(false, 0));
    EXPECT_EQ(2u, map.count("c"));
    EXPECT_EQ(&copy, copy.attr("y").node());
    // The parent goes on by the old name, until the next renaming.
    XMLNode root("root");
    root["a"] = copy;
    root["q"];
    XMLNode const& c = root;
    EXPECT_EQ("b", c["a"].name());
    EXPECT_TRUE(c["b"].isNull());
    root["a"].name("r");
    EXPECT_EQ(&c[0], &c["r"]);
    EXPECT_TRUE(c["a"].isNull());
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
    EXPECT_TRUE(null.cdata().empty() && null.getAttrMap().empty());
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
    auto root = parsed(text);
    XMLNode copy(*root);
    root.reset();
    XMLNode again;
    again = copy;
    EXPECT_EQ(N * 7 - 3, again.str(false, 0).size());
    XMLNode const* last = &again;
    while (last->numofChildren() != 0) last = &last->child(0ul);
    EXPECT_EQ(N - 1, static_cast<unsigned long>(last->getDepth()));
}

TEST(XmlNodeThreads, MayReadWhileNobodyWrites) {
    std::string text = "<r";
    for (int i = 0; i < 40; ++i) text += " a" + std::to_string(i) + "='v'";
    text += ">";
    for (int i = 0; i < 40; ++i) text += "<c" + std::to_string(i) + ">a text of some size</c>";
    for (int round = 0; round < 20; ++round) {
        auto const tree = parsed(text + "</r>");
        XMLNode const& root = *tree;
        zan_test::Threads(4, [&root](unsigned t) {
            std::string const before = t % 2 == 0 ? root.str(false, 0) : "";
            for (XMLNode const* child : root.getChildNodes())
                EXPECT_EQ("a text of some size", static_cast<XMLNode const*>(child)->cdata());
            EXPECT_EQ(root.str(true, 0), XMLNode(root).str(true, 0));
            EXPECT_TRUE(t % 2 != 0 || before == root.str(false, 0));
            EXPECT_FALSE(root["c39"].isNull());
            EXPECT_EQ(40u, root.getAttrMap().size());
            EXPECT_EQ("v", root("a39").value());
            EXPECT_TRUE(root["c1"].getAttrNames().empty());
            EXPECT_EQ(40u, root.getChildNodeMap().size());
        });
    }
}

}  // namespace
