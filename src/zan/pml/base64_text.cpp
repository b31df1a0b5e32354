#include "zan/pml/base64_text.h"

namespace zan::pml {

namespace {

constexpr char ALPHABET[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// 0 to 63, 64 for the padding, 65 for anything else.
unsigned int valueOf(char c) {
    if (c >= 'A' && c <= 'Z') return static_cast<unsigned int>(c - 'A');
    if (c >= 'a' && c <= 'z') return static_cast<unsigned int>(c - 'a') + 26;
    if (c >= '0' && c <= '9') return static_cast<unsigned int>(c - '0') + 52;
    if (c == '+') return 62;
    if (c == '/') return 63;
    return c == '=' ? 64 : 65;
}

}  // namespace

void encodeBase64(istr const& in, String& out) {
    out.clear();
    if (in.empty()) return;
    auto const* const p = reinterpret_cast<unsigned char const*>(in.data());
    unsigned long const n = in.size();
    out.reserve((n + 2) / 3 * 4);
    for (unsigned long i = 0; i < n; i += 3) {
        unsigned int group = static_cast<unsigned int>(p[i]) << 16;
        if (i + 1 < n) group |= static_cast<unsigned int>(p[i + 1]) << 8;
        if (i + 2 < n) group |= p[i + 2];
        char const quad[] = {ALPHABET[group >> 18], ALPHABET[group >> 12 & 63],
                             i + 1 < n ? ALPHABET[group >> 6 & 63] : '=',
                             i + 2 < n ? ALPHABET[group & 63] : '='};
        out.append(quad, 4);
    }
}

void decodeBase64(istr const& in, Bytes& out) {
    out.clear();
    out.resize(in.size() / 4 * 3 + 3);
    unsigned long size = 0;
    unsigned int quad[4];
    unsigned int filled = 0;
    auto const put = [&] {
        // The padding counts as 63 in the arithmetic, and what it touches is not put.
        unsigned int group = 0;
        for (unsigned int const v : quad) group = group << 6 | (v > 63 ? 63 : v);
        out[size++] = static_cast<unsigned char>(group >> 16);
        if (quad[2] != 64) out[size++] = static_cast<unsigned char>(group >> 8);
        if (quad[3] != 64) out[size++] = static_cast<unsigned char>(group);
        filled = 0;
    };
    for (char const c : in) {
        unsigned int const v = valueOf(c);
        if (v > 64) continue;
        quad[filled++] = v;
        if (filled == 4) put();
    }
    if (filled != 0) {
        while (filled < 4) quad[filled++] = 0;
        put();
    }
    out.size(size);
}

}  // namespace zan::pml
