// The first bytes choose key, chain and mode for the rest. What AES makes by the processor's
// instructions and by tables is the same, in place too, and comes back; so does what des3 makes.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "zan/util/aes.h"
#include "zan/util/des3.h"

namespace {

using namespace zan;

void check(bool ok) {
    if (!ok) std::abort();
}

void checkModes(istr const& head, std::string const& text) {
    auto const* const bytes = reinterpret_cast<unsigned char const*>(head.data());
    AesCipher ciphers[2]{AesCipher(AesCipher::FASTEST), AesCipher(AesCipher::TABLES)};
    for (auto& cipher : ciphers) {
        cipher.setKey(bytes, 16 + 8 * (bytes[48] % 3));
        cipher.setIv(bytes + 32);
        cipher.setCounter(bytes + 32);
    }
    int const mode = bytes[48] / 3 % 5;
    auto const* const in = reinterpret_cast<unsigned char const*>(text.data());
    std::string made[2] = {text, text};
    for (int i = 0; i < 2; ++i) {
        auto* const out = reinterpret_cast<unsigned char*>(&made[i][0]);
        ciphers[i].encrypt(in, out, text.size(), mode);
    }
    check(made[0] == made[1]);
    for (int i = 0; i < 2; ++i) {
        auto* const place = reinterpret_cast<unsigned char*>(&made[i][0]);
        ciphers[i].decrypt(place, place, text.size(), mode);
        check(made[i] == text);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size < 49) return 0;
    istr const head(data, 49);
    istr const text(data + 49, size - 49);
    std::string const whole(text.leftstr(text.size() / 16 * 16));
    if (!whole.empty()) checkModes(head, whole);
    Bytes secret;
    Bytes back;
    AES const cipher(head.leftstr(20), head.rightstr(5));
    cipher.encrypt(text, secret);
    check(secret.size() == (text.size() + 15) / 16 * 16);
    cipher.decrypt(secret, back);
    check(istr(back) == istr(Bytes(text, secret.size(), 0)));
    check(des3::encode(text, secret, head.leftstr(8)));
    check(secret.size() == (text.size() + 7) / 8 * 8);
    check(des3::decode(secret, back, head.leftstr(8)));
    check(istr(back) == istr(Bytes(text, secret.size(), 0)));
    return 0;
}
