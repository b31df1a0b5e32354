#pragma once

#include <cstring>
#include <memory>

#include "zan/base/mlcheck.h"
#include "zan/base/source_place.h"
#include "zan/xml/attr_list.h"
#include "zan/xml/node_memory.h"
#include "zan/xml/padded_text.h"
#include "zan/xml/xml_scan.h"
#include "zan/xml/xmlnode.h"
#include "zan/xml/xmlparser.h"

namespace zan::detail {

struct XMLNodeDelete {
    void operator()(XMLNode* p) const { ZAN_DELETE(p); }
};

// Owns an element until it has found its place.
using XMLNodeOwner = std::unique_ptr<XMLNode, XMLNodeDelete>;

// What the parser and the writer do with elements beyond their public operations.
class XMLTree {
public:
    // An element with room for `attrs` attributes, as the last child of the parent, if there is
    // one.
    template <class Name>
    static XMLNode* make(XMLArena& arena, Name const& name, XMLNode* parent, unsigned long attrs) {
        std::size_t const list = attrs == 0 ? 0 : XMLAttrList::bytesFor(attrs);
        void* const memory = arena.take(sizeof(XMLNode) + list);
        auto* const made = new (memory) XMLNode(name);
        arena.hold(made);
        XMLNodeOwner node(trackNew(made, ZAN_HERE));
        if (list != 0)
            node->attrs_.store(
                XMLAttrList::place(static_cast<char*>(memory) + sizeof(XMLNode), attrs),
                std::memory_order_relaxed);
        if (parent != nullptr) parent->take(node.get());
        return node.release();
    }

    // Null for an element that never had an attribute.
    static XMLAttrList* attrs(XMLNode const& node) {
        return node.attrs_.load(std::memory_order_acquire);
    }
    static XMLAttrList& attrList(XMLNode& node) { return node.attrList(); }

    // The character data, without making a String of it.
    static istr text(XMLNode const& node) { return node.text(); }
    // Adds to it; `escaped` is text that still holds references. The first piece of the element
    // that was made last lies beside it.
    static void addText(XMLArena& arena, XMLNode& node, istr const& text, bool escaped = false) {
        std::size_t const size = sizeof(XMLNode::Text) + text.size();
        void* const memory = node.text().empty() ? arena.beside(&node, size) : nullptr;
        if (memory == nullptr) {
            String& cdata = node.cdata();
            if (escaped)
                xml::unescape(cdata, text);
            else
                cdata += text;
            return;
        }
        auto* const laid = new (memory) XMLNode::Text;
        auto* const bytes = reinterpret_cast<char*>(laid + 1);
        char* end = bytes + text.size();
        if (escaped)
            end = xmlUnescape(bytes, text);
        else
            std::memcpy(bytes, text.data(), text.size());
        laid->size = static_cast<unsigned int>(end - bytes);
        arena.keep(sizeof(XMLNode::Text) + laid->size);
        node.text_.store(laid, std::memory_order_relaxed);
    }
};

}  // namespace zan::detail

namespace zan {

inline XMLNode::XMLNode(detail::XMLPadded const& name) : name_(name.copy()) {}

}  // namespace zan
