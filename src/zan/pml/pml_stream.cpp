#include "zan/pml/pml_stream.h"

#include <ostream>

#include "zan/log/log_logger.h"
#include "zan/log/log_tracer.h"
#include "zan/pml/pml_t.h"

namespace zan::pml {

using ntv::Unit;

stream::stream(istr const& text, bool valueString) : direction_(INPUT) {
    from(text, valueString);
}

stream::stream(iwstr const& text, bool valueString) : direction_(INPUT) {
    from(text, valueString);
}

stream::stream(istr const& fileName, from_file tag, bool valueString) : direction_(INPUT) {
    from(fileName, tag, valueString);
}

void stream::from(istr const& text, bool valueString) {
    ZAN_TRACE_FRAME(zan::detail::zanLogger());
    valueString ? ntvFromValueString(unit_, text) : ntvFromPml(unit_, text);
}

void stream::from(iwstr const& text, bool valueString) {
    ZAN_TRACE_FRAME(zan::detail::zanLogger());
    valueString ? ntvFromValueString(unit_, text) : ntvFromPml(unit_, text);
}

void stream::from(istr const& fileName, from_file, bool valueString) {
    ZAN_TRACE_FRAME(zan::detail::zanLogger());
    File const file(fileName);
    valueString ? ntvFromValueString(unit_, file) : ntvFromPml(unit_, file);
}

bool stream::isEmptyChild(istr const& name) const {
    Unit const* const child = unit_.at(name);
    return child == nullptr || child->valueEmpty();
}

void stream::combine(stream const& other) {
    ZAN_TRACE_FRAME(zan::detail::zanLogger());
    if (&other == this || other.unit_.listValue() == nullptr) return;
    for (Unit const* const child : *other.unit_.listValue())
        if (!has(child->name())) unit_.addChild(*child);
}

void stream::enter(istr const& type, istr const& name, istr const&, istr const&) {
    if (this->name().empty() && !name.empty()) this->name(name);
    if (this->type().empty() && !type.empty()) this->type(type);
}

dumper& stream::dump(dumper& d) const {
    dumper::_Entry const entry(d, "zan::pml::stream");
    char const* const direction = isOutputStream()  ? "output"
                                  : isInputStream() ? "input"
                                                    : "undefined";
    d << zan::indent << namestring("direction_") << rawstring(direction) << zan::endline;
    d << zan::indent << namestring("unit_") << unit_ << zan::endline;
    return d;
}

std::ostream& operator<<(std::ostream& os, stream const& s) {
    ntvToCompactPml(s.unit(), os, ShowPattern(7));
    return os;
}

String& operator<<(String& out, stream const& s) {
    s.toString(out, ShowMode::FORMATTED, ShowPattern(7));
    return out;
}

Unit& operator<<(Unit& unit, stream const& s) {
    unit << s.unit();
    return unit;
}

Unit const& operator>>(Unit const& unit, stream& s) {
    unit >> s.unit();
    return unit;
}

PmlCodecInterface::~PmlCodecInterface() = default;

pmlType::~pmlType() = default;
pmlString::~pmlString() = default;
pmlFile::~pmlFile() = default;

bool pmlString::fromNTV(Unit const& unit, ShowMode mode, ShowPattern pattern) {
    ntvToPml(unit, data_, mode, pattern);
    return true;
}

bool pmlString::toNTV(Unit& unit) const {
    return ntvFromPml(unit, istr(data_));
}

bool pmlFile::fromNTV(Unit const& unit, ShowMode mode, ShowPattern pattern) {
    return ntvToPml(unit, file_, mode, pattern);
}

bool pmlFile::toNTV(Unit& unit) const {
    return valueString_ ? ntvFromValueString(unit, file_) : ntvFromPml(unit, file_);
}

}  // namespace zan::pml
