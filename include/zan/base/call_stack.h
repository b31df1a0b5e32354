#pragma once

#include <deque>
#include <iosfwd>
#include <memory>
#include <stack>
#include <string>

#include "zan/base/base_type_view.h"

namespace zan {

// A std::stack that gives access to its container.
template <class T, class Container = std::deque<T>>
class stack : public std::stack<T, Container> {
public:
    using std::stack<T, Container>::stack;
    Container& container() { return this->c; }
    Container const& container() const { return this->c; }
};

// One source place: file, line, function.
//
// Ownership: the texts are not owned and must outlive the object; those of __FILE__ and ZAN_FUNC
// always do. Threads: a plain value; prefix() writes.
class ZAN_EXPORT Current {
public:
    Current() = default;
    Current(char const* file, unsigned int line, char const* func)
        : file_(file), func_(func), line_(line) {}
    Current(Current const& other);
    Current(Current&& other) noexcept = default;
    Current& operator=(Current const& other);
    Current& operator=(Current&& other) noexcept = default;
    ~Current() = default;

    // Null in a default-built object.
    char const* file() const { return file_; }
    unsigned int line() const { return line_; }
    char const* func() const { return func_; }

    // Text put ahead of the place when it is printed.
    Current const& prefix(char const* text) const;
    istr prefix() const { return prefix_ ? istr(*prefix_) : istr("", 0ul); }

private:
    char const* file_ = nullptr;
    char const* func_ = nullptr;
    // Most places are pushed and popped and never printed, so the prefix takes memory only when it
    // is set.
    mutable std::unique_ptr<std::string> prefix_;
    unsigned int line_ = 0;
};

// By file, then line, then function.
ZAN_EXPORT bool operator<(Current const& a, Current const& b);

// The function, then "(file:line)"; with a prefix, broken onto a second line at column 118.
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, Current const& place);

// A thread's stack of source places. Copyable; the copy is independent.
class ZAN_EXPORT CallStack {
public:
    using Frames = stack<Current, std::deque<Current>>;

    Frames& container() { return frames_; }
    Frames const& container() const { return frames_; }

    // Stands ahead of each entry but the first when the stack is printed; initially a line feed.
    CallStack const& separator(char const* text) const {
        separator_ = text;
        return *this;
    }
    istr separator() const { return separator_; }

private:
    Frames frames_;
    mutable std::string separator_ = "\n";
};

// From the innermost to the outermost. Sets the separator as the prefix of each entry but the
// first.
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, CallStack const& calls);

namespace detail {
// The calling thread's own stack; made at the first call.
ZAN_EXPORT CallStack& currentCallStack();
}  // namespace detail

}  // namespace zan
