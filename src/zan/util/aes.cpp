#include "zan/util/aes.h"

#include <cstring>
#include <utility>

#include "zan/base/mlcheck.h"
#include "zan/base/report.h"
#include "zan/util/overlap.h"

namespace zan {

namespace {

unsigned char const* bytesOf(istr const& s) {
    return reinterpret_cast<unsigned char const*>(s.data());
}

// `out` with room for `n` bytes. What it holds need not survive.
void prepare(Bytes& out, unsigned long n) {
    out.size(0);
    out.resize(n);
    out.size(n);
}

}  // namespace

AES::AES(istr key, istr iv) : cipher_(nullptr) {
    Bytes const keyBytes(key, AesCipher::BLOCK_SIZE, 0);
    Bytes const ivBytes(iv, AesCipher::BLOCK_SIZE, 0);
    cipher_ = ZAN_NEW(AesCipher);
    cipher_->setKey(keyBytes.data(), static_cast<int>(AesCipher::BLOCK_SIZE));
    cipher_->setIv(ivBytes.data());
}

AES::~AES() {
    ZAN_DELETE(cipher_);
}

void AES::encrypt(istr in, Bytes& out) const {
    if (detail::within(in, out.data(), out.max_size())) {
        Bytes result;
        encrypt(in, result);
        out = std::move(result);
        return;
    }
    unsigned long const n = in.empty() ? 0 : in.size();
    unsigned long const size =
        (n + AesCipher::BLOCK_SIZE - 1) / AesCipher::BLOCK_SIZE * AesCipher::BLOCK_SIZE;
    prepare(out, size);
    if (size == 0) return;
    unsigned char const* from = bytesOf(in);
    if (n != size) {
        std::memcpy(out.buffer(), from, n);
        std::memset(out.buffer() + n, 0, size - n);
        from = out.data();
    }
    cipher_->encrypt(from, out.buffer(), size, AesCipher::CBC);
}

void AES::decrypt(istr in, Bytes& out) const {
    if (detail::within(in, out.data(), out.max_size())) {
        Bytes result;
        decrypt(in, result);
        out = std::move(result);
        return;
    }
    unsigned long const outSize = in.empty() ? 0 : in.size();
    out.size(0);
    ZAN_ASSERT_TEXT_DO(outSize % AesCipher::BLOCK_SIZE == 0, "outSize%AesCipher::BLOCK_SIZE==0",
                       "return", return );
    prepare(out, outSize);
    if (outSize != 0) cipher_->decrypt(bytesOf(in), out.buffer(), outSize, AesCipher::CBC);
}

}  // namespace zan
