#pragma once

#include "zan/base/base_type_bytes.h"
#include "zan/base/base_type_view.h"

namespace zan {

class Byte;
class dumper;

// A writing cursor on memory that somebody else owns. It never grows. Text stays terminated while
// it is shorter than the capacity; a full ref has no terminator.
//
// Ownership: none; the memory must outlive the ref. A copy writes into the same memory.
// Threads: one at a time.
// Errors: append() reports an overflow and cuts; moving past the end throws OutOfRangeException.
class ZAN_EXPORT StringRef {
public:
    StringRef() = default;
    StringRef(ostr& o) : StringRef(o.buffer(), o.max_size()) {}
    StringRef(Bytes& b) : StringRef(b.buffer(), b.max_size()) {}
    StringRef(unsigned char* p, unsigned long max, unsigned long cur = 0)
        : buffer_(p), curSize_(cur), maxSize_(max) {}
    StringRef(char* p, unsigned long max, unsigned long cur = 0)
        : StringRef(reinterpret_cast<unsigned char*>(p), max, cur) {}
    StringRef(StringRef const&) = default;
    // Rebinds to the other memory.
    StringRef& operator=(StringRef const&) = default;

    // From the start of the memory.
    StringRef& assign(char const* p, unsigned long n) {
        curSize_ = 0;
        return append(p, n);
    }
    StringRef& assign(unsigned char const* p, unsigned long n) {
        return assign(reinterpret_cast<char const*>(p), n);
    }
    StringRef& operator=(istr const& s) { return assign(s.data(), s.size()); }

    // With `n` of ~0UL, up to the terminator. What does not fit is reported and left out.
    StringRef& append(char const* p, unsigned long n);
    StringRef& append(unsigned char const* p, unsigned long n) {
        return append(reinterpret_cast<char const*>(p), n);
    }
    StringRef& append(unsigned char c) { return append(&c, 1); }
    StringRef& operator+=(unsigned char c) { return append(c); }
    StringRef& operator+=(istr const& s) { return append(s.data(), s.size()); }
    StringRef& operator<<(istr const& s) { return append(s.data(), s.size()); }
    // A copy of the ref, appended to: it writes into the same memory.
    StringRef operator+(istr const& s) const {
        StringRef sum(*this);
        sum += s;
        return sum;
    }

    // One byte. At the end OutOfRangeException, and nothing is written.
    StringRef& operator<<(char c);
    StringRef& operator<<(Byte const& b);

    // REQUIRES: left() is not 0.
    unsigned char& operator*() { return buffer_[curSize_]; }
    unsigned char const& operator*() const { return buffer_[curSize_]; }
    unsigned char* current() { return buffer_ + curSize_; }
    unsigned char const* current() const { return buffer_ + curSize_; }

    // Past the end OutOfRangeException. The byte at the new position becomes 0.
    StringRef& operator++() { return advance(1); }
    StringRef operator++(int) {
        StringRef const old(*this);
        advance(1);
        return old;
    }
    StringRef& advance(unsigned long n);
    // REQUIRES: pos <= max_size(). Not checked.
    StringRef& rewind(unsigned long pos = 0) {
        curSize_ = pos;
        return *this;
    }
    unsigned long left() const { return curSize_ < maxSize_ ? maxSize_ - curSize_ : 0; }
    // Gives up the first `n` bytes of the memory, at most all of it; the position goes to 0.
    StringRef& shift(unsigned long n);
    // Writes `c` up to `n` times, no more than left(), without a terminator.
    StringRef& fill(unsigned char c, unsigned long n = npos);

    // These write into a buffer that has been filled before, and set the text off with blanks. They
    // cut what is too long and leave the position alone.
    //
    // The middle of the text in the middle of the buffer.
    StringRef& center(istr const& s);
    // The start of the text at the start of the buffer.
    StringRef& left(istr const& s);
    // The end of the text at the end of the buffer.
    StringRef& right(istr const& s);
    // `n` times `c` at the end of the buffer.
    StringRef& right(char c, unsigned long n);

    unsigned char* buffer() { return buffer_; }
    unsigned char const* data() const { return buffer_; }
    char const* c_str() const { return reinterpret_cast<char const*>(buffer_); }
    unsigned long size() const { return curSize_; }
    unsigned long max_size() const { return maxSize_; }
    bool empty() const { return curSize_ == 0; }
    // No memory.
    bool null() const { return buffer_ == nullptr; }

    // As in StringBuffer.
    unsigned char const& at(unsigned long i) const {
        return CharAt(static_cast<unsigned char const*>(buffer_), curSize_, i);
    }
    unsigned char& at(unsigned long i) { return CharAt(buffer_, maxSize_, i); }
    unsigned char const& operator[](unsigned long i) const { return buffer_[i]; }
    unsigned char& operator[](unsigned long i) { return buffer_[i]; }

    // The text.
    operator istr() const { return istr(buffer_, curSize_); }
    // The whole memory.
    operator ostr() { return ostr(buffer_, maxSize_); }

    dumper& dump(dumper& d) const;

private:
    unsigned char* buffer_ = nullptr;
    unsigned long curSize_ = 0;
    unsigned long maxSize_ = 0;
};

}  // namespace zan
