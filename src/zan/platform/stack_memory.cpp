#include "zan/platform/stack_memory.h"

#include <pthread.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cstdint>

#include "zan/platform/c_library.h"

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

}  // namespace

void* mapPages(unsigned long size) {
    void* const p = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return p == MAP_FAILED ? nullptr : p;
}

void* mapLargePage() {
    void* const mapped = mapPages(2 * LARGE_PAGE);
    if (mapped == nullptr) return nullptr;
    auto* const p = static_cast<char*>(mapped);
    unsigned long const before = -reinterpret_cast<std::uintptr_t>(p) % LARGE_PAGE;
    if (before != 0) munmap(p, before);
    munmap(p + before + LARGE_PAGE, LARGE_PAGE - before);
    madvise(p + before, LARGE_PAGE, MADV_HUGEPAGE);
    return p + before;
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

unsigned long endOfStack(void const* frame, unsigned long caller) {
    auto const at = reinterpret_cast<std::uintptr_t>(frame);
    if (bounds.low > bounds.high) {
        // The C library may allocate while it holds the lock that the question needs.
        if (isCLibrary(caller)) return 0;
        findBounds();
    }
    return at >= bounds.low && at < bounds.high ? bounds.high : 0;
}

}  // namespace zan::platform
