#include "zan/util/base64.h"

#include <array>
#include <cstdint>
#include <cstring>

#include "zan/util/overlap.h"

namespace zan {

namespace {

constexpr unsigned long LINE_BYTES = 57;  // 76 characters
constexpr char ALPHABET[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint32_t NO_DIGIT = 0x80000000u;

// The two characters of twelve bits at a time halve the look-ups; four tables of digits in place
// leave nothing to shift, and one test finds out whether a group is plain.
struct Tables {
    std::array<std::array<char, 2>, 4096> pairs{};
    std::array<std::array<std::uint32_t, 256>, 4> digits{};

    constexpr Tables() {
        for (unsigned i = 0; i < 4096; ++i) pairs[i] = {ALPHABET[i >> 6], ALPHABET[i & 63]};
        for (unsigned place = 0; place < 4; ++place) {
            for (unsigned c = 0; c < 256; ++c) digits[place][c] = NO_DIGIT;
            for (unsigned v = 0; v < 64; ++v)
                digits[place][static_cast<unsigned char>(ALPHABET[v])] = v << (18 - 6 * place);
        }
    }
};
constexpr Tables TABLES;

constexpr unsigned long textSize(unsigned long n) {
    return n / 3 * 4 + (n % 3 != 0 ? 4 : 0);
}

char* putPair(char* out, unsigned v) {
    std::memcpy(out, TABLES.pairs[v].data(), 2);
    return out + 2;
}

// Gives the end of the text.
char* encodeRun(char const* bytes, unsigned long n, char* out) {
    auto const* p = reinterpret_cast<unsigned char const*>(bytes);
    for (; n >= 8; n -= 6, p += 6) {
        uint64 const v = static_cast<uint64>(p[0]) << 56 | static_cast<uint64>(p[1]) << 48 |
                         static_cast<uint64>(p[2]) << 40 | static_cast<uint64>(p[3]) << 32 |
                         static_cast<uint64>(p[4]) << 24 | static_cast<uint64>(p[5]) << 16 |
                         static_cast<uint64>(p[6]) << 8 | static_cast<uint64>(p[7]);
        putPair(out, static_cast<unsigned>(v >> 52));
        putPair(out + 2, static_cast<unsigned>(v >> 40 & 4095));
        putPair(out + 4, static_cast<unsigned>(v >> 28 & 4095));
        out = putPair(out + 6, static_cast<unsigned>(v >> 16 & 4095));
    }
    for (; n >= 3; n -= 3, p += 3) {
        unsigned const v = static_cast<unsigned>(p[0]) << 16 | static_cast<unsigned>(p[1]) << 8 |
                           static_cast<unsigned>(p[2]);
        out = putPair(out, v >> 12);
        out = putPair(out, v & 4095);
    }
    if (n == 0) return out;
    unsigned const v =
        static_cast<unsigned>(p[0]) << 16 | (n == 2 ? static_cast<unsigned>(p[1]) << 8 : 0);
    out = putPair(out, v >> 12);
    *out++ = n == 2 ? ALPHABET[v >> 6 & 63] : '=';
    *out++ = '=';
    return out;
}

// The bits of four characters; NO_DIGIT and more where one of them is none.
std::uint32_t digitsOf(unsigned char const* p) {
    return TABLES.digits[0][p[0]] | TABLES.digits[1][p[1]] | TABLES.digits[2][p[2]] |
           TABLES.digits[3][p[3]];
}

// Room for what a text of `n` characters can give.
constexpr unsigned long decodedRoom(unsigned long n) {
    return n / 4 * 3 + 3;
}

}  // namespace

void Base64::encode(istr in, String& out, bool lineBreaks) {
    if (in.empty()) return;
    if (detail::within(in, out.data(), out.capacity())) {
        String text;
        encode(in, text, lineBreaks);
        out = std::move(text);
        return;
    }
    unsigned long n = in.size();
    out.resize(textSize(n) + (lineBreaks ? (n - 1) / LINE_BYTES * 2 : 0));
    char* to = &out[0];
    char const* p = in.data();
    for (; lineBreaks && n > LINE_BYTES; n -= LINE_BYTES, p += LINE_BYTES) {
        to = encodeRun(p, LINE_BYTES, to);
        *to++ = '\r';
        *to++ = '\n';
    }
    encodeRun(p, n, to);
}

void Base64::encode(std::vector<unsigned char> const& in, String& out, bool lineBreaks) {
    encode(istr(in.data(), in.size()), out, lineBreaks);
}

unsigned char Base64::decode(char c) {
    std::uint32_t const v = TABLES.digits[3][static_cast<unsigned char>(c)];
    return v == NO_DIGIT ? 63 : static_cast<unsigned char>(v);
}

// Gives the number of bytes.
unsigned long Base64::decodeTo(istr in, unsigned char* out) {
    unsigned char* const begin = out;
    auto const* p = reinterpret_cast<unsigned char const*>(in.begin());
    auto const* const end = reinterpret_cast<unsigned char const*>(in.end());
    char group[4];
    unsigned have = 0;
    auto const flush = [&] {
        std::uint32_t v = 0;
        for (char const c : group) v = v << 6 | decode(c);
        *out++ = static_cast<unsigned char>(v >> 16);
        if (group[2] != '=') *out++ = static_cast<unsigned char>(v >> 8);
        if (group[3] != '=') *out++ = static_cast<unsigned char>(v);
        have = 0;
    };
    while (p != end) {
        // Plain groups, two at a time. A pair writes two bytes more than it gives, and
        // decodedRoom() has three.
        while (have == 0 && end - p >= 8) {
            std::uint32_t const v = digitsOf(p);
            if (v >= NO_DIGIT) break;
            std::uint32_t const w = digitsOf(p + 4);
            // Swapped by hand: g++ 12 would store byte by byte.
            uint64 bytes = static_cast<uint64>(v) << 40 | static_cast<uint64>(w << 8) << 8;
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
            bytes = __builtin_bswap64(bytes);
#endif
            std::memcpy(out, &bytes, sizeof(bytes));
            out += 3;
            p += 4;
            if (w >= NO_DIGIT) break;
            out += 3;
            p += 4;
        }
        if (p == end) break;
        char const c = static_cast<char>(*p++);
        if (!isBase64(c)) continue;
        group[have++] = c;
        if (have == 4) flush();
    }
    if (have != 0) {
        while (have < 4) group[have++] = 'A';
        flush();
    }
    return static_cast<unsigned long>(out - begin);
}

void Base64::decode(istr in, Bytes& out) {
    if (detail::within(in, out.buffer(), out.max_size())) {
        Bytes bytes;
        decode(in, bytes);
        out.swap(bytes);
        return;
    }
    out.init(decodedRoom(in.size()));
    out.size(decodeTo(in, out.buffer()));
}

void Base64::decode(istr in, std::vector<unsigned char>& out) {
    char const* first = in.begin();
    while (first != in.end() && !isBase64(*first)) ++first;
    if (first == in.end()) return;
    std::vector<unsigned char> bytes;
    bool const inside = detail::within(in, out.data(), out.capacity());
    std::vector<unsigned char>& to = inside ? bytes : out;
    to.resize(decodedRoom(in.size()));
    to.resize(decodeTo(istr(first, in.end()), to.data()));
    if (inside) out.swap(bytes);
}

// Here, since the bytes stand below the encoders.
Bytes::Bytes(base64 const& s) {
    Base64::decode(s.view, *this);
}

}  // namespace zan
