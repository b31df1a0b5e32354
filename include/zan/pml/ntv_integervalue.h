#pragma once

#include "zan/base/base_type_value.h"
#include "zan/pml/ntv_value.h"

namespace zan::pml::ntv {

// A whole number of 64 bits.
class ZAN_EXPORT IntegerValue final : public ValueBase {
public:
    explicit IntegerValue(Unit* owner = nullptr) : ValueBase(owner) {}
    explicit IntegerValue(__int64 data, Unit* owner = nullptr) : ValueBase(owner), data_(data) {}

    IntegerValue& assign(__int64 data) {
        data_ = data;
        return *this;
    }
    IntegerValue& operator=(__int64 data) { return assign(data); }
    Longlong const& data() const { return data_; }
    // A tracked object; the caller owns it.
    static IntegerValue* create(__int64 data);

    bool single() const override { return true; }
    IntegerValue* clone() const override { return create(data_); }
    dumper& dump(dumper& d) const override;
    std::ostream& dump(std::ostream& os) const override;

private:
    Longlong data_;
};

}  // namespace zan::pml::ntv
