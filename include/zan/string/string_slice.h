#pragma once

#include "zan/base/base_type_bytes.h"
#include "zan/base/base_type_string.h"

namespace zan {

class Byte;
class dumper;

// A reading cursor on memory that somebody else owns.
//
//     StringSlice s("a,b");
//     s.readUntil(",");  // "a"
//     s.readUntil(",");  // "b", and s.eof()
//
// Ownership: none; the memory must outlive the slice and the views that it hands out.
// Threads: one at a time.
// Errors: moving past the end throws OutOfRangeException; the operations that give a view or a
//   count cut to what is there.
class ZAN_EXPORT StringSlice {
public:
    StringSlice() = default;
    StringSlice(char const* s) : StringSlice(istr(s)) {}
    StringSlice(unsigned char const* s) : StringSlice(istr(s)) {}
    StringSlice(istr const& s) : StringSlice(s.data(), s.size(), 0) {}
    StringSlice(std::string const& s) : StringSlice(s.data(), s.size(), 0) {}
    StringSlice(String const& s) : StringSlice(s.data(), s.size(), 0) {}
    // REQUIRES: cursor <= size. Not checked.
    StringSlice(unsigned char const* p, unsigned long size, unsigned long cursor)
        : addr_(p), size_(size), cursor_(cursor) {}
    StringSlice(char const* p, unsigned long size, unsigned long cursor)
        : StringSlice(reinterpret_cast<unsigned char const*>(p), size, cursor) {}
    StringSlice& assign(char const* p, unsigned long size, unsigned long cursor) {
        return *this = StringSlice(p, size, cursor);
    }
    StringSlice& assign(unsigned char const* p, unsigned long size, unsigned long cursor) {
        return *this = StringSlice(p, size, cursor);
    }

    // The whole slice, not the part left.
    operator istr() const { return istr(addr_, size_); }

    // REQUIRES: not eof().
    unsigned char operator*() const { return addr_[cursor_]; }
    unsigned char const* current() const { return addr_ + cursor_; }
    StringSlice& operator++() { return advance(1); }
    StringSlice operator++(int) {
        StringSlice const old(*this);
        advance(1);
        return old;
    }
    // Past the end OutOfRangeException, and the cursor stays.
    StringSlice& advance(unsigned long n);
    StringSlice& rewind(unsigned long pos = 0);

    unsigned long left() const { return size_ - cursor_; }
    unsigned long cursor() const { return cursor_; }
    bool eof() const { return cursor_ == size_; }
    unsigned long size() const { return size_; }
    unsigned char const* data() const { return addr_; }
    char const* c_str() const { return reinterpret_cast<char const*>(addr_); }
    bool empty() const { return addr_ == nullptr || size_ == 0; }

    // Whether `x` stands at the cursor, which stays. Compared as text: a zero byte ends it.
    bool match(istr const& x) const;
    // The next `n` bytes, or those that are left, and steps over them.
    istr next(unsigned long n) {
        if (n > left()) n = left();
        istr const view(addr_ + cursor_, n);
        cursor_ += n;
        return view;
    }
    // Copies at most `n` bytes; `n` becomes their number.
    StringSlice& read(unsigned char* dest, unsigned long& n);
    // One byte each; at the end OutOfRangeException.
    StringSlice& operator>>(char& c);
    StringSlice& operator>>(unsigned char& c);
    StringSlice& operator>>(Byte& b);
    // A byte cut by a mask: slice >> ByteRef(target, mask).
    StringSlice& operator>>(ByteRef const& manipulator) { return manipulator(*this); }

    istr readAllLeft() { return next(left()); }
    // What stands before `delim`, and steps over both; where there is none, all that is left.
    istr readUntil(istr const& delim);
    // Steps over `delim`. False, with the cursor at the end, where there is none.
    bool skipTo(istr const& delim);
    // A new slice, cut to what is there; positions count from the start of this one.
    StringSlice substr(unsigned long pos, unsigned long n = npos) const {
        return StringSlice(istr(*this).substr(pos, n));
    }

    // Slices that begin at the same byte are equal, whatever their sizes: istr::compare is the one
    // that looks at both. A null slice sorts first. The cursors play no part.
    int compare(StringSlice const& other) const;

    unsigned char const& at(unsigned long i) const { return CharAt(addr_, size_, i); }
    unsigned char const& operator[](unsigned long i) const { return addr_[i]; }

    dumper& dump(dumper& d) const;

private:
    // The number of bytes from the cursor to `delim`, npos where there is none.
    unsigned long find(istr const& delim) const;

    unsigned char const* addr_ = nullptr;
    unsigned long size_ = 0;
    unsigned long cursor_ = 0;
};

inline bool operator==(StringSlice const& a, StringSlice const& b) {
    return a.compare(b) == 0;
}
inline bool operator!=(StringSlice const& a, StringSlice const& b) {
    return a.compare(b) != 0;
}
inline bool operator<(StringSlice const& a, StringSlice const& b) {
    return a.compare(b) < 0;
}
inline bool operator<=(StringSlice const& a, StringSlice const& b) {
    return a.compare(b) <= 0;
}
inline bool operator>(StringSlice const& a, StringSlice const& b) {
    return a.compare(b) > 0;
}
inline bool operator>=(StringSlice const& a, StringSlice const& b) {
    return a.compare(b) >= 0;
}

}  // namespace zan
