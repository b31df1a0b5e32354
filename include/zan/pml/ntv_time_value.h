#pragma once

#include "zan/base/base_type_time.h"
#include "zan/pml/ntv_value.h"

namespace zan::pml::ntv {

// A point in time. Its PML text is Time::toFullDateTime() between single quotes.
class ZAN_EXPORT TimeValue final : public ValueBase {
public:
    explicit TimeValue(Unit* owner = nullptr) : ValueBase(owner) {}
    explicit TimeValue(Time const& data, Unit* owner = nullptr) : ValueBase(owner), data_(data) {}

    TimeValue& assign(Time const& data) {
        data_ = data;
        return *this;
    }
    TimeValue& operator=(Time const& data) { return assign(data); }
    Time const& data() const { return data_; }
    // A tracked object; the caller owns it.
    static TimeValue* create(Time const& data);

    bool single() const override { return true; }
    TimeValue* clone() const override { return create(data_); }
    dumper& dump(dumper& d) const override;
    std::ostream& dump(std::ostream& os) const override;

private:
    Time data_;
};

}  // namespace zan::pml::ntv
