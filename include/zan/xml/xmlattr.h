#pragma once

#include <atomic>
#include <iosfwd>

#include "zan/base/base_type_string.h"

namespace zan {

class XMLNode;
class dumper;

namespace detail {
class XMLAttrList;
}

// An attribute of an element: a name and a value, which is held decoded, and the element that it
// belongs to, if it was told.
//
// An element finds an attribute under the name that it was added with: renaming it changes what is
// written, not the key.
//
// Ownership: the node is not owned. Copies are attributes of their own, with the same three fields.
// Threads: one at a time, or any number while nobody writes.
class ZAN_EXPORT XMLAttr {
public:
    XMLAttr() = default;
    explicit XMLAttr(istr const& name, istr const& value = istr(), XMLNode* node = nullptr)
        : name_(name), value_(value), node_(node) {}
    XMLAttr(XMLAttr const& other) : name_(other.name_), value_(other.value_), node_(other.node_) {}
    XMLAttr& operator=(XMLAttr const& other);
    virtual ~XMLAttr() {
        if (place_.load(std::memory_order_relaxed) != nullptr) leave();
    }

    String const& name() const { return name_; }
    void name(istr const& v);
    String const& value() const { return value_; }
    void value(istr const& v);
    XMLNode* node() const { return node_; }
    void node(XMLNode* v);

    // The attribute that stands for all that are missing. Writing to it does nothing.
    bool isNull() const;
    static XMLAttr const& null();
    // At the end of the library; the next null() makes it anew.
    static void destroy_null();

    // " name="value"", with the blank in front; nothing where the name is empty.
    String str() const;
    // Writes str().
    dumper& dump(dumper& d) const;

private:
    friend class detail::XMLAttrList;

    struct Place;
    struct OwnPlace;

    // One in a list of attributes.
    struct Padded;
    struct Unpadded;
    template <class Copy>
    XMLAttr(Copy, Place* place, istr const& name, istr const& value, XMLNode* node);
    String const& key() const;
    OwnPlace& ownPlace();
    OwnPlace* changing();
    void leave();

    // Null for an attribute in no element. Threads that only read may set it, for the map.
    std::atomic<Place*> place_{nullptr};
    String name_;
    String value_;
    XMLNode* node_ = nullptr;
};

// Writes str().
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, XMLAttr const& a);

}  // namespace zan
