// libzanmlc.so: stands in front of the allocator of a process, linked or preloaded, and tells a
// watcher what it does. It uses nothing of libzan, which finds it at run time.

#include <dlfcn.h>
#include <errno.h>
#include <malloc.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "zan/platform/heap_watch.h"

#define ZAN_INTERPOSED [[gnu::visibility("default")]]

namespace {

using std::size_t;
using zan::platform::HeapWatch;
using zan::platform::SavedFrame;

std::atomic<HeapWatch const*> watch{nullptr};

// --- The allocator behind us

// The search for it may allocate in its turn. That memory is never given back.
alignas(16) char early[4096];
size_t earlyUsed = 0;

void* earlyMalloc(size_t size) {
    size_t const at = earlyUsed;
    if (size > sizeof early - at) return nullptr;
    earlyUsed = (at + size + 15) & ~size_t{15};
    return early + at;
}
bool isEarly(void const* p) {
    auto const at = reinterpret_cast<std::uintptr_t>(p);
    auto const begin = reinterpret_cast<std::uintptr_t>(early);
    return at >= begin && at < begin + sizeof early;
}

void* firstMalloc(size_t size);
void* firstCalloc(size_t n, size_t size);
void* firstRealloc(void* p, size_t size);
void firstFree(void* p);
void* firstMemalign(size_t alignment, size_t size);
void* firstAlignedAlloc(size_t alignment, size_t size);
int firstPosixMemalign(void** p, size_t alignment, size_t size);
void* firstValloc(size_t size);
void* firstPvalloc(size_t size);

// Until the first call has found them, those that look for them.
struct Allocator {
    void* (*malloc)(size_t) = &firstMalloc;
    void* (*calloc)(size_t, size_t) = &firstCalloc;
    void* (*realloc)(void*, size_t) = &firstRealloc;
    void (*free)(void*) = &firstFree;
    void* (*memalign)(size_t, size_t) = &firstMemalign;
    void* (*aligned_alloc)(size_t, size_t) = &firstAlignedAlloc;
    int (*posix_memalign)(void**, size_t, size_t) = &firstPosixMemalign;
    void* (*valloc)(size_t) = &firstValloc;
    void* (*pvalloc)(size_t) = &firstPvalloc;
};
Allocator next;

template <class F>
void findNext(F*& function, char const* name) {
    void* const found = dlsym(RTLD_NEXT, name);
    if (found == nullptr) std::abort();  // a process without an allocator
    function = reinterpret_cast<F*>(found);
}

// The C library allocates before there is a second thread. False inside of itself.
bool findAllocator() {
    static bool finding = false;
    if (finding) return false;
    finding = true;
    Allocator found;
    findNext(found.malloc, "malloc");
    findNext(found.calloc, "calloc");
    findNext(found.realloc, "realloc");
    findNext(found.free, "free");
    findNext(found.memalign, "memalign");
    findNext(found.aligned_alloc, "aligned_alloc");
    findNext(found.posix_memalign, "posix_memalign");
    findNext(found.valloc, "valloc");
    findNext(found.pvalloc, "pvalloc");
    next = found;
    finding = false;
    return true;
}

void* firstMalloc(size_t size) {
    return findAllocator() ? next.malloc(size) : earlyMalloc(size);
}
void* firstCalloc(size_t n, size_t size) {
    return findAllocator() ? next.calloc(n, size) : earlyMalloc(n * size);
}
void* firstRealloc(void* p, size_t size) {
    if (findAllocator()) return next.realloc(p, size);
    void* const now = earlyMalloc(size);
    if (now != nullptr && p != nullptr) std::memmove(now, p, size);  // all of it is in `early`
    return now;
}
void firstFree(void* p) {
    if (findAllocator()) next.free(p);
}
void* firstMemalign(size_t alignment, size_t size) {
    return findAllocator() ? next.memalign(alignment, size) : nullptr;
}
void* firstAlignedAlloc(size_t alignment, size_t size) {
    return findAllocator() ? next.aligned_alloc(alignment, size) : nullptr;
}
int firstPosixMemalign(void** p, size_t alignment, size_t size) {
    return findAllocator() ? next.posix_memalign(p, alignment, size) : ENOMEM;
}
void* firstValloc(size_t size) {
    return findAllocator() ? next.valloc(size) : nullptr;
}
void* firstPvalloc(size_t size) {
    return findAllocator() ? next.pvalloc(size) : nullptr;
}

// --- Calls that are watched: with the frame of who made them

// The watcher may end between the first look and this one.
void* told(void* p, size_t size, SavedFrame const* frame) {
    if (p == nullptr) return p;
    if (HeapWatch const* const w = watch.load(std::memory_order_acquire))
        w->allocated(p, size, frame);
    return p;
}

void* watchedMalloc(size_t size, size_t, size_t, SavedFrame const* frame) {
    return told(next.malloc(size), size, frame);
}
void* watchedCalloc(size_t n, size_t size, size_t, SavedFrame const* frame) {
    return told(next.calloc(n, size), n * size, frame);
}
void* watchedMemalign(size_t alignment, size_t size, size_t, SavedFrame const* frame) {
    return told(next.memalign(alignment, size), size, frame);
}
void* watchedAlignedAlloc(size_t alignment, size_t size, size_t, SavedFrame const* frame) {
    return told(next.aligned_alloc(alignment, size), size, frame);
}
void* watchedPosixMemalign(size_t p, size_t alignment, size_t size, SavedFrame const* frame) {
    auto** const result = reinterpret_cast<void**>(p);
    int const error = next.posix_memalign(result, alignment, size);
    if (error == 0) told(*result, size, frame);
    return reinterpret_cast<void*>(static_cast<std::intptr_t>(error));
}
void* watchedValloc(size_t size, size_t, size_t, SavedFrame const* frame) {
    return told(next.valloc(size), size, frame);
}
void* watchedPvalloc(size_t size, size_t, size_t, SavedFrame const* frame) {
    return told(next.pvalloc(size), size, frame);
}

void* watchedRealloc(size_t p, size_t size, size_t, SavedFrame const* frame) {
    auto* const old = reinterpret_cast<void*>(p);
    HeapWatch const* const w = watch.load(std::memory_order_acquire);
    if (old == nullptr || w == nullptr) return told(next.realloc(old, size), size, frame);
    HeapWatch::Moved const moved = w->moving(old);
    void* const now = next.realloc(old, size);
    if (size == 0) {  // it has freed the block, or failed in no way that could be told
        w->freed(moved, old, frame);
        return told(now, size, frame);
    }
    w->moved(moved, old, now, size, frame);
    return now;
}
void* watchedFree(size_t p, size_t, size_t, SavedFrame const* frame) {
    auto* const old = reinterpret_cast<void*>(p);
    HeapWatch const* const w = watch.load(std::memory_order_acquire);
    if (w == nullptr) {
        next.free(old);
        return nullptr;
    }
    HeapWatch::Moved const moved = w->moving(old);
    next.free(old);
    w->freed(moved, old, frame);
    return nullptr;
}

size_t numberOf(void const* p) {
    return reinterpret_cast<size_t>(p);
}

bool isWatched() {
    return __builtin_expect(watch.load(std::memory_order_relaxed) != nullptr, 0);
}

void freed(void* p) {
    if (p == nullptr || __builtin_expect(isEarly(p), 0)) return;
    if (isWatched())
        zan_with_frame_noexcept(numberOf(p), 0, 0, &watchedFree);
    else
        next.free(p);
}
void* resized(void* p, size_t size) {
    if (__builtin_expect(isEarly(p), 0)) {
        void* const now = next.malloc(size);
        auto const limit = static_cast<size_t>(early + sizeof early - static_cast<char*>(p));
        if (now != nullptr) std::memcpy(now, p, size < limit ? size : limit);
        return now;
    }
    if (isWatched()) return zan_with_frame_noexcept(numberOf(p), size, 0, &watchedRealloc);
    return next.realloc(p, size);
}

// --- operator new

// What is asked of operator new: it has another try as long as the program can do something.
void* newed(size_t alignment, size_t size) {
    if (size == 0) size = 1;
    for (;;) {
        void* p = nullptr;
        if (alignment == 0)
            p = next.malloc(size);
        else if (next.posix_memalign(&p, alignment < sizeof p ? sizeof p : alignment, size) != 0)
            p = nullptr;
        if (p != nullptr) return p;
        std::new_handler const handler = std::get_new_handler();
        if (handler == nullptr) throw std::bad_alloc();
        handler();
    }
}
void* newedOrNull(size_t alignment, size_t size) noexcept {
    try {
        return newed(alignment, size);
    } catch (std::bad_alloc const&) {
        return nullptr;
    }
}

void* watchedNew(size_t alignment, size_t size, size_t, SavedFrame const* frame) {
    return told(newed(alignment, size), size, frame);
}
void* watchedNewOrNull(size_t alignment, size_t size, size_t, SavedFrame const* frame) {
    return told(newedOrNull(alignment, size), size, frame);
}

}  // namespace

// --- The interface. What the functions share is called directly: a program with a malloc of its
// own may have taken the place of some of them.

extern "C" ZAN_INTERPOSED void zanmlc_watch_1(HeapWatch const* watcher) {
    watch.store(watcher, std::memory_order_release);
}
extern "C" {

ZAN_INTERPOSED void* malloc(size_t size) {
    if (isWatched()) return zan_with_frame_noexcept(size, 0, 0, &watchedMalloc);
    return next.malloc(size);
}
// So that it is found whatever malloc the process uses.
ZAN_INTERPOSED void* zanmlc_malloc_1(size_t size)
    __attribute__((alias("malloc"), malloc, nothrow, alloc_size(1)));
ZAN_INTERPOSED void* calloc(size_t n, size_t size) {
    if (isWatched()) return zan_with_frame_noexcept(n, size, 0, &watchedCalloc);
    return next.calloc(n, size);
}
ZAN_INTERPOSED void* realloc(void* p, size_t size) {
    return resized(p, size);
}
ZAN_INTERPOSED void* reallocarray(void* p, size_t n, size_t size) {
    size_t bytes = 0;
    if (__builtin_mul_overflow(n, size, &bytes)) {
        errno = ENOMEM;
        return nullptr;
    }
    return resized(p, bytes);
}
ZAN_INTERPOSED void free(void* p) {
    freed(p);
}
ZAN_INTERPOSED void* memalign(size_t alignment, size_t size) {
    if (isWatched()) return zan_with_frame_noexcept(alignment, size, 0, &watchedMemalign);
    return next.memalign(alignment, size);
}
ZAN_INTERPOSED void* aligned_alloc(size_t alignment, size_t size) {
    if (isWatched()) return zan_with_frame_noexcept(alignment, size, 0, &watchedAlignedAlloc);
    return next.aligned_alloc(alignment, size);
}
ZAN_INTERPOSED int posix_memalign(void** p, size_t alignment, size_t size) {
    if (isWatched()) return zan_with_frame_int(numberOf(p), alignment, size, &watchedPosixMemalign);
    return next.posix_memalign(p, alignment, size);
}
ZAN_INTERPOSED void* valloc(size_t size) {
    if (isWatched()) return zan_with_frame_noexcept(size, 0, 0, &watchedValloc);
    return next.valloc(size);
}
ZAN_INTERPOSED void* pvalloc(size_t size) {
    if (isWatched()) return zan_with_frame_noexcept(size, 0, 0, &watchedPvalloc);
    return next.pvalloc(size);
}

}  // extern "C"

#define ZAN_NEW_FORMS(name)                                                             \
    ZAN_INTERPOSED void* operator name(size_t size) {                                   \
        if (isWatched()) return zan_with_frame(0, size, 0, &watchedNew);                \
        return newed(0, size);                                                          \
    }                                                                                   \
    ZAN_INTERPOSED void* operator name(size_t size, std::align_val_t alignment) {       \
        auto const a = static_cast<size_t>(alignment);                                  \
        if (isWatched()) return zan_with_frame(a, size, 0, &watchedNew);                \
        return newed(a, size);                                                          \
    }                                                                                   \
    ZAN_INTERPOSED void* operator name(size_t size, std::nothrow_t const&) noexcept {   \
        if (isWatched()) return zan_with_frame_noexcept(0, size, 0, &watchedNewOrNull); \
        return newedOrNull(0, size);                                                    \
    }                                                                                   \
    ZAN_INTERPOSED void* operator name(size_t size, std::align_val_t alignment,         \
                                       std::nothrow_t const&) noexcept {                \
        auto const a = static_cast<size_t>(alignment);                                  \
        if (isWatched()) return zan_with_frame_noexcept(a, size, 0, &watchedNewOrNull); \
        return newedOrNull(a, size);                                                    \
    }
#define ZAN_DELETE_FORMS(name)                                                                     \
    ZAN_INTERPOSED void operator name(void* p) noexcept {                                          \
        freed(p);                                                                                  \
    }                                                                                              \
    ZAN_INTERPOSED void operator name(void* p, size_t) noexcept {                                  \
        freed(p);                                                                                  \
    }                                                                                              \
    ZAN_INTERPOSED void operator name(void* p, std::nothrow_t const&) noexcept {                   \
        freed(p);                                                                                  \
    }                                                                                              \
    ZAN_INTERPOSED void operator name(void* p, std::align_val_t) noexcept {                        \
        freed(p);                                                                                  \
    }                                                                                              \
    ZAN_INTERPOSED void operator name(void* p, size_t, std::align_val_t) noexcept {                \
        freed(p);                                                                                  \
    }                                                                                              \
    ZAN_INTERPOSED void operator name(void* p, std::align_val_t, std::nothrow_t const&) noexcept { \
        freed(p);                                                                                  \
    }

ZAN_NEW_FORMS(new)
ZAN_NEW_FORMS(new[])
ZAN_DELETE_FORMS(delete)
ZAN_DELETE_FORMS(delete[])
