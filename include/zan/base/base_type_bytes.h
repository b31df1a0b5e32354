#pragma once

#include "zan/base/base_type_string.h"
#include "zan/string/string_octets.h"

namespace zan {

class StringSlice;

// Says that the view holds Base64 text.
struct base64 {
    explicit base64(istr const& s) : view(s) {}
    istr view;
};

// The owning, growable byte buffer.
//
// The byte at index max_size() is 0 from the allocation on; the one at index size() need not be, so
// c_str() is terminated only where the content reaches the capacity or the caller has seen to it.
//
// Threads: one at a time. Errors: indexes are not checked; allocation failure is std::bad_alloc.
// Cost: growth doubles the capacity.
class ZAN_EXPORT Bytes {
public:
    Bytes() = default;
    // Capacity `n`, size 0.
    explicit Bytes(unsigned long n) { resize(n); }
    Bytes(Bytes const& other) { set(other.data_, other.size_); }
    Bytes(Bytes&& other) noexcept { swap(other); }
    Bytes(istr const& s) { set(s.data(), s.size()); }  // a copy
    // Size `n`: the start of the view, padded with `fill`.
    Bytes(istr const& s, unsigned long n, unsigned char fill);
    // Decoded as by Base64::decode, which takes any text.
    Bytes(base64 const& s);
    ~Bytes() { clear(); }

    Bytes& operator=(Bytes const& other) { return assign(other); }
    Bytes& operator=(Bytes&& other) noexcept;
    Bytes& operator=(istr const& s) { return assign(s); }
    Bytes& assign(Bytes const& other) {
        if (this != &other) set(other.data_, other.size_);
        return *this;
    }
    // The view may be one of this buffer's own bytes.
    Bytes& assign(istr const& s) {
        set(s.data(), s.size());
        return *this;
    }

    // Frees the memory; the object is as new.
    void clear();
    // Capacity for at least `n`, size 0.
    void init(unsigned long n) {
        resize(n);
        size_ = 0;
    }
    // Makes the capacity at least `n`; never shrinks it, never changes the size.
    void resize(unsigned long n) {
        if (n > max_size_) grow(n);
    }
    // REQUIRES: n <= max_size(). Not checked.
    void size(unsigned long n) { size_ = n; }

    unsigned long size() const { return size_; }
    unsigned long max_size() const { return max_size_; }
    bool empty() const { return size_ == 0; }
    unsigned char const* data() const { return data_; }
    unsigned char* buffer() { return data_; }
    char const* c_str() const { return reinterpret_cast<char const*>(data_); }
    unsigned char const* begin() const { return data_; }
    unsigned char const* end() const { return data_ + size_; }
    unsigned char& operator[](unsigned long i) { return data_[i]; }
    unsigned char const& operator[](unsigned long i) const { return data_[i]; }

    // Sets all max_size() bytes, not just the used ones.
    Bytes& fill(unsigned char c);
    // The view may be one of this buffer's own bytes.
    Bytes& append(istr const& s);
    Bytes& operator+=(istr const& s) { return append(s); }
    void swap(Bytes& other) noexcept;

    // Comparisons go this way: Bytes compare with each other and with any view as views do.
    operator istr() const { return istr(c_str(), size_); }
    // The whole buffer, max_size().
    operator ostr() { return ostr(data_, max_size_); }

private:
    void set(void const* p, unsigned long n);
    void grow(unsigned long n);

    unsigned char* data_ = nullptr;
    unsigned long max_size_ = 0;
    unsigned long size_ = 0;
};

// --- Network byte order, most significant byte first. By shifts on the value, never through
// memory. `long` and `unsigned long` are 32-bit data: a value that does not fit is an
// OutOfRangeException.

ZAN_EXPORT octets<2> hton(unsigned short v);
ZAN_EXPORT octets<4> hton(unsigned int v);
ZAN_EXPORT octets<4> hton(int v);
ZAN_EXPORT octets<4> hton(unsigned long v);
ZAN_EXPORT octets<4> hton(long v);
ZAN_EXPORT octets<8> hton(uint64 v);

ZAN_EXPORT unsigned short ntoh(octets<2> const& v);
ZAN_EXPORT unsigned long ntoh(octets<4> const& v);
ZAN_EXPORT uint64 ntoh(octets<8> const& v);

// IPv4 addresses between dotted text and the platform's network form. REQUIRES: the view is
// terminated. Text that is no address gives 0xFFFFFFFF.
ZAN_EXPORT unsigned long ip_aton(istr const& text);
ZAN_EXPORT String ip_ntoa(unsigned long address);

// The address of one bit in a byte stream; bit 0 is the lowest of its byte.
class BitPos {
public:
    BitPos() = default;
    explicit BitPos(unsigned long total) { fromTotal(total); }
    BitPos(unsigned short byte, unsigned char bit)
        : byte_no_(byte), bit_no_(static_cast<unsigned char>(bit & 7)) {}

    BitPos& fromTotal(unsigned long total) {
        byte_no_ = static_cast<unsigned short>(total >> 3);
        bit_no_ = static_cast<unsigned char>(total & 7);
        return *this;
    }
    unsigned long toTotal() const { return byte_no_ * 8ul + bit_no_; }
    unsigned short byte_no() const { return byte_no_; }
    unsigned char bit_no() const { return bit_no_; }

private:
    unsigned short byte_no_ = 0;
    unsigned char bit_no_ = 0;
};

// A run of bits; the size is in bits.
class BitsSub {
public:
    BitsSub(BitPos const& begin, unsigned long size) : begin_(begin), size_(size) {}
    BitPos const& begin() const { return begin_; }
    BitPos end() const { return BitPos(begin_.toTotal() + size_); }
    unsigned long size() const { return size_; }

private:
    BitPos begin_;
    unsigned long size_;
};

// Manipulator for reading a byte with flag bits: the next byte of a slice goes to the target, cut
// by the mask.
class ZAN_EXPORT ByteRef {
public:
    ByteRef(unsigned char& target, unsigned char mask) : target_(target), mask_(mask) {}
    StringSlice& operator()(StringSlice& slice) const;

private:
    unsigned char& target_;
    unsigned char mask_;
};

}  // namespace zan
