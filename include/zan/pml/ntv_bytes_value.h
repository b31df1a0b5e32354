#pragma once

#include "zan/base/base_type_bytes.h"
#include "zan/pml/ntv_value.h"

namespace zan::pml::ntv {

// Bytes. Their PML text is Base64.
class ZAN_EXPORT BytesValue final : public ValueBase {
public:
    explicit BytesValue(Unit* owner = nullptr) : ValueBase(owner) {}
    explicit BytesValue(istr const& data, Unit* owner = nullptr) : ValueBase(owner), data_(data) {}

    BytesValue& assign(istr const& data) {
        data_.assign(data);
        return *this;
    }
    BytesValue& operator=(istr const& data) { return assign(data); }
    Bytes const& data() const { return data_; }
    // A tracked object; the caller owns it.
    static BytesValue* create(istr const& data);

    bool single() const override { return true; }
    BytesValue* clone() const override { return create(data_); }
    dumper& dump(dumper& d) const override;
    std::ostream& dump(std::ostream& os) const override;

private:
    Bytes data_;
};

}  // namespace zan::pml::ntv
