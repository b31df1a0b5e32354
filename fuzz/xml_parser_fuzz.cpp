// Any bytes as XML: the callbacks come in the order of a document and tell of the very tree that is
// there at the end, with and without a callback; and what is rendered reads back as what it was,
// where XML can say it at all.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "require.h"
#include "zan/log/log_dumper.h"
#include "zan/xml/xmlparser.h"

namespace {

using zan::istr;
using zan::String;
using zan::XMLAttr;
using zan::XMLNode;
using zan::XMLParser;

// Keeps the elements that are open, as a reader of the events sees them.
struct Order : zan::XMLParserCallback {
    void onNodeBegin(XMLParser*, XMLNode* node) override {
        require(!over);
        require(node->parent() == (open.empty() ? nullptr : open.back()));
        require(node->numofAttrs() == 0 && node->numofChildren() == 0);
        open.push_back(node);
        attrs = 0;
    }
    void onAttrFound(XMLParser*, XMLAttr* attr) override {
        require(!over && !open.empty() && attr->node() == open.back());
        ++attrs;
        require(open.back()->numofAttrs() == attrs);
        require(static_cast<XMLNode const*>(open.back())->attr(attr->name()).value() ==
                attr->value());
    }
    void onCDATAFound(XMLParser*, XMLNode* node) override {
        require(!over && !open.empty() && node == open.back());
    }
    void onNodeEnd(XMLParser* parser, XMLNode* node) override {
        require(!over);
        if (open.empty()) {
            require(node == nullptr);
            return;
        }
        require(node == open.back());
        open.pop_back();
        require(!open.empty() || node == parser->rootNode());
    }

    std::vector<XMLNode*> open;
    unsigned long attrs = 0;
    bool over = false;
};

bool isPlainName(String const& name) {
    if (name.empty()) return false;
    for (char const c : name)
        if (!zan::CharIsAlnum(c) && c != ':' && c != '_') return false;
    return true;
}

// Text of which neither the start nor anything else is lost on the way.
bool isPlainText(String const& text) {
    return text.empty() || (!zan::CharIsSpace(text[0]) && text.find('\0') == std::string::npos);
}

bool isPlain(XMLNode const& root) {
    std::vector<XMLNode const*> left{&root};
    while (!left.empty()) {
        XMLNode const& node = *left.back();
        left.pop_back();
        if (!isPlainName(node.name()) || !isPlainText(node.cdata())) return false;
        for (String const& name : node.getAttrNames())
            if (!isPlainName(name)) return false;
        left.insert(left.end(), node.getChildNodes().begin(), node.getChildNodes().end());
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    istr const text(data, size);
    Order order;
    XMLParser parser;
    parser.setCallback(&order);
    String fault;
    try {
        parser.parse(text);
        require(order.open.empty() || parser.rootNode() != nullptr);
    } catch (zan::XMLRuntimeException const& e) {
        fault = e.message();
    }
    order.over = true;

    XMLParser silent;
    String silentFault;
    try {
        silent.parse(text);
    } catch (zan::XMLRuntimeException const& e) {
        silentFault = e.message();
    }
    require(fault == silentFault);
    require((parser.rootNode() == nullptr) == (silent.rootNode() == nullptr));
    if (parser.rootNode() == nullptr) return 0;
    XMLNode const& root = *parser.rootNode();
    String const line = root.str(false, 0);
    require(line == silent.rootNode()->str(false, 0));
    XMLNode copy(*silent.rootNode());
    require(line == copy.str(false, 0));
    zan::dumper d;
    copy.dump(d);
    require(d.str() == root.str(true, 0));

    if (isPlain(root)) {
        XMLParser again;
        again.parse(line);
        require(again.rootNode() != nullptr && again.rootNode()->str(false, 0) == line);
    }
    return 0;
}
