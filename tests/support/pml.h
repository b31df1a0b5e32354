#pragma once

#include <string>

#include "zan/pml/pml_t.h"

namespace zan_test {

inline zan::pml::ntv::Unit parsedPml(zan::istr const& text) {
    zan::pml::ntv::Unit unit;
    zan::pml::ntvFromPml(unit, text);
    return unit;
}

// A tree in full: name, type, and the text or the children. Unlike PML it shows every byte, and
// the difference between no value and an empty one: "a:t=text", "a[b=1, c=, d]".
inline std::string shape(zan::pml::ntv::Unit const& u) {
    std::string text = u.name() + (u.type().empty() ? "" : ":" + u.type());
    if (u.stringValue() != nullptr) return text + "=" + u.stringValue()->data();
    if (u.listValue() == nullptr) return text;
    std::string before = "[";
    for (zan::pml::ntv::Unit const* child : *u.listValue()) {
        text += before + shape(*child);
        before = ", ";
    }
    return text + "]";
}

}  // namespace zan_test
