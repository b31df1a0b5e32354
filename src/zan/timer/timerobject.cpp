#include "zan/timer/timerobject.h"

#include <limits>
#include <ostream>

#include "zan/base/exception.h"
#include "zan/log/log_factory.h"

namespace zan {

namespace {

std::uint32_t checked(unsigned long v) {
    if (v > std::numeric_limits<std::uint32_t>::max()) ZAN_THROW_PLAIN(zan::OutOfRangeException);
    return static_cast<std::uint32_t>(v);
}

}  // namespace

TimerId::TimerId(unsigned long packed)
    : serial_(checked(packed) >> 17), position_(checked(packed) & 0x1FFFF) {}

TimerId::TimerId(unsigned long serial, unsigned long position)
    : serial_(checked(serial)), position_(checked(position)) {}

dumper& TimerId::dump(dumper& d) const {
    return d << rawstring("(") << serial() << rawstring(", ") << position() << rawstring(")");
}

std::ostream& TimerId::dump(std::ostream& os) const {
    return os << '(' << serial() << ", " << position() << ')';
}

std::ostream& operator<<(std::ostream& os, TimerId const& id) {
    return id.dump(os);
}

ITimerObject::~ITimerObject() = default;

dumper& ITimerObject::dump(dumper& d) const {
    return d;
}

}  // namespace zan
