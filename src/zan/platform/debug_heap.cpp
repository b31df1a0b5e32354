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

// Nothing of it has to be made or destroyed: blocks are freed up to the last moment of the process.
BlockIndex blocks;

std::atomic<AllocHook> installed{nullptr};
std::atomic<unsigned long> sessions{0};  // of a hook or more
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

unsigned long nextRequest() {
    return requests.fetch_add(1, std::memory_order_relaxed) + 1;
}

bool isChecked(SavedFrame const* frame) {
    return state.unchecked == 0 && !isLoader(frame->returnAddress);
}

// A block that is entered after the hook has ended is no matter of the next one. One that the index
// has no memory for is given up: its end could not be told.
void enter(void* p, BlockRecord record, unsigned long session, SavedFrame const* frame) {
    if (record == 0) return;
    bool const isKnown = blocks.put(p, record);
    if (sessions.load() != session) {
        blocks.take(p);
    } else if (AllocHook const hook = installed.load(); !isKnown && hook != nullptr) {
        AllocCall call = {
            AllocOperation::Free, p, 0, BlockType::Ignore, 0, nullptr, 0, record, frame};
        hook(call);
    }
}

void allocated(void* p, unsigned long size, SavedFrame const* frame) {
    if (!isChecked(frame)) return;
    KeepErrno const keep;
    unsigned long const session = sessions.load();
    AllocHook const hook = installed.load(std::memory_order_acquire);
    if (hook == nullptr) return;
    AllocCall call = {
        AllocOperation::Allocate, p, size, BlockType::Normal, nextRequest(), nullptr, 0, 0, frame};
    hook(call);
    enter(p, call.record, session, frame);
}

HeapWatch::Moved moving(void* p) {
    return {blocks.take(p), sessions.load()};
}

void freed(HeapWatch::Moved const& block, void* p, SavedFrame const* frame) {
    AllocHook const hook = installed.load(std::memory_order_acquire);
    if (hook == nullptr) return;
    KeepErrno const keep;
    bool const checked = block.record != 0 || isChecked(frame);
    AllocCall call = {AllocOperation::Free,
                      p,
                      0,
                      checked ? BlockType::Normal : BlockType::Ignore,
                      0,
                      nullptr,
                      0,
                      block.record,
                      frame};
    hook(call);
}

void moved(HeapWatch::Moved const& block, void* old, void* now, unsigned long size,
           SavedFrame const* frame) {
    KeepErrno const keep;
    if (now == nullptr) return enter(old, block.record, block.session, frame);
    AllocHook const hook = installed.load(std::memory_order_acquire);
    bool const checked = isChecked(frame);
    if (hook == nullptr || (!checked && block.record == 0)) return;
    AllocCall call = {AllocOperation::Reallocate,
                      now,
                      size,
                      checked ? BlockType::Normal : BlockType::Ignore,
                      nextRequest(),
                      nullptr,
                      0,
                      block.record,
                      frame};
    hook(call);
    enter(now, call.record, block.session, frame);
}

constexpr HeapWatch WATCH = {&allocated, &moving, &freed, &moved};

void beforeFork() {
    if (lockHook != nullptr) lockHook();
    state.holdsLocks = true;
}
void afterFork() {
    state.holdsLocks = false;
    if (unlockHook != nullptr) unlockHook();
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
    if (installed.load() == nullptr) {
        ++sessions;
        blocks.clear();
    }
    AllocHook const before = installed.exchange(hook);
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
bool isUnchecked() {
    return state.unchecked != 0;
}

bool holdsHeapLocks() {
    return state.holdsLocks;
}

void aroundHeapFork(void (*lockAll)(), void (*unlockAll)()) {
    lockHook = lockAll;
    unlockHook = unlockAll;
}

}  // namespace zan::platform
