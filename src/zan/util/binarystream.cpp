#include "zan/util/binarystream.h"

#include "zan/log/log_logger.h"

namespace zan {

BinaryDecodeException::BinaryDecodeException(char const* file, unsigned int line, char const* func,
                                             char const* msg)
    : Exception(file, line, func, "zan::BinaryDecodeException", msg) {}

BinaryDecodeException::~BinaryDecodeException() noexcept = default;

uint64 BinaryStream::readUint(char const* data, char size, unsigned long maxBytes) {
    int n = static_cast<signed char>(size);
    if (n == 0) return 0;
    int const max = static_cast<signed char>(maxBytes);
    if (n > max) n = max;
    if (n < 1 || n > 8)
        ZAN_USER_THROW_MSG(detail::zanLogger(), BinaryDecodeException, "invalid size " << n);
    uint64 v = 0;
    while (n-- > 0) v = v << 8 | static_cast<unsigned char>(data[n]);
    return v;
}

void BinaryStream::encrypt(ostr o) {
    for (unsigned long i = 0; i < o.max_size(); ++i)
        o[i] = static_cast<char>(o[i] ^ static_cast<char>(~i));
}

}  // namespace zan
