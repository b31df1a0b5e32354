#include "zan/xml/xmlattr.h"

#include <ostream>

#include "zan/base/mlcheck.h"
#include "zan/log/log_dumper.h"
#include "zan/util/singleton_t.h"
#include "zan/xml/attr_list.h"
#include "zan/xml/xml_writer.h"

namespace zan {

XMLAttr& XMLAttr::operator=(XMLAttr const& other) {
    if (this == &other) return *this;
    name(other.name_);
    value(other.value_);
    node(other.node_);
    return *this;
}

void XMLAttr::name(istr const& v) {
    if (isNull() || name_ == v) return;
    String renamed(v);
    if (place_.load(std::memory_order_relaxed) != nullptr) {
        OwnPlace& own = ownPlace();
        if (!own.renamed) {
            own.key = name_;
            own.renamed = true;
        }
        if (own.twin != nullptr) own.twin->name_ = renamed;
    }
    name_.swap(renamed);
}

void XMLAttr::value(istr const& v) {
    if (isNull()) return;
    value_ = String(v);
    OwnPlace const* const own = changing();
    if (own != nullptr && own->twin != nullptr) own->twin->value_ = value_;
}

void XMLAttr::node(XMLNode* v) {
    if (isNull()) return;
    node_ = v;
    OwnPlace const* const own = changing();
    if (own != nullptr && own->twin != nullptr) own->twin->node_ = v;
}

XMLAttr::OwnPlace& XMLAttr::ownPlace() {
    Place* const place = place_.load(std::memory_order_relaxed);
    if (place->own) return *static_cast<OwnPlace*>(place);
    place->touched = true;
    auto* const own = new OwnPlace(place);
    place_.store(own, std::memory_order_release);
    return *own;
}

// Tells the list. Null where there is no place of its own.
XMLAttr::OwnPlace* XMLAttr::changing() {
    Place* const place = place_.load(std::memory_order_relaxed);
    if (place == nullptr) return nullptr;
    if (!place->own) {
        place->touched = true;
        return nullptr;
    }
    return static_cast<OwnPlace*>(place);
}

void XMLAttr::leave() {
    Place* const place = place_.load(std::memory_order_relaxed);
    if (place->own) delete static_cast<OwnPlace*>(place);
    place_.store(nullptr, std::memory_order_relaxed);
}

bool XMLAttr::isNull() const {
    return this == Singleton<XMLAttr>::peek();
}

XMLAttr const& XMLAttr::null() {
    return *Singleton<XMLAttr>::instance(ZAN_HERE);
}

void XMLAttr::destroy_null() {
    Singleton<XMLAttr>::destroy();
}

String XMLAttr::str() const {
    String text;
    detail::XMLWriter(text).write(*this);
    return text;
}

dumper& XMLAttr::dump(dumper& d) const {
    d.internal_stream() << *this;
    return d;
}

std::ostream& operator<<(std::ostream& os, XMLAttr const& a) {
    detail::XMLWriter(os).write(a);
    return os;
}

}  // namespace zan
