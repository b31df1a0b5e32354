#pragma once

#include <iosfwd>

#include "zan/base/base_type_string.h"
#include "zan/base/base_type_value.h"
#include "zan/xml/xmlnode.h"

namespace zan {

class dumper;

// Pick the direction of a stream.
struct in_t {};
struct out_t {};

// What the XML streams share: a cursor on one element, with a direction.
//
// Ownership: a stream owns its node or looks at one that must outlive it. A copy takes the node
//   from its source, which is left without one, as an auto-pointer does; so streams may be returned
//   from functions, and are passed by reference.
// Threads: one at a time.
// Errors: NullPointerException for node() on an input stream that has none. Everything else is
// soft:
//   a stream without a node reads as empty, and an output stream makes its node when it needs one.
class ZAN_EXPORT XMLStreamBase {
public:
    // Output, without a node.
    XMLStreamBase() = default;
    // Not owned. A null pointer and the null node are no node.
    XMLStreamBase(XMLNode* node, out_t) : XMLStreamBase(false, false, node) {}
    XMLStreamBase(XMLNode const* node, in_t)
        : XMLStreamBase(true, false, const_cast<XMLNode*>(node)) {}
    XMLStreamBase(bool inputting, bool owned, XMLNode* node);
    XMLStreamBase(XMLStreamBase const& other);
    XMLStreamBase& operator=(XMLStreamBase const& other);
    virtual ~XMLStreamBase();

    // Without a node; one that is owned is deleted.
    void clear();
    // The caller has the node, and owns it where the stream did. May be null.
    XMLNode* release();
    void swap(XMLStreamBase& other) noexcept;
    void assign(bool inputting, bool owned, XMLNode* node);
    void setOutputNode(XMLNode* node, bool owned) { assign(false, owned, node); }
    void setInputNode(XMLNode const* node, bool owned) {
        assign(true, owned, const_cast<XMLNode*>(node));
    }

    bool isInputting() const { return inputting_; }
    void setInputting(bool v) { inputting_ = v; }

    // Makes the node of an output stream, without a name, where there is none.
    void checkNode();
    // For writing. To read, use the const form.
    XMLNode& node();
    // XMLNode::null() where there is none.
    XMLNode const& node() const { return node_ == nullptr ? XMLNode::null() : *node_; }
    bool isNull() const { return node_ == nullptr; }

    // Does nothing on an input stream, as the two other setters.
    void name(istr const& v);
    String const& name() const;  // empty without a node
    // The attribute "__type__", which is left as it is where the type is the name.
    void type(istr const& v);
    // The name where there is no such attribute.
    String const& type() const;
    void cdata(istr const& v);  // takes the place of what was there
    String const& cdata() const;

    XMLAttr const& attrAt(unsigned long n) const { return node().attr(n); }
    unsigned long numofAttrs() const { return node().numofAttrs(); }
    XMLNode const& childAt(unsigned long n) const { return node().child(n); }
    unsigned long numofChildren() const { return node().numofChildren(); }

    // The node as text; empty without one.
    String str(bool indent, unsigned int depth) const { return node().str(indent, depth); }
    dumper& dump(dumper& d) const { return node().dump(d); }

private:
    // A copy takes them from a const source.
    mutable Bit inputting_;
    mutable Bit owned_;
    mutable XMLNode* node_ = nullptr;
};

// Writes str(true, 0).
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, XMLStreamBase const& s);

}  // namespace zan
