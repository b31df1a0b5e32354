#include "zan/xml/xmlstreambase.h"

#include <ostream>
#include <utility>

#include "zan/base/exception.h"
#include "zan/base/mlcheck.h"
#include "zan/log/log_logger.h"

namespace zan {

XMLStreamBase::XMLStreamBase(bool inputting, bool owned, XMLNode* node)
    : inputting_(inputting), owned_(owned), node_(node) {
    if (node != nullptr && !node->isNull()) return;
    owned_ = false;
    node_ = nullptr;
}

XMLStreamBase::XMLStreamBase(XMLStreamBase const& other)
    : inputting_(other.inputting_), owned_(other.owned_), node_(other.node_) {
    other.owned_ = false;
    other.node_ = nullptr;
}

XMLStreamBase& XMLStreamBase::operator=(XMLStreamBase const& other) {
    XMLStreamBase taken(other);
    swap(taken);
    return *this;
}

XMLStreamBase::~XMLStreamBase() {
    clear();
}

void XMLStreamBase::clear() {
    if (owned_) ZAN_DELETE(node_);
    owned_ = false;
    node_ = nullptr;
}

XMLNode* XMLStreamBase::release() {
    owned_ = false;
    return std::exchange(node_, nullptr);
}

void XMLStreamBase::swap(XMLStreamBase& other) noexcept {
    std::swap(inputting_, other.inputting_);
    std::swap(owned_, other.owned_);
    std::swap(node_, other.node_);
}

void XMLStreamBase::assign(bool inputting, bool owned, XMLNode* node) {
    XMLStreamBase made(inputting, owned, node);
    swap(made);
}

void XMLStreamBase::checkNode() {
    if (inputting_ || node_ != nullptr) return;
    node_ = ZAN_NEW(XMLNode);
    owned_ = true;
}

XMLNode& XMLStreamBase::node() {
    checkNode();
    if (node_ == nullptr)
        ZAN_USER_THROW_MSG(detail::zanLogger(), zan::NullPointerException,
                           "an XML stream that reads has no node");
    return *node_;
}

void XMLStreamBase::name(istr const& v) {
    if (inputting_) return;
    checkNode();
    node_->name(v);
}

String const& XMLStreamBase::name() const {
    return node_ == nullptr ? String::null() : node_->name();
}

void XMLStreamBase::type(istr const& v) {
    if (inputting_ || name() == v) return;
    node().attr("__type__").value(v);
}

String const& XMLStreamBase::type() const {
    String const& type = node().attr("__type__").value();
    return type.empty() ? name() : type;
}

void XMLStreamBase::cdata(istr const& v) {
    if (inputting_) return;
    checkNode();
    node_->cdata(v);
}

String const& XMLStreamBase::cdata() const {
    return node_ == nullptr ? String::null() : static_cast<XMLNode const*>(node_)->cdata();
}

std::ostream& operator<<(std::ostream& os, XMLStreamBase const& s) {
    return os << s.node();
}

}  // namespace zan
