#include "zan/platform/thread.h"

#include <limits.h>
#include <pthread.h>
#include <sched.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <mutex>
#include <new>

#include "zan/platform/crash.h"
#include "zan/platform/debug_heap.h"

namespace zan::platform {

// The record of a thread. It stays in memory as long as the thread runs or a handle refers to it.
struct ThreadState {
    // Who gives back the system's resources of the thread.
    enum class System {
        Foreign,    // not ours to give back
        Starting,   // start() has not got `thread` yet
        Unclaimed,  // the first join, or the close of the owning handle
        Joining,    // a thread that is in pthread_join right now
        Joined,     // done
        Detached    // the system itself, at the thread's end
    };

    explicit ThreadState(System initial, long initialReferences)
        : references(initialReferences), system(initial) {}

    std::atomic<long> references;
    std::atomic<unsigned int> id{0};
    std::atomic<bool> finished{false};  // set under the mutex

    std::mutex mutex;
    std::condition_variable changed;  // of `system`, `id` and `finished`
    System system;                    // guarded by the mutex
    pthread_t thread{};               // guarded likewise; good while Unclaimed or Joining

    void (*run)(void*) = nullptr;
    void* arg = nullptr;
};

namespace {

using System = ThreadState::System;

// A smaller stack than this does not carry a log line with its formatting and conversions.
constexpr unsigned long MIN_STACK = 64 * 1024;

struct Callback {
    Callback* next;
    void (*fn)(void*);
    void* arg;
};

// Trivial to construct and to destroy, so they are sound during the whole life of a thread, also
// while its other thread_local objects go. The access model saves a call for each access; the few
// bytes fit into what the loader keeps free for libraries that are loaded late.
#define ZAN_THREAD_WORD thread_local __attribute__((tls_model("initial-exec")))
ZAN_THREAD_WORD unsigned int ownId = 0;
ZAN_THREAD_WORD ThreadState* ownState = nullptr;
ZAN_THREAD_WORD Callback* callbacks = nullptr;
ZAN_THREAD_WORD bool armed = false;
#undef ZAN_THREAD_WORD

std::atomic<unsigned int> ownProcess{0};

void afterFork() {
    ownProcess.store(static_cast<unsigned int>(getpid()), std::memory_order_relaxed);
    ownId = static_cast<unsigned int>(gettid());
    if (ownState != nullptr) ownState->id.store(ownId, std::memory_order_relaxed);
}

void watchForks() {
    static bool const watching = pthread_atfork(nullptr, nullptr, &afterFork) == 0;
    (void)watching;  // without memory for it, only the child of a fork is worse off
}

void release(ThreadState* state) {
    if (state->references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete state;
}

// The destructor of our thread key. The system calls it again if a callback armed it anew.
void endOfThread(void*) {
    armed = false;
    while (callbacks != nullptr) {
        Callback* const last = callbacks;
        callbacks = last->next;
        last->fn(last->arg);
        delete last;
    }
    if (ThreadState* const state = ownState) {
        ownState = nullptr;
        {
            std::lock_guard<std::mutex> lock(state->mutex);
            state->finished.store(true, std::memory_order_release);
            state->changed.notify_all();
        }
        release(state);
    }
}

// Makes sure that endOfThread runs for this thread. 0 or the errno value.
int armEnd() {
    static pthread_key_t key;
    static int const failure = pthread_key_create(&key, &endOfThread);
    if (armed || failure != 0) return failure;
    int const error = pthread_setspecific(key, &key);
    armed = error == 0;
    return error;
}

void* entry(void* arg) {
    auto* const state = static_cast<ThreadState*>(arg);
    ownState = state;
    {
        std::lock_guard<std::mutex> lock(state->mutex);
        state->id.store(threadId(), std::memory_order_release);
        state->changed.notify_all();
    }
    prepareThreadForCrash();
    if (armEnd() == 0) {
        state->run(state->arg);
    } else {
        // start() has made the key, so only the room for its value can be lacking. The thread then
        // ends, for its handles, before its thread_local objects do.
        state->run(state->arg);
        endOfThread(nullptr);
    }
    return nullptr;
}

}  // namespace

unsigned int threadId() {
    if (__builtin_expect(ownId == 0, 0)) {
        watchForks();
        ownId = static_cast<unsigned int>(gettid());
    }
    return ownId;
}

unsigned int processId() {
    unsigned int id = ownProcess.load(std::memory_order_relaxed);
    if (__builtin_expect(id == 0, 0)) {
        watchForks();
        id = static_cast<unsigned int>(getpid());
        ownProcess.store(id, std::memory_order_relaxed);
    }
    return id;
}

void yieldThread() {
    sched_yield();
}

void sleepMilliSeconds(unsigned long milliSeconds) {
    if (milliSeconds == 0) return;
    int const saved = errno;
    timespec until = {};
    clock_gettime(CLOCK_MONOTONIC, &until);
    until.tv_sec += static_cast<time_t>(milliSeconds / 1000);
    until.tv_nsec += static_cast<long>(milliSeconds % 1000) * 1000000;
    if (until.tv_nsec >= 1000000000) {
        until.tv_nsec -= 1000000000;
        ++until.tv_sec;
    }
    // A point in time, not a span: signals then cost nothing.
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
    }
    errno = saved;
}

bool atThreadExit(void (*fn)(void*), void* arg) {
    UncheckedBlocks const lifelong;  // in a thread that doesn't end before the process
    auto* const callback = new (std::nothrow) Callback{callbacks, fn, arg};
    if (callback == nullptr) return false;
    if (armEnd() != 0) {
        delete callback;
        return false;
    }
    callbacks = callback;
    return true;
}

ThreadHandle::ThreadHandle(ThreadHandle&& other) noexcept
    : state_(other.state_), owns_(other.owns_) {
    other.state_ = nullptr;
    other.owns_ = false;
}

ThreadHandle& ThreadHandle::operator=(ThreadHandle&& other) noexcept {
    if (this != &other) {
        close();
        state_ = other.state_;
        owns_ = other.owns_;
        other.state_ = nullptr;
        other.owns_ = false;
    }
    return *this;
}

int ThreadHandle::start(void (*run)(void*), void* arg, unsigned long stackSize, ThreadHandle& out) {
    if (int const error = armEnd()) return error;
    pthread_attr_t attributes;
    if (int const error = pthread_attr_init(&attributes)) return error;
    int error = 0;
    if (stackSize != 0) {
        unsigned long const page = static_cast<unsigned long>(sysconf(_SC_PAGESIZE));
        // What the system needs at the least depends on the processor: a signal saves all of it.
        auto const needed = static_cast<unsigned long>(std::max(sysconf(_SC_THREAD_STACK_MIN), 0L));
        unsigned long const size = std::max({stackSize, MIN_STACK, needed});
        if (size > ~0UL - page)
            error = EINVAL;
        else
            error = pthread_attr_setstacksize(&attributes, (size + page - 1) / page * page);
    }
    // One reference for the handle, one for the thread.
    ThreadState* state = nullptr;
    if (error == 0) {
        state = new (std::nothrow) ThreadState(System::Starting, 2);
        if (state == nullptr) error = ENOMEM;
    }
    pthread_t thread{};
    if (error == 0) {
        state->run = run;
        state->arg = arg;
        error = pthread_create(&thread, &attributes, &entry, state);
        if (error != 0) delete state;
    }
    pthread_attr_destroy(&attributes);
    if (error != 0) return error;
    {
        std::unique_lock<std::mutex> lock(state->mutex);
        state->thread = thread;
        state->system = System::Unclaimed;
        state->changed.notify_all();
        state->changed.wait(lock, [state] { return state->id.load() != 0; });
    }
    out = ThreadHandle(state, true);
    return 0;
}

ThreadHandle ThreadHandle::current() {
    if (ownState == nullptr) {
        UncheckedBlocks const lifelong;  // in the main thread
        auto* const state = new ThreadState(System::Foreign, 1);
        state->id.store(threadId(), std::memory_order_relaxed);
        ownState = state;
        armEnd();  // if it fails, the thread counts as running for ever
    }
    ownState->references.fetch_add(1, std::memory_order_relaxed);
    return ThreadHandle(ownState, false);
}

ThreadHandle ThreadHandle::share() const noexcept {
    if (state_ != nullptr) state_->references.fetch_add(1, std::memory_order_relaxed);
    return ThreadHandle(state_, false);
}

unsigned int ThreadHandle::id() const noexcept {
    return state_ == nullptr ? 0 : state_->id.load(std::memory_order_acquire);
}

int ThreadHandle::join() const {
    ThreadState* const state = state_;
    if (state == nullptr) return EINVAL;
    if (state == ownState) return EDEADLK;
    std::unique_lock<std::mutex> lock(state->mutex);
    for (;;) {
        switch (state->system) {
            case System::Unclaimed: {
                state->system = System::Joining;
                lock.unlock();
                int const error = pthread_join(state->thread, nullptr);
                lock.lock();
                // With a joinable thread that is not this one it cannot fail; two threads that
                // join each other are the caller's deadlock, which the system may notice.
                state->system = error == 0 ? System::Joined : System::Unclaimed;
                state->changed.notify_all();
                return error;
            }
            case System::Joined:
                return 0;
            case System::Foreign:
            case System::Detached:
                if (state->finished.load(std::memory_order_relaxed)) return 0;
                break;
            case System::Starting:
            case System::Joining:
                break;
        }
        state->changed.wait(lock);
    }
}

bool ThreadHandle::alive() const noexcept {
    return state_ != nullptr && !state_->finished.load(std::memory_order_acquire);
}

void ThreadHandle::close() noexcept {
    if (state_ == nullptr) return;
    if (owns_) {
        std::lock_guard<std::mutex> lock(state_->mutex);
        if (state_->system == System::Unclaimed) {
            pthread_detach(state_->thread);
            state_->system = System::Detached;
            state_->changed.notify_all();
        }
    }
    release(state_);
    state_ = nullptr;
    owns_ = false;
}

}  // namespace zan::platform
