#include "zan/pml/ntv_bytes_value.h"

#include <ostream>

#include "zan/base/mlcheck.h"
#include "zan/log/log_dumper.h"
#include "zan/util/base64.h"

namespace zan::pml::ntv {

BytesValue* BytesValue::create(istr const& data) {
    char const* const func = "zan::pml::ntv::BytesValue::create";
    return trackNew(new (__FILE__, __LINE__, func) BytesValue(data), __FILE__, __LINE__, func);
}

dumper& BytesValue::dump(dumper& d) const {
    dump(d.internal_stream());
    return d;
}

std::ostream& BytesValue::dump(std::ostream& os) const {
    String text;
    Base64::encode(data_, text, false);
    return os << text;
}

}  // namespace zan::pml::ntv
