#pragma once

#include "zan/base/base_type_value.h"
#include "zan/pml/ntv_value.h"

namespace zan::pml::ntv {

// A truth value. Its PML text is "1" or "0".
class ZAN_EXPORT BooleanValue final : public ValueBase {
public:
    explicit BooleanValue(Unit* owner = nullptr) : ValueBase(owner) {}
    explicit BooleanValue(bool data, Unit* owner = nullptr) : ValueBase(owner), data_(data) {}

    BooleanValue& assign(bool data) {
        data_ = data;
        return *this;
    }
    BooleanValue& operator=(bool data) { return assign(data); }
    Bit const& data() const { return data_; }
    // A tracked object; the caller owns it.
    static BooleanValue* create(bool data);

    bool single() const override { return true; }
    BooleanValue* clone() const override { return create(data_); }
    dumper& dump(dumper& d) const override;
    std::ostream& dump(std::ostream& os) const override;

private:
    Bit data_;
};

}  // namespace zan::pml::ntv
