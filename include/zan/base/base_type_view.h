#pragma once

#include <iosfwd>
#include <string>

#include "zan/base/cstr.h"

// Views of text and bytes: a pointer and a length, no ownership, passed by value. They let a
// literal, a std::string, a String, a Bytes and a slice of a buffer go to the same function at no
// cost.
//
// Ownership: none; the bytes must outlive the view.
// Threads: plain values.
// Errors: none throws. Indexes are not checked.

namespace zan {

class String;

namespace detail {
template <class S>
using StdString =
    std::enable_if_t<std::is_base_of_v<std::string, S> && !std::is_same_v<S, String>, int>;
}

// Read-only view of 8-bit text or of any bytes, zero bytes included. The text needs no terminator,
// and c_str() promises none: only a view made from a terminated source is terminated. A null view
// and an empty view both count as empty and are legal wherever a view is taken.
class ZAN_EXPORT istr {
public:
    istr() = default;
    istr(char const* p, unsigned long n = npos) : size_(StrLen(p, n)), data_(p) {}
    template <class U, detail::UnsignedChar<U> = 0>
    istr(U const* p, unsigned long n = npos) : istr(reinterpret_cast<char const*>(p), n) {}
    // The half-open range [first, last).
    template <class P, detail::PointerTo<P, char> = 0>
    istr(char const* first, P last)
        : size_(static_cast<unsigned long>(static_cast<char const*>(last) - first)), data_(first) {}
    // A String converts by its own operator.
    template <class S, detail::StdString<S> = 0>
    istr(S const& s) : size_(s.size()), data_(s.data()) {}
    // The start of `other`, at most `n` bytes of it.
    istr(istr const& other, unsigned long n)
        : size_(n < other.size_ ? n : other.size_), data_(other.data_) {}

    char const* data() const { return data_; }
    char const* c_str() const { return data_; }
    char const* begin() const { return data_; }
    char const* end() const { return data_ + size_; }
    unsigned long size() const { return size_; }
    bool empty() const { return data_ == nullptr || size_ == 0; }
    bool is_null() const { return data_ == nullptr; }
    char const& operator[](unsigned long i) const { return data_[i]; }

    // Bytes compare as unsigned; a view that is a prefix of another sorts first; a null view equals
    // any empty one.
    int compare(istr const& other) const {
        unsigned long const n = size_ < other.size_ ? size_ : other.size_;
        if (int const r = MemCmp(data_, other.data_, n)) return r;
        return size_ < other.size_ ? -1 : size_ > other.size_ ? 1 : 0;
    }

    // Cut to what is there; never fails.
    istr substr(unsigned long pos, unsigned long n = npos) const {
        if (pos > size_) pos = size_;
        if (n > size_ - pos) n = size_ - pos;
        return istr(data_ + pos, n);
    }
    istr leftstr(unsigned long n) const { return substr(0, n); }
    istr rightstr(unsigned long n) const { return n >= size_ ? *this : substr(size_ - n, n); }

    // REQUIRES: what is removed is no longer than the view. These do no cutting.
    istr removeLeft(unsigned long n) const { return istr(data_ + n, size_ - n); }
    istr removeRight(unsigned long n) const { return istr(data_, size_ - n); }
    istr removeLeft(istr const& x) const { return removeLeft(x.size()); }
    istr removeRight(istr const& x) const { return removeRight(x.size()); }

    // White space is what CharIsSpace says.
    istr trimLeft() const;
    istr trimRight() const;
    istr trim() const { return trimLeft().trimRight(); }

    bool beginWith(istr const& x) const { return leftstr(x.size_).compare(x) == 0; }
    bool endWith(istr const& x) const { return rightstr(x.size_).compare(x) == 0; }

    operator std::string() const { return empty() ? std::string() : std::string(data_, size_); }

    // The size in decimal, ", " and the bytes; a null pointer shows as "<null>".
    std::ostream& dump(std::ostream& os) const;

private:
    unsigned long size_ = 0;
    char const* data_ = nullptr;
};

inline bool operator==(istr const& a, istr const& b) {
    return a.compare(b) == 0;
}
inline bool operator!=(istr const& a, istr const& b) {
    return a.compare(b) != 0;
}
inline bool operator<(istr const& a, istr const& b) {
    return a.compare(b) < 0;
}
inline bool operator<=(istr const& a, istr const& b) {
    return a.compare(b) <= 0;
}
inline bool operator>(istr const& a, istr const& b) {
    return a.compare(b) > 0;
}
inline bool operator>=(istr const& a, istr const& b) {
    return a.compare(b) >= 0;
}

// Writes the bytes as they are, whatever the stream's width and fill, then flushes the stream. An
// empty view writes nothing and does not flush.
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, istr const& s);

// The wide twin of istr; sizes count wide characters, each of them a whole code point.
class ZAN_EXPORT iwstr {
public:
    iwstr() = default;
    iwstr(wchar_t const* p, unsigned long n = npos) : size_(StrLen(p, n)), data_(p) {}
    template <class P, detail::PointerTo<P, wchar_t> = 0>
    iwstr(wchar_t const* first, P last)
        : size_(static_cast<unsigned long>(static_cast<wchar_t const*>(last) - first)),
          data_(first) {}
    iwstr(std::wstring const& s) : size_(s.size()), data_(s.data()) {}
    iwstr(iwstr const& other, unsigned long n)
        : size_(n < other.size_ ? n : other.size_), data_(other.data_) {}

    wchar_t const* data() const { return data_; }
    wchar_t const* c_str() const { return data_; }
    wchar_t const* begin() const { return data_; }
    wchar_t const* end() const { return data_ + size_; }
    unsigned long size() const { return size_; }
    bool empty() const { return data_ == nullptr || size_ == 0; }
    bool is_null() const { return data_ == nullptr; }
    wchar_t const& operator[](unsigned long i) const { return data_[i]; }

    // Compares the raw memory of the two texts as this platform lays it out (little-endian units of
    // four bytes), so the order is total but not the order of code points.
    int compare(iwstr const& other) const {
        unsigned long const n = size_ < other.size_ ? size_ : other.size_;
        if (int const r = MemCmp(data_, other.data_, n * sizeof(wchar_t))) return r;
        return size_ < other.size_ ? -1 : size_ > other.size_ ? 1 : 0;
    }

    iwstr substr(unsigned long pos, unsigned long n = npos) const {
        if (pos > size_) pos = size_;
        if (n > size_ - pos) n = size_ - pos;
        return iwstr(data_ + pos, n);
    }
    iwstr leftstr(unsigned long n) const { return substr(0, n); }
    iwstr rightstr(unsigned long n) const { return n >= size_ ? *this : substr(size_ - n, n); }
    iwstr removeLeft(unsigned long n) const { return iwstr(data_ + n, size_ - n); }
    iwstr removeRight(unsigned long n) const { return iwstr(data_, size_ - n); }
    iwstr removeLeft(iwstr const& x) const { return removeLeft(x.size()); }
    iwstr removeRight(iwstr const& x) const { return removeRight(x.size()); }
    iwstr trimLeft() const;
    bool beginWith(iwstr const& x) const { return leftstr(x.size_).compare(x) == 0; }
    bool endWith(iwstr const& x) const { return rightstr(x.size_).compare(x) == 0; }
    operator std::wstring() const { return empty() ? std::wstring() : std::wstring(data_, size_); }

    // The size in wide characters, ", " and the text in the configured code page.
    std::ostream& dump(std::ostream& os) const;

private:
    unsigned long size_ = 0;
    wchar_t const* data_ = nullptr;
};

inline bool operator==(iwstr const& a, iwstr const& b) {
    return a.compare(b) == 0;
}
inline bool operator!=(iwstr const& a, iwstr const& b) {
    return a.compare(b) != 0;
}
inline bool operator<(iwstr const& a, iwstr const& b) {
    return a.compare(b) < 0;
}
inline bool operator<=(iwstr const& a, iwstr const& b) {
    return a.compare(b) <= 0;
}
inline bool operator>(iwstr const& a, iwstr const& b) {
    return a.compare(b) > 0;
}
inline bool operator>=(iwstr const& a, iwstr const& b) {
    return a.compare(b) >= 0;
}

// Converts to the configured code page and streams the result.
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, iwstr const& s);

// A writable buffer of fixed size whose text is terminated. The size field is the buffer's
// capacity, not the length of the text: size() measures the text at each call.
class ZAN_EXPORT ostr {
public:
    ostr() = default;
    ostr(char* p, unsigned long max) : max_size_(max), buffer_(p) {}
    ostr(unsigned char* p, unsigned long max) : ostr(reinterpret_cast<char*>(p), max) {}
    ostr(ostr const&) = default;

    char* buffer() { return buffer_; }
    char const* data() const { return buffer_; }
    unsigned long max_size() const { return max_size_; }
    unsigned long size() const { return StrLen(buffer_); }
    // Bounded by the capacity, or by `n`: never reads further.
    unsigned long sizeN() const { return StrLenN(buffer_, max_size_); }
    unsigned long sizeN(unsigned long n) const { return StrLenN(buffer_, n); }
    // True for a null buffer or a capacity of 0, whatever the text.
    bool empty() const { return buffer_ == nullptr || max_size_ == 0; }

    char& operator[](unsigned long i) { return buffer_[i]; }
    char const& operator[](unsigned long i) const { return buffer_[i]; }
    char const* begin() const { return buffer_; }
    char* begin() { return buffer_; }
    // The end of the text.
    char const* end() const { return buffer_ + size(); }
    // The end of the buffer.
    char* end() { return buffer_ + max_size_; }

    // The whole buffer, not the text in it.
    operator istr() const { return istr(buffer_, max_size_); }

    // On the same memory, counted on max_size().
    ostr substr(unsigned long pos, unsigned long n = npos) const {
        if (pos > max_size_) pos = max_size_;
        if (n > max_size_ - pos) n = max_size_ - pos;
        return ostr(buffer_ + pos, n);
    }
    ostr leftstr(unsigned long n) const { return substr(0, n); }
    ostr rightstr(unsigned long n) const {
        return n >= max_size_ ? *this : substr(max_size_ - n, n);
    }

    // REQUIRES: a capacity above 0 where the buffer is not null.
    void clear() {
        if (buffer_ != nullptr) buffer_[0] = 0;
    }
    // A terminator in the first byte and, where the capacity is known, in the last one.
    void reset();

    // Copies up to max_size() - 1 bytes, stopping at a zero byte of the source. What does not fit
    // is cut without a message, and the buffer stays terminated.
    ostr& assign(char const* p, unsigned long n);
    ostr& assign(unsigned char const* p, unsigned long n) {
        return assign(reinterpret_cast<char const*>(p), n);
    }
    ostr& assign(char const* p) { return assign(p, StrLen(p)); }
    ostr& assign(istr const& s) { return assign(s.data(), s.size()); }
    // Rebinds to the other buffer; copies no text. It differs in that from all other forms.
    ostr& assign(ostr const& other) {
        max_size_ = other.max_size_;
        buffer_ = other.buffer_;
        return *this;
    }
    ostr& operator=(ostr const& other) { return assign(other); }
    ostr& operator=(char const* p) { return assign(p); }
    ostr& operator=(unsigned char const* p) { return assign(reinterpret_cast<char const*>(p)); }
    ostr& operator=(istr const& s) { return assign(s); }

    // "length/capacity, text"; a null pointer shows as "<null>".
    std::ostream& dump(std::ostream& os) const;

private:
    unsigned long max_size_ = 0;
    char* buffer_ = nullptr;
};

// A writable wide buffer; the capacity counts wide characters.
class owstr {
public:
    owstr() = default;
    owstr(wchar_t* p, unsigned long max) : max_size_(max), buffer_(p) {}
    wchar_t* buffer() { return buffer_; }
    unsigned long max_size() const { return max_size_; }

private:
    unsigned long max_size_ = 0;
    wchar_t* buffer_ = nullptr;
};

// A view that says which code page its text is in; -1 means the configured one. With it an
// application hands text and code page through an interface as one argument.
class istr_cp : public istr {
public:
    istr_cp() = default;
    istr_cp(istr const& s, long codepage) : istr(s), codepage_(codepage) {}
    istr_cp(std::string const& s, long codepage) : istr(s), codepage_(codepage) {}
    istr_cp(char const* s, long codepage) : istr(s), codepage_(codepage) {}
    istr_cp(unsigned char const* s, long codepage) : istr(s), codepage_(codepage) {}
    istr_cp(char* s, long codepage) : istr(s), codepage_(codepage) {}
    long codepage() const { return codepage_; }

private:
    long codepage_ = -1;
};

// The wide twin of istr_cp.
class iwstr_cp : public iwstr {
public:
    iwstr_cp() = default;
    iwstr_cp(iwstr const& s, long codepage) : iwstr(s), codepage_(codepage) {}
    iwstr_cp(std::wstring const& s, long codepage) : iwstr(s), codepage_(codepage) {}
    iwstr_cp(wchar_t const* s, long codepage) : iwstr(s), codepage_(codepage) {}
    iwstr_cp(wchar_t* s, long codepage) : iwstr(s), codepage_(codepage) {}
    long codepage() const { return codepage_; }

private:
    long codepage_ = -1;
};

}  // namespace zan
