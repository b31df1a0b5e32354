#pragma once

#include <atomic>
#include <iosfwd>

#include "zan/base/base_type_string.h"
#include "zan/base/base_type_time.h"
#include "zan/log/log_dumper.h"
#include "zan/mt/handle.h"
#include "zan/mt/mutex.h"
#include "zan/mt/shared.h"

namespace zan {

namespace platform {
class ThreadHandle;
}

class SimpleThread;

// The kernel's id of a thread.
struct ThreadId {
    constexpr ThreadId(unsigned int v = 0) : value(v) {}
    constexpr operator unsigned int() const { return value; }
    unsigned int value;
};
// In four columns at least.
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, ThreadId const& id);
inline dumper& operator<<(dumper& d, ThreadId const& id) {
    return d << id.value;
}

// The system's handle of a thread, which the wrapper closes if it owns it. May hold none.
class ZAN_EXPORT WinHandleWrapper : public Shared {
public:
    WinHandleWrapper();
    ZAN_HIDDEN WinHandleWrapper(platform::ThreadHandle&& handle, bool own);
    WinHandleWrapper(WinHandleWrapper const&) = delete;
    WinHandleWrapper& operator=(WinHandleWrapper const&) = delete;
    ~WinHandleWrapper() override;
    // For the library's own use.
    platform::ThreadHandle& impl() const { return *handle_; }

private:
    std::unique_ptr<platform::ThreadHandle> handle_;
    bool own_;
};

// A view on a running thread, from inside or outside. Copies refer to the same thread.
//
// Threads: any. Several may join one thread.
class ZAN_EXPORT ThreadControl {
public:
    // The calling thread.
    ThreadControl();
    // For the library's own use.
    ThreadControl(Handle<WinHandleWrapper> const& handle, ThreadId id);
    ThreadControl(ThreadControl const& other);
    ThreadControl& operator=(ThreadControl const& other);

    ThreadId id() const { return id_; }
    // Waits without limit. Throws ThreadSyscallException, for instance on the calling thread.
    void join();
    // Has no effect: a thread goes on whether or not anybody holds a control.
    void detach() {}
    bool isAlive() const;

    static void sleep(Time const& t);
    static void yield();
    static ThreadControl current() { return ThreadControl(); }

private:
    Handle<WinHandleWrapper> handle() const;

    Mutex mutex_;
    Handle<WinHandleWrapper> handle_;
    ThreadId id_;
};

inline bool operator==(ThreadControl const& a, ThreadControl const& b) {
    return a.id() == b.id();
}
inline bool operator!=(ThreadControl const& a, ThreadControl const& b) {
    return a.id() != b.id();
}
inline bool operator<(ThreadControl const& a, ThreadControl const& b) {
    return a.id() < b.id();
}

// A thread that can be started once. It lives on the heap under handles; while it runs it holds one
// itself.
//
// Threads: any may call the public operations.
class ZAN_EXPORT Thread : public virtual Shared {
public:
    Thread();
    Thread(Thread const&) = delete;
    Thread& operator=(Thread const&) = delete;
    ~Thread() override;

    // `stackSize` in bytes; 0 is the system's default. Throws ThreadStartedException the second
    // time, and ThreadSyscallException where the system refuses; then it can be tried again.
    ThreadControl start(unsigned int stackSize = 0);
    bool started() const;
    // These throw ThreadNotStartedException before the start.
    ThreadControl getThreadControl() const;
    ThreadId id() const;

protected:
    virtual void run_i() = 0;

    std::atomic<bool> finished_{false};  // set when the thread is about to end

private:
    static void entry(void* self);

    bool started_ = false;
    Mutex mutex_;  // guards the fields around it
    Handle<WinHandleWrapper> handle_;
    ThreadId id_;
};

// Compare the ids of two started threads.
ZAN_EXPORT bool operator==(Thread const& a, Thread const& b);
ZAN_EXPORT bool operator!=(Thread const& a, Thread const& b);
ZAN_EXPORT bool operator<(Thread const& a, Thread const& b);

// Blocks the calling thread.
ZAN_EXPORT void sleep(unsigned long milliseconds);

// What the library knows of a thread that has logged: how it shows in lines, and the time of its
// last one. Written by its own thread alone.
class ZAN_EXPORT ThreadInfo {
public:
    // Null for a thread that no SimpleThread runs.
    SimpleThread* thread_ = nullptr;
    // "<pid.tid>", or "{pid.tid}" where a SimpleThread runs; four columns each.
    String sThreadId_;
    Time currDateTime_;
    String sCurrDateTime_;

    // Takes the present time and renders it.
    void updateDateTime();
    dumper& dump(dumper& d) const;
};
// The date and time, then the thread: the start of every log line.
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, ThreadInfo const& info);

// Streaming it into a dumper dumps the table of threads.
struct THREAD_FACTORY {};
ZAN_EXPORT dumper& operator<<(dumper& d, THREAD_FACTORY);

// Is told when a thread that it owns ends by itself. Must outlive its threads, or detach() them.
class ZAN_EXPORT ThreadOwner {
public:
    explicit ThreadOwner(char const* name = nullptr);
    virtual ~ThreadOwner();
    // Called in the ending thread.
    virtual void onThreadExit(Thread* thread) = 0;
    String const& ownername() const { return ownername_; }

private:
    String ownername_;
};

// The thread that all long-running services derive from, with one life cycle: birth, a loop of wait
// and work, death. A subclass overrides onWait and onWork, or onLoop alone with its own blocking,
// or run itself. The hooks must catch what they throw: nothing around them does.
//
//     class Beat : public zan::SimpleThread {
//         using SimpleThread::SimpleThread;
//         bool onWait() override { return wait(zan::Time::seconds(1)), true; }
//         void onWork() override { beat(); }
//     };
//     zan::Handle<Beat> beat(new Beat(nullptr, "beat"));
//     beat->startAndWait();
//     ...
//     beat->stop();
//
// Ownership: on the heap, held by Handle. A running thread holds handles to itself, so it outlives
//   the outside ones; the object goes with the last handle, which may be in the thread itself. The
//   owner is not owned.
// Threads: the hooks but onStop run in the new thread, onStop in the one that stops it; the rest
// may
//   be called by any thread. The monitor is never held while a hook runs.
class ZAN_EXPORT SimpleThread : public Thread {
public:
    SimpleThread(ThreadOwner* owner, char const* name);
    ~SimpleThread() override;

    // Starts, and returns when onBirth has finished in the new thread, whatever its result. A
    // subclass with a run() of its own calls notify() from there to let it return.
    void startAndWait(unsigned int stackSize = 0);
    // False when onBirth had not finished in time; the thread goes on in that case.
    bool startAndWait(Time timeout, unsigned int stackSize = 0);
    void startUntilInitialized(unsigned int stackSize = 0) { startAndWait(stackSize); }

    // Asks the loop to end, and does not wait. The call to use from inside the thread.
    void stopOnly();
    // Asks the loop to end and joins. The owner is not told.
    void stop();
    // False where the thread has not ended in time: it is given up, and goes on by itself.
    bool stop(Time timeout);
    // From the thread itself an assertion is reported, and it returns at once.
    void join();
    // Polls each 20 milliseconds, which is also the shortest time-out.
    bool join(Time timeout);
    // Ends the loop at its next test and wakes its wait.
    void livingEnd();
    // No owner is told of the exit; the thread goes on.
    void detach() { owner(nullptr); }
    bool activeStopping() const { return activeStopping_.load(std::memory_order_acquire); }

    // Inside the thread: block until notified; not at all once the loop is to end.
    void wait() const;
    // True when notified or when the loop is to end, false when the time ran out.
    bool wait(Time const& t) const;
    void notify();

    bool living() const { return living_.load(std::memory_order_acquire); }
    // Only false is expected; true throws InvalidDataException.
    void living(bool on);
    ThreadOwner* owner() const;
    void owner(ThreadOwner* owner);
    String const& name() const { return name_; }
    // The name, and from the thread's start on its id: "worker{1500.2044}".
    String const& fullname() const;
    String const& threadIdString() const { return info().sThreadId_; }
    Time currDateTime() const { return info().currDateTime_; }
    String const& currDateTimeString() const { return info().sCurrDateTime_; }
    // Throws ThreadNotStartedException before the start.
    ThreadInfo const& info() const;

    // The calling thread, whatever kind it is, with its time stamp refreshed.
    static ThreadInfo const& current();
    // Forgets the threads known so far; those that still run come back with their next line.
    static void destroyThreadFactory();

protected:
    void run_i() override;

public:
    virtual dumper& dump(dumper& d) const;

protected:
    virtual void run();
    // False skips the loop; onDeath runs all the same.
    virtual bool onBirth() { return true; }
    // False skips the work. A hook that goes on returning false must clear living, or the loop
    // spins.
    virtual bool onWait() { return true; }
    virtual void onWork();
    // False ends the loop.
    virtual bool onLoop() { return true; }
    virtual void onDeath() {}
    virtual void onStop() {}

private:
    ThreadInfo const& completeInfo() const;
    bool onBirth_i();
    bool onWait_i();
    void onWork_i();
    void onDeath_i();
    void onStop_i();
    void on_thread_exit();

    mutable Mutex ownerMutex_;
    ThreadOwner* owner_;
    Monitor monitor_;
    bool born_ = false;               // the monitor's lock; lets startAndWait return
    std::atomic<bool> inRun_{false};  // run() was entered
    String name_;
    String fullname_;
    std::atomic<bool> named_{false};  // fullname_ is complete
    std::atomic<bool> activeStopping_{false};
    mutable ThreadInfo info_;  // what other threads see; ownerMutex_ while it is made
    // Last, where it lies beside what a subclass needs in each pass of its loop.
    std::atomic<bool> living_{true};
};

// A thread that runs member functions of its owner, a `T` derived from ThreadOwner, without a class
// of its own. Members that stay null leave SimpleThread's behaviour. Set them before the start.
template <class T>
class OwnedThread : public SimpleThread {
public:
    OwnedThread(T* owner, char const* name) : SimpleThread(owner, name) {}

    bool (T::*onBirth_)() = nullptr;
    bool (T::*onWait_)() = nullptr;
    void (T::*onWork_)() = nullptr;
    bool (T::*onLoop_)() = nullptr;
    void (T::*onDeath_)() = nullptr;
    void (T::*onStop_)() = nullptr;
    void (T::*run_)() = nullptr;

protected:
    bool onBirth() override {
        T* const t = target();
        return onBirth_ && t ? (t->*onBirth_)() : SimpleThread::onBirth();
    }
    bool onWait() override {
        T* const t = target();
        return onWait_ && t ? (t->*onWait_)() : SimpleThread::onWait();
    }
    void onWork() override {
        T* const t = target();
        if (onWork_ && t)
            (t->*onWork_)();
        else
            SimpleThread::onWork();
    }
    bool onLoop() override {
        T* const t = target();
        return onLoop_ && t ? (t->*onLoop_)() : SimpleThread::onLoop();
    }
    void onDeath() override {
        T* const t = target();
        if (onDeath_ && t)
            (t->*onDeath_)();
        else
            SimpleThread::onDeath();
    }
    void onStop() override {
        T* const t = target();
        if (onStop_ && t)
            (t->*onStop_)();
        else
            SimpleThread::onStop();
    }
    void run() override {
        T* const t = target();
        if (run_ && t)
            (t->*run_)();
        else
            SimpleThread::run();
    }

private:
    // Null once the thread was detached.
    T* target() const { return static_cast<T*>(owner()); }
};

// For programs that come from platforms with single- and multi-threaded component apartments. There
// is no counterpart here: they run as a SimpleThread does.
class ZAN_EXPORT STAThread : public SimpleThread {
public:
    using SimpleThread::SimpleThread;

protected:
    void run_i() override;
};

// As STAThread.
class ZAN_EXPORT MTAThread : public SimpleThread {
public:
    using SimpleThread::SimpleThread;

protected:
    void run_i() override;
};

}  // namespace zan
