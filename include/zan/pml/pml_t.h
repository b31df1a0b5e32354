#pragma once

#include <iosfwd>

#include "zan/base/mlcheck.h"
#include "zan/pml/ntv_unit.h"
#include "zan/pml/pml_file.h"
#include "zan/pml/pml_parser.h"
#include "zan/pml/pml_show.h"

// PML text to trees and back.
//
//     pml::ntv::Unit u;
//     pml::ntvFromPml(u, "log(level(3) file('a:b'))");
//     String text = u.str(pml::ShowMode::FORMATTED);
//
// Input comes in seven forms: a narrow or wide stream, a terminated narrow or wide text, of which
// the pointer is left behind what was read, a narrow or wide view, of which the text ends at a NUL,
// and a file. Wide text is converted to the configured code page; narrow text is taken as it is.
//
// Threads: the functions share nothing.
// Errors: DecodeException and DuplicatedUnitException, as pmlParserBase says; those of a file say
//   its name, the line and the column. The unit then holds what was read so far.

namespace zan::pml {

// One unit with its name; what stands behind it stays unread. The unit loses what it had, its place
// in a tree too. False where a file does not open.
ZAN_EXPORT bool ntvFromPml(ntv::Unit& out, std::istream& in);
ZAN_EXPORT bool ntvFromPml(ntv::Unit& out, char const*& in);
ZAN_EXPORT bool ntvFromPml(ntv::Unit& out, istr const& in);
ZAN_EXPORT bool ntvFromPml(ntv::Unit& out, std::wistream& in);
ZAN_EXPORT bool ntvFromPml(ntv::Unit& out, wchar_t const*& in);
ZAN_EXPORT bool ntvFromPml(ntv::Unit& out, iwstr const& in);
ZAN_EXPORT bool ntvFromPml(ntv::Unit& out, File const& in);

// The body of a unit: a text, or units one after the other.
ZAN_EXPORT bool ntvFromValueString(ntv::Unit& out, std::istream& in);
ZAN_EXPORT bool ntvFromValueString(ntv::Unit& out, char const*& in);
ZAN_EXPORT bool ntvFromValueString(ntv::Unit& out, istr const& in);
ZAN_EXPORT bool ntvFromValueString(ntv::Unit& out, std::wistream& in);
ZAN_EXPORT bool ntvFromValueString(ntv::Unit& out, wchar_t const*& in);
ZAN_EXPORT bool ntvFromValueString(ntv::Unit& out, iwstr const& in);
ZAN_EXPORT bool ntvFromValueString(ntv::Unit& out, File const& in);

// Rendering. A String is appended to; a file is written anew, and false means that it could not be
// opened or written. An unknown mode gives false and writes nothing.
#define ZAN_DETAIL_RENDER(O)                                                                    \
    ZAN_EXPORT bool ntvToPml(ntv::Unit const& unit, O out, ShowMode mode, ShowPattern pattern); \
    ZAN_EXPORT bool ntvToCompactPml(ntv::Unit const& unit, O out, ShowPattern pattern);         \
    ZAN_EXPORT bool ntvToSimplePml(ntv::Unit const& unit, O out, ShowPattern pattern);          \
    ZAN_EXPORT bool ntvToMixedPml(ntv::Unit const& unit, O out, ShowPattern pattern);           \
    ZAN_EXPORT bool ntvToFormattedPml(ntv::Unit const& unit, O out, ShowPattern pattern)
ZAN_DETAIL_RENDER(std::ostream&);
ZAN_DETAIL_RENDER(String&);
ZAN_DETAIL_RENDER(File const&);
#undef ZAN_DETAIL_RENDER

// A tracked unit, or null where a file does not open. The caller owns it.
template <class Input>
ntv::Unit* __NewNTV(Input&& in) {
    ntv::Unit* const unit = ZAN_NEW(ntv::Unit);
    try {
        if (ntvFromPml(*unit, in)) return unit;
    } catch (...) {
        ZAN_DELETE(unit);
        throw;
    }
    ZAN_DELETE(unit);
    return nullptr;
}

template <class Input>
ntv::Unit* newNTV(Input&& in) {
    return __NewNTV(in);
}

// The value that a body gives. The caller owns it.
template <class Input>
ntv::ValueBase* newNtvValue(Input&& in) {
    ntv::Unit unit;
    return ntvFromValueString(unit, in) ? unit.popValue() : nullptr;
}

// Reads, and renders what was read.
template <class Input, class Output>
bool format(Input&& in, Output& out, ShowMode mode, ShowPattern pattern) {
    ntv::Unit unit;
    return ntvFromPml(unit, in) && ntvToPml(unit, out, mode, pattern);
}

}  // namespace zan::pml
