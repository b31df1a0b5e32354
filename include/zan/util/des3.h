#pragma once

#include "zan/base/base_type_bytes.h"

namespace zan {

// Single DES, as FIPS 46 has it, block by block (ECB). In spite of the name it is not triple DES:
// 56 bits of key are found by trying, and equal blocks of a text show as equal. It is here to talk
// to programs that use it; new ones take AES.
//
//     zan::Bytes secret, text;
//     zan::des3::encode("the text", secret, key);
//     zan::des3::decode(secret, text, key);
//
// A text is filled up with zero bytes to a multiple of 8, and comes back with them. So is the key,
// whose parity bits do not count. A key of more than 8 bytes is reported to the log, in full, and
// cut.
//
// `out` may hold the bytes that `in` views. Threads: any. Errors: none but std::bad_alloc; the
// results are true.
class ZAN_EXPORT des3 {
public:
    des3() = delete;  // static operations only

    static bool encode(istr const& in, Bytes& out, istr const& key);
    static bool decode(istr const& in, Bytes& out, istr const& key);
};

}  // namespace zan
