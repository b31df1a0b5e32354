#pragma once

#include <type_traits>
#include <utility>

#include "zan/base/base_type_time.h"
#include "zan/base/base_type_value.h"
#include "zan/nbr/lsd.h"
#include "zan/nbr/parser.h"
#include "zan/string/string_buffer.h"
#include "zan/util/binarystream.h"

// NBR, a compact tagged binary encoding, as classes that serialise themselves see it. A value is
// simple, a counted run of bytes, or complex, a list of children under ids of one byte. There are
// no type names: the reader knows what each id holds and asks for it by type and in the width in
// which it was written.
//
//     struct Point : zan::nbr::CodecInterface {
//         int x = 0;
//         zan::String label;
//         void codec(zan::nbr::CodecStream& s) override {
//             if (s.encoding()) {
//                 zan::nbr::OutputStream::Entry const entry(s.bos());
//                 s.bos().write(1, x);
//                 s.bos().write(2, label);
//             } else {
//                 s.bis().read(1, x);
//                 s.bis().read(2, label);
//             }
//         }
//     };
//
// 64-bit fields are `__int64`, Longlong or Ulonglong: std::int64_t is `long` on this platform, and
// `long` is 32-bit data.

namespace zan::nbr {

class CodecInterface;

// Writes values into a growing buffer.
//
// Ownership: owns its buffer; str() views it until the next write.
// Threads: one at a time.
// Errors: OutOfRangeException, with nothing written, for a `long` or `unsigned long` that does not
//   fit 32 bits, a Wchar above 0xFFFF, and 4 GiB or more of data in one value. Where memory runs
//   out the content is cut without a message.
// Cost: no allocation up to 255 bytes; reset() keeps what was allocated.
class ZAN_EXPORT OutputStream {
public:
    // A complex value, open for the lifetime of this object.
    class Entry {
    public:
        explicit Entry(OutputStream& out) : out_(&out) { out.writeMark('('); }
        // Nested: as the child `id` of the complex value that is open.
        Entry(OutputStream& out, unsigned char id) : out_(&out) {
            out.writeRaw(id);
            out.writeMark('(');
        }
        Entry(Entry const&) = delete;
        Entry& operator=(Entry const&) = delete;
        ~Entry() { out_->writeMark(')'); }

    private:
        OutputStream* out_;
    };

    OutputStream() = default;

    istr str() const { return buffer_; }
    // Empties the buffer; its memory stays.
    void reset() { buffer_.psize(0); }
    void swap(OutputStream& other) noexcept { buffer_.swap(other.buffer_); }

    // A child: its id, then the value, which is anything that << takes, or an object that encodes
    // itself. If that throws, neither is written. Under id 255 the size of 41 bytes of data takes
    // two bytes: packed in one, id and head would read as the end of the list.
    template <class T>
    void write(unsigned char id, T const& value) {
        if constexpr (std::is_arithmetic_v<T>) {
            writeInt(Packed(value), &id);
        } else {
            unsigned long const before = buffer_.psize();
            writeRaw(id);
            try {
                if constexpr (std::is_base_of_v<CodecInterface, T>)
                    value.encode(*this);
                else
                    *this << value;
            } catch (...) {
                buffer_.psize(before);
                throw;
            }
            if (__builtin_expect(id == 0xFF, 0)) partFromMark(before);
        }
    }

    // One value each. Only a String is marked as text, which dumps show as such; a std::string
    // could be text or bytes: say which with String(s) or istr(s).
    void operator<<(null_type) { writeRaw(static_cast<unsigned char>(0)); }
    void operator<<(empty_type) { writeRaw(istr("\1\0", 2)); }
    void operator<<(bool v) { writeInt(v); }
    void operator<<(char v) { writeInt(v); }
    // In as many bytes as the number needs.
    void operator<<(unsigned char v) { writeInt(v); }  // always one byte
    void operator<<(short v) { writeInt(v); }
    void operator<<(unsigned short v) { writeInt(v); }
    void operator<<(int v) { writeInt(v); }
    void operator<<(unsigned int v) { writeInt(v); }
    void operator<<(long v) { writeInt(v); }
    void operator<<(unsigned long v) { writeInt(v); }
    void operator<<(__int64 v) { writeInt(v); }
    void operator<<(uint64 v) { writeInt(v); }
    // The bits of IEEE 754.
    void operator<<(float v) { writeInt(v); }
    void operator<<(double v) { writeInt(v); }
    // Bytes as they are.
    void operator<<(istr const& v) { write_i(v.data(), v.size(), false); }
    void operator<<(char const* v) { *this << istr(v); }
    void operator<<(Bytes const& v) { *this << istr(v); }
    // Wide text becomes UTF-8, and is bytes.
    void operator<<(iwstr const& v);
    void operator<<(wchar_t const* v) { *this << iwstr(v); }
    void operator<<(std::wstring const& v) { *this << iwstr(v); }
    // Text in the configured code page becomes UTF-8.
    void operator<<(String const& v);
    // As the value in it.
    void operator<<(Time const& v) { writeInt(v.toMicroSeconds()); }  // in microseconds
    void operator<<(Bit v) { writeInt(v.value()); }
    void operator<<(Char v) { *this << v.value(); }
    void operator<<(Short v) { writeInt(v.value()); }
    void operator<<(Long v) { writeInt(v.value()); }
    void operator<<(Longlong v) { writeInt(v.value()); }
    void operator<<(Byte v) { writeInt(v.value()); }
    void operator<<(Ushort v) { writeInt(v.value()); }
    void operator<<(Ulong v) { writeInt(v.value()); }
    void operator<<(Ulonglong v) { writeInt(v.value()); }
    void operator<<(Float v) { writeInt(v.value()); }
    void operator<<(Double v) { writeInt(v.value()); }
    void operator<<(Wchar v) {
        if (__builtin_expect(static_cast<unsigned int>(v.value()) > 0xFFFF, 0)) throwOutOfRange();
        writeInt(static_cast<unsigned short>(v.value()));
    }
    // A pointer must not pass for a bool.
    template <class T>
    void operator<<(T const* v) = delete;

    // The bytes in hexadecimal.
    dumper& dump(dumper& d) const;

private:
    [[noreturn]] static void throwOutOfRange();

    // A number as it is packed: its bits, with the sign extended, and the most bytes it may take.
    struct Packed {
        Packed(bool v) : bits(v), cap(1) {}
        Packed(char v) : Packed(static_cast<short>(static_cast<signed char>(v))) {}
        Packed(unsigned char v) : bits(v), cap(1) {}
        Packed(short v) : bits(static_cast<uint64>(v)), cap(2) {}
        Packed(unsigned short v) : bits(v), cap(2) {}
        Packed(int v) : bits(static_cast<uint64>(v)), cap(4) {}
        Packed(unsigned int v) : bits(v), cap(4) {}
        Packed(long v) : bits(static_cast<uint64>(v)), cap(4) { check(zan::detail::fits32(v)); }
        Packed(unsigned long v) : bits(v), cap(4) { check(zan::detail::fits32(v)); }
        Packed(__int64 v) : bits(static_cast<uint64>(v)), cap(8) {}
        Packed(uint64 v) : bits(v), cap(8) {}
        Packed(float v) : bits(0), cap(4) {
            unsigned int word;
            static_assert(sizeof word == sizeof v);
            std::memcpy(&word, &v, sizeof v);
            bits = word;
        }
        Packed(double v) : cap(8) {
            static_assert(sizeof bits == sizeof v);
            std::memcpy(&bits, &v, sizeof v);
        }
        static void check(bool fits) {
            if (__builtin_expect(!fits, 0)) throwOutOfRange();
        }

        uint64 bits;
        unsigned long cap;
    };

    // With `id`, as the child of that id.
    void writeInt(Packed const& v, unsigned char const* id = nullptr) {
        // Room for eight bytes, all of them laid at once: what is past the count is overwritten by
        // the next value.
        if (__builtin_expect(!buffer_.reserve(11), 0)) return;
        unsigned char* const begin = buffer_.pbuf();
        unsigned char* p = begin;
        if (id != nullptr) *p++ = *id;
        unsigned long const n = BinaryStream::packedSize(v.bits, v.cap);
        p[0] = 1;
        p[1] = static_cast<unsigned char>(n);
        p[2] = static_cast<unsigned char>(v.bits);
        p[3] = static_cast<unsigned char>(v.bits >> 8);
        p[4] = static_cast<unsigned char>(v.bits >> 16);
        p[5] = static_cast<unsigned char>(v.bits >> 24);
        p[6] = static_cast<unsigned char>(v.bits >> 32);
        p[7] = static_cast<unsigned char>(v.bits >> 40);
        p[8] = static_cast<unsigned char>(v.bits >> 48);
        p[9] = static_cast<unsigned char>(v.bits >> 56);
        buffer_.psize(buffer_.psize() + static_cast<unsigned long>(p - begin) + 2 + n);
    }
    void write_i(char const* data, unsigned long size, bool text) {
        if (data == nullptr) size = 0;
        if (__builtin_expect(size >= 128 || !buffer_.reserve(2 + size), 0))
            return writeLong(data, size, text);
        unsigned char* const p = buffer_.pbuf();
        p[0] = text ? 0xF1 : 1;
        p[1] = static_cast<unsigned char>(size);
        copyShort(p + 2, data, size);
        buffer_.psize(buffer_.psize() + 2 + size);
    }
    // In pieces of fixed size, the last of which overlaps: most texts are too short for a call.
    static void copyShort(unsigned char* to, char const* from, unsigned long n) {
        if (n >= 16) {
            for (unsigned long i = 0; i < n - 16; i += 16) std::memcpy(to + i, from + i, 16);
            std::memcpy(to + n - 16, from + n - 16, 16);
        } else if (n >= 8) {
            std::memcpy(to, from, 8);
            std::memcpy(to + n - 8, from + n - 8, 8);
        } else {
            for (unsigned long i = 0; i < n; ++i) to[i] = static_cast<unsigned char>(from[i]);
        }
    }
    void writeLong(char const* data, unsigned long size, bool text);
    void partFromMark(unsigned long child);
    void writeMark(char last) {
        if (!buffer_.reserve(3)) return;
        unsigned char* const p = buffer_.pbuf();
        p[0] = 0xFF;
        p[1] = 1;
        p[2] = static_cast<unsigned char>(last);
        buffer_.psize(buffer_.psize() + 3);
    }
    void writeRaw(char const* p, unsigned long n) { buffer_.append(p, n); }
    void writeRaw(istr const& s) { buffer_ += s; }
    void writeRaw(unsigned char c) {
        if (!buffer_.reserve(1)) return;
        *buffer_.pbuf() = c;
        buffer_.psize(buffer_.psize() + 1);
    }

    StringBuffer buffer_;
};

inline void swap(OutputStream& a, OutputStream& b) noexcept {
    a.swap(b);
}

// Holds a parsed tree, or borrows a part of one.
//
//     nbr::InputStream in(bytes);
//     int x;
//     in.read(1, x);
//     nbr::InputStream point(in.getChild(2));
//
// Ownership: owns the tree that it parsed itself; a value that it is given is borrowed. The parsed
//   buffer must outlive the stream.
// Threads: one at a time; several streams may borrow from one tree.
// Errors: DecodeException from the parser, and for a complex value where a simple one is asked for.
class ZAN_EXPORT InputStream {
public:
    InputStream(ValueBase* value = nullptr) : value_(value) {}
    InputStream(istr data);
    // Direct look-up: holds no more than the simple child with this id.
    InputStream(istr data, unsigned char id);
    // Not copyable: a tree has one owner. A second stream may borrow get().
    InputStream(InputStream const&) = delete;
    InputStream& operator=(InputStream const&) = delete;
    InputStream(InputStream&& other) noexcept { swap(other); }
    InputStream& operator=(InputStream&& other) noexcept {
        swap(other);
        return *this;
    }
    ~InputStream();
    void swap(InputStream& other) noexcept {
        std::swap(value_, other.value_);
        std::swap(owned_, other.owned_);
    }

    // Null where there was no value.
    ValueBase* get() const { return value_; }
    // Null without such a child, and where the value is simple.
    ValueBase* getChild(unsigned char id) const;
    // Null where there is no value. A complex one is a DecodeException.
    SimpleValue* getSimpleValue() const;
    // Reads the simple child `id` into `v`. False, with `v` as it was, where there is none.
    template <class T>
    bool read(unsigned char id, T& v) const {
        InputStream child(getChild(id));
        if constexpr (std::is_base_of_v<CodecInterface, T>) {
            if (child.get() == nullptr) return false;
            v.decode(child);
        } else {
            SimpleValue const* const value = child.getSimpleValue();
            if (value == nullptr) return false;
            value->read(v);
        }
        return true;
    }

    dumper& dump(dumper& d) const;

private:
    ValueBase* value_ = nullptr;
    bool owned_ = false;
};

inline void swap(InputStream& a, InputStream& b) noexcept {
    a.swap(b);
}

// An input and an output side in one, so that a class describes its fields in one place.
class ZAN_EXPORT CodecStream {
public:
    // For encoding.
    CodecStream() = default;
    // For decoding.
    CodecStream(istr data) : encoding_(false), bis_(data) {}

    bool encoding() const { return encoding_; }
    InputStream& bis() { return bis_; }
    OutputStream& bos() { return bos_; }
    istr str() const { return bos_.str(); }

    // The shape that all object streams share; here they do nothing.
    void enter(istr, istr = istr(), istr = istr(), istr = istr()) {}
    void leave() {}
    void enterSuper() {}
    void leaveSuper() {}

private:
    bool encoding_ = true;
    InputStream bis_;
    OutputStream bos_;
};

// Base of the classes that serialise themselves.
class ZAN_EXPORT CodecInterface {
public:
    virtual ~CodecInterface();
    // Writes the fields to bos() where encoding(), else reads them from bis().
    virtual void codec(CodecStream& s) = 0;

    // Appends to what `out` holds. What codec() throws is passed on; `out` then holds what had been
    // written so far.
    void encode(OutputStream& out) const;
    void decode(InputStream& in);
};

// Shows a buffer as its tree, in logs. Bytes that are no NBR show as what could be read of them,
// with a report in the log; nothing is thrown.
//
// Ownership: views the buffer.
struct ZAN_EXPORT dump_buf {
    explicit dump_buf(istr const& s) : data(s) {}
    dumper& dump(dumper& d) const;

    istr data;
};

// With the default settings of a dumper.
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, InputStream const& in);
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, OutputStream const& out);
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, dump_buf const& buf);

}  // namespace zan::nbr
