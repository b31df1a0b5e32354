#include "zan/pml/ntv_wchar_value.h"

#include <ostream>

#include "zan/base/mlcheck.h"
#include "zan/log/log_dumper.h"
#include "zan/pml/wchar_text.h"

namespace zan::pml::ntv {

WcharValue* WcharValue::create(wchar_t data) {
    char const* const func = "zan::pml::ntv::WcharValue::create";
    return trackNew(new (__FILE__, __LINE__, func) WcharValue(data), __FILE__, __LINE__, func);
}

dumper& WcharValue::dump(dumper& d) const {
    dump(d.internal_stream());
    return d;
}

std::ostream& WcharValue::dump(std::ostream& os) const {
    return os << wcharText(data_);
}

}  // namespace zan::pml::ntv
