#include "zan/pml/ntv_value.h"

#include "zan/pml/node_memory.h"

namespace zan::pml::ntv {

ValueBase::~ValueBase() = default;

void* ValueBase::operator new(std::size_t size) {
    return NodeBlock::alone(size);
}

void* ValueBase::operator new(std::size_t size, char const* file, unsigned int line,
                              char const* func) {
    return NodeBlock::alone(size, file, line, func);
}

void ValueBase::operator delete(void* p) noexcept {
    NodeBlock::free(p);
}

void ValueBase::operator delete(void* p, char const*, unsigned int, char const*) noexcept {
    NodeBlock::free(p);
}

}  // namespace zan::pml::ntv
