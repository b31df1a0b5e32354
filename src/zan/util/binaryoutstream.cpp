#include "zan/util/binaryoutstream.h"

#include "zan/log/log_logger.h"

namespace zan {

BinaryOutStream& BinaryOutStream::write(unsigned char v) {
    unsigned char const bytes[] = {1, 1, v};
    buffer_.append(bytes, sizeof bytes);
    return *this;
}

BinaryOutStream& BinaryOutStream::write(long v) {
    if (!detail::fits32(v))
        ZAN_USER_THROW_MSG(detail::zanLogger(), OutOfRangeException, "OutOfRangeException");
    return write(static_cast<int>(v));
}

BinaryOutStream& BinaryOutStream::write(unsigned long v) {
    if (!detail::fits32(v))
        ZAN_USER_THROW_MSG(detail::zanLogger(), OutOfRangeException, "OutOfRangeException");
    return write(static_cast<unsigned int>(v));
}

BinaryOutStream& BinaryOutStream::write(float v) {
    unsigned int bits;
    static_assert(sizeof bits == sizeof v);
    std::memcpy(&bits, &v, sizeof v);
    return write(bits);
}

BinaryOutStream& BinaryOutStream::write(double v) {
    uint64 bits;
    static_assert(sizeof bits == sizeof v);
    std::memcpy(&bits, &v, sizeof v);
    return write(bits);
}

BinaryOutStream& BinaryOutStream::write(Wchar v) {
    if (static_cast<unsigned int>(v.value()) > 0xFFFF)
        ZAN_USER_THROW_MSG(detail::zanLogger(), OutOfRangeException, "OutOfRangeException");
    return write(static_cast<unsigned short>(v.value()));
}

BinaryOutStream& BinaryOutStream::write(String const& v) {
    Bytes text;
    ansiToUtf8(v, text);
    return write(text);
}

BinaryOutStream& BinaryOutStream::write(iwstr const& v) {
    Bytes text;
    wstringToUtf8(v, text);
    return write(text);
}

BinaryOutStream& BinaryOutStream::writeRaw(char const* p, unsigned long n) {
    if (n == npos) n = StrLen(p);
    buffer_.append(p, n);
    return *this;
}

BinaryOutStream& BinaryOutStream::writeRaw(unsigned char c) {
    buffer_ += c;
    return *this;
}

BinaryOutStream& BinaryOutStream::write(__int64 v, unsigned long maxBytes) {
    return write(static_cast<uint64>(v), maxBytes);
}

BinaryOutStream& BinaryOutStream::write(uint64 v, unsigned long maxBytes) {
    char bytes[10] = {1};
    bytes[1] = BinaryStream::writeInt(bytes + 2, v, maxBytes);
    buffer_.append(bytes, 2ul + static_cast<unsigned char>(bytes[1]));
    return *this;
}

BinaryOutStream& BinaryOutStream::write(char const* p, unsigned long n) {
    if (p == nullptr) n = 0;
    if (!detail::fits32(n))
        ZAN_USER_THROW_MSG(detail::zanLogger(), OutOfRangeException, "OutOfRangeException");
    char header[5];
    header[0] = BinaryStream::writeInt(header + 1, n, 4);
    buffer_.append(header, 1ul + static_cast<unsigned char>(header[0]));
    buffer_.append(p, n);
    return *this;
}

}  // namespace zan
