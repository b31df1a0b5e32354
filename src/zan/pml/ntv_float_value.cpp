#include "zan/pml/ntv_float_value.h"

#include <ostream>

#include "zan/base/mlcheck.h"
#include "zan/log/log_dumper.h"

namespace zan::pml::ntv {

FloatValue* FloatValue::create(double data) {
    char const* const func = "zan::pml::ntv::FloatValue::create";
    return trackNew(new (__FILE__, __LINE__, func) FloatValue(data), __FILE__, __LINE__, func);
}

dumper& FloatValue::dump(dumper& d) const {
    return data_.dump(d);
}

std::ostream& FloatValue::dump(std::ostream& os) const {
    return data_.dump(os);
}

}  // namespace zan::pml::ntv
