// Parse, render, parse: from the tree that the first parse gives, made such that XML can say it,
// the second gives an equal one. The tree goes through object streams on the way.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "require.h"
#include "zan/xml/xmlparser.h"
#include "zan/xml/xmlstream.h"

namespace {

using zan::istr;
using zan::String;
using zan::XMLNode;
using zan::XMLParser;

// A name that reads back, told from others as far as 26 letters go.
String plainName(String const& name) {
    unsigned int sum = 0;
    for (char const c : name) sum = sum * 31 + static_cast<unsigned char>(c);
    String plain("n");
    plain += static_cast<char>('a' + sum % 26);
    return plain;
}

// Without a NUL, and without white space at the start.
String plainText(istr const& text) {
    String plain;
    for (char const c : text)
        if (c != 0 && (!plain.empty() || !zan::CharIsSpace(c))) plain += c;
    return plain;
}

// Text stays only where there are no children: between them it would not keep its place.
void makePlain(XMLNode& root) {
    std::vector<XMLNode*> left{&root};
    while (!left.empty()) {
        XMLNode& node = *left.back();
        left.pop_back();
        node.name(plainName(node.name()));
        node.cdata(node.numofChildren() == 0 ? plainText(node.cdata()) : String());
        XMLNode const attrs(node);
        node.clearAttrs();
        for (unsigned long i = 0; i < attrs.numofAttrs(); ++i)
            node.addAttr(plainName(attrs.attr(i).name()), attrs.attr(i).value());
        left.insert(left.end(), node.getChildNodes().begin(), node.getChildNodes().end());
    }
}

void requireEqual(XMLNode const& a, XMLNode const& b) {
    std::vector<std::pair<XMLNode const*, XMLNode const*>> left{{&a, &b}};
    while (!left.empty()) {
        auto const [one, other] = left.back();
        left.pop_back();
        require(one->name() == other->name() && one->cdata() == other->cdata());
        require(one->getAttrNames() == other->getAttrNames());
        for (auto const& entry : one->getAttrMap())
            require(other->attr(entry.first).value() == entry.second.value());
        require(one->numofChildren() == other->numofChildren());
        std::vector<XMLNode*> ours, theirs;
        for (unsigned long i = 0; i < one->numofChildren(); ++i) {
            one->getChildren(one->child(i).name(), ours);
            other->getChildren(one->child(i).name(), theirs);
            require(ours.size() == theirs.size() && !ours.empty());
            left.emplace_back(&one->child(i), &other->child(i));
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    zan::XMLInStream const in(istr(data, size));
    if (in.isNull()) return 0;
    XMLNode tree(in.node());
    makePlain(tree);
    for (bool const indent : {false, true}) {
        zan::XMLInStream const back(tree.str(indent, 0));
        require(!back.isNull());
        requireEqual(tree, back.node());
    }
    zan::XMLOutStream out;
    out.node() = tree;
    zan::XMLInStream const moved(out.str(true, 3));
    requireEqual(tree, moved.node());
    return 0;
}
