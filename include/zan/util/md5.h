#pragma once

#include <memory>

#include "zan/base/base_type_string.h"
#include "zan/string/string_octets.h"

namespace zan {

// The MD5 digest of RFC 1321, for checksums and names. It protects against nobody who means harm.
//
//     zan::String digest, text;
//     zan::MD5(file).getDigest(digest);
//     zan::Hex16::encode(digest, text);
//
// Ownership: nothing of what it is fed is kept but the last bytes, in a copy.
// Threads: one at a time; two objects share no state. Errors: none.
// Cost: whole blocks of 64 bytes are worked on where the caller has them.
class ZAN_EXPORT MD5 {
public:
    MD5();
    // The digest of the text, finished.
    explicit MD5(istr const& text);
    // Not copied: a message in progress has one owner.
    MD5(MD5 const&) = delete;
    MD5& operator=(MD5 const&) = delete;
    ~MD5();

    // Where the calls cut the message never changes the digest.
    void update(istr const& bytes);
    // Ends the message and keeps its digest; the next update() begins a new message.
    void finish();
    // The 16 bytes of the last message that was finished, as they are; zeros before the first.
    void getDigest(String& out) const { out = istr(digest_); }

private:
    struct Context;
    Context& context();

    std::unique_ptr<Context> context_;  // null while no message is in progress and none has been
    octets<16> digest_;
};

}  // namespace zan
