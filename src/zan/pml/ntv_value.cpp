#include "zan/pml/ntv_value.h"

namespace zan::pml::ntv {

ValueBase::~ValueBase() = default;

}  // namespace zan::pml::ntv
