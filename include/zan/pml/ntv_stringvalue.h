#pragma once

#include "zan/base/base_type_string.h"
#include "zan/pml/ntv_value.h"

namespace zan::pml::ntv {

// Text, the one single value that the tree itself makes. Its PML text is escaped where that is
// necessary to read it back.
class ZAN_EXPORT StringValue final : public ValueBase {
public:
    explicit StringValue(Unit* owner = nullptr) : ValueBase(STRING, owner) {}
    explicit StringValue(istr const& data, Unit* owner = nullptr)
        : ValueBase(STRING, owner), data_(data) {}

    // The text may be a part of this one's own.
    StringValue& assign(istr const& data) {
        data_ = data;
        return *this;
    }
    StringValue& operator=(istr const& data) { return assign(data); }
    String const& data() const { return data_; }
    // A tracked object; the caller owns it.
    static StringValue* create(istr const& data);

    bool single() const override { return true; }
    StringValue* clone() const override { return create(data_); }
    // Unescaped.
    dumper& dump(dumper& d) const override;
    std::ostream& dump(std::ostream& os) const override;

private:
    String data_;
};

}  // namespace zan::pml::ntv
