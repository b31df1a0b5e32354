#include "zan/util/binaryinstream.h"

#include "zan/log/log_logger.h"

namespace zan {

BinaryInStream& BinaryInStream::read(uint64& v, unsigned long maxBytes) {
    v = 0;
    if (eof()) return *this;
    signed char los = 0;
    readRaw(reinterpret_cast<char&>(los));
    if (eof() || los == 0) return *this;
    if (los != 1)
        ZAN_USER_THROW_MSG(detail::zanLogger(), BinaryDecodeException,
                           "invalid los " << static_cast<unsigned int>(los));
    signed char count = 0;
    readRaw(reinterpret_cast<char&>(count));
    if (eof() || count == 0) return *this;
    if (count < 1 || count > 8)
        ZAN_USER_THROW_MSG(detail::zanLogger(), BinaryDecodeException,
                           "invalid size " << static_cast<unsigned int>(count));
    istr const bytes = cursor_.next(static_cast<unsigned long>(count));
    if (bytes.size() != static_cast<unsigned long>(count)) {
        ZAN_INFO(detail::zanLogger(), "uncompleted data size " << bytes.size() << ", expected "
                                                               << static_cast<int>(count));
        return *this;
    }
    v = BinaryStream::readUint(bytes.data(), count, maxBytes);
    return *this;
}

BinaryInStream& BinaryInStream::read(__int64& v, unsigned long maxBytes) {
    return readNumber(v, maxBytes);
}

template <class T>
BinaryInStream& BinaryInStream::readNumber(T& v, unsigned long maxBytes) {
    v = 0;
    uint64 bits;
    read(bits, maxBytes);
    v = static_cast<T>(bits);
    return *this;
}

BinaryInStream& BinaryInStream::read(bool& v) {
    unsigned char bits = 0;
    v = false;
    readNumber(bits, 1);
    v = bits != 0;
    return *this;
}

BinaryInStream& BinaryInStream::read(char& v) {
    return readNumber(v, 1);
}

BinaryInStream& BinaryInStream::read(unsigned char& v) {
    return readNumber(v, 1);
}

BinaryInStream& BinaryInStream::read(short& v) {
    return readNumber(v, 2);
}

BinaryInStream& BinaryInStream::read(unsigned short& v) {
    return readNumber(v, 2);
}

BinaryInStream& BinaryInStream::read(int& v) {
    return readNumber(v, 4);
}

BinaryInStream& BinaryInStream::read(unsigned int& v) {
    return readNumber(v, 4);
}

BinaryInStream& BinaryInStream::read(long& v) {
    int bits = 0;
    v = 0;
    readNumber(bits, 4);
    v = bits;
    return *this;
}

BinaryInStream& BinaryInStream::read(unsigned long& v) {
    return readNumber(v, 4);
}

BinaryInStream& BinaryInStream::read(float& v) {
    unsigned int bits = 0;
    v = 0;
    readNumber(bits, 4);
    std::memcpy(&v, &bits, sizeof v);
    return *this;
}

BinaryInStream& BinaryInStream::read(double& v) {
    uint64 bits = 0;
    v = 0;
    readNumber(bits, 8);
    std::memcpy(&v, &bits, sizeof v);
    return *this;
}

BinaryInStream& BinaryInStream::read(Wchar& v) {
    unsigned short bits = 0;
    v = Wchar();
    readNumber(bits, 2);
    v = static_cast<wchar_t>(bits);
    return *this;
}

BinaryInStream& BinaryInStream::read(Time& v) {
    __int64 bits = 0;
    v = Time();
    readNumber(bits, 8);
    v = Time::microSeconds(bits);
    return *this;
}

BinaryInStream& BinaryInStream::read(istr& v) {
    v = istr();
    if (eof()) return *this;
    unsigned char const los = readLos();
    if (eof() || los == 0) return *this;
    if (los > 4)
        ZAN_USER_THROW_MSG(detail::zanLogger(), BinaryDecodeException,
                           "invalid los " << static_cast<unsigned int>(los));
    istr const field = cursor_.next(los);
    if (eof()) return *this;
    v = cursor_.next(BinaryStream::readUint(field, 4));
    return *this;
}

BinaryInStream& BinaryInStream::read(Bytes& v) {
    v.size(0);
    istr bytes;
    read(bytes);
    v.assign(bytes);
    return *this;
}

BinaryInStream& BinaryInStream::read(String& v) {
    v.clear();
    istr bytes;
    read(bytes);
    utf8ToAnsi(bytes, v);
    return *this;
}

BinaryInStream& BinaryInStream::read(std::wstring& v) {
    v.clear();
    istr bytes;
    read(bytes);
    utf8ToWstring(bytes, v);
    return *this;
}

BinaryInStream& BinaryInStream::readRaw(unsigned char& c) {
    istr const byte = cursor_.next(1);
    c = byte.empty() ? 0 : static_cast<unsigned char>(byte[0]);
    return *this;
}

BinaryInStream& BinaryInStream::readRaw(char& c) {
    return readRaw(reinterpret_cast<unsigned char&>(c));
}

BinaryInStream& BinaryInStream::readRaw(char* out, unsigned long* n) {
    cursor_.read(reinterpret_cast<unsigned char*>(out), *n);
    return *this;
}

unsigned char BinaryInStream::readLos() {
    unsigned char c;
    readRaw(c);
    return c % 16;
}

}  // namespace zan
