#pragma once

#include "zan/base/base_type_bytes.h"
#include "zan/util/aes_impl.h"

namespace zan {

// AES-128 in CBC mode for whole texts, with a fixed key and initialisation vector.
//
//     zan::AES cipher(key, iv);
//     zan::Bytes secret, text;
//     cipher.encrypt("the text", secret);
//     cipher.decrypt(secret, text);  // 16 bytes: the text and zeros
//
// What it does not do: the key is the first 16 bytes of the text given, not derived from it, so a
// word makes a weak key. Every text starts from the same IV, so who looks on sees which texts begin
// alike. Nothing shows that a text was changed on its way. The length is not kept: a text is filled
// up with zero bytes, and comes back with them.
//
// Threads: any number may use one object. Errors: see decrypt(); none else but std::bad_alloc.
class ZAN_EXPORT AES : noncopyable {
public:
    // Both are cut to 16 bytes, or filled up with zero bytes.
    AES(istr key, istr iv);
    ~AES();

    // `out` gets the whole blocks, and may hold the bytes that `in` views.
    void encrypt(istr in, Bytes& out) const;
    // REQUIRES: in.size() is a multiple of 16. If not, that is reported and `out` is empty.
    void decrypt(istr in, Bytes& out) const;

private:
    AesCipher* cipher_;
};

}  // namespace zan
