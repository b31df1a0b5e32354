#pragma once

#include <exception>
#include <iosfwd>
#include <string>

#include "zan/base/call_stack.h"
#include "zan/base/report.h"

namespace zan {

// Base of the exceptions of the library: the cause, the source place of the throw, and a copy of
// the throwing thread's call stack, so that a handler far away can still say where and on which
// path it arose. A throw goes through ZAN_USER_THROW_MSG, which writes the same facts to the log.
//
// Threads: an exception belongs to the thread that handles it; what() builds its text at the first
// call and must not run twice at once on one object.
class ZAN_EXPORT Exception : public std::exception {
public:
    // A null or empty `name` becomes "zan::Exception". REQUIRES: `msg` is not null.
    Exception(char const* file, unsigned int line, char const* func, char const* name,
              char const* msg);
    Exception(Exception const&) = default;
    Exception& operator=(Exception const&) = default;
    ~Exception() noexcept override;

    // The text of dump(), kept from the first call on; valid as long as the object.
    char const* what() const noexcept override;
    virtual void dump(std::ostream& os) const;

    char const* file() const { return place_.file(); }
    unsigned int line() const { return place_.line(); }
    char const* func() const { return place_.func(); }
    char const* name() const { return name_.c_str(); }
    // The cause.
    char const* msg() const { return message_.c_str(); }
    Current const& info() const { return place_; }
    CallStack const& stack() const { return stack_; }

private:
    std::string name_;
    Current place_;
    CallStack stack_;
    std::string message_;
    mutable std::string report_;
};

// Writes what() of any exception, "<null>" where that is null.
}  // namespace zan
namespace std {
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, std::exception const& e);
}
namespace zan {

#define ZAN_DEFINE_EXCEPTION(Name, text)                                             \
    struct ZAN_EXPORT Name : Exception {                                             \
        Name(char const* file, unsigned int line, char const* func, char const* msg) \
            : Exception(file, line, func, text, msg) {}                              \
        ~Name() noexcept override;                                                   \
    }

ZAN_DEFINE_EXCEPTION(OutOfRangeException, "zan::OutOfRangeException");
ZAN_DEFINE_EXCEPTION(EmptyDataException, "zan::EmptyDataException");
ZAN_DEFINE_EXCEPTION(InvalidDataException, "zan::InvalidDataException");
ZAN_DEFINE_EXCEPTION(UnsupportedFunctionException, "zan::UnsupportedFunctionException");
ZAN_DEFINE_EXCEPTION(ToBeDoneException, "zan::ToBeDoneException");
ZAN_DEFINE_EXCEPTION(NullPointerException, "zan::NullPointerException");
ZAN_DEFINE_EXCEPTION(DuplicatedUnitException, "zan::DuplicatedUnitException");

#undef ZAN_DEFINE_EXCEPTION

// While true, which it is at the start, building a NullHandleException aborts the process, so that
// a null handle stops at the place of the fault. Set it to false to have the exception thrown.
extern ZAN_EXPORT bool nullHandleAbort;

// A Handle without an object was used as if it had one.
struct ZAN_EXPORT NullHandleException : Exception {
    NullHandleException(char const* file, unsigned int line, char const* func);
    ~NullHandleException() noexcept override;
};

// Nothing in the library throws it; it is for an application's quit handler.
struct ZAN_EXPORT QuitHandlerException : Exception {
    QuitHandlerException(char const* file, unsigned int line, char const* func);
    ~QuitHandlerException() noexcept override;
};

// A fault of the processor as an exception. This platform has no structured exceptions: the library
// never throws it, and set_se_translator() does nothing.
class ZAN_EXPORT SE_Exception : public std::exception {
public:
    explicit SE_Exception(unsigned int number = 0, unsigned long ebp = 0, unsigned long eip = 0);
    ~SE_Exception() noexcept override;

    unsigned int getSeNumber() const { return number_; }
    // Frame and instruction pointer at the fault.
    unsigned long getEbp() const { return ebp_; }
    unsigned long getEip() const { return eip_; }
    // Empty where the number is 0.
    char const* what() const noexcept override { return text_.c_str(); }

    static void set_se_translator();

private:
    unsigned int number_;
    unsigned long ebp_;
    unsigned long eip_;
    std::string text_;
};

}  // namespace zan
