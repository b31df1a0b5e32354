#pragma once

#include "zan/base/base_type_value.h"
#include "zan/pml/ntv_value.h"

namespace zan::pml::ntv {

// A character. Its PML text is the character itself, whatever it means in PML.
class ZAN_EXPORT CharacterValue final : public ValueBase {
public:
    explicit CharacterValue(Unit* owner = nullptr) : ValueBase(owner) {}
    explicit CharacterValue(char data, Unit* owner = nullptr) : ValueBase(owner), data_(data) {}

    CharacterValue& assign(char data) {
        data_ = data;
        return *this;
    }
    CharacterValue& operator=(char data) { return assign(data); }
    Char const& data() const { return data_; }
    // A tracked object; the caller owns it.
    static CharacterValue* create(char data);

    bool single() const override { return true; }
    CharacterValue* clone() const override { return create(data_); }
    dumper& dump(dumper& d) const override;
    std::ostream& dump(std::ostream& os) const override;

private:
    Char data_;
};

}  // namespace zan::pml::ntv
