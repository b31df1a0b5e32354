#pragma once

#include <atomic>
#include <cstddef>
#include <cstring>
#include <map>
#include <set>
#include <vector>

#include "zan/base/base_type_string.h"
#include "zan/xml/xmlattr.h"
#include "zan/xml/xmlnode.h"

namespace zan {

// The list that an attribute is in.
struct XMLAttr::Place {
    bool own = false;
    bool touched = false;  // an attribute may have changed since it was put down
};

// What an attribute in a list has beyond its fields, where there is more to say than that.
struct XMLAttr::OwnPlace : Place {
    explicit OwnPlace(Place* of) : list(of) { own = true; }
    Place* list;
    String key;
    bool renamed = false;     // the key is not the name
    XMLAttr* twin = nullptr;  // the same attribute in the public map
};

inline String const& XMLAttr::key() const {
    Place const* const place = place_.load(std::memory_order_acquire);
    if (place == nullptr || !place->own) return name_;
    auto const* const own = static_cast<OwnPlace const*>(place);
    return own->renamed ? own->key : name_;
}

namespace detail {

// Tests names one after the other; those in one list tend to differ at their ends.
inline bool sameName(String const& a, istr const& b) {
    unsigned long const n = b.size();
    if (a.size() != n) return false;
    if (n == 0) return true;
    char const* const p = a.data();
    return p[n - 1] == b[n - 1] && p[0] == b[0] && (n < 3 || std::memcmp(p, b.data(), n) == 0);
}

// The attributes of an element, in order of addition and by key. An attribute stays where it is
// until clear(); of a key that is added again there is one attribute, twice in the order.
class XMLAttrList {
public:
    struct Views {
        std::vector<String> names;
        XMLNode::AttrMap map;
    };

    // Lists up to this size are searched one by one.
    static constexpr unsigned long SHORT = 16;

    XMLAttrList() = default;
    XMLAttrList(XMLAttrList const&) = delete;
    XMLAttrList& operator=(XMLAttrList const&) = delete;

    // A list for `n` attributes in memory that somebody else owns.
    static std::size_t bytesFor(unsigned long n) {
        return sizeof(XMLAttrList) + Chunk::bytes(n, n);
    }
    static XMLAttrList* place(void* memory, unsigned long n) {
        auto* const list = new (memory) XMLAttrList;
        list->pooled_ = true;
        list->use(static_cast<char*>(memory) + sizeof(XMLAttrList), n, false);
        return list;
    }
    void destroy();

    unsigned long size() const { return size_; }
    XMLAttr const& at(unsigned long n) const { return *order_[n]; }
    XMLAttr* find(istr const& key) const;

    // Adds to the order; replaces the attribute of that key. `escaped` is a value that still holds
    // references.
    XMLAttr& add(istr const& name, istr const& value, XMLNode* node, bool escaped = false);
    // As add(), for a list that was made with room for it and nobody has seen yet, and a key that
    // is not in it. REQUIRES: fewer than SHORT attributes, and XML_SCAN_TAIL readable bytes behind
    // name and value.
    void addNew(char const* name, unsigned long nameSize, char const* value,
                unsigned long valueSize, XMLNode* node, bool escaped);
    // Copies; an attribute of `from` becomes one of `to`.
    void addAll(XMLAttrList const& other, XMLNode const* from, XMLNode* to);
    void clear();

    Views const& views() const;

private:
    struct ByKey {
        using is_transparent = void;
        static istr key(XMLAttr const* a) { return a->key(); }
        static istr key(istr const& k) { return k; }
        template <class A, class B>
        bool operator()(A const& a, B const& b) const {
            return key(a) < key(b);
        }
    };

    // The order of all attributes so far, and slots for those beyond the older chunks.
    struct Chunk {
        static std::size_t bytes(unsigned long capacity, unsigned long room) {
            return sizeof(Chunk) + capacity * sizeof(XMLAttr*) + room * sizeof(XMLAttr);
        }
        Chunk* older;
        XMLAttr* slots;
        unsigned long used : 63;  // one word for both: there is a chunk in most elements
        unsigned long owned : 1;
    };

    void use(void* memory, unsigned long capacity, bool owned);
    void grow();
    XMLAttr& make(istr const& name, istr const& value, XMLNode* node);
    void append(XMLAttr* a);
    static void show(Views& views, XMLAttr& a);

    XMLAttr** order_ = nullptr;
    unsigned long size_ = 0;
    unsigned long capacity_ = 0;
    Chunk* chunk_ = nullptr;
    std::set<XMLAttr*, ByKey>* index_ = nullptr;
    mutable std::atomic<Views*> views_{nullptr};
    // Attributes by addNew() that have memory of their own; all may, once one is touched.
    unsigned int heavy_ = 0;
    XMLAttr::Place place_;
    bool pooled_ = false;  // this object lies in somebody else's memory
};

}  // namespace detail
}  // namespace zan
