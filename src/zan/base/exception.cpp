#include "zan/base/exception.h"

#include <cstdlib>
#include <iomanip>
#include <ostream>
#include <sstream>

namespace zan {

bool nullHandleAbort = true;

Exception::Exception(char const* file, unsigned int line, char const* func, char const* name,
                     char const* msg)
    : name_(name != nullptr && *name != 0 ? name : "zan::Exception"),
      place_(file, line, func),
      stack_(detail::currentCallStack()),
      message_(msg) {}

Exception::~Exception() noexcept = default;

char const* Exception::what() const noexcept {
    if (report_.empty()) {
        try {
            std::ostringstream os;
            dump(os);
            report_ = os.str();
        } catch (...) {
            return msg();  // no memory for the whole report: the cause is the part that counts
        }
    }
    return report_.c_str();
}

void Exception::dump(std::ostream& os) const {
    os << "{\n"
       << " EXCEPTION: " << name_ << ' ' << message_ << place_.prefix("\n        AT: ")
       << "\nCALL STACK: " << stack_.separator("\n            ") << "\n}";
}

OutOfRangeException::~OutOfRangeException() noexcept = default;
EmptyDataException::~EmptyDataException() noexcept = default;
InvalidDataException::~InvalidDataException() noexcept = default;
UnsupportedFunctionException::~UnsupportedFunctionException() noexcept = default;
ToBeDoneException::~ToBeDoneException() noexcept = default;
NullPointerException::~NullPointerException() noexcept = default;
DuplicatedUnitException::~DuplicatedUnitException() noexcept = default;

NullHandleException::NullHandleException(char const* file, unsigned int line, char const* func)
    : Exception(file, line, func, "zan::NullHandleException", "") {
    if (nullHandleAbort) std::abort();
}

NullHandleException::~NullHandleException() noexcept = default;

QuitHandlerException::QuitHandlerException(char const* file, unsigned int line, char const* func)
    : Exception(file, line, func, "zan::QuitHandlerException", "") {}

QuitHandlerException::~QuitHandlerException() noexcept = default;

SE_Exception::SE_Exception(unsigned int number, unsigned long ebp, unsigned long eip)
    : number_(number), ebp_(ebp), eip_(eip) {
    if (number == 0) return;
    std::ostringstream os;
    os << std::hex << std::setfill('0') << "SE_Exception "
       << " 0x" << std::setw(8) << number << ", ebp = 0x" << std::setw(8) << ebp << ", eip = 0x"
       << std::setw(8) << eip;
    text_ = os.str();
}

SE_Exception::~SE_Exception() noexcept = default;

void SE_Exception::set_se_translator() {}

namespace detail {
void endProcess() {
    std::abort();
}
}  // namespace detail

}  // namespace zan

std::ostream& std::operator<<(std::ostream& os, std::exception const& e) {
    char const* const text = e.what();
    return os << (text != nullptr ? text : "<null>");
}
