#pragma once

#include "zan/base/base_type_value.h"
#include "zan/pml/ntv_value.h"

namespace zan::pml::ntv {

// A number. Its PML text has 6 significant digits.
class ZAN_EXPORT FloatValue final : public ValueBase {
public:
    explicit FloatValue(Unit* owner = nullptr) : ValueBase(owner) {}
    explicit FloatValue(double data, Unit* owner = nullptr) : ValueBase(owner), data_(data) {}

    FloatValue& assign(double data) {
        data_ = data;
        return *this;
    }
    FloatValue& operator=(double data) { return assign(data); }
    Double const& data() const { return data_; }
    // A tracked object; the caller owns it.
    static FloatValue* create(double data);

    bool single() const override { return true; }
    FloatValue* clone() const override { return create(data_); }
    dumper& dump(dumper& d) const override;
    std::ostream& dump(std::ostream& os) const override;

private:
    Double data_;
};

}  // namespace zan::pml::ntv
