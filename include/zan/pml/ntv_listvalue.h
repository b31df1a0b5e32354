#pragma once

#include <vector>

#include "zan/pml/ntv_value.h"

namespace zan::pml::ntv {

// The children of a unit, in order.
//
// Ownership: of the children. Errors: at() past the end is a logged error and null.
// Cost: copying and freeing take time linear in the subtree, and no stack to speak of.
class ZAN_EXPORT ListValue final : public ValueBase {
public:
    explicit ListValue(Unit* owner = nullptr) : ValueBase(LIST, owner) {}
    // Copies of the units, which have no parent and the index 0.
    explicit ListValue(std::vector<Unit*> const& units, Unit* owner = nullptr);
    ~ListValue() override;

    // Frees the children.
    void clear();
    // Takes ownership. Knows nothing of the names in the list: Unit::addChild() is the way to add
    // to a unit. REQUIRES: not null.
    ListValue& push_back(Unit* const& unit);
    std::vector<Unit*> const& data() const { return data_; }
    std::vector<Unit*>::const_iterator begin() const { return data_.begin(); }
    std::vector<Unit*>::const_iterator end() const { return data_.end(); }
    unsigned long size() const { return data_.size(); }
    bool empty() const { return data_.empty(); }
    Unit* at(unsigned long n) const;

    bool single() const override { return false; }
    // The whole subtree.
    ListValue* clone() const override;
    dumper& dump(dumper& d) const override;
    // Each child FORMATTED, and a line end.
    std::ostream& dump(std::ostream& os) const override;

private:
    friend class TreeAccess;
    friend class Unit;

    std::vector<Unit*> data_;
};

}  // namespace zan::pml::ntv
