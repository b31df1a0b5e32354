#include "zan/mt/threadexception.h"

#include <ostream>

#include "zan/platform/last_error.h"

namespace zan {

ThreadSyscallException::ThreadSyscallException(char const* file, unsigned int line,
                                               char const* func, int error)
    : Exception(file, line, func, "zan::ThreadSyscallException", ""), error_(error) {}

ThreadSyscallException::~ThreadSyscallException() noexcept = default;

void ThreadSyscallException::dump(std::ostream& os) const {
    Exception::dump(os);
    if (error_ == 0) return;
    char const* const text = platform::errorDescription(error_);
    os << ":\nthread syscall exception: " << (text != nullptr ? text : "unknown thread error");
}

ThreadLockedException::ThreadLockedException(char const* file, unsigned int line, char const* func)
    : Exception(file, line, func, "zan::ThreadLockedException", "") {}

ThreadLockedException::~ThreadLockedException() noexcept = default;

ThreadStartedException::ThreadStartedException(char const* file, unsigned int line,
                                               char const* func)
    : Exception(file, line, func, "zan::ThreadStartedException", "") {}

ThreadStartedException::~ThreadStartedException() noexcept = default;

ThreadNotStartedException::ThreadNotStartedException(char const* file, unsigned int line,
                                                     char const* func)
    : Exception(file, line, func, "zan::ThreadNotStartedException", "") {}

ThreadNotStartedException::~ThreadNotStartedException() noexcept = default;

DeadlockException::DeadlockException(char const* file, unsigned int line, char const* func)
    : Exception(file, line, func, "zan::DeadlockException", "") {}

DeadlockException::~DeadlockException() noexcept = default;

}  // namespace zan
