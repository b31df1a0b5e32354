#include "zan/xml/xmloutstream.h"

#include <charconv>
#include <sstream>

#include "zan/base/exception.h"
#include "zan/base/mlcheck.h"
#include "zan/log/log_logger.h"
#include "zan/util/base64.h"

namespace zan {

namespace {

template <class T>
void writeDigits(XMLOutStream& s, T v) {
    char digits[24];
    s.cdata(istr(digits, std::to_chars(digits, digits + sizeof(digits), v).ptr));
}

template <class T>
void writeStreamed(XMLOutStream& s, T v) {
    std::ostringstream os;
    os << v;
    s.cdata(os.str());
}

}  // namespace

XMLOutStream::XMLOutStream() : XMLOutStream(istr("root")) {}

XMLOutStream::XMLOutStream(istr const& name) : XMLStreamBase(false, true, ZAN_NEW(XMLNode(name))) {}

XMLOutStream::XMLOutStream(istr const& name, XMLOutStream& parent)
    : XMLStreamBase(&parent.child(name), out_t()) {}

XMLOutStream& XMLOutStream::operator+=(XMLOutStream const& other) {
    if (!other.isNull()) node().append(other.node());
    return *this;
}

void XMLOutStream::operator<<(bool v) {
    cdata(v ? "1" : "0");
}

void XMLOutStream::operator<<(__int64 v) {
    writeDigits(*this, v);
}

void XMLOutStream::operator<<(uint64 v) {
    writeDigits(*this, v);
}

void XMLOutStream::operator<<(float v) {
    writeStreamed(*this, v);
}

void XMLOutStream::operator<<(double v) {
    writeStreamed(*this, v);
}

void XMLOutStream::operator<<(iwstr const& v) {
    String text;
    Base64::encode(toUtf8(wstr(v)), text, false);
    cdata(text);
    type("utf8");
}

void XMLOutStream::operator<<(Wchar const& v) {
    auto const c = static_cast<unsigned int>(v.value());
    if (c > 0xFFFF)
        ZAN_USER_THROW_MSG(detail::zanLogger(), zan::OutOfRangeException,
                           "character " << c << " has no form of four digits");
    char text[6] = {'\\', 'u'};
    for (unsigned int i = 0; i < 4; ++i)
        text[5 - i] = HexToChar(static_cast<unsigned char>(c >> (4 * i) & 15));
    cdata(istr(text, 6));
}

void XMLOutStream::operator<<(Bytes const& v) {
    String text;
    Base64::encode(v, text, false);
    cdata(text);
    type("base64");
}

void XMLOutStream::operator<<(Time const& v) {
    cdata(v.toFullDateTime());
}

}  // namespace zan
