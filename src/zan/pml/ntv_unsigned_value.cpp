#include "zan/pml/ntv_unsigned_value.h"

#include <ostream>

#include "zan/base/mlcheck.h"
#include "zan/log/log_dumper.h"

namespace zan::pml::ntv {

UnsignedValue* UnsignedValue::create(uint64 data) {
    char const* const func = "zan::pml::ntv::UnsignedValue::create";
    return trackNew(new (__FILE__, __LINE__, func) UnsignedValue(data), __FILE__, __LINE__, func);
}

dumper& UnsignedValue::dump(dumper& d) const {
    return data_.dump(d);
}

std::ostream& UnsignedValue::dump(std::ostream& os) const {
    return data_.dump(os);
}

}  // namespace zan::pml::ntv
