#pragma once

#include <string>

#include "zan/base/base_type_bytes.h"
#include "zan/base/base_type_time.h"
#include "zan/base/base_type_value.h"
#include "zan/xml/xmlstreambase.h"

namespace zan {

// Writes values as elements. A stream stands for one element and one value:
//
//     XMLOutStream root("order");
//     root("id").value("7");
//     XMLOutStream("count", root) << 12;   // <count>12</count>
//     root.str(true, 0);
//
// A second write replaces the first. To write an element of a name that is there already, make the
// node: XMLOutStream(*root.node().addChildNode("item")) << "bolt".
//
// Errors: OutOfRangeException, with nothing written, for a Wchar above 0xFFFF.
class ZAN_EXPORT XMLOutStream : public virtual XMLStreamBase {
public:
    // A node named "root".
    XMLOutStream();
    explicit XMLOutStream(istr const& name);
    // On the parent's child of that name, made where it is missing.
    XMLOutStream(istr const& name, XMLOutStream& parent);
    explicit XMLOutStream(XMLNode& node) : XMLStreamBase(&node, out_t()) {}
    XMLOutStream(XMLOutStream const&) = default;
    XMLOutStream& operator=(XMLOutStream const& other) {
        XMLStreamBase::operator=(other);
        return *this;
    }

    // A copy of the other's node becomes the last child of this one.
    XMLOutStream& operator+=(XMLOutStream const& other);

    // Made where they are missing.
    XMLAttr& attr(istr const& name) { return node().attr(name); }
    XMLAttr& operator()(istr const& name) { return attr(name); }
    XMLNode& child(istr const& name) { return node().child(name); }
    XMLNode& operator[](istr const& name) { return child(name); }

    // Numbers in decimal, with 6 significant digits where they have a fraction; a Char and a Byte
    // as numbers, but a char as itself; bool as "1" and "0".
    void operator<<(bool v);
    void operator<<(Bit const& v) { *this << v.value(); }
    void operator<<(char v) { cdata(istr(&v, 1)); }
    void operator<<(unsigned char v) { *this << static_cast<char>(v); }
    void operator<<(Char const& v) {
        *this << static_cast<short>(static_cast<signed char>(v.value()));
    }
    void operator<<(Byte const& v) { *this << static_cast<unsigned short>(v.value()); }
    void operator<<(short v) { *this << static_cast<__int64>(v); }
    void operator<<(unsigned short v) { *this << static_cast<uint64>(v); }
    void operator<<(int v) { *this << static_cast<__int64>(v); }
    void operator<<(unsigned int v) { *this << static_cast<uint64>(v); }
    void operator<<(long v) { *this << static_cast<__int64>(v); }
    void operator<<(unsigned long v) { *this << static_cast<uint64>(v); }
    void operator<<(__int64 v);
    void operator<<(uint64 v);
    void operator<<(Short const& v) { *this << v.value(); }
    void operator<<(Ushort const& v) { *this << v.value(); }
    void operator<<(Long const& v) { *this << v.value(); }
    void operator<<(Ulong const& v) { *this << v.value(); }
    void operator<<(Longlong const& v) { *this << v.value(); }
    void operator<<(Ulonglong const& v) { *this << v.value(); }
    void operator<<(float v);
    void operator<<(double v);
    void operator<<(Float const& v) { *this << v.value(); }
    void operator<<(Double const& v) { *this << v.value(); }
    // Text as it is.
    void operator<<(istr const& v) { cdata(v); }
    void operator<<(String const& v) { cdata(v); }
    void operator<<(std::string const& v) { cdata(istr(v)); }
    void operator<<(char const* v) { cdata(istr(v)); }
    void operator<<(unsigned char const* v) { cdata(istr(v)); }
    // Base64 of the UTF-8; the type becomes "utf8".
    void operator<<(iwstr const& v);
    void operator<<(std::wstring const& v) { *this << iwstr(v); }
    void operator<<(wchar_t const* v) { *this << iwstr(v); }
    // "\u00E9".
    void operator<<(Wchar const& v);
    // Base64; the type becomes "base64".
    void operator<<(Bytes const& v);
    // Local time with milliseconds.
    void operator<<(Time const& v);
};

}  // namespace zan
