#include "zan/pml/ntv_character_value.h"

#include <ostream>

#include "zan/base/mlcheck.h"
#include "zan/log/log_dumper.h"

namespace zan::pml::ntv {

CharacterValue* CharacterValue::create(char data) {
    char const* const func = "zan::pml::ntv::CharacterValue::create";
    return trackNew(new (__FILE__, __LINE__, func) CharacterValue(data), __FILE__, __LINE__, func);
}

dumper& CharacterValue::dump(dumper& d) const {
    return data_.dump(d);
}

std::ostream& CharacterValue::dump(std::ostream& os) const {
    return os << data_.value();
}

}  // namespace zan::pml::ntv
