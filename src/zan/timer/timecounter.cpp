#include "zan/timer/timecounter.h"

#include <ostream>

namespace zan {

dumper& TimeCounter::dump(dumper& d) const {
    __int64 const us = total.toMicroSeconds();
    dumper::_Entry const entry(d, "zan::TimeCounter");
    d << indent << namestring("num") << num << endline;
    d << indent << namestring("tps") << (us == 0 ? 0 : num * 1000000LL / us) << endline;
    d << indent << namestring("cost") << rawstring(total.toDuration()) << endline;
    return d;
}

std::ostream& operator<<(std::ostream& os, TimeCounter const& counter) {
    dumper d(os);
    counter.dump(d);
    return os;
}

}  // namespace zan
