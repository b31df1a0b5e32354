#pragma once

#include <zan/zan.h>

#include <memory>

#include "messages.h"

namespace courier {

// Turns the bytes of one file into those of its chunks, and back: gzip where that makes them
// smaller, and AES with a key that both sides were given.
//
// Each chunk has an initialisation vector of its own, the MD5 of the file's salt and the chunk's
// offset, so equal chunks look different on the wire. The key is the MD5 of the text given. None of
// this shows that a chunk was changed on its way by somebody who means harm.
class Coder {
public:
    // An empty `key` encrypts nothing, and reads nothing that is encrypted.
    Coder(zan::istr const& key, bool gzip);

    // A new file. The sender takes a salt from newSalt().
    void begin(zan::istr const& salt) { salt_ = salt; }
    static zan::String newSalt();

    // The chunk then views the coder's memory, or `plain` itself.
    void encode(zan::istr plain, Chunk& chunk);
    // The reason why it cannot be, or nothing. `plain` views the chunk's bytes, or the coder's
    // memory; it has at most MAX_CHUNK bytes, whatever the chunk would unpack to.
    zan::String decode(Chunk const& chunk, zan::istr& plain);

private:
    zan::String vectorOf(zan::uint64 offset) const;

    zan::String key_;  // 16 bytes, or none
    bool gzip_;
    zan::String salt_;
    std::unique_ptr<char[]> unpacked_;
    std::unique_ptr<unsigned char[]> packed_;
    zan::Bytes crypted_;
};

}  // namespace courier
