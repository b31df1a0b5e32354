#pragma once

#include <string>

#include "zan/base/base_type_string.h"
#include "zan/pml/ntv_value.h"

namespace zan::pml::ntv {

// Wide text. Its PML text is the Base64 of its UTF-8.
class ZAN_EXPORT WstringValue final : public ValueBase {
public:
    explicit WstringValue(Unit* owner = nullptr) : ValueBase(owner) {}
    explicit WstringValue(iwstr const& data, Unit* owner = nullptr)
        : ValueBase(owner), data_(data) {}

    WstringValue& assign(iwstr const& data) {
        data_ = data;
        return *this;
    }
    WstringValue& operator=(iwstr const& data) { return assign(data); }
    std::wstring const& data() const { return data_; }
    // A tracked object; the caller owns it.
    static WstringValue* create(iwstr const& data);

    bool single() const override { return true; }
    WstringValue* clone() const override { return create(data_); }
    dumper& dump(dumper& d) const override;
    std::ostream& dump(std::ostream& os) const override;

private:
    std::wstring data_;
};

}  // namespace zan::pml::ntv
