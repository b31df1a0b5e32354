// Any text decodes as the plainest reading of the rules says, and any bytes come back from their
// text, with and without line breaks.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "zan/util/base64.h"

namespace {

using namespace zan;

std::string const ALPHABET = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string model(istr const& in) {
    std::string kept;
    for (char const c : std::string(in))
        if (c == '=' || ALPHABET.find(c) != std::string::npos) kept += c;
    while (kept.size() % 4 != 0) kept += 'A';
    std::string out;
    for (std::size_t i = 0; i < kept.size(); i += 4) {
        unsigned v = 0;
        for (std::size_t j = i; j < i + 4; ++j) {
            std::size_t const digit = ALPHABET.find(kept[j]);
            v = v << 6 | (digit == std::string::npos ? 63 : static_cast<unsigned>(digit));
        }
        out += static_cast<char>(v >> 16);
        if (kept[i + 2] != '=') out += static_cast<char>(v >> 8);
        if (kept[i + 3] != '=') out += static_cast<char>(v);
    }
    return out;
}

void check(bool ok) {
    if (!ok) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    istr const in(data, size);
    Bytes bytes;
    Base64::decode(in, bytes);
    check(istr(bytes) == istr(model(in)));
    std::vector<unsigned char> vector;
    Base64::decode(in, vector);
    check(istr(bytes) == istr(vector.data(), vector.size()));
    for (bool const lineBreaks : {false, true}) {
        String text;
        Base64::encode(in, text, lineBreaks);
        check(lineBreaks || text.size() == (size + 2) / 3 * 4);
        Base64::decode(text, bytes);
        check(istr(bytes) == in);
    }
    return 0;
}
