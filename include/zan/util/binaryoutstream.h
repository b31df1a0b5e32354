#pragma once

#include "zan/base/base_type_time.h"
#include "zan/base/base_type_value.h"
#include "zan/string/string_buffer.h"
#include "zan/util/binarystream.h"

namespace zan {

// Writes a flat run of simple values, which BinaryInStream reads back in the same order: no ids, no
// nesting.
//
//     BinaryOutStream out;
//     out.write(short(300)).write(String("ab"));  // 01 02 2C 01 01 02 61 62
//
// Each type must be read as it was written. 64-bit fields are `__int64`, Longlong or Ulonglong:
// std::int64_t is `long` on this platform, and `long` is 32-bit data. A std::string could be text
// or bytes; say which with String(s) or istr(s).
//
// Ownership: owns its buffer; str() views it until the next write.
// Threads: one at a time.
// Errors: OutOfRangeException, with nothing written, for a `long` or `unsigned long` that does not
//   fit 32 bits, a Wchar above 0xFFFF, and 4 GiB or more of data in one value. Where memory runs
//   out the content is cut without a message.
class ZAN_EXPORT BinaryOutStream {
public:
    BinaryOutStream() = default;

    istr str() const { return buffer_; }
    StringBuffer& buffer() { return buffer_; }

    BinaryOutStream& write(null_type) { return writeRaw(static_cast<unsigned char>(0)); }
    BinaryOutStream& write(empty_type) { return writeRaw(istr("\1\0", 2)); }
    BinaryOutStream& write(bool v) { return write(static_cast<unsigned char>(v)); }
    BinaryOutStream& write(char v) {
        return write(static_cast<short>(static_cast<signed char>(v)));
    }
    // In as many bytes as the number needs.
    BinaryOutStream& write(unsigned char v);  // always one byte
    BinaryOutStream& write(short v) { return write(static_cast<__int64>(v), 2ul); }
    BinaryOutStream& write(unsigned short v) { return write(static_cast<uint64>(v), 2ul); }
    BinaryOutStream& write(int v) { return write(static_cast<__int64>(v), 4ul); }
    BinaryOutStream& write(unsigned int v) { return write(static_cast<uint64>(v), 4ul); }
    BinaryOutStream& write(long v);
    BinaryOutStream& write(unsigned long v);
    BinaryOutStream& write(__int64 v) { return write(v, 8ul); }
    BinaryOutStream& write(uint64 v) { return write(v, 8ul); }
    // The bits of IEEE 754.
    BinaryOutStream& write(float v);
    BinaryOutStream& write(double v);
    // As the value in it.
    BinaryOutStream& write(Bit v) { return write(v.value()); }
    BinaryOutStream& write(Char v) { return write(v.value()); }
    BinaryOutStream& write(Byte v) { return write(v.value()); }
    BinaryOutStream& write(Short v) { return write(v.value()); }
    BinaryOutStream& write(Ushort v) { return write(v.value()); }
    BinaryOutStream& write(Long v) { return write(v.value()); }
    BinaryOutStream& write(Ulong v) { return write(v.value()); }
    BinaryOutStream& write(Longlong v) { return write(v.value()); }
    BinaryOutStream& write(Ulonglong v) { return write(v.value()); }
    BinaryOutStream& write(Float v) { return write(v.value()); }
    BinaryOutStream& write(Double v) { return write(v.value()); }
    BinaryOutStream& write(Wchar v);                                             // its number
    BinaryOutStream& write(Time const& v) { return write(v.toMicroSeconds()); }  // in microseconds
    // Text in the configured code page, written in UTF-8.
    BinaryOutStream& write(String const& v);
    BinaryOutStream& write(std::wstring const& v) { return write(iwstr(v)); }
    BinaryOutStream& write(iwstr const& v);
    BinaryOutStream& write(wchar_t const* v) { return write(iwstr(v)); }
    // Bytes as they are.
    BinaryOutStream& write(istr const& v) { return write(v.data(), v.size()); }
    BinaryOutStream& write(char const* v) { return write(istr(v)); }
    BinaryOutStream& write(Bytes const& v) { return write(istr(v)); }
    // A pointer must not pass for a bool.
    template <class T>
    BinaryOutStream& write(T const* v) = delete;

    // Bytes unchanged, without a header.
    BinaryOutStream& writeRaw(char const* p, unsigned long n);
    BinaryOutStream& writeRaw(istr const& s) { return writeRaw(s.data(), s.size()); }
    BinaryOutStream& writeRaw(unsigned char c);

private:
    BinaryOutStream& write(__int64 v, unsigned long maxBytes);
    BinaryOutStream& write(uint64 v, unsigned long maxBytes);
    BinaryOutStream& write(char const* p, unsigned long n);

    StringBuffer buffer_;
};

}  // namespace zan
