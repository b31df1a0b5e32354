#include "zan/pml/ntv_boolean_value.h"

#include <ostream>

#include "zan/base/mlcheck.h"
#include "zan/log/log_dumper.h"

namespace zan::pml::ntv {

BooleanValue* BooleanValue::create(bool data) {
    char const* const func = "zan::pml::ntv::BooleanValue::create";
    return trackNew(new (__FILE__, __LINE__, func) BooleanValue(data), __FILE__, __LINE__, func);
}

dumper& BooleanValue::dump(dumper& d) const {
    return data_.dump(d);
}

std::ostream& BooleanValue::dump(std::ostream& os) const {
    return os << static_cast<bool>(data_);
}

}  // namespace zan::pml::ntv
