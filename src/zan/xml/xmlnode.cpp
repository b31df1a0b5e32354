#include "zan/xml/xmlnode.h"

#include <memory>
#include <ostream>
#include <utility>

#include "zan/base/mlcheck.h"
#include "zan/base/report.h"
#include "zan/log/log_dumper.h"
#include "zan/mt/mutex.h"
#include "zan/util/singleton_t.h"
#include "zan/xml/attr_list.h"
#include "zan/xml/node_memory.h"
#include "zan/xml/xml_tree.h"
#include "zan/xml/xml_writer.h"

namespace zan {

using detail::sameName;
using detail::XMLArena;
using detail::XMLAttrList;
using detail::XMLNodeOwner;
using detail::XMLTree;

namespace {

// Up to this many children are searched one by one.
constexpr unsigned long SHORT = 16;

void copyAttrs(XMLNode const& from, XMLNode& to) {
    if (XMLAttrList const* const attrs = XMLTree::attrs(from))
        if (attrs->size() != 0) XMLTree::attrList(to).addAll(*attrs, &from, &to);
}

// Copies of all that stands below `from`, below `to`. REQUIRES: `to` is in another tree.
void copyChildren(XMLNode const& from, XMLNode& to) {
    if (from.numofChildren() == 0) return;
    struct Level {
        XMLNode const* from;
        XMLNode* to;
        unsigned long next;
    };
    XMLArena arena;
    std::vector<Level> open{{&from, &to, 0}};
    while (!open.empty()) {
        Level& level = open.back();
        if (level.next == level.from->numofChildren()) {
            open.pop_back();
            continue;
        }
        XMLNode const& child = *level.from->getChildNodes()[level.next++];
        XMLNode* const copy = XMLTree::make(arena, child.name(), level.to, child.numofAttrs());
        XMLTree::addText(arena, *copy, XMLTree::text(child));
        copyAttrs(child, *copy);
        if (child.numofChildren() != 0) open.push_back({&child, copy, 0});
    }
}

// What a reference to the text of the null node leads to.
String& nowhere() {
    thread_local String text;
    text.clear();
    return text;
}

}  // namespace

// --- Construction

XMLNode::XMLNode(istr const& name, XMLNode* parent) : name_(name) {
    if (parent != nullptr) parent->addChildNode(this);
}

XMLNode::XMLNode(XMLNode const& other) : XMLNode(istr(other.name_)) {
    cdata_ = String(other.text());
    copyAttrs(other, *this);
    copyChildren(other, *this);
}

XMLNode& XMLNode::operator=(XMLNode const& other) {
    assign(other);
    return *this;
}

XMLNode::~XMLNode() {
    clearNodes();
    if (XMLAttrList* const attrs = attrs_.load(std::memory_order_relaxed)) attrs->destroy();
    delete childMap_.load(std::memory_order_relaxed);
}

void* XMLNode::operator new(std::size_t size) {
    return detail::XMLBlock::alone(size);
}

void* XMLNode::operator new(std::size_t size, char const* file, unsigned int line,
                            char const* func) {
    return detail::XMLBlock::alone(size, file, line, func);
}

void XMLNode::operator delete(void* p) noexcept {
    detail::XMLBlock::free(p);
}

void XMLNode::operator delete(void* p, char const*, unsigned int, char const*) noexcept {
    detail::XMLBlock::free(p);
}

void XMLNode::assign(XMLNode const& other) {
    if (this == &other || isNull()) return;
    // All of the other is read before anything here goes: it may stand below.
    XMLNode copy(other);
    if (parent_ != nullptr && name_ != copy.name_) parent_->childMap();
    name_.swap(copy.name_);
    cdata_.swap(copy.cdata_);
    text_.store(nullptr, std::memory_order_relaxed);
    clearAttrs();
    copyAttrs(copy, *this);
    clearNodes();
    ChildMap* const map = childMap_.load(std::memory_order_relaxed);
    for (XMLNode* const child : copy.children_) {
        child->parent_ = this;
        if (map != nullptr) map->emplace(child->name_, child);
    }
    children_.swap(copy.children_);
}

void XMLNode::append(XMLNode const& other) {
    if (isNull()) return;
    addChildNode(ZAN_NEW(XMLNode(other)));
}

bool XMLNode::isNull() const {
    return this == Singleton<XMLNode>::peek();
}

XMLNode const& XMLNode::null() {
    return *Singleton<XMLNode>::instance(ZAN_HERE);
}

void XMLNode::destroy_null() {
    Singleton<XMLNode>::destroy();
}

// --- Fields

void XMLNode::name(istr const& v) {
    if (isNull() || name_ == v) return;
    if (parent_ != nullptr)
        parent_->rename(*this, v);
    else
        name_ = String(v);
}

void XMLNode::rename(XMLNode& child, istr const& v) {
    String renamed(v);
    ChildMap* map = childMap_.load(std::memory_order_relaxed);
    // The last child is the last of its new name without any index.
    if (map == nullptr && (children_.empty() || children_.back() == &child)) {
        child.name_.swap(renamed);
        return;
    }
    if (map == nullptr) map = &childMap();
    auto found = map->lower_bound(child.name_);
    while (found != map->end() && found->second != &child && found->first == child.name_) ++found;
    if (found == map->end() || found->second != &child) {
        // It has changed its name by assign(), or is no child of this node at all.
        found = map->begin();
        while (found != map->end() && found->second != &child) ++found;
    }
    if (found != map->end()) {
        auto entry = map->extract(found);
        entry.key() = renamed;
        map->insert(std::move(entry));
    }
    child.name_.swap(renamed);
}

String& XMLNode::cdata() {
    if (isNull()) return nowhere();
    if (text_.load(std::memory_order_relaxed) != nullptr) makeCdata();
    return cdata_;
}

void XMLNode::cdata(istr const& v) {
    if (isNull()) return;
    cdata_ = String(v);
    text_.store(nullptr, std::memory_order_relaxed);
}

void XMLNode::makeCdata() const {
    static Mutex& making = detail::lifelong([] { return new Mutex; });  // never destroyed
    MutexLock const guard(making);
    Text const* const text = text_.load(std::memory_order_relaxed);
    if (text == nullptr) return;
    cdata_ = String(text->begin(), text->end());
    text_.store(nullptr, std::memory_order_release);
}

void XMLNode::parent(XMLNode* v) {
    if (!isNull()) parent_ = v;
}

int XMLNode::getDepth() const {
    int depth = 0;
    for (XMLNode const* node = parent_; node != nullptr; node = node->parent_) ++depth;
    return depth;
}

// --- Attributes

XMLAttrList& XMLNode::attrList() const {
    XMLAttrList* attrs = attrs_.load(std::memory_order_acquire);
    if (attrs != nullptr) return *attrs;
    auto made = std::make_unique<XMLAttrList>();
    if (attrs_.compare_exchange_strong(attrs, made.get(), std::memory_order_acq_rel))
        return *made.release();
    return *attrs;
}

XMLAttr* XMLNode::findAttr(istr const& name) const {
    XMLAttrList const* const attrs = attrs_.load(std::memory_order_acquire);
    return attrs == nullptr ? nullptr : attrs->find(name);
}

void XMLNode::addAttr(XMLAttr const& a) {
    if (!isNull()) attrList().add(a.name(), a.value(), a.node());
}

void XMLNode::addAttr(istr const& name, istr const& value) {
    if (!isNull()) attrList().add(name, value, this);
}

XMLAttr& XMLNode::attr(istr const& name) {
    if (XMLAttr* const found = findAttr(name)) return *found;
    if (isNull()) return const_cast<XMLAttr&>(XMLAttr::null());
    return attrList().add(name, istr(), nullptr);
}

XMLAttr const& XMLNode::attr(istr const& name) const {
    XMLAttr const* const found = findAttr(name);
    return found == nullptr ? XMLAttr::null() : *found;
}

XMLAttr const& XMLNode::attr(unsigned long n) const {
    XMLAttrList const* const attrs = attrs_.load(std::memory_order_acquire);
    return attrs == nullptr || n >= attrs->size() ? XMLAttr::null() : attrs->at(n);
}

unsigned long XMLNode::numofAttrs() const {
    XMLAttrList const* const attrs = attrs_.load(std::memory_order_acquire);
    return attrs == nullptr ? 0 : attrs->size();
}

std::vector<String> const& XMLNode::getAttrNames() const {
    return attrList().views().names;
}

XMLNode::AttrMap const& XMLNode::getAttrMap() const {
    return attrList().views().map;
}

void XMLNode::clearAttrs() {
    if (XMLAttrList* const attrs = attrs_.load(std::memory_order_relaxed)) attrs->clear();
}

// --- Children

XMLNode::ChildMap& XMLNode::childMap() const {
    ChildMap* map = childMap_.load(std::memory_order_acquire);
    if (map != nullptr) return *map;
    auto made = std::make_unique<ChildMap>();
    for (XMLNode* const child : children_) made->emplace(child->name_, child);
    if (childMap_.compare_exchange_strong(map, made.get(), std::memory_order_acq_rel))
        return *made.release();
    return *map;
}

bool XMLNode::indexed() const {
    return children_.size() > SHORT || childMap_.load(std::memory_order_acquire) != nullptr;
}

XMLNode* XMLNode::findChild(istr const& name) const {
    if (indexed()) {
        ChildMap const& map = childMap();
        String const key(name);
        auto const found = map.lower_bound(key);
        return found == map.end() || found->first != key ? nullptr : found->second;
    }
    for (XMLNode* const child : children_)
        if (sameName(child->name_, name)) return child;
    return nullptr;
}

void XMLNode::take(XMLNode* child) {
    unsigned long const n = children_.size();
    if (n == children_.capacity()) children_.reserve(n == 0 ? 3 : n < 32 ? n * 4 + 3 : n * 2 + 1);
    if (ChildMap* const map = childMap_.load(std::memory_order_relaxed))
        map->emplace(child->name_, child);
    children_.push_back(child);
    child->parent_ = this;
}

void XMLNode::addChildNode(XMLNode* child) {
    ZAN_ASSERT_TEXT_DO(child != nullptr, "child!=0", "return", return );
    ZAN_ASSERT_TEXT_DO(!isNull(), "!isNull()", "return", return );
    take(child);
}

XMLNode* XMLNode::addChildNode(istr const& name) {
    if (isNull()) return this;
    XMLNodeOwner child(ZAN_NEW(XMLNode(name)));
    take(child.get());
    return child.release();
}

XMLNode& XMLNode::child(istr const& name) {
    if (XMLNode* const found = findChild(name)) return *found;
    return *addChildNode(name);
}

XMLNode const& XMLNode::child(istr const& name) const {
    XMLNode const* const found = findChild(name);
    return found == nullptr ? null() : *found;
}

XMLNode const& XMLNode::child(unsigned long n) const {
    return n < children_.size() ? *children_[n] : null();
}

void XMLNode::getChildren(istr const& name, std::vector<XMLNode*>& result) const {
    result.clear();
    if (indexed()) {
        auto const range = childMap().equal_range(String(name));
        for (auto entry = range.first; entry != range.second; ++entry)
            result.push_back(entry->second);
        return;
    }
    for (XMLNode* const child : children_)
        if (sameName(child->name_, name)) result.push_back(child);
}

void XMLNode::clearNodes() {
    if (children_.empty()) return;
    if (ChildMap* const map = childMap_.load(std::memory_order_relaxed)) map->clear();
    // Down to a leaf, which goes, and back up by the way that was noted on the way down.
    XMLNode* node = this;
    for (;;) {
        if (!node->children_.empty()) {
            XMLNode* const child = node->children_.back();
            node->children_.pop_back();
            child->parent_ = node;
            node = child;
            continue;
        }
        if (node == this) return;
        XMLNode* const up = node->parent_;
        ZAN_DELETE(node);
        node = up;
    }
}

// --- Text

String XMLNode::str(bool indent, unsigned int depth) const {
    String text;
    detail::XMLWriter(text).write(*this, indent, depth);
    return text;
}

dumper& XMLNode::dump(dumper& d) const {
    detail::XMLWriter(d.internal_stream()).write(*this, true, d.level());
    return d;
}

std::ostream& operator<<(std::ostream& os, XMLNode const& n) {
    detail::XMLWriter(os).write(n, true, 0);
    return os;
}

}  // namespace zan
