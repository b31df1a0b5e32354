#include "zan/pml/pml_show.h"

#include <ostream>

namespace zan::pml {

std::ostream& operator<<(std::ostream& os, ShowMode const& mode) {
    switch (mode.get()) {
        case ShowMode::COMPACT:
            return os << "COMPACT";
        case ShowMode::SIMPLE:
            return os << "SIMPLE";
        case ShowMode::MIXED:
            return os << "MIXED";
        case ShowMode::FORMATTED:
            return os << "FORMATTED";
        default:
            return os << "<UnknownShowMode>";
    }
}

std::ostream& operator<<(std::ostream& os, ShowPattern const& pattern) {
    if (pattern.data() == 0) return os << "NONE";
    char const* separator = "";
    auto const part = [&](bool shown, char const* name) {
        if (!shown) return;
        os << separator << name;
        separator = " ";
    };
    part(pattern.show_path(), "PATH");
    part(pattern.show_name(), "NAME");
    part(pattern.show_type(), "TYPE");
    part(pattern.show_value(), "VALUE");
    return os;
}

}  // namespace zan::pml
