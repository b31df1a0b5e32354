#pragma once

#include "zan/base/base_type_value.h"
#include "zan/pml/ntv_value.h"

namespace zan::pml::ntv {

// A wide character. Its PML text is "\u" and four digits; a character above 0xFFFF has none, and
// writing it is an OutOfRangeException.
class ZAN_EXPORT WcharValue final : public ValueBase {
public:
    explicit WcharValue(Unit* owner = nullptr) : ValueBase(owner) {}
    explicit WcharValue(wchar_t data, Unit* owner = nullptr) : ValueBase(owner), data_(data) {}

    WcharValue& assign(wchar_t data) {
        data_ = data;
        return *this;
    }
    WcharValue& operator=(wchar_t data) { return assign(data); }
    Wchar const& data() const { return data_; }
    // A tracked object; the caller owns it.
    static WcharValue* create(wchar_t data);

    bool single() const override { return true; }
    WcharValue* clone() const override { return create(data_); }
    dumper& dump(dumper& d) const override;
    std::ostream& dump(std::ostream& os) const override;

private:
    Wchar data_;
};

}  // namespace zan::pml::ntv
