#pragma once

#include "zan/base/base_type_bytes.h"

namespace zan {

// Two hexadecimal digits to a byte, the high one first.
//
// `out` may hold the bytes that `in` views. Threads: any. Errors: none but std::bad_alloc.
class ZAN_EXPORT Hex16 {
public:
    Hex16() = delete;  // static operations only

    // Upper case; `out` becomes twice as long as `in`.
    static void encode(istr const& in, String& out);
    // Either case. A character that is no digit counts as 0xFF: it sets all bits of its half of the
    // byte, and as the second of a pair those of the whole byte.
    // REQUIRES: an even length. Of an odd one the last character is reported and dropped.
    static void decode(istr const& in, Bytes& out);

    // "?" for 16 and above.
    static char encode(unsigned char v) { return v < 16 ? "0123456789ABCDEF"[v] : '?'; }
    // 0xFF for what is no digit.
    static unsigned char decode(char c) {
        if (c >= '0' && c <= '9') return static_cast<unsigned char>(c - '0');
        if (c >= 'A' && c <= 'F') return static_cast<unsigned char>(c - 'A' + 10);
        if (c >= 'a' && c <= 'f') return static_cast<unsigned char>(c - 'a' + 10);
        return 0xFF;
    }
    static bool isHexChar(char c) { return decode(c) != 0xFF; }
};

}  // namespace zan
