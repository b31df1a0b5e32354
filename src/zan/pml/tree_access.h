#pragma once

#include <memory>

#include "zan/base/mlcheck.h"
#include "zan/base/source_place.h"
#include "zan/pml/node_memory.h"
#include "zan/pml/ntv_unit.h"

namespace zan::pml::ntv {

struct TrackedDelete {
    template <class T>
    void operator()(T* p) const {
        ZAN_DELETE(p);
    }
};

// Owns a tracked object until it has found its place.
template <class T>
using Tracked = std::unique_ptr<T, TrackedDelete>;

// What the parser and the renderer do with units beyond their public operations.
class TreeAccess {
public:
    static void name(Unit& unit, char const* p, unsigned long n) { unit.name_.assign(p, n); }
    static void type(Unit& unit, char const* p, unsigned long n) { unit.type_.assign(p, n); }

    static String const& name(Unit const& unit) { return unit.name_; }
    static void swapTexts(Unit& a, Unit& b) {
        a.name_.swap(b.name_);
        a.type_.swap(b.type_);
    }

    static ListValue const* list(Unit const& unit) { return unit.list(); }
    static std::vector<Unit*> const& children(ListValue const& units) { return units.data_; }
    static ValueBase const* value(Unit const& unit) { return unit.value_; }
    // Null for a value that is no text.
    static String const* text(ValueBase const& value) {
        return value.kind_ == ValueBase::STRING ? &static_cast<StringValue const&>(value).data()
                                                : nullptr;
    }
    static Unit* parent(Unit const& unit) { return unit.parent_; }

    // REQUIRES for both: no value yet.
    static void makeList(Unit& unit, NodeArena& arena) {
        auto* const units = new (arena.take<ListValue>()) ListValue(&unit);
        unit.value_ = trackNew(units, ZAN_HERE);
        units->data_.reserve(4);
    }
    static void makeText(Unit& unit, istr const& text, NodeArena& arena) {
        void* const memory = arena.take<StringValue>();
        unit.value_ = trackNew(new (memory) StringValue(text, &unit), ZAN_HERE);
    }
    static Unit* makeUnit(Unit* parent, NodeArena& arena) {
        return trackNew(new (arena.take<Unit>()) Unit(parent), ZAN_HERE);
    }
    // As addChild(). REQUIRES: the value is a list.
    static void append(Unit& parent, Unit* child) { parent.append(*parent.list(), child); }
};

}  // namespace zan::pml::ntv
