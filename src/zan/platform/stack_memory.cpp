#include "zan/platform/stack_memory.h"

#include <pthread.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

// Where the main thread's stack began.
extern "C" void* __libc_stack_end;

namespace zan::platform {

namespace {

constexpr unsigned long PAGE = 4096;  // or a multiple

// The stack that the thread began with: all of it above a frame is mapped.
struct Bounds {
    std::uintptr_t low;
    std::uintptr_t high;
};
thread_local __attribute__((tls_model("initial-exec"))) Bounds bounds = {1, 0};

void findBounds() {
    bounds = {0, 0};
    if (gettid() == getpid()) {
        // The system keeps the space below free for it, and maps it down to the deepest use.
        constexpr unsigned long MOST = 64ul << 20;
        rlimit limit = {};
        getrlimit(RLIMIT_STACK, &limit);
        auto const top = reinterpret_cast<std::uintptr_t>(__libc_stack_end);
        bounds = {top - (limit.rlim_cur < MOST ? limit.rlim_cur : MOST), top};
        return;
    }
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0) return;
    void* low = nullptr;
    std::size_t size = 0;
    if (pthread_attr_getstack(&attributes, &low, &size) == 0) {
        auto const at = reinterpret_cast<std::uintptr_t>(low);
        bounds = {at, at + size};
    }
    pthread_attr_destroy(&attributes);
}

// It is read again, if ever, at the end of the program: it does not go through the cache.
void copyPast(char const* from, char* to, unsigned long size) {
#if defined(__SSE2__)
    for (unsigned long i = 0; i + 16 <= size; i += 16)
        _mm_stream_si128(reinterpret_cast<__m128i*>(to + i),
                         _mm_loadu_si128(reinterpret_cast<__m128i const*>(from + i)));
    unsigned long const done = size & ~15ul;
    std::memcpy(to + done, from + done, size - done);
#else
    std::memcpy(to, from, size);
#endif
}

}  // namespace

void* mapPages(unsigned long size) {
    void* const p = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return p == MAP_FAILED ? nullptr : p;
}

void unmapPages(void* p, unsigned long size) {
    munmap(p, size);
}

void dropPages(void* p, unsigned long size) {
    madvise(p, size, MADV_DONTNEED);
}

unsigned long readMemory(void const* from, void* to, unsigned long size) {
    unsigned long done = 0;
    // The call copies whole pieces only, so no piece goes over the end of a page.
    while (done < size) {
        auto const at = reinterpret_cast<std::uintptr_t>(from) + done;
        unsigned long const toEnd = PAGE - at % PAGE;
        unsigned long const piece = size - done < toEnd ? size - done : toEnd;
        iovec const here = {static_cast<char*>(to) + done, piece};
        iovec const there = {reinterpret_cast<void*>(at), piece};
        if (process_vm_readv(getpid(), &here, 1, &there, 1, 0) != static_cast<ssize_t>(piece))
            break;
        done += piece;
    }
    return done;
}

__attribute__((no_sanitize("address"))) unsigned long readStack(void const* from, void* to,
                                                                unsigned long size) {
    auto const at = reinterpret_cast<std::uintptr_t>(from);
    if (bounds.low > bounds.high) findBounds();
    if (at < bounds.low || at >= bounds.high) return readMemory(from, to, size);
    unsigned long const there = bounds.high - at;
    unsigned long const n = there < size ? there : size;
    copyPast(static_cast<char const*>(from), static_cast<char*>(to), n);
    return n;
}

}  // namespace zan::platform
