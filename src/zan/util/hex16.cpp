#include "zan/util/hex16.h"

#include <array>
#include <cstring>
#include <functional>

namespace zan {

namespace {

struct Tables {
    std::array<std::array<char, 2>, 256> pairs{};
    std::array<unsigned char, 256> high{};
    std::array<unsigned char, 256> low{};

    constexpr Tables() {
        constexpr char digits[] = "0123456789ABCDEF";
        for (unsigned i = 0; i < 256; ++i) {
            pairs[i] = {digits[i >> 4], digits[i & 15]};
            unsigned char const v = value(i);
            high[i] = static_cast<unsigned char>(v << 4);
            low[i] = v;
        }
    }
    static constexpr unsigned char value(unsigned c) {
        if (c >= '0' && c <= '9') return static_cast<unsigned char>(c - '0');
        if (c >= 'A' && c <= 'F') return static_cast<unsigned char>(c - 'A' + 10);
        if (c >= 'a' && c <= 'f') return static_cast<unsigned char>(c - 'a' + 10);
        return 0xFF;
    }
};
constexpr Tables TABLES;

}  // namespace

void Hex16::encode(istr const& in, String& out) {
    unsigned long const n = in.empty() ? 0 : in.size();
    std::less<char const*> const before;
    if (n != 0 && before(in.data(), out.data() + out.capacity()) && before(out.data(), in.end())) {
        String text;
        encode(in, text);
        out = std::move(text);
        return;
    }
    out.resize(2 * n);
    auto const* const p = reinterpret_cast<unsigned char const*>(in.data());
    char* const to = &out[0];
    for (unsigned long i = 0; i < n; ++i) std::memcpy(to + 2 * i, TABLES.pairs[p[i]].data(), 2);
}

void Hex16::decode(istr const& in, Bytes& out) {
    istr const _inTxt = in.empty() ? istr() : in;
    ZAN_ASSERT_TEXT_DO((_inTxt.size() & 1) == 0, "(_inTxt.size()&1)==0", "", );
    unsigned long const n = _inTxt.size() / 2;
    // A view of these bytes stays valid, since half of them are room enough; and each byte is
    // written behind the digits that are still to be read.
    out.init(n);
    auto const* const p = reinterpret_cast<unsigned char const*>(_inTxt.data());
    unsigned char* const to = out.buffer();
    for (unsigned long i = 0; i < n; ++i)
        to[i] = static_cast<unsigned char>(TABLES.high[p[2 * i]] | TABLES.low[p[2 * i + 1]]);
    out.size(n);
}

}  // namespace zan
