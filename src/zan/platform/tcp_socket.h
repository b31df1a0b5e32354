#pragma once

namespace zan::platform {

// What sockets need beyond ACE: waking a thread that blocks on one.

// Ends both directions of a connected or listening socket. A thread that reads from it gets end
// of stream at once, one that writes an error, one that accepts an error; closing the descriptor
// alone wakes none of them. The descriptor stays open. Harmless on a socket that is not connected.
void shutdownSocket(int handle) noexcept;

// A descriptor that becomes readable when it is told to, for a thread that waits for sockets.
//
// Ownership: the descriptor is the object's own, and is not inherited by a program that this one
//   starts.
// Threads: wake() from any thread and from signal handlers; the object must outlive the call.
// Errors: where the system has no descriptor left, valid() is false, handle() is -1 and error()
//   is the errno value; wake() and reset() then do nothing.
class Waker {
public:
    Waker() noexcept;
    ~Waker();

    // Not copyable: a descriptor has one owner.
    Waker(Waker const&) = delete;
    Waker& operator=(Waker const&) = delete;

    bool valid() const noexcept { return handle_ != -1; }
    int error() const noexcept { return error_; }

    // Put it into the set of descriptors to read from. Never read from it directly.
    int handle() const noexcept { return handle_; }

    // Makes the descriptor readable until reset(). A wake() before the wait is not lost.
    void wake() noexcept;

    // Makes it unreadable again, however many wake() came before.
    void reset() noexcept;

private:
    int handle_ = -1;
    int error_ = 0;
};

enum class Waited {
    Ready,  // the socket can be read, or reading reports its end or error at once
    Woken,  // the waker was told to; this goes before Ready
    TimedOut,
    Failed  // errno says why
};

// Waits until the socket can be read or the waker is woken. Not bound by the highest number that
// a select set holds. Signals do not end the wait.
// A negative time-out waits without limit, 0 only looks.
Waited waitReadable(int handle, Waker const& waker, long long timeoutMilliSeconds) noexcept;

}  // namespace zan::platform
