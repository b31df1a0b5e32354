#pragma once

#include <iosfwd>
#include <string>

#include "zan/log/log_dumper.h"
#include "zan/xml/xmloutstream.h"
#include "zan/xml/xmlstreambase.h"

namespace zan {

// Reads what XMLOutStream wrote:
//
//     XMLInStream root(text);
//     if (root.isNull()) return false;              // malformed
//     int count = 1;
//     XMLInStream("count", root) >> count;          // keeps 1 where there is none, or no number
//
// Errors: none is thrown. A text that does not parse, and a child that is missing, give a stream
//   without a node; from that every >> is false.
class ZAN_EXPORT XMLInStream : public virtual XMLStreamBase {
public:
    // Without a node.
    XMLInStream() : XMLStreamBase(true, false, nullptr) {}
    // The text has to outlive the call only.
    explicit XMLInStream(istr const& text);
    explicit XMLInStream(std::ifstream& file);
    // On the parent's first child of that name.
    XMLInStream(istr const& name, XMLInStream const& parent)
        : XMLStreamBase(&parent.child(name), in_t()) {}
    explicit XMLInStream(XMLNode const& node) : XMLStreamBase(&node, in_t()) {}
    XMLInStream(XMLInStream const&) = default;
    XMLInStream& operator=(XMLInStream const& other) {
        XMLStreamBase::operator=(other);
        return *this;
    }

    // The stream owns what was read, and has no node where that failed.
    void parse(istr const& text);
    void parse(std::ifstream& file);

    // The shared null objects where they are missing.
    XMLAttr const& attr(istr const& name) const { return node().attr(name); }
    XMLAttr const& operator()(istr const& name) const { return attr(name); }
    XMLNode const& child(istr const& name) const { return node().child(name); }
    XMLNode const& operator[](istr const& name) const { return child(name); }

    // False where there is no node, or its text does not convert; the target is then as it was. A
    // number is read up to the first character that does not belong: "12ab" is 12.

    // "0" and "1".
    bool operator>>(bool& v) const;
    // The first character that is no white space.
    bool operator>>(char& v) const;
    bool operator>>(unsigned char& v) const;
    // Numbers in decimal.
    bool operator>>(short& v) const;
    bool operator>>(unsigned short& v) const;
    bool operator>>(int& v) const;
    bool operator>>(unsigned int& v) const;
    bool operator>>(long& v) const;
    bool operator>>(unsigned long& v) const;
    bool operator>>(__int64& v) const;
    bool operator>>(uint64& v) const;
    bool operator>>(float& v) const;
    bool operator>>(double& v) const;
    // As the type without `volatile`.
    bool operator>>(bool volatile& v) const { return readAs<bool>(v); }
    bool operator>>(char volatile& v) const { return readAs<char>(v); }
    bool operator>>(unsigned char volatile& v) const { return readAs<unsigned char>(v); }
    bool operator>>(short volatile& v) const { return readAs<short>(v); }
    bool operator>>(unsigned short volatile& v) const { return readAs<unsigned short>(v); }
    bool operator>>(int volatile& v) const { return readAs<int>(v); }
    bool operator>>(unsigned int volatile& v) const { return readAs<unsigned int>(v); }
    bool operator>>(long volatile& v) const { return readAs<long>(v); }
    bool operator>>(unsigned long volatile& v) const { return readAs<unsigned long>(v); }
    bool operator>>(__int64 volatile& v) const { return readAs<__int64>(v); }
    bool operator>>(uint64 volatile& v) const { return readAs<uint64>(v); }
    bool operator>>(float volatile& v) const { return readAs<float>(v); }
    bool operator>>(double volatile& v) const { return readAs<double>(v); }
    bool operator>>(Bit& v) const { return readAs<bool>(v); }  // as a bool
    // Numbers, of which the low 8 bits count.
    bool operator>>(Char& v) const;
    bool operator>>(Byte& v) const;
    // As the value in it.
    bool operator>>(Short& v) const { return *this >> v.value(); }
    bool operator>>(Ushort& v) const { return *this >> v.value(); }
    bool operator>>(Long& v) const { return *this >> v.value(); }
    bool operator>>(Ulong& v) const { return *this >> v.value(); }
    bool operator>>(Longlong& v) const { return *this >> v.value(); }
    bool operator>>(Ulonglong& v) const { return *this >> v.value(); }
    bool operator>>(Float& v) const { return *this >> v.value(); }
    bool operator>>(Double& v) const { return *this >> v.value(); }
    // Text as it is.
    bool operator>>(String& v) const;
    bool operator>>(std::string& v) const;
    // Base64, of UTF-8 in the first, whatever the type says.
    bool operator>>(std::wstring& v) const;
    bool operator>>(Bytes& v) const;
    // 0 where the result is false.
    bool operator>>(Wchar& v) const;
    // False only where there is no node, or for a date that no Time can hold.
    bool operator>>(Time& v) const;

private:
    template <class T, class Target>
    bool readAs(Target& v) const {
        T read{};
        if (!(*this >> read)) return false;
        v = read;
        return true;
    }
    template <class T>
    bool readNumber(T& v) const;
};

// A text in a type of its own, that XMLStream parses where it would take a plain text for a name.
class ZAN_EXPORT XMLInputString {
public:
    XMLInputString() = default;
    explicit XMLInputString(istr const& text) : text_(text) {}
    String const& str() const { return text_; }

private:
    String text_;
};

// Either direction, fixed when it is made, so that a class describes itself once; see XMLCodecBase.
class ZAN_EXPORT XMLStream : public XMLInStream, public XMLOutStream {
public:
    // Output, to a node of its own; named "root" without a name.
    XMLStream();
    explicit XMLStream(istr const& name);
    XMLStream(out_t, istr const& name);
    // Output, to the parent's child of that name, made where it is missing.
    XMLStream(out_t, istr const& name, XMLOutStream& parent);
    XMLStream(out_t, XMLNode& node);
    // Input, parsed.
    explicit XMLStream(XMLInputString const& text);
    XMLStream(in_t, istr const& text);
    explicit XMLStream(std::ifstream& file);
    // Input, from the parent's first child of that name.
    XMLStream(in_t, istr const& name, XMLInStream const& parent);
    XMLStream(in_t, XMLNode const& node);
    XMLStream(XMLStream const&) = default;
    XMLStream& operator=(XMLStream const& other) {
        XMLStreamBase::operator=(other);
        return *this;
    }

    // On an output stream made where they are missing. On an input stream they are for reading:
    // writing to what is missing does nothing.
    XMLAttr& attr(istr const& name);
    XMLAttr& operator()(istr const& name) { return attr(name); }
    XMLNode& child(istr const& name);
    XMLNode& operator[](istr const& name) { return child(name); }
    // The shared null objects where they are missing.
    XMLAttr const& attr(istr const& name) const { return XMLInStream::attr(name); }
    XMLAttr const& operator()(istr const& name) const { return attr(name); }
    XMLNode const& child(istr const& name) const { return XMLInStream::child(name); }
    XMLNode const& operator[](istr const& name) const { return child(name); }

    // Describes the object that is about to be written; nothing on an input stream. Any argument
    // may be empty.
    //
    // A node without a name, or named "root" or "any", takes the name of the element, else of the
    // type. The attribute "__type__" tells the type where it is not the name, "__class__" the class
    // where it is not the type, but for the case of the first letter, and "__super__" the base
    // class unless that is "Object".
    void enter(istr const& typeName, istr const& elementName = istr(),
               istr const& className = istr(), istr const& superName = istr());
    void leave() {}
    void enterSuper() {}
    void leaveSuper() {}
};

// Base of classes that are written and read as one element. Each field is a child or an attribute;
// one member serves both directions:
//
//     struct Item : zan::XMLCodecBase {
//         zan::String name;
//         int count = 1;
//
//         void codecXml(zan::XMLStream& s) override {
//             s.enter("Item");
//             field(s, "name", name);
//             field(s, "count", count);
//         }
//
//         template <class T>
//         static void field(zan::XMLStream& s, char const* key, T& value) {
//             if (s.isInputting())
//                 zan::XMLStream(zan::in_t(), key, s) >> value;
//             else
//                 zan::XMLStream(zan::out_t(), key, s) << value;
//         }
//     };
//
// A field that is an object itself goes by its own encodeXml() and decodeXml() on such a stream. A
// collection is written with node().addChildNode(name), and read with getChildren(name) of the
// stream's const node().
struct ZAN_EXPORT XMLCodecBase : public virtual Interface {
    // These two call codecXml(); a class that wants separate code for each direction overrides them
    // in its place.
    virtual void encodeXml(XMLOutStream& stream) const;
    virtual void decodeXml(XMLInStream const& stream);
    // May change the object when it reads, and must not when it writes.
    virtual void codecXml(XMLStream& stream);

    String toXml(bool indent) const;
    // Of a malformed text codecXml() sees a stream without a node, on which nothing converts.
    void fromXml(istr const& text);
};

// Writes toXml(true).
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, XMLCodecBase const& c);

}  // namespace zan
