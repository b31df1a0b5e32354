#include "zan/xml/attr_list.h"

#include <memory>
#include <new>
#include <string>
#include <utility>

#include "zan/base/mlcheck.h"
#include "zan/mt/mutex.h"
#include "zan/xml/padded_text.h"
#include "zan/xml/xmlparser.h"

namespace zan {

using detail::XMLPadded;

// How the texts of a new attribute are copied.
struct XMLAttr::Unpadded {
    static String text(istr const& s) { return String(s); }
};
struct XMLAttr::Padded {
    static String text(istr const& s) { return XMLPadded{s.data(), s.size()}.copy(); }
};

template <class Copy>
inline XMLAttr::XMLAttr(Copy, Place* place, istr const& name, istr const& value, XMLNode* node)
    : place_(place), name_(Copy::text(name)), value_(Copy::text(value)), node_(node) {}

namespace detail {

void XMLAttrList::destroy() {
    clear();
    delete views_.load(std::memory_order_relaxed);
    if (!pooled_) delete this;
}

XMLAttr* XMLAttrList::find(istr const& key) const {
    if (index_ != nullptr) {
        auto const found = index_->find(key);
        return found == index_->end() ? nullptr : *found;
    }
    XMLAttr* const* const end = order_ + size_;
    for (XMLAttr* const* a = order_; a != end; ++a)
        if (sameName((*a)->key(), key)) return *a;
    return nullptr;
}

void XMLAttrList::use(void* memory, unsigned long capacity, bool owned) {
    auto* const chunk = static_cast<Chunk*>(memory);
    auto** const order = reinterpret_cast<XMLAttr**>(chunk + 1);
    if (size_ != 0) std::memcpy(order, order_, size_ * sizeof(XMLAttr*));
    chunk->older = chunk_;
    chunk->slots = reinterpret_cast<XMLAttr*>(order + capacity);
    chunk->used = 0;
    chunk->owned = owned;
    chunk_ = chunk;
    order_ = order;
    capacity_ = capacity;
}

void XMLAttrList::grow() {
    unsigned long const capacity = size_ == 0 ? 2 : size_ * 2;
    use(::operator new(Chunk::bytes(capacity, capacity - size_)), capacity, true);
}

void XMLAttrList::append(XMLAttr* a) {
    order_[size_++] = a;
    if (index_ != nullptr) {
        index_->insert(a);
    } else if (size_ > SHORT) {
        auto index = std::make_unique<std::set<XMLAttr*, ByKey>>(order_, order_ + size_);
        index_ = index.release();
    }
    if (Views* const views = views_.load(std::memory_order_relaxed)) show(*views, *a);
}

XMLAttr& XMLAttrList::add(istr const& name, istr const& value, XMLNode* node, bool escaped) {
    place_.touched = true;
    if (size_ == capacity_) grow();
    XMLAttr* a = find(name);
    if (a == nullptr) {
        a = new (chunk_->slots + chunk_->used)
            XMLAttr(XMLAttr::Unpadded(), &place_, name, escaped ? istr() : value, node);
        ++chunk_->used;
        if (escaped) xml::unescape(a->value_, value);
    } else {
        String plain;
        if (escaped) xml::unescape(plain, value);
        a->name(name);
        a->value(escaped ? istr(plain) : value);
        a->node(node);
    }
    append(a);
    return *a;
}

void XMLAttrList::addNew(char const* name, unsigned long nameSize, char const* value,
                         unsigned long valueSize, XMLNode* node, bool escaped) {
    auto* const a = new (chunk_->slots + chunk_->used)
        XMLAttr(XMLAttr::Padded(), &place_, istr(name, name + nameSize),
                istr(value, value + (escaped ? 0 : valueSize)), node);
    if (escaped || nameSize >= XMLPadded::SHORT || valueSize >= XMLPadded::SHORT)
        heavy_ |= 1u << chunk_->used;
    ++chunk_->used;
    order_[size_++] = a;
    if (escaped) xml::unescape(a->value_, istr(value, value + valueSize));
}

void XMLAttrList::addAll(XMLAttrList const& other, XMLNode const* from, XMLNode* to) {
    for (unsigned long i = 0; i < other.size_; ++i) {
        XMLAttr const& a = *other.order_[i];
        XMLAttr& mine = add(a.key(), a.value_, a.node_ == from ? to : a.node_);
        mine.name(a.name_);
    }
}

void XMLAttrList::clear() {
    if (Views* const views = views_.load(std::memory_order_relaxed)) {
        views->names.clear();
        views->map.clear();
    }
    delete index_;
    index_ = nullptr;
    while (chunk_ != nullptr) {
        Chunk* const chunk = chunk_;
        chunk_ = chunk->older;
        for (unsigned long i = 0; i < chunk->used; ++i) {
            // Of the others there is nothing to free, and not to look at them saves a lot.
            if (!place_.touched && (heavy_ >> i & 1) == 0) continue;
            XMLAttr& a = chunk->slots[i];
            if (a.place_.load(std::memory_order_relaxed) == &place_)
                a.place_.store(nullptr, std::memory_order_relaxed);
            a.XMLAttr::~XMLAttr();
        }
        if (chunk->owned) ::operator delete(chunk);
    }
    order_ = nullptr;
    size_ = capacity_ = 0;
    heavy_ = 0;
    place_.touched = false;
}

void XMLAttrList::show(Views& views, XMLAttr& a) {
    views.names.push_back(a.key());
    auto const shown = views.map.emplace(a.key(), a).first;
    a.ownPlace().twin = &shown->second;
}

XMLAttrList::Views const& XMLAttrList::views() const {
    if (Views* const made = views_.load(std::memory_order_acquire)) return *made;
    static Mutex& making = detail::lifelong([] { return new Mutex; });  // never destroyed
    MutexLock const guard(making);
    if (Views* const made = views_.load(std::memory_order_acquire)) return *made;
    auto views = std::make_unique<Views>();
    for (unsigned long i = 0; i < size_; ++i) show(*views, *order_[i]);
    views_.store(views.get(), std::memory_order_release);
    return *views.release();
}

}  // namespace detail
}  // namespace zan
