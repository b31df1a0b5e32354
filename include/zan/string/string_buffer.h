#pragma once

#include <cstring>

#include "zan/base/base_type_bytes.h"
#include "zan/base/base_type_string.h"
#include "zan/string/string_octets.h"
#include "zan/string/string_ref.h"

namespace zan {

class dumper;

// An owned, growable byte buffer with separate write and read positions. Contents of up to 255
// bytes live in the object itself; anything longer moves to the heap and stays there.
//
//     StringBuffer b;
//     b += istr("abc");
//     unsigned long n = 2;
//     b.read(dest, n);  // "ab"; size() is still 3, gsize() is 2
//
// Ownership: owns its memory; a copy has its own. Views of it die with the next write.
// Threads: one at a time.
// Errors: none is thrown; where memory runs out the content is cut without a message. at() checks
//   its index, the position setters and operator[] check nothing.
// Cost: writing is amortised constant; what was appended is terminated by a NUL that does not
// count.
class ZAN_EXPORT StringBuffer {
public:
    // Room for `n` bytes.
    explicit StringBuffer(unsigned long n = 0) : data_(internal_.buffer()) {
        if (n > INTERNAL_SIZE) growTo(n);
        data_[0] = 0;
    }
    StringBuffer(char const* p, unsigned long n) : StringBuffer(istr(p, n).size()) { append(p, n); }
    StringBuffer(unsigned char const* p, unsigned long n)
        : StringBuffer(reinterpret_cast<char const*>(p), n) {}
    StringBuffer(istr const& s) : StringBuffer(s.data(), s.size()) {}
    StringBuffer(StringBuffer const& other) : StringBuffer(other.c_str(), other.size()) {}
    StringBuffer(StringBuffer&& other) noexcept : StringBuffer() { swap(other); }
    ~StringBuffer() {
        if (!isInternal()) free(data_);
    }

    // Both positions go to 0 first. The memory stays.
    StringBuffer& assign(char const* p, unsigned long n);
    StringBuffer& assign(unsigned char const* p, unsigned long n) {
        return assign(reinterpret_cast<char const*>(p), n);
    }
    StringBuffer& operator=(StringBuffer const& other) {
        return this == &other ? *this : assign(other.c_str(), other.size());
    }
    StringBuffer& operator=(StringBuffer&& other) noexcept {
        swap(other);
        return *this;
    }
    StringBuffer& operator=(istr const& s) { return assign(s.data(), s.size()); }

    // The bytes may be some of this buffer's own. With `n` of ~0UL, up to the terminator.
    StringBuffer& append(char const* p, unsigned long n) {
        if (n == npos) n = StrLen(p);
        if (n > max_size_ - put_size_) return appendGrowing(p, n);
        if (n != 0 && p != nullptr) {
            std::memmove(data_ + put_size_, p, n);
            put_size_ += n;
        }
        data_[put_size_] = 0;
        return *this;
    }
    StringBuffer& append(unsigned char const* p, unsigned long n) {
        return append(reinterpret_cast<char const*>(p), n);
    }
    StringBuffer& write(unsigned char const* p, unsigned long n) { return append(p, n); }
    StringBuffer& operator+=(unsigned char c) {
        if (put_size_ == max_size_ && !reserve(1)) return *this;
        data_[put_size_++] = c;
        data_[put_size_] = 0;
        return *this;
    }
    StringBuffer& operator+=(istr const& s) { return append(s.data(), s.size()); }
    StringBuffer operator+(unsigned char c) const;
    StringBuffer operator+(istr const& s) const;

    // Makes room for `n` more bytes ahead of writing to pbuf() by hand; psize(psize() + k) then
    // counts what was written. False where memory ran out, with nothing changed.
    bool reserve(unsigned long n) { return n <= max_size_ - put_size_ || needMore(n); }

    // Reads at most `n` bytes; `n` becomes their number. Frees no room: only assign() does.
    StringBuffer& read(unsigned char* dest, unsigned long& n);
    // One byte; at the end `c` keeps its value.
    StringBuffer& operator-=(unsigned char& c);
    // As much as the ref has room for.
    StringBuffer& operator-=(StringRef ref);
    // On a copy of the buffer, which is the result.
    StringBuffer operator-(unsigned char& c) const;
    StringBuffer operator-(StringRef ref) const;

    unsigned char* buffer() { return data_; }
    unsigned char const* data() const { return data_; }
    char const* c_str() const { return reinterpret_cast<char const*>(data_); }
    unsigned long size() const { return put_size_; }
    unsigned long psize() const { return put_size_; }
    unsigned long gsize() const { return get_size_; }
    unsigned long max_size() const { return max_size_; }
    bool empty() const { return put_size_ == 0; }
    // REQUIRES: gsize() <= psize() <= max_size(). Not checked.
    void size(unsigned long n) { put_size_ = n; }
    void psize(unsigned long n) { put_size_ = n; }
    void gsize(unsigned long n) { get_size_ = n; }
    unsigned char* pbuf() { return data_ + put_size_; }
    unsigned char const* gbuf() const { return data_ + get_size_; }
    bool isInternal() const { return data_ == internal_.data(); }

    // Reports and answers with a shared NUL above size(); the writing form throws
    // OutOfRangeException above max_size().
    unsigned char const& at(unsigned long i) const { return CharAt(data_, put_size_, i); }
    unsigned char& at(unsigned long i) { return CharAt(data_, max_size_, i); }
    unsigned char const& operator[](unsigned long i) const { return data_[i]; }
    unsigned char& operator[](unsigned long i) { return data_[i]; }

    String str() const { return String(data_, put_size_); }
    operator istr() const { return istr(data_, put_size_); }
    // The whole capacity.
    operator ostr() { return ostr(data_, max_size_); }
    // The whole capacity, with the write position behind the content.
    operator StringRef() { return StringRef(data_, max_size_, put_size_); }

    void swap(StringBuffer& other) noexcept;
    dumper& dump(dumper& d) const;

private:
    static constexpr unsigned long INTERNAL_SIZE = 255;

    bool needMore(unsigned long n);
    bool growTo(unsigned long capacity);
    StringBuffer& appendGrowing(char const* p, unsigned long n);
    static unsigned char* alloc(unsigned long n);
    static void free(unsigned char* p);

    octets<256> internal_;
    unsigned char* data_;  // the heap block, or internal_
    unsigned long max_size_ = INTERNAL_SIZE;
    unsigned long put_size_ = 0;
    unsigned long get_size_ = 0;
};

inline void swap(StringBuffer& a, StringBuffer& b) noexcept {
    a.swap(b);
}

}  // namespace zan
