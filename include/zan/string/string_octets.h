#pragma once

#include "zan/base/base_type_view.h"
#include "zan/base/report.h"

namespace zan {

// A fixed array of `N` bytes. Its content is undefined until something is assigned.
//
// Threads: a plain value. Errors: too much data is reported and cut; indexes are not checked.
template <unsigned long N>
class octets {
public:
    octets() {}  // leaves the bytes as they are: large arrays are members of hot objects
    octets(istr const& s) { assign(s); }

    octets& operator=(istr const& s) { return assign(s); }

    static constexpr unsigned long max_size() { return N; }
    static constexpr unsigned long size() { return N; }
    unsigned char& operator[](unsigned long i) { return bytes_[i]; }
    unsigned char const& operator[](unsigned long i) const { return bytes_[i]; }
    unsigned char* buffer() { return bytes_; }
    unsigned char const* data() const { return bytes_; }
    char const* c_str() const { return reinterpret_cast<char const*>(bytes_); }
    unsigned char const* begin() const { return bytes_; }
    unsigned char const* end() const { return bytes_ + N; }

    // Bytes behind `_sz` stay as they were.
    octets& assign(char const* _buf, unsigned long _sz) {
        ZAN_ENSURE_TEXT_DO(_sz <= max_size(), "_sz<=max_size()", "", );
        MemCopy(bytes_, _buf, _sz < N ? _sz : N);
        return *this;
    }
    octets& assign(unsigned char const* buf, unsigned long n) {
        return assign(reinterpret_cast<char const*>(buf), n);
    }
    octets& assign(istr const& s) { return assign(s.data(), s.size()); }

    octets& fill(unsigned char c) {
        MemSet(bytes_, c, N);
        return *this;
    }

    operator istr() const { return istr(bytes_, N); }
    operator ostr() { return ostr(bytes_, N); }

private:
    unsigned char bytes_[N];
};

template <unsigned long N>
bool operator==(octets<N> const& a, octets<N> const& b) {
    return MemCmp(a.data(), b.data(), N) == 0;
}
template <unsigned long N>
bool operator!=(octets<N> const& a, octets<N> const& b) {
    return !(a == b);
}

}  // namespace zan
