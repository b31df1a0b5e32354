#include "zan/pml/ntv_time_value.h"

#include <ostream>

#include "zan/base/mlcheck.h"
#include "zan/log/log_dumper.h"

namespace zan::pml::ntv {

TimeValue* TimeValue::create(Time const& data) {
    char const* const func = "zan::pml::ntv::TimeValue::create";
    return trackNew(new (__FILE__, __LINE__, func) TimeValue(data), __FILE__, __LINE__, func);
}

dumper& TimeValue::dump(dumper& d) const {
    dump(d.internal_stream());
    return d;
}

std::ostream& TimeValue::dump(std::ostream& os) const {
    return os << '\'' << data_.toFullDateTime() << '\'';
}

}  // namespace zan::pml::ntv
