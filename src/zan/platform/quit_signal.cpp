#include "zan/platform/quit_signal.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <mutex>

#include "zan/platform/debug_heap.h"
#include "zan/platform/thread.h"

namespace zan::platform {

namespace {

constexpr int SIGNALS[] = {SIGINT, SIGTERM};
constexpr unsigned long SIGNAL_COUNT = sizeof SIGNALS / sizeof SIGNALS[0];

// What the handler sends through the pipe. It is below PIPE_BUF, so it goes whole or not at all.
struct Notice {
    unsigned char signal;
    unsigned char round;
};

// All that the handler may touch. The pipe is never closed: a handler may be about to write to it
// at any time, and a number closed is soon another file.
std::atomic<int> noticeEnd{-1};
std::atomic<int> owner{0};            // the process that delivers
std::atomic<unsigned char> round{0};  // tells notices of this install from those left by the last

struct Service {
    std::mutex mutex;
    std::condition_variable idle;
    void (*callback)(int) = nullptr;  // null while not installed
    struct sigaction before[SIGNAL_COUNT] = {};
    int readEnd = -1;
    unsigned int deliverer = 0;  // the thread that calls the callbacks
    unsigned long calls = 0;     // begun
    bool calling = false;
};

// Never destroyed: the delivering thread lives until the process ends.
Service& service() {
    static Service& instance = []() -> Service& {
        UncheckedBlocks const lifelong;
        return *new Service;
    }();
    return instance;
}

void onSignal(int number) {
    int const saved = errno;
    if (getpid() != owner.load(std::memory_order_relaxed)) {
        // A child of a fork: as if nothing had been installed.
        signal(number, SIG_DFL);
        raise(number);
    } else {
        Notice const notice = {static_cast<unsigned char>(number),
                               round.load(std::memory_order_relaxed)};
        // Nothing to be done if the pipe is full: thousands are waiting to be seen already.
        (void)!write(noticeEnd.load(std::memory_order_relaxed), &notice, sizeof notice);
    }
    errno = saved;
}

void deliver(void*) {
    Service& s = service();
    int const from = s.readEnd;
    for (;;) {
        Notice notice;
        ssize_t const n = read(from, &notice, sizeof notice);
        if (n < 0 && errno == EINTR) continue;
        if (n != sizeof notice) return;
        std::unique_lock<std::mutex> lock(s.mutex);
        s.deliverer = threadId();
        void (*const callback)(int) = s.callback;
        if (callback == nullptr || notice.round != round.load(std::memory_order_relaxed)) continue;
        s.calling = true;
        ++s.calls;
        lock.unlock();
        callback(notice.signal);
        lock.lock();
        s.calling = false;
        s.idle.notify_all();
    }
}

// The pipe and the thread at its end, once for each process.
int prepare(Service& s) {
    int const process = getpid();
    if (owner.load() == process) return 0;
    UncheckedBlocks const lifelong;
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return errno;
    ThreadHandle thread;
    s.readEnd = ends[0];
    int error = fcntl(ends[1], F_SETFL, O_NONBLOCK) != 0 ? errno : 0;
    if (error == 0) error = ThreadHandle::start(&deliver, nullptr, 0, thread);
    if (error != 0) {
        close(ends[0]);
        close(ends[1]);
        return error;
    }
    // In the child of a fork the parent's pipe stays open: it is the parent's.
    s.calling = false;
    noticeEnd.store(ends[1]);
    owner.store(process);
    return 0;
}

bool isOurs(struct sigaction const& action) {
    return action.sa_handler == &onSignal;
}

}  // namespace

int installQuitSignals(void (*callback)(int)) {
    if (callback == nullptr) return EINVAL;
    Service& s = service();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (int const error = prepare(s)) return error;
    if (s.callback == nullptr) {
        round.fetch_add(1, std::memory_order_relaxed);
        // Set before the handlers, as a signal may come between them.
        s.callback = callback;
        struct sigaction action = {};
        action.sa_handler = &onSignal;
        action.sa_flags = SA_RESTART;
        sigemptyset(&action.sa_mask);
        for (unsigned long i = 0; i < SIGNAL_COUNT; ++i) {
            struct sigaction before;
            sigaction(SIGNALS[i], &action, &before);
            // In the child of a fork the handlers are in place, with the parent's memory of what
            // was there before.
            if (!isOurs(before)) s.before[i] = before;
        }
    }
    s.callback = callback;
    return 0;
}

void uninstallQuitSignals() {
    Service& s = service();
    std::unique_lock<std::mutex> lock(s.mutex);
    if (s.callback == nullptr) return;
    for (unsigned long i = 0; i < SIGNAL_COUNT; ++i) {
        struct sigaction now;
        sigaction(SIGNALS[i], nullptr, &now);
        if (isOurs(now)) sigaction(SIGNALS[i], &s.before[i], nullptr);
    }
    s.callback = nullptr;
    // The child of a fork may have the memory of a call that only the parent makes.
    if (!s.calling || s.deliverer == threadId() || owner.load() != getpid()) return;
    unsigned long const call = s.calls;
    s.idle.wait(lock, [&s, call] { return !s.calling || s.calls != call; });
}

}  // namespace zan::platform
