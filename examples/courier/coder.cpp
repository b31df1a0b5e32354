#include "coder.h"

#include <random>

namespace courier {

Coder::Coder(zan::istr const& key, bool gzip) : gzip_(gzip) {
    if (!key.empty()) zan::MD5(key).getDigest(key_);
}

zan::String Coder::newSalt() {
    std::random_device random;
    zan::String salt;
    for (int i = 0; i < 16; ++i) salt += static_cast<char>(random());
    return salt;
}

zan::String Coder::vectorOf(zan::uint64 offset) const {
    zan::String digest;
    zan::MD5(zan::String() << salt_ << '@' << offset).getDigest(digest);
    return digest;
}

void Coder::encode(zan::istr plain, Chunk& chunk) {
    chunk.bytes = plain;
    chunk.coding = 0;
    if (gzip_) {
        int size = static_cast<int>(plain.size());
        unsigned char* made = nullptr;
        bool const good = zan::gzlib::comp(plain.data(), made, size);
        packed_.reset(made);
        if (good && static_cast<unsigned long>(size) < plain.size()) {
            chunk.bytes =
                zan::istr(reinterpret_cast<char const*>(made), static_cast<unsigned long>(size));
            chunk.coding = Chunk::GZIPPED;
        }
    }
    chunk.packed = static_cast<unsigned int>(chunk.bytes.size());
    if (key_.empty()) return;
    zan::AES(key_, vectorOf(chunk.offset)).encrypt(chunk.bytes, crypted_);
    chunk.bytes = crypted_;
    chunk.coding = chunk.coding | Chunk::ENCRYPTED;
}

zan::String Coder::decode(Chunk const& chunk, zan::istr& plain) {
    plain = chunk.bytes;
    if ((chunk.coding & Chunk::ENCRYPTED) != 0) {
        if (key_.empty()) return "it is encrypted, and the server has no key";
        if (plain.size() % 16 != 0 || chunk.packed > plain.size()) return "damaged chunk";
        zan::AES(key_, vectorOf(chunk.offset)).decrypt(plain, crypted_);
        plain = zan::istr(crypted_).substr(0, chunk.packed);
    }
    if ((chunk.coding & Chunk::GZIPPED) != 0) {
        if (plain.substr(0, 2) != "\x1f\x8b") return "damaged chunk, or another key";
        int size = static_cast<int>(plain.size());
        char* made = nullptr;
        bool const good = zan::gzlib::uncomp(plain.data(), made, size, static_cast<int>(MAX_CHUNK));
        unpacked_.reset(made);
        if (!good) return "damaged chunk, or another key";
        plain = zan::istr(made, static_cast<unsigned long>(size));
    }
    if (plain.size() > MAX_CHUNK) return "chunk too long";
    return zan::String();
}

}  // namespace courier
