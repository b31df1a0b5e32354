#include "zan/base/base_type_bytes.h"

#include <ace/OS_NS_arpa_inet.h>

#include <cstdint>
#include <limits>
#include <new>

#include "zan/base/exception.h"
#include "zan/base/mlcheck.h"
#include "zan/string/string_slice.h"

namespace zan {

namespace {

template <unsigned long N>
octets<N> bigEndian(uint64 v) {
    octets<N> out;
    for (unsigned long i = 0; i < N; ++i)
        out[i] = static_cast<unsigned char>(v >> (8 * (N - 1 - i)));
    return out;
}

template <unsigned long N>
uint64 fromBigEndian(octets<N> const& v) {
    uint64 out = 0;
    for (unsigned long i = 0; i < N; ++i) out = out << 8 | v[i];
    return out;
}

}  // namespace

Bytes::Bytes(istr const& s, unsigned long n, unsigned char fill) {
    resize(n);
    this->fill(fill);
    if (n != 0) MemCopy(data_, s.data(), s.size() < n ? s.size() : n);
    size_ = n;
}

Bytes& Bytes::operator=(Bytes&& other) noexcept {
    if (this != &other) {
        clear();
        swap(other);
    }
    return *this;
}

void Bytes::clear() {
    ZAN_DELETE_ARRAY(data_);
    data_ = nullptr;
    max_size_ = 0;
    size_ = 0;
}

Bytes& Bytes::fill(unsigned char c) {
    if (data_ != nullptr) std::memset(data_, c, max_size_);
    return *this;
}

Bytes& Bytes::append(istr const& s) {
    if (s.empty()) return *this;
    if (s.size() > max_size_ - size_) {
        // The new block is filled before the old one goes, since the view may lie in it.
        Bytes bigger;
        if (s.size() > npos / 2) throw std::bad_array_new_length();
        unsigned long const need = size_ + s.size();
        unsigned long const doubled = 2 * max_size_ + 2;
        bigger.grow(need > doubled ? need : doubled);
        if (size_ != 0) std::memcpy(bigger.data_, data_, size_);
        std::memcpy(bigger.data_ + size_, s.data(), s.size());
        bigger.size_ = need;
        swap(bigger);
        return *this;
    }
    std::memmove(data_ + size_, s.data(), s.size());
    size_ += s.size();
    return *this;
}

void Bytes::swap(Bytes& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(max_size_, other.max_size_);
    std::swap(size_, other.size_);
}

void Bytes::set(void const* p, unsigned long n) {
    if (n > max_size_) {
        Bytes bigger;
        bigger.grow(n > 2 * max_size_ + 2 ? n : 2 * max_size_ + 2);
        if (p != nullptr) std::memcpy(bigger.data_, p, n);
        bigger.size_ = n;
        swap(bigger);
        return;
    }
    if (p != nullptr && n != 0) std::memmove(data_, p, n);
    size_ = n;
}

// To the capacity `n`, or twice the old one and two more if that is larger.
void Bytes::grow(unsigned long n) {
    unsigned long const capacity = n > 2 * max_size_ + 2 ? n : 2 * max_size_ + 2;
    // More than any memory holds, and what the sums below could not hold either.
    if (capacity >= npos / 2) throw std::bad_array_new_length();
    unsigned char* const block = ZAN_NEW(unsigned char[capacity + 1]);
    block[capacity] = 0;
    if (size_ != 0) std::memcpy(block, data_, size_ < max_size_ ? size_ : max_size_);
    ZAN_DELETE_ARRAY(data_);
    data_ = block;
    max_size_ = capacity;
}

octets<2> hton(unsigned short v) {
    return bigEndian<2>(v);
}

octets<4> hton(unsigned int v) {
    return bigEndian<4>(v);
}

octets<4> hton(int v) {
    return bigEndian<4>(static_cast<unsigned int>(v));
}

octets<4> hton(unsigned long v) {
    if (v > std::numeric_limits<std::uint32_t>::max()) ZAN_THROW_PLAIN(zan::OutOfRangeException);
    return bigEndian<4>(v);
}

octets<4> hton(long v) {
    if (v != static_cast<std::int32_t>(v)) ZAN_THROW_PLAIN(zan::OutOfRangeException);
    return bigEndian<4>(static_cast<std::uint32_t>(v));
}

octets<8> hton(uint64 v) {
    return bigEndian<8>(v);
}

unsigned short ntoh(octets<2> const& v) {
    return static_cast<unsigned short>(fromBigEndian(v));
}

unsigned long ntoh(octets<4> const& v) {
    return static_cast<unsigned long>(fromBigEndian(v));
}

uint64 ntoh(octets<8> const& v) {
    return fromBigEndian(v);
}

unsigned long ip_aton(istr const& text) {
    return static_cast<std::uint32_t>(ACE_OS::inet_addr(SafeStr(text.data())));
}

String ip_ntoa(unsigned long address) {
    in_addr in{};
    in.s_addr = static_cast<std::uint32_t>(address);
    char text[INET_ADDRSTRLEN] = {};
    ACE_OS::inet_ntop(AF_INET, &in, text, sizeof(text));
    return String(text);
}

StringSlice& ByteRef::operator()(StringSlice& slice) const {
    slice >> target_;
    target_ = static_cast<unsigned char>(target_ & mask_);
    return slice;
}

}  // namespace zan
