// Any path on a tree: a look-up changes nothing, and a unit's own path leads to it. The first line
// is the path, the rest is the tree.

#include <cstdint>
#include <string>

#include "pml.h"
#include "require.h"

using zan::istr;
using zan::pml::ntv::Unit;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    istr const input(data, size);
    unsigned long end = 0;
    while (end < size && input[end] != '\n') ++end;
    Unit u;
    try {
        zan::pml::ntvFromPml(u, input.substr(end + 1));
    } catch (zan::pml::DecodeException const&) {
    } catch (zan::DuplicatedUnitException const&) {
    }
    zan::String const before = u.str(1, 7);
    Unit const* const found = u.find(input.leftstr(end));
    if (found != nullptr) {
        require(found->root() == &u);
        // Names made of the path's own marks lead elsewhere.
        bool plain = true;
        for (Unit const* at = found; at->parent() != nullptr; at = at->parent())
            for (char const c : at->name())
                if (c == '/' || c == '[' || c == ']' || c == '.') plain = false;
        if (plain) require(u.find(found->path()) == found);
    }
    require(u.str(1, 7) == before);
    return 0;
}
