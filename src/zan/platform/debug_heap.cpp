#include "zan/platform/debug_heap.h"

#include <dlfcn.h>

#include <atomic>
#include <cerrno>

#include "zan/platform/block_index.h"
#include "zan/platform/c_library.h"
#include "zan/platform/fork.h"
#include "zan/platform/heap_watch.h"

namespace zan::platform {

namespace {

struct Block {
    unsigned long request;
    unsigned long size;
    void* record;
};

// Never destroyed: blocks are freed up to the last moment of the process.
union Blocks {
    Blocks() : index() {}
    ~Blocks() {}
    BlockIndex<Block> index;
};
Blocks& blocks() {
    static Blocks all;
    return all;
}

std::atomic<AllocHook> installed{nullptr};
std::atomic<unsigned long> requests{0};
void (*lockHook)() = nullptr;
void (*unlockHook)() = nullptr;

struct ThreadState {
    unsigned unchecked = 0;
    bool holdsLocks = false;
};
thread_local __attribute__((tls_model("initial-exec"))) ThreadState state;

// A call of the heap leaves errno as it was.
struct KeepErrno {
    KeepErrno() : saved(errno) {}
    ~KeepErrno() { errno = saved; }
    KeepErrno(KeepErrno const&) = delete;
    KeepErrno& operator=(KeepErrno const&) = delete;
    int saved;
};

bool isChecked(SavedFrame const* frame) {
    return state.unchecked == 0 && !isLoader(frame->returnAddress);
}

void allocated(void* p, unsigned long size, SavedFrame const* frame) {
    if (!isChecked(frame)) return;
    AllocHook const hook = installed.load(std::memory_order_acquire);
    if (hook == nullptr) return;
    KeepErrno const keep;
    unsigned long const request = requests.fetch_add(1, std::memory_order_relaxed) + 1;
    AllocCall call = {AllocOperation::Allocate,
                      p,
                      size,
                      BlockType::Normal,
                      request,
                      nullptr,
                      0,
                      0,
                      nullptr,
                      frame};
    hook(call);
    blocks().index.put(p, Block{request, size, call.record}, state.holdsLocks);
}

void freeing(void* p, SavedFrame const* frame) {
    AllocHook const hook = installed.load(std::memory_order_acquire);
    if (hook == nullptr) return;
    KeepErrno const keep;
    Block block = {0, 0, nullptr};
    blocks().index.take(p, block, state.holdsLocks);
    AllocCall call = {
        AllocOperation::Free,
        p,
        block.size,
        isChecked(frame) || block.request != 0 ? BlockType::Normal : BlockType::Ignore,
        block.request,
        nullptr,
        0,
        0,
        block.record,
        frame};
    hook(call);
}

HeapWatch::Moved moving(void* p) {
    Block block = {0, 0, nullptr};
    blocks().index.take(p, block, state.holdsLocks);
    return {block.record, block.request, block.size};
}

void moved(HeapWatch::Moved const& block, void* old, void* now, unsigned long size,
           SavedFrame const* frame) {
    KeepErrno const keep;
    if (now == nullptr) {
        if (block.number != 0)
            blocks().index.put(old, Block{block.number, block.size, block.what}, state.holdsLocks);
        return;
    }
    AllocHook const hook = installed.load(std::memory_order_acquire);
    if (hook == nullptr) return;
    bool const checked = isChecked(frame);
    if (!checked && block.number == 0) return;
    unsigned long const request = requests.fetch_add(1, std::memory_order_relaxed) + 1;
    AllocCall call = {AllocOperation::Reallocate,
                      now,
                      size,
                      checked ? BlockType::Normal : BlockType::Ignore,
                      request,
                      nullptr,
                      0,
                      block.number,
                      block.what,
                      frame};
    hook(call);
    if (checked) blocks().index.put(now, Block{request, size, call.record}, state.holdsLocks);
}

constexpr HeapWatch WATCH = {&allocated, &freeing, &moving, &moved};

void beforeFork() {
    blocks().index.lock();
    if (lockHook != nullptr) lockHook();
    state.holdsLocks = true;
}
void afterFork() {
    state.holdsLocks = false;
    if (unlockHook != nullptr) unlockHook();
    blocks().index.unlock();
}

template <class F>
F* find(char const* name) {
    return reinterpret_cast<F*>(dlsym(RTLD_DEFAULT, name));
}

}  // namespace

AllocHook setAllocHook(AllocHook hook, std::string& error) {
    static int const forked = aroundFork(&beforeFork, &afterFork);
    if (forked != 0) error = "no memory";
    auto* const watch = find<void(HeapWatch const*)>("zanmlc_watch_1");
    if (watch == nullptr)
        error = "libzanmlc.so is not loaded";
    else if (dlsym(RTLD_DEFAULT, "malloc") != dlsym(RTLD_DEFAULT, "zanmlc_malloc_1"))
        error = "the program has a malloc of its own";
    findLoader();
    AllocHook const before = installed.exchange(hook);
    if (before == nullptr) blocks().index.clear();
    if (watch != nullptr) watch(hook == nullptr ? nullptr : &WATCH);
    return before;
}

AllocHook allocHook() {
    return installed.load();
}

void forgetAllocHook() {
    if (auto* const watch = find<void(HeapWatch const*)>("zanmlc_watch_1")) watch(nullptr);
}

void beginUnchecked() {
    ++state.unchecked;
}
void endUnchecked() {
    --state.unchecked;
}

bool holdsHeapLocks() {
    return state.holdsLocks;
}

void aroundHeapFork(void (*lockAll)(), void (*unlockAll)()) {
    lockHook = lockAll;
    unlockHook = unlockAll;
}

}  // namespace zan::platform
