#include "zan/xml/xmlstream.h"

#include <charconv>
#include <fstream>
#include <sstream>
#include <system_error>
#include <type_traits>

#include "zan/base/exception.h"
#include "zan/base/mlcheck.h"
#include "zan/log/log_logger.h"
#include "zan/log/log_tracer.h"
#include "zan/util/base64.h"
#include "zan/xml/xml_tree.h"
#include "zan/xml/xmlparser.h"

namespace zan {

namespace {

// Whole numbers in plain digits, read without a stream; all others are left to it.
template <class T>
bool readDigits(istr const& text, T& v) {
    if constexpr (std::is_integral_v<T> && sizeof(T) > 1) {
        if (!CharIsDigit(text[text.size() - 1])) return false;
        auto const read = std::from_chars(text.begin(), text.end(), v);
        return read.ec == std::errc() && read.ptr == text.end();
    } else {
        return false;
    }
}

XMLNode* ownRoot(istr const& name = "root") {
    return ZAN_NEW(XMLNode(name));
}

// The character data, of which no String is made on the way.
istr textOf(XMLInStream const& s) {
    return detail::XMLTree::text(s.node());
}

template <class Source>
void parseInto(XMLInStream& stream, Source& source) {
    try {
        XMLParser parser;
        parser.parse(source);
        stream.setInputNode(parser.release(), true);
    } catch (XMLRuntimeException const&) {
        stream.setInputNode(nullptr, false);
    }
}

}  // namespace

// --- Input

XMLInStream::XMLInStream(istr const& text) : XMLInStream() {
    parse(text);
}

XMLInStream::XMLInStream(std::ifstream& file) : XMLInStream() {
    parse(file);
}

void XMLInStream::parse(istr const& text) {
    parseInto(*this, text);
}

void XMLInStream::parse(std::ifstream& file) {
    parseInto(*this, file);
}

template <class T>
bool XMLInStream::readNumber(T& v) const {
    istr const text = textOf(*this);
    if (text.empty()) return false;
    T read{};
    if (!readDigits(text, read)) {
        std::istringstream is{static_cast<std::string>(text)};
        if (!(is >> read)) return false;
    }
    v = read;
    return true;
}

bool XMLInStream::operator>>(bool& v) const {
    return readNumber(v);
}
bool XMLInStream::operator>>(char& v) const {
    return readNumber(v);
}
bool XMLInStream::operator>>(unsigned char& v) const {
    return readNumber(v);
}
bool XMLInStream::operator>>(short& v) const {
    return readNumber(v);
}
bool XMLInStream::operator>>(unsigned short& v) const {
    return readNumber(v);
}
bool XMLInStream::operator>>(int& v) const {
    return readNumber(v);
}
bool XMLInStream::operator>>(unsigned int& v) const {
    return readNumber(v);
}
bool XMLInStream::operator>>(long& v) const {
    return readNumber(v);
}
bool XMLInStream::operator>>(unsigned long& v) const {
    return readNumber(v);
}
bool XMLInStream::operator>>(__int64& v) const {
    return readNumber(v);
}
bool XMLInStream::operator>>(uint64& v) const {
    return readNumber(v);
}
bool XMLInStream::operator>>(float& v) const {
    return readNumber(v);
}
bool XMLInStream::operator>>(double& v) const {
    return readNumber(v);
}

bool XMLInStream::operator>>(Char& v) const {
    unsigned short read = 0;
    if (!readNumber(read)) return false;
    v = static_cast<char>(read);
    return true;
}

bool XMLInStream::operator>>(Byte& v) const {
    unsigned short read = 0;
    if (!readNumber(read)) return false;
    v = static_cast<unsigned char>(read);
    return true;
}

bool XMLInStream::operator>>(String& v) const {
    if (isNull()) return false;
    v = String(textOf(*this));
    return true;
}

bool XMLInStream::operator>>(std::string& v) const {
    if (isNull()) return false;
    v = static_cast<std::string>(textOf(*this));
    return true;
}

bool XMLInStream::operator>>(std::wstring& v) const {
    Bytes utf8;
    if (!(*this >> utf8)) return false;
    std::wstring read;
    utf8ToWstring(utf8, read);
    v.swap(read);
    return true;
}

bool XMLInStream::operator>>(Bytes& v) const {
    if (isNull()) return false;
    Bytes read;
    Base64::decode(textOf(*this), read);
    v.swap(read);
    return true;
}

bool XMLInStream::operator>>(Wchar& v) const {
    v = wchar_t{0};
    istr const text = textOf(*this);
    if (text.size() != 6 || !text.beginWith("\\u")) return false;
    unsigned int read = 0;
    for (char const c : text.removeLeft(2ul)) {
        unsigned char const digit = HexFromChar(c);
        if (digit > 15) return false;
        read = read << 4 | digit;
    }
    v = static_cast<wchar_t>(read);
    return true;
}

bool XMLInStream::operator>>(Time& v) const {
    if (isNull()) return false;
    try {
        Time read;
        read.fromString(textOf(*this), nullptr);
        v = read;
        return true;
    } catch (InvalidDataException const&) {
        return false;
    }
}

// --- Both directions. The virtual base is built here, whatever the other bases say.

XMLStream::XMLStream() : XMLStreamBase(false, true, ownRoot()), XMLOutStream(istr()) {}

XMLStream::XMLStream(istr const& name)
    : XMLStreamBase(false, true, ownRoot(name)), XMLOutStream(istr()) {}

XMLStream::XMLStream(out_t, istr const& name) : XMLStream(name) {}

XMLStream::XMLStream(out_t, istr const& name, XMLOutStream& parent)
    : XMLStream(out_t(), parent.child(name)) {}

XMLStream::XMLStream(out_t, XMLNode& node) : XMLStreamBase(&node, out_t()), XMLOutStream(istr()) {}

XMLStream::XMLStream(XMLInputString const& text) : XMLStream(in_t(), text.str()) {}

XMLStream::XMLStream(in_t, istr const& text) : XMLStream(in_t(), XMLNode::null()) {
    parse(text);
}

XMLStream::XMLStream(std::ifstream& file) : XMLStream(in_t(), XMLNode::null()) {
    parse(file);
}

XMLStream::XMLStream(in_t, istr const& name, XMLInStream const& parent)
    : XMLStream(in_t(), parent.child(name)) {}

XMLStream::XMLStream(in_t, XMLNode const& node)
    : XMLStreamBase(&node, in_t()), XMLOutStream(istr()) {}

XMLAttr& XMLStream::attr(istr const& name) {
    return isInputting() ? const_cast<XMLAttr&>(XMLInStream::attr(name)) : XMLOutStream::attr(name);
}

XMLNode& XMLStream::child(istr const& name) {
    return isInputting() ? const_cast<XMLNode&>(XMLInStream::child(name))
                         : XMLOutStream::child(name);
}

void XMLStream::enter(istr const& typeName, istr const& elementName, istr const& className,
                      istr const& superName) {
    if (isInputting()) return;
    String const& present = name();
    if (present.empty() || present == "root" || present == "any") {
        if (!elementName.empty())
            name(elementName);
        else if (!typeName.empty())
            name(typeName);
    }
    if (!typeName.empty() && (type().empty() || type() == name())) type(typeName);
    if (!className.empty()) {
        istr const type = this->type();
        bool const same = className.size() == type.size() &&
                          CharToLower(className[0]) == CharToLower(type[0]) &&
                          className.removeLeft(1ul) == type.removeLeft(1ul);
        if (!same) attr("__class__").value(className);
    }
    if (!superName.empty() && superName != "Object") attr("__super__").value(superName);
}

// --- Objects

void XMLCodecBase::encodeXml(XMLOutStream& stream) const {
    XMLStream s(out_t(), stream.node());
    const_cast<XMLCodecBase*>(this)->codecXml(s);
}

void XMLCodecBase::decodeXml(XMLInStream const& stream) {
    XMLStream s(in_t(), stream.node());
    codecXml(s);
}

void XMLCodecBase::codecXml(XMLStream&) {}

String XMLCodecBase::toXml(bool indent) const {
    ZAN_TRACE_FRAME(detail::zanLogger());
    XMLOutStream stream;
    encodeXml(stream);
    return stream.str(indent, 0);
}

void XMLCodecBase::fromXml(istr const& text) {
    ZAN_TRACE_FRAME(detail::zanLogger());
    XMLInStream const stream(text);
    decodeXml(stream);
}

std::ostream& operator<<(std::ostream& os, XMLCodecBase const& c) {
    return os << c.toXml(true);
}

}  // namespace zan
