#include "zan/base/mlcheck.h"

#include <new>

void* operator new(std::size_t size, char const*, unsigned int, char const*) {
    return ::operator new(size);
}

void* operator new[](std::size_t size, char const*, unsigned int, char const*) {
    return ::operator new[](size);
}

void operator delete(void* p, char const*, unsigned int, char const*) noexcept {
    ::operator delete(p);
}

void operator delete[](void* p, char const*, unsigned int, char const*) noexcept {
    ::operator delete[](p);
}
