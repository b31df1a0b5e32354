#include "zan/pml/ntv_wstring_value.h"

#include <ostream>

#include "zan/base/base_type_bytes.h"
#include "zan/base/mlcheck.h"
#include "zan/log/log_dumper.h"
#include "zan/util/base64.h"

namespace zan::pml::ntv {

WstringValue* WstringValue::create(iwstr const& data) {
    char const* const func = "zan::pml::ntv::WstringValue::create";
    return trackNew(new (__FILE__, __LINE__, func) WstringValue(data), __FILE__, __LINE__, func);
}

dumper& WstringValue::dump(dumper& d) const {
    dump(d.internal_stream());
    return d;
}

std::ostream& WstringValue::dump(std::ostream& os) const {
    String text;
    Base64::encode(toUtf8(wstr(data_)), text, false);
    return os << text;
}

}  // namespace zan::pml::ntv
