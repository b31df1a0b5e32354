#pragma once

#include <atomic>
#include <cstddef>
#include <iosfwd>
#include <map>
#include <vector>

#include "zan/base/base_type_string.h"
#include "zan/xml/xmlattr.h"

namespace zan {

class dumper;

namespace detail {
class XMLTree;
struct XMLPadded;
}  // namespace detail

// Picks the constructor of XMLNode that takes text instead of a name.
struct cdata_t {};

// An element of a document in memory: a name, one block of character data, ordered attributes and
// ordered children. Text that stands before, between and behind the children is one block.
//
//     XMLNode root("order");
//     root.attr("id").value("7");              // makes the attribute
//     root["item"].cdata("bolt");              // makes the child
//     root.addChildNode("item")->cdata("nut"); // a second one of that name
//
//     XMLNode const& doc = root;
//     doc["item"].cdata();                     // "bolt": the first one
//     doc["none"]["deeper"]("x").value();      // "": what is missing is null, and has no children
//     doc.str(true, 0);                        // the text
//
// On a node that is not const, look-up by name makes what is missing. Names may be any bytes.
//
// Ownership: a node owns its children, which must come from `new XMLNode` or `new` of a class
//   derived from it, and deletes them; nothing else may. Copies are deep; a copy has no parent.
// Threads: one at a time, or any number while nobody writes. The first of them to ask for the cdata
//   of an element that the parser or copying made may make it a String, under a lock.
// Errors: none is thrown. A look-up that misses gives a shared null object; isNull() tells it from
//   one that is empty. The null node never changes: what would write to it does nothing.
// Cost: look-up by name in more than sixteen children or attributes goes by an index, made at the
//   first use. What the parser and copying make lies side by side in blocks, each of which is freed
//   with the last node in it; so does its text, up to the first cdata(), which allocates a String.
//   Rendering, copying and the streams do without. Nothing here recurses: trees may be as deep as
//   memory allows, and every walk takes time linear in what it walks.
class ZAN_EXPORT XMLNode {
public:
    using ChildMap = std::multimap<String, XMLNode*>;
    using AttrMap = std::map<String, XMLAttr>;

    XMLNode() = default;
    // The parent takes the node, which must then come from `new`.
    explicit XMLNode(istr const& name, XMLNode* parent = nullptr);
    // Without a name, with this cdata.
    XMLNode(istr const& text, cdata_t) : cdata_(text) {}
    XMLNode(XMLNode const& other);
    // As assign().
    XMLNode& operator=(XMLNode const& other);
    virtual ~XMLNode();

    // What the parser makes lies side by side in blocks; `delete` knows the way back.
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t size, char const* file, unsigned int line,
                              char const* func);
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void* p) noexcept;
    static void operator delete(void* p, char const* file, unsigned int line,
                                char const* func) noexcept;
    static void operator delete(void*, void*) noexcept {}

    // Name, cdata, attributes and children become copies of the other's, which may stand below this
    // node. The place in the tree stays, and the parent goes on finding this node under the name
    // that it had.
    void assign(XMLNode const& other);
    // A copy becomes the last child.
    void append(XMLNode const& other);
    XMLNode& operator+=(XMLNode const& other) {
        append(other);
        return *this;
    }

    // No attributes and no children.
    bool isSimple() const { return numofAttrs() == 0 && children_.empty(); }
    bool isEmpty() const { return isSimple() && name_.empty() && text().empty(); }
    bool isNull() const;
    static XMLNode const& null();
    // At the end of the library; the next null() makes it anew.
    static void destroy_null();

    String const& name() const { return name_; }
    // The place among the parent's children stays. Of the children of the new name this node is
    // then the last that look-up finds.
    void name(istr const& v);
    void name(char const* begin, char const* end) { name(istr(begin, end)); }
    // The reference shows all later changes, as long as this node lives.
    String const& cdata() const {
        if (text_.load(std::memory_order_acquire) != nullptr) makeCdata();
        return cdata_;
    }
    String& cdata();
    void cdata(istr const& v);  // takes the place of what was there
    XMLNode* parent() const { return parent_; }
    // Touches no list of children.
    void parent(XMLNode* v);
    // How many nodes stand above this one.
    int getDepth() const;

    // --- Attributes

    // A copy. A name that is there already gets the new value, and stands twice in the order.
    void addAttr(XMLAttr const& a);
    // Of this node.
    void addAttr(istr const& name, istr const& value);
    // Made, of no node, where it is missing. Stays valid until clearAttrs().
    XMLAttr& attr(istr const& name);
    XMLAttr const& attr(istr const& name) const;  // XMLAttr::null() where it is missing
    XMLAttr& operator()(istr const& name) { return attr(name); }
    XMLAttr const& operator()(istr const& name) const { return attr(name); }
    // By the order of addition.
    XMLAttr const& attr(unsigned long n) const;
    XMLAttr const& attr(unsigned long n) { return static_cast<XMLNode const&>(*this).attr(n); }
    unsigned long numofAttrs() const;
    // Both show all later changes, as long as this node lives. They are made at the first call, at
    // some cost: attr(n) gives the same in order.
    std::vector<String> const& getAttrNames() const;
    AttrMap const& getAttrMap() const;

    void clearAttrs();

    // --- Children

    // Takes the node.
    // REQUIRES: not null, from `new`, child of no node yet, and not above this node.
    void addChildNode(XMLNode* child);
    // Makes a child, also where there is one of that name.
    XMLNode* addChildNode(istr const& name);
    // The first of that name, made where there is none.
    XMLNode& child(istr const& name);
    XMLNode const& child(istr const& name) const;  // null() where there is none
    XMLNode& operator[](istr const& name) { return child(name); }
    XMLNode const& operator[](istr const& name) const { return child(name); }
    // By the order of addition.
    XMLNode const& child(unsigned long n) const;
    XMLNode const& child(unsigned long n) { return static_cast<XMLNode const&>(*this).child(n); }
    XMLNode const& operator[](unsigned long n) const { return child(n); }
    XMLNode const& operator[](unsigned long n) { return child(n); }
    unsigned long numofChildren() const { return children_.size(); }
    // Replaces `result` by all children of that name.
    void getChildren(istr const& name, std::vector<XMLNode*>& result) const;
    std::vector<XMLNode*> const& getChildNodes() const { return children_; }
    // By name; made at the first call, and kept up to date.
    ChildMap const& getChildNodeMap() const { return childMap(); }
    void clearNodes();

    // --- Text

    // The element as XML, without a declaration; see docs/formats/xml.md. With `indent` on several
    // lines, `depth` levels further in but for the first line. Text that stood between children
    // comes behind them.
    String str(bool indent, unsigned int depth) const;
    // str() with indentation, at the dumper's level.
    dumper& dump(dumper& d) const;

private:
    friend class detail::XMLTree;

    // Character data that lies beside the element, with its bytes behind it.
    struct Text {
        char const* begin() const { return reinterpret_cast<char const*>(this + 1); }
        char const* end() const { return begin() + size; }
        unsigned int size;
    };

    explicit XMLNode(detail::XMLPadded const& name);

    istr text() const {
        Text const* const text = text_.load(std::memory_order_acquire);
        return text == nullptr ? istr(cdata_) : istr(text->begin(), text->end());
    }
    void makeCdata() const;
    detail::XMLAttrList& attrList() const;
    XMLAttr* findAttr(istr const& name) const;
    XMLNode* findChild(istr const& name) const;
    ChildMap& childMap() const;
    bool indexed() const;
    void take(XMLNode* child);
    void rename(XMLNode& child, istr const& v);

    String name_;
    // Holds the character data once text_ is null. Threads that only read may bring that about;
    // those that found the other text go on with it, for it stays.
    mutable String cdata_;
    mutable std::atomic<Text const*> text_{nullptr};
    // Threads that only read may make this and the index.
    mutable std::atomic<detail::XMLAttrList*> attrs_{nullptr};
    std::vector<XMLNode*> children_;
    mutable std::atomic<ChildMap*> childMap_{nullptr};
    XMLNode* parent_ = nullptr;
};

// Writes str(true, 0).
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, XMLNode const& n);

}  // namespace zan
