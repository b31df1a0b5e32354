#pragma once

#include "zan/base/base_type_time.h"
#include "zan/base/base_type_value.h"
#include "zan/string/string_slice.h"
#include "zan/util/binarystream.h"

namespace zan {

// Reads back what BinaryOutStream wrote, each type in the order and in the width in which it was
// written.
//
//     BinaryInStream in(bytes);
//     short a;
//     String b;
//     in.read(a).read(b);
//
// Every read first sets its target to zero or empty, and at the end of the input that is all it
// does. A number cut short stays 0, with a line in the log; a string cut short is what there is.
// Signs are not extended: a negative number reads back in its own width only. `long` is 32-bit
// data: long& gets the value sign-extended from 32 bits, unsigned long& zero-extended.
//
// Ownership: views the input, which must outlive the stream and every istr that was read from it.
// Threads: one at a time.
// Errors: BinaryDecodeException for bytes that no value begins with; the cursor then stands behind
//   what was taken. Memory is taken for bytes that have arrived, whatever a size field announces.
class ZAN_EXPORT BinaryInStream {
public:
    explicit BinaryInStream(istr const& s) : cursor_(s) {}
    // Starts again on another view.
    void str(istr const& s) { cursor_ = StringSlice(s); }
    // The whole input.
    istr str() const { return cursor_; }

    BinaryInStream& read(bool& v);
    BinaryInStream& read(char& v);
    BinaryInStream& read(unsigned char& v);
    BinaryInStream& read(short& v);
    BinaryInStream& read(unsigned short& v);
    BinaryInStream& read(int& v);
    BinaryInStream& read(unsigned int& v);
    BinaryInStream& read(long& v);
    BinaryInStream& read(unsigned long& v);
    BinaryInStream& read(__int64& v) { return read(v, 8ul); }
    BinaryInStream& read(uint64& v) { return read(v, 8ul); }
    BinaryInStream& read(float& v);
    BinaryInStream& read(double& v);
    BinaryInStream& read(Bit& v) { return read(v.value()); }
    BinaryInStream& read(Char& v) { return read(v.value()); }
    BinaryInStream& read(Byte& v) { return read(v.value()); }
    BinaryInStream& read(Short& v) { return read(v.value()); }
    BinaryInStream& read(Ushort& v) { return read(v.value()); }
    BinaryInStream& read(Long& v) { return read(v.value()); }
    BinaryInStream& read(Ulong& v) { return read(v.value()); }
    BinaryInStream& read(Longlong& v) { return read(v.value()); }
    BinaryInStream& read(Ulonglong& v) { return read(v.value()); }
    BinaryInStream& read(Float& v) { return read(v.value()); }
    BinaryInStream& read(Double& v) { return read(v.value()); }
    BinaryInStream& read(Wchar& v);
    BinaryInStream& read(Time& v);
    BinaryInStream& read(Bytes& v);
    BinaryInStream& read(istr& v);          // a view of the bytes in the input
    BinaryInStream& read(String& v);        // from UTF-8 to the configured code page
    BinaryInStream& read(std::wstring& v);  // from UTF-8

    // One byte, 0 at the end of the input.
    BinaryInStream& readRaw(char& c);
    BinaryInStream& readRaw(unsigned char& c);
    // At most `*n` bytes; `*n` becomes their number.
    BinaryInStream& readRaw(char* out, unsigned long* n);
    // The low four bits of one byte.
    unsigned char readLos();

private:
    BinaryInStream& read(__int64& v, unsigned long maxBytes);
    BinaryInStream& read(uint64& v, unsigned long maxBytes);
    template <class T>
    BinaryInStream& readNumber(T& v, unsigned long maxBytes);
    bool eof() const { return cursor_.eof(); }

    StringSlice cursor_;
};

}  // namespace zan
