#include "zan/pml/ntv_stringvalue.h"

#include <ostream>

#include "zan/base/mlcheck.h"
#include "zan/log/log_dumper.h"
#include "zan/pml/pml_parser.h"

namespace zan::pml::ntv {

StringValue* StringValue::create(istr const& data) {
    char const* const func = "zan::pml::ntv::StringValue::create";
    return trackNew(new (__FILE__, __LINE__, func) StringValue(data), __FILE__, __LINE__, func);
}

dumper& StringValue::dump(dumper& d) const {
    return d << data_;
}

std::ostream& StringValue::dump(std::ostream& os) const {
    String text(data_);
    escapeString(text);
    return os.write(text.data(), static_cast<std::streamsize>(text.size()));
}

}  // namespace zan::pml::ntv
