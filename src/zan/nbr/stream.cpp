#include "zan/nbr/stream.h"

#include <sstream>

#include "zan/base/codepage_default.h"
#include "zan/base/mlcheck.h"
#include "zan/log/log_dumper.h"
#include "zan/log/log_logger.h"
#include "zan/log/log_tracer.h"
#include "zan/platform/codepage.h"

namespace zan::nbr {

// --- OutputStream

void OutputStream::throwOutOfRange() {
    ZAN_USER_THROW_MSG(zan::detail::zanLogger(), OutOfRangeException, "OutOfRangeException");
    __builtin_unreachable();
}

void OutputStream::writeLong(char const* data, unsigned long size, bool text) {
    if (!zan::detail::fits32(size)) throwOutOfRange();
    char header[5];
    unsigned char const width =
        static_cast<unsigned char>(BinaryStream::writeInt(header + 1, size, 4));
    header[0] = static_cast<char>(text ? width | 0xF0 : width);
    writeRaw(header, 1ul + width);
    writeRaw(data, size);
}

void OutputStream::partFromMark(unsigned long child) {
    constexpr unsigned char SIZE = ')';
    if (buffer_.psize() != child + 3 + SIZE || buffer_[child + 1] != 1 ||
        buffer_[child + 2] != SIZE || !buffer_.reserve(1))
        return;
    unsigned char* const head = buffer_.buffer() + child + 1;
    std::memmove(head + 3, head + 2, SIZE);
    head[0] = 2;
    head[2] = 0;
    buffer_.psize(buffer_.psize() + 1);
}

void OutputStream::operator<<(String const& v) {
    if (zan::detail::configuredCodepage() == platform::CODE_PAGE_UTF8)
        return write_i(v.data(), v.size(), true);
    Bytes text;
    ansiToUtf8(v, text);
    write_i(text.c_str(), text.size(), true);
}

void OutputStream::operator<<(iwstr const& v) {
    Bytes text;
    wstringToUtf8(v, text);
    write_i(text.c_str(), text.size(), false);
}

dumper& OutputStream::dump(dumper& d) const {
    dumper::_Entry const entry(d, "zan::nbr::OutputStream");
    return d << hexdata(str());
}

// --- InputStream

InputStream::InputStream(istr data) {
    ZAN_TRACE_FRAME(zan::detail::zanLogger());
    value_ = parser::from(data);
    owned_ = true;
}

InputStream::InputStream(istr data, unsigned char id)
    : value_(parser::from(data, id)), owned_(true) {}

InputStream::~InputStream() {
    if (owned_) ZAN_DELETE(value_);
}

ValueBase* InputStream::getChild(unsigned char id) const {
    if (value_ == nullptr || value_->simple()) return nullptr;
    return static_cast<ComplexValue const*>(value_)->get(id);
}

SimpleValue* InputStream::getSimpleValue() const {
    if (value_ == nullptr) return nullptr;
    if (!value_->simple())
        ZAN_USER_THROW_MSG(zan::detail::zanLogger(), zan::nbr::DecodeException, "not simple value");
    return static_cast<SimpleValue*>(value_);
}

dumper& InputStream::dump(dumper& d) const {
    dumper::_Entry const entry(d, "zan::nbr::InputStream");
    if (value_ != nullptr) d << indent << *value_;
    return d;
}

// --- CodecInterface

CodecInterface::~CodecInterface() = default;

namespace {

// Lends one side of a CodecStream for the time of a call, which may throw.
template <class Side>
class Loan {
public:
    Loan(Side& from, Side& to) : from_(from), to_(to) { to_.swap(from_); }
    Loan(Loan const&) = delete;
    Loan& operator=(Loan const&) = delete;
    ~Loan() { to_.swap(from_); }

private:
    Side& from_;
    Side& to_;
};

}  // namespace

void CodecInterface::encode(OutputStream& out) const {
    CodecStream stream;
    Loan const loan(out, stream.bos());
    // Encoding only reads the fields: one codec() serves both directions.
    const_cast<CodecInterface*>(this)->codec(stream);
}

void CodecInterface::decode(InputStream& in) {
    CodecStream stream(istr(""));
    Loan const loan(in, stream.bis());
    codec(stream);
}

// --- dump_buf

dumper& dump_buf::dump(dumper& d) const {
    try {
        InputStream const in(data);
        in.dump(d);
    } catch (Exception const& e) {
        std::ostringstream os;
        os << e;
        writeExcptLog(zan::detail::zanLogger(), ZAN_HERE, os.str().c_str());
    }
    return d;
}

namespace {

template <class T>
std::ostream& dumpOn(std::ostream& os, T const& value) {
    dumper d(os);
    value.dump(d);
    return os;
}

}  // namespace

std::ostream& operator<<(std::ostream& os, InputStream const& in) {
    return dumpOn(os, in);
}

std::ostream& operator<<(std::ostream& os, OutputStream const& out) {
    return dumpOn(os, out);
}

std::ostream& operator<<(std::ostream& os, dump_buf const& buf) {
    return dumpOn(os, buf);
}

}  // namespace zan::nbr
