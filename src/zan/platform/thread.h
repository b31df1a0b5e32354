#pragma once

namespace zan::platform {

// The kernel's id of the calling thread and of the process. Both are cached, cost about a
// nanosecond, and are right in the child after a fork.
unsigned int threadId();
unsigned int processId();

// Gives up the rest of the time slice.
void yieldThread();

// Blocks for the time given, also when signals arrive meanwhile. 0 returns at once.
void sleepMilliSeconds(unsigned long milliSeconds);

// Has `fn(arg)` called at the end of the calling thread, whoever created it: after the
// destructors of its thread_local objects, in the reverse order of the calls. A callback may
// register another, and may use a service that registers one.
// The end of the process is no end of a thread: for the main thread nothing is called, unless
// it leaves by pthread_exit.
// False if memory or the system's thread keys have run out; `fn` is not called then.
bool atThreadExit(void (*fn)(void*), void* arg);

struct ThreadState;

// A hold on a thread: one that start() created, or the calling one.
//
//     ThreadHandle thread;
//     if (int error = ThreadHandle::start(&run, argument, 0, thread)) ...
//     thread.join();
//
// Ownership: the handle from start() owns the system's resources of the thread. They are given
//   back exactly once: by the first join, or, where nobody has joined, when the thread ends
//   after the owner was closed. Handles from current() and share() own nothing. All of them
//   keep the small record of the thread in memory, so asking about a thread that has ended is
//   always sound.
// Threads: the const operations may be called by several threads at once, also join(). Moving,
//   assigning and closing belong to one thread, with no other one using the same handle object.
// Errors: as said at each operation, as errno values; nothing throws but std::bad_alloc in
//   current().
// Limits: in the child of a fork only the forking thread exists; handles of the others are of
//   no use there.
class ThreadHandle {
public:
    // Refers to no thread.
    ThreadHandle() noexcept = default;
    ~ThreadHandle() { close(); }

    ThreadHandle(ThreadHandle&& other) noexcept;
    ThreadHandle& operator=(ThreadHandle&& other) noexcept;

    // Not copyable: there is one owner. A further reference comes from share().
    ThreadHandle(ThreadHandle const&) = delete;
    ThreadHandle& operator=(ThreadHandle const&) = delete;

    // Starts a thread that runs `run(arg)` and puts the owning handle into `out`, closing what it
    // held. When this returns the thread runs and its id is known, but `run` may not have begun.
    // A `stackSize` of 0 stands for the system's default; sizes below 64 KiB are raised to that,
    // since a thread that only writes a log line takes a good part of it.
    // An exception that leaves `run` ends the process.
    // Returns 0, or the errno value; then `out` is unchanged and `arg` was not used.
    static int start(void (*run)(void*), void* arg, unsigned long stackSize, ThreadHandle& out);

    // The calling thread, whoever created it, also the main thread. Owns nothing.
    static ThreadHandle current();

    // A reference to the same thread that owns nothing.
    ThreadHandle share() const noexcept;

    bool valid() const noexcept { return state_ != nullptr; }
    bool owns() const noexcept { return owns_; }

    // The kernel's id of the thread, 0 without a thread. It stays after the thread's end, when the
    // system may give the number to another one.
    unsigned int id() const noexcept;

    // Waits, with no limit, until the thread has ended; everything it did is visible afterwards.
    // Returns at once if it has ended already. Joining a thread through an owning handle, or while
    // an owning handle is open, also waits for the last of its system resources.
    // Returns 0, EDEADLK for the calling thread itself, EINVAL without a thread.
    int join() const;

    // Whether the thread still runs: true until its callbacks of atThreadExit() have run.
    bool alive() const noexcept;

    // Gives the thread up: it goes on, and its resources go when it ends. The handle then refers
    // to no thread.
    void close() noexcept;

private:
    ThreadHandle(ThreadState* state, bool owns) noexcept : state_(state), owns_(owns) {}

    ThreadState* state_ = nullptr;  // counted
    bool owns_ = false;
};

}  // namespace zan::platform
