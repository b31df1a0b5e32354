#include "zan/platform/task_allocator.h"

#include <malloc.h>

#include <cerrno>
#include <cstdlib>
#include <mutex>

#include "zan/platform/block_index.h"
#include "zan/platform/debug_heap.h"

namespace zan::platform {

namespace {

struct Task {
    std::recursive_mutex mutex;  // the spy may call the allocator
    IMallocSpy* spy = nullptr;
    BlockIndex spied;
};
// Never destroyed: blocks are freed up to the last moment of the process.
union Tasks {
    Tasks() : task() {}
    ~Tasks() {}
    Task task;
};
Task& task() {
    static Tasks all;
    return all.task;
}

using Lock = std::lock_guard<std::recursive_mutex>;

bool takeSpied(void* p) {
    return task().spied.take(p) != 0;
}
bool isSpied(void* p) {
    return task().spied.look(p) != 0;
}
void* noted(void* p) {
    if (p != nullptr) task().spied.put(p, 1);
    return p;
}

}  // namespace

int registerMallocSpy(IMallocSpy* spy) {
    void* interface = nullptr;
    if (spy == nullptr || spy->QueryInterface(InterfaceId::MallocSpy, &interface) != 0)
        return EINVAL;
    Lock const lock(task().mutex);
    auto* const taken = static_cast<IMallocSpy*>(interface);
    if (task().spy != nullptr) {
        taken->Release();
        return EEXIST;
    }
    task().spy = taken;
    return 0;
}

int revokeMallocSpy() {
    Lock const lock(task().mutex);
    if (task().spy == nullptr) return ENOENT;
    task().spy->Release();
    task().spy = nullptr;
    return 0;
}

void* taskAlloc(unsigned long size) {
    UncheckedBlocks const unchecked;
    Lock const lock(task().mutex);
    IMallocSpy* const spy = task().spy;
    if (spy == nullptr) return std::malloc(size);
    return spy->PostAlloc(noted(std::malloc(spy->PreAlloc(size))));
}

void* taskRealloc(void* p, unsigned long size) {
    if (p == nullptr) return taskAlloc(size);
    if (size == 0) {
        taskFree(p);
        return nullptr;
    }
    UncheckedBlocks const unchecked;
    Lock const lock(task().mutex);
    IMallocSpy* const spy = task().spy;
    bool const spied = takeSpied(p);
    if (spy == nullptr) return std::realloc(p, size);
    void* old = p;
    unsigned long const wanted = spy->PreRealloc(p, size, &old, spied);
    void* const now = std::realloc(old, wanted);
    if (now == nullptr) noted(p);
    return spy->PostRealloc(noted(now), spied);
}

void taskFree(void* p) {
    UncheckedBlocks const unchecked;
    Lock const lock(task().mutex);
    IMallocSpy* const spy = task().spy;
    bool const spied = p != nullptr && takeSpied(p);
    if (spy == nullptr) return std::free(p);
    std::free(spy->PreFree(p, spied));
    spy->PostFree(spied);
}

unsigned long taskGetSize(void* p) {
    Lock const lock(task().mutex);
    IMallocSpy* const spy = task().spy;
    if (spy == nullptr) return malloc_usable_size(p);
    bool const spied = isSpied(p);
    return spy->PostGetSize(malloc_usable_size(spy->PreGetSize(p, spied)), spied);
}

int taskDidAlloc(void* p) {
    Lock const lock(task().mutex);
    IMallocSpy* const spy = task().spy;
    bool const spied = isSpied(p);
    if (spy == nullptr) return spied ? 1 : -1;
    void* const asked = spy->PreDidAlloc(p, spied);
    return spy->PostDidAlloc(asked, spied, spied ? 1 : -1);
}

void taskHeapMinimize() {
    Lock const lock(task().mutex);
    IMallocSpy* const spy = task().spy;
    if (spy != nullptr) spy->PreHeapMinimize();
    malloc_trim(0);
    if (spy != nullptr) spy->PostHeapMinimize();
}

}  // namespace zan::platform
