#pragma once

#include "zan/base/exception.h"

namespace zan {

// A failing call of the system about threads or clocks.
struct ZAN_EXPORT ThreadSyscallException : Exception {
    ThreadSyscallException(char const* file, unsigned int line, char const* func, int error);
    ~ThreadSyscallException() noexcept override;
    // Adds the system's message where the error is not 0.
    void dump(std::ostream& os) const override;
    // The errno value.
    int error() const { return error_; }

private:
    int error_;
};

// Nothing in the library throws it; it is for applications.
struct ZAN_EXPORT ThreadLockedException : Exception {
    ThreadLockedException(char const* file, unsigned int line, char const* func);
    ~ThreadLockedException() noexcept override;
};

// Thread::start on a thread that was started before.
struct ZAN_EXPORT ThreadStartedException : Exception {
    ThreadStartedException(char const* file, unsigned int line, char const* func);
    ~ThreadStartedException() noexcept override;
};

// A question that only a started thread can answer.
struct ZAN_EXPORT ThreadNotStartedException : Exception {
    ThreadNotStartedException(char const* file, unsigned int line, char const* func);
    ~ThreadNotStartedException() noexcept override;
};

// Nothing in the library throws it; it is for applications.
struct ZAN_EXPORT DeadlockException : Exception {
    DeadlockException(char const* file, unsigned int line, char const* func);
    ~DeadlockException() noexcept override;
};

}  // namespace zan
