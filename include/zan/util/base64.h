#pragma once

#include <vector>

#include "zan/base/base_type_bytes.h"

namespace zan {

// Base64 with the standard alphabet and padding. The decoder takes any text: it passes over what is
// no Base64, goes on behind a "=" in the middle, and reads a group that is cut off as if "A"s
// followed, so that two characters give three bytes.
//
// `out` may hold the bytes that `in` views. Threads: any. Errors: none but std::bad_alloc.
class ZAN_EXPORT Base64 {
public:
    Base64() = delete;  // static operations only

    // Replaces `out`, which an empty input leaves as it is. With line breaks, "\r\n" stands between
    // lines of 76 characters and not behind the last one.
    static void encode(istr in, String& out, bool lineBreaks);
    static void encode(std::vector<unsigned char> const& in, String& out, bool lineBreaks);

    // A text without any Base64 empties the Bytes, and leaves the vector as it is.
    static void decode(istr in, Bytes& out);
    static void decode(istr in, std::vector<unsigned char>& out);

    // A character of the alphabet, or "=".
    static bool isBase64(char c) { return c == '=' || c == '/' || decode(c) != 63; }

private:
    static char encode(unsigned char v) {
        return "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"[v & 63];
    }
    // 63 for "/" and for all that is not in the alphabet.
    static unsigned char decode(char c);
    static unsigned long decodeTo(istr in, unsigned char* out);
};

}  // namespace zan
