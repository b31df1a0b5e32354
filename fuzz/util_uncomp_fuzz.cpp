// Any bytes, as gzip and as a zlib stream. Nothing goes over the limit that the first bytes set;
// less room gives the start of the same text; what is good packs and comes back.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "zan/util/zlibcompressor.h"

namespace {

using namespace zan;

void check(bool ok) {
    if (!ok) std::abort();
}

bool unpack(std::string const& in, int maxSize, std::string& text) {
    int size = static_cast<int>(in.size());
    char* out = nullptr;
    bool const good = gzlib::uncomp(in.data(), out, size, maxSize);
    check(size >= 0 && size <= maxSize && out != nullptr);
    text.assign(out, static_cast<std::size_t>(size));
    delete[] out;
    return good;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size < 2) return 0;
    int const limit = data[0] << 8 | data[1];
    std::string const in(reinterpret_cast<char const*>(data + 2), size - 2);
    constexpr int ROOM = 1 << 20;
    std::string text;
    std::string start;
    bool const good = unpack(in, ROOM, text);
    bool const fits = unpack(in, limit, start);
    check(text.compare(0, start.size(), start) == 0);
    check(fits == (good && start.size() == text.size()));
    check(!good || fits || start.size() == static_cast<std::size_t>(limit));

    int packedSize = static_cast<int>(text.size());
    unsigned char* packed = nullptr;
    check(gzlib::comp(text.data(), packed, packedSize));
    std::string back;
    std::string const made(reinterpret_cast<char*>(packed), static_cast<std::size_t>(packedSize));
    check(unpack(made, ROOM, back));
    delete[] packed;
    check(back == text);

    Bytes out;
    if (zlib::uncompress(in, out, static_cast<unsigned long>(limit) + 1)) {
        check(out.size() <= static_cast<unsigned long>(limit) + 1);
        Bytes stream;
        check(zlib::compress(out, stream));
        Bytes again;
        check(zlib::uncompress(stream, again, out.size() + 1));
        check(istr(again) == istr(out));
    } else {
        check(out.empty());
    }
    return 0;
}
