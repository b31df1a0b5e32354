#pragma once

#include <type_traits>

#include "zan/base/base_type_view.h"
#include "zan/base/exception.h"

namespace zan {

// Bytes that no binary stream holds.
struct ZAN_EXPORT BinaryDecodeException : Exception {
    BinaryDecodeException(char const* file, unsigned int line, char const* func, char const* msg);
    ~BinaryDecodeException() noexcept override;
};

// The number packing that the binary streams share with NBR, and two byte scramblers.
//
// A number is packed as its low bytes, least significant first, as few as it needs: bytes follow
// until what remains is zero and the top bit of the last one is clear, or the cap is reached. So
// 127 is `7F`, 128 is `80 00`, and a negative number runs to the cap. Unpacking never extends a
// sign: read a number with the cap that it was written with.
//
// Threads: no state.
class ZAN_EXPORT BinaryStream {
public:
    // Gives the number of bytes written. REQUIRES: room for `maxBytes` bytes.
    static char writeInt(char* out, uint64 v, unsigned long maxBytes) {
        unsigned long const n = packedSize(v, maxBytes);
        for (unsigned long i = 0; i < n; ++i) {
            out[i] = static_cast<char>(v);
            v >>= 8;
        }
        return static_cast<char>(n);
    }
    template <class N, std::enable_if_t<std::is_integral_v<N>, int> = 0>
    static char writeInt(char* out, N v, unsigned long maxBytes) {
        return writeInt(out, static_cast<uint64>(v), maxBytes);
    }

    // The number of bytes that the packing takes.
    static unsigned long packedSize(uint64 v, unsigned long maxBytes) {
        // 7 bits take one byte and 8 bits two: the top bit stays clear.
        auto const bits = static_cast<unsigned long>(64 - __builtin_clzll(v | 1));
        unsigned long const n = bits / 8 + 1;
        return n < maxBytes ? n : maxBytes;
    }

    // At most the first `maxBytes` bytes count. Sizes are signed numbers of 8 bits: a size that is
    // neither 0 nor, cut to `maxBytes`, from 1 to 8 is a BinaryDecodeException. Size 0 gives 0.
    static uint64 readUint(char const* data, char size, unsigned long maxBytes);
    static __int64 readInt(char const* data, char size, unsigned long maxBytes) {
        return static_cast<__int64>(readUint(data, size, maxBytes));
    }
    // The size is narrowed to 8 bits: 128 to 255 bytes are an exception, 256 bytes read as 0.
    static uint64 readUint(istr data, unsigned long maxBytes) {
        return readUint(data.data(), static_cast<char>(data.size()), maxBytes);
    }
    static __int64 readInt(istr data, unsigned long maxBytes) {
        return static_cast<__int64>(readUint(data, maxBytes));
    }

    // Scramblers against reading by eye, no protection of anything. Each is its own reverse: the
    // byte XOR FF, and in place the byte at place i XOR the complement of i.
    static unsigned char encrypt(unsigned char c) { return static_cast<unsigned char>(c ^ 0xFF); }
    static unsigned char decrypt(unsigned char c) { return encrypt(c); }
    static void encrypt(ostr o);
    static void decrypt(ostr o) { encrypt(o); }
};

namespace detail {

template <class N>
bool fits32(N v) {
    static_assert(std::is_same_v<N, long> || std::is_same_v<N, unsigned long>);
    if constexpr (std::is_signed_v<N>)
        return v == static_cast<int>(v);
    else
        return v == static_cast<unsigned int>(v);
}

}  // namespace detail
}  // namespace zan
