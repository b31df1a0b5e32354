#pragma once

#include "zan/pml/pml_t.h"

namespace zan_test {

inline zan::pml::ntv::Unit parsedPml(zan::istr const& text) {
    zan::pml::ntv::Unit unit;
    zan::pml::ntvFromPml(unit, text);
    return unit;
}

}  // namespace zan_test
