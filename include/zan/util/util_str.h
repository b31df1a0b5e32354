#pragma once

#include <iosfwd>

#include "zan/base/base_type_view.h"

namespace zan {

// A fixed buffer with the operations of a string. The text in it is terminated, so a buffer of
// max_size() bytes holds one character less. A max_size() of ~0UL says that the size of the buffer
// is not known; it is then the caller's to see that text fits.
//
//     char memory[64];
//     Str text(memory, sizeof memory);
//     text.reset();
//     text = "connected to ";
//     text += host;
//
// Ownership: none; the buffer must outlive the object. Copies share it, and the assignment of
//   another Str rebinds, as with ostr; the assignment of a view copies text.
// Threads: as the buffer.
// Errors: text that does not fit is reported, then cut at the buffer, which stays terminated.
//   Nothing is ever written behind the buffer. A null buffer counts as empty text.
class ZAN_EXPORT Str : public ostr {
public:
    Str() = default;
    Str(ostr const& other) : ostr(other) {}
    Str(char* p, unsigned long max) : ostr(p, max) {}
    Str(unsigned char* p, unsigned long max) : ostr(p, max) {}
    Str(Str const&) = default;
    Str& operator=(Str const&) = default;

    // The source may lie in this buffer. It ends at its first zero byte, as text does.
    Str& copy(istr const& _src);
    Str& operator=(istr const& _src) { return copy(_src); }
    Str& cat(istr const& _src);
    Str& operator+=(istr const& _src) { return cat(_src); }
    // What max_size() leaves, the place of the terminator included; ~0UL where the size of the
    // buffer is not known.
    unsigned long left() const;

    // Below 0, 0 or above 0. At most `limit` characters count.
    int cmp(istr const& other, unsigned long limit = npos, bool noCase = false) const;
    int cmp(char const* other, unsigned long limit = npos, bool noCase = false) const {
        return cmp(istr(other), limit, noCase);
    }
    int cmpNoCase(istr const& other, unsigned long limit = npos) const {
        return cmp(other, limit, true);
    }
    int cmpNoCase(char const* other, unsigned long limit = npos) const {
        return cmp(istr(other), limit, true);
    }
    // Without regard to case.
    bool is(istr const& other, unsigned long limit = npos) const {
        return cmpNoCase(other, limit) == 0;
    }
    bool isNot(istr const& other, unsigned long limit = npos) const { return !is(other, limit); }
    // Whether the first, or last, `n` characters of the text equal the argument; ~0UL stands for as
    // many as the argument has.
    bool beginWith(istr const& other, unsigned long n = npos, bool noCase = false) const;
    bool endWith(istr const& other, unsigned long n = npos, bool noCase = false) const;

    // On the same memory, counted on max_size().
    Str substr(unsigned long pos, unsigned long n = npos) const { return ostr::substr(pos, n); }
    Str leftstr(unsigned long n) const { return ostr::leftstr(n); }
    Str rightstr(unsigned long n) const { return ostr::rightstr(n); }

    Str& toUpper(unsigned long limit = npos);
    Str& toLower(unsigned long limit = npos);
    // False for empty text.
    bool isAllDigits() const;
    // At most max_size() - 1 characters `c`, and the terminator behind them. Where neither `n` nor
    // the size of the buffer is a limit, the length of the text is.
    Str& fill(int c, unsigned long n);
    // Of the text, not of the buffer.
    bool empty() const { return data() == nullptr || max_size() == 0 || *data() == 0; }
    // Whether the text ends at or before `i`.
    bool isEnd(unsigned long i) const { return i >= sizeN(); }

    // The text in the buffer, where an istr made of the object itself has all of the buffer.
    istr text() const { return istr(data(), sizeN()); }

private:
    void put(unsigned long at, istr const& src);
};

// Compare texts, case counting.
#define ZAN_STR_COMPARE(op)                                \
    inline bool operator op(Str const& a, istr const& b) { \
        return a.cmp(b) op 0;                              \
    }                                                      \
    inline bool operator op(istr const& a, Str const& b) { \
        return 0 op b.cmp(a);                              \
    }                                                      \
    inline bool operator op(Str const& a, Str const& b) {  \
        return a.cmp(b.text()) op 0;                       \
    }
ZAN_STR_COMPARE(==)
ZAN_STR_COMPARE(!=)
ZAN_STR_COMPARE(<)
ZAN_STR_COMPARE(<=)
ZAN_STR_COMPARE(>)
ZAN_STR_COMPARE(>=)
#undef ZAN_STR_COMPARE

// A view of writable memory. Ownership: none. Threads: as the memory.
// Errors: a null pointer is reported by the writing operations, which then do nothing.
class ZAN_EXPORT Mem {
public:
    Mem() = default;
    Mem(void* p, unsigned long size) : data_(p), size_(size) {}

    void* data() const { return data_; }
    unsigned long size() const { return size_; }
    operator istr() const { return istr(static_cast<char const*>(data_), size_); }

    Mem& fill(int c);
    // As much as both have. The source must not overlap.
    Mem& copy(istr const& src);
    Mem& operator=(istr const& src) { return copy(src); }
    // Leaves the last byte for a zero behind the copy.
    Mem& copyZ(istr const& src);
    // Bytes as unsigned; of two that agree as far as both go, the shorter one is less.
    int cmp(istr const& other) const;
    // As an istr.
    std::ostream& dump(std::ostream& os) const;

private:
    void* data_ = nullptr;
    unsigned long size_ = 0;
};

}  // namespace zan
