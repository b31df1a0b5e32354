// Any text of even length decodes to half as many bytes, each made of its two digits; any bytes
// come back from their text.

#include <cstdint>
#include <cstdlib>

#include "zan/util/hex16.h"

namespace {

using namespace zan;

void check(bool ok) {
    if (!ok) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    istr const in(data, size);
    Bytes bytes;
    Hex16::decode(in.leftstr(size & ~1ul), bytes);
    check(bytes.size() == size / 2);
    for (unsigned long i = 0; i < bytes.size(); ++i)
        check(bytes[i] == ((Hex16::decode(in[2 * i]) << 4 | Hex16::decode(in[2 * i + 1])) & 0xFF));
    String text;
    Hex16::encode(in, text);
    check(text.size() == 2 * size);
    for (char const c : text) check(Hex16::isHexChar(c));
    Hex16::decode(text, bytes);
    check(istr(bytes) == in);
    return 0;
}
