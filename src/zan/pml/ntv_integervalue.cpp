#include "zan/pml/ntv_integervalue.h"

#include <ostream>

#include "zan/base/mlcheck.h"
#include "zan/log/log_dumper.h"

namespace zan::pml::ntv {

IntegerValue* IntegerValue::create(__int64 data) {
    char const* const func = "zan::pml::ntv::IntegerValue::create";
    return trackNew(new (__FILE__, __LINE__, func) IntegerValue(data), __FILE__, __LINE__, func);
}

dumper& IntegerValue::dump(dumper& d) const {
    return data_.dump(d);
}

std::ostream& IntegerValue::dump(std::ostream& os) const {
    return data_.dump(os);
}

}  // namespace zan::pml::ntv
