// The first bytes choose what is read from the rest, which may be any bytes. Nothing but the named
// exception comes out, no read goes past the end, each takes something while there is something,
// and a value that was read and is written reads the same again.

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "zan/log/log_factory.h"
#include "zan/util/binaryinstream.h"
#include "zan/util/binaryoutstream.h"

namespace {

using namespace zan;

// What is thrown is reported in the log, and need not be shown.
[[maybe_unused]] bool const quiet = [] {
    logger_factory::instance(LOGGER_ID).setConsoleOn(false);
    return true;
}();

void check(bool ok) {
    if (!ok) std::abort();
}

bool same(float a, float b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}
bool same(double a, double b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}
template <class T>
bool same(T const& a, T const& b) {
    return a == b;
}

template <class T>
void readAndBack(BinaryInStream& in) {
    T v{};
    in.read(v);
    BinaryOutStream out;
    out.write(v);
    T back{};
    BinaryInStream(out.str()).read(back);
    check(same(v, back));
}

// Text is UTF-8 only where it was written by somebody who keeps to it.
template <class T>
void readText(BinaryInStream& in) {
    T once{};
    in.read(once);
    T twice{};
    BinaryOutStream out;
    out.write(once);
    BinaryInStream(out.str()).read(twice);
    check(once == twice);
}

void readOne(BinaryInStream& in, unsigned kind) {
    switch (kind % 20) {
        case 0:
            return readAndBack<bool>(in);
        case 1:
            return readAndBack<char>(in);
        case 2:
            return readAndBack<unsigned char>(in);
        case 3:
            return readAndBack<short>(in);
        case 4:
            return readAndBack<unsigned short>(in);
        case 5:
            return readAndBack<int>(in);
        case 6:
            return readAndBack<unsigned int>(in);
        case 7:
            return readAndBack<long>(in);
        case 8:
            return readAndBack<unsigned long>(in);
        case 9:
            return readAndBack<__int64>(in);
        case 10:
            return readAndBack<uint64>(in);
        case 11:
            return readAndBack<float>(in);
        case 12:
            return readAndBack<double>(in);
        case 13:
            return readAndBack<Time>(in);
        case 14:
            return readAndBack<Bytes>(in);
        case 15:
            return readText<String>(in);
        case 16:
            return readText<std::wstring>(in);
        case 17:
            return readAndBack<Wchar>(in);
        case 18:
            return readAndBack<istr>(in);
        default: {
            char raw[7];
            unsigned long n = sizeof raw;
            in.readRaw(raw, &n);
            check(n <= sizeof raw);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::size_t const kinds = size < 16 ? size / 2 : 8;
    istr const bytes(data + kinds, size - kinds);
    BinaryInStream in(bytes);
    for (std::size_t i = 0; i < kinds; ++i) {
        try {
            readOne(in, data[i]);
        } catch (BinaryDecodeException const&) {
        }
        check(in.str().data() == bytes.data());
    }
    char packed[16];
    for (unsigned long cap = 1; cap <= 8; ++cap) {
        try {
            uint64 const v = BinaryStream::readUint(bytes, cap);
            check(bytes.size() > 255 || bytes.size() < 128);
            char const n = BinaryStream::writeInt(packed, v, 8);
            check(BinaryStream::readUint(packed, n, 8) == v);
        } catch (BinaryDecodeException const&) {
            check((bytes.size() & 0xFF) >= 128);
        }
    }
    return 0;
}
