#pragma once

#include "zan/base/base_type_value.h"
#include "zan/pml/ntv_value.h"

namespace zan::pml::ntv {

// A whole number of 64 bits without a sign.
class ZAN_EXPORT UnsignedValue final : public ValueBase {
public:
    explicit UnsignedValue(Unit* owner = nullptr) : ValueBase(owner) {}
    explicit UnsignedValue(uint64 data, Unit* owner = nullptr) : ValueBase(owner), data_(data) {}

    UnsignedValue& assign(uint64 data) {
        data_ = data;
        return *this;
    }
    UnsignedValue& operator=(uint64 data) { return assign(data); }
    Ulonglong const& data() const { return data_; }
    // A tracked object; the caller owns it.
    static UnsignedValue* create(uint64 data);

    bool single() const override { return true; }
    UnsignedValue* clone() const override { return create(data_); }
    dumper& dump(dumper& d) const override;
    std::ostream& dump(std::ostream& os) const override;

private:
    Ulonglong data_;
};

}  // namespace zan::pml::ntv
