#pragma once

#include <cstddef>
#include <new>

namespace zan::platform {

// Memory of the system's own, in whole pages, zeroed. Null where there is none.
void* mapPages(unsigned long size);
void unmapPages(void* p, unsigned long size);
// LARGE_PAGE bytes of it, which the system is asked to have as one page if it has such.
constexpr unsigned long LARGE_PAGE = 2ul << 20;
void* mapLargePage();
// Gives back what the pages hold; they read as zeros from then on.
void dropPages(void* p, unsigned long size);

template <class T>
struct PageAllocator {
    using value_type = T;
    PageAllocator() = default;
    template <class U>
    PageAllocator(PageAllocator<U> const&) {}  // NOLINT(google-explicit-constructor)
    T* allocate(std::size_t n) {
        void* const p = mapPages(n * sizeof(T));
        if (p == nullptr) throw std::bad_alloc();
        return static_cast<T*>(p);
    }
    void deallocate(T* p, std::size_t n) { unmapPages(p, n * sizeof(T)); }
    friend bool operator==(PageAllocator const&, PageAllocator const&) { return true; }
    friend bool operator!=(PageAllocator const&, PageAllocator const&) { return false; }
};

// Copies memory of the process that may not be there, up to the first byte that isn't. Returns the
// number of bytes copied.
unsigned long readMemory(void const* from, void* to, unsigned long size);

// The end of the stack that the calling thread began with, up to which all is there from the frame
// on. 0 where the frame is not on it, a handler's or a fiber's, and where that is not known yet and
// can't be asked in what `caller`, a code address, does. The first call in a thread may allocate.
unsigned long endOfStack(void const* frame, unsigned long caller);

}  // namespace zan::platform
