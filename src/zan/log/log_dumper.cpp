#include "zan/log/log_dumper.h"

#include <iomanip>
#include <ostream>

#include "zan/base/exception.h"
#include "zan/base/mlcheck.h"
#include "zan/log/log_logger.h"

namespace zan {

namespace {

unsigned long textLimit() {
    return detail::zanLogger().maxStringSize();
}

void put(std::ostream& os, istr const& text) {
    if (!text.empty()) os.write(text.data(), static_cast<std::streamsize>(text.size()));
}

void putOmission(std::ostream& os, unsigned long size) {
    os << "<omit data up to " << size << '>';
}

// Sets a stream up for two-digit upper-case bytes, and back to what the rest of a dump expects.
class HexDigits {
public:
    explicit HexDigits(std::ostream& os) : os_(os) {
        os_ << std::uppercase << std::hex << std::setfill('0');
    }
    ~HexDigits() { os_ << std::dec << std::setfill(' ') << std::nouppercase; }
    HexDigits(HexDigits const&) = delete;
    HexDigits& operator=(HexDigits const&) = delete;

    void byte(char c) {
        os_ << std::setw(2) << static_cast<unsigned int>(static_cast<unsigned char>(c));
    }

private:
    std::ostream& os_;
};

}  // namespace

Interface::~Interface() = default;

// --- Settings

dumper::Config::Config(bool compact, istr const& lineSeparator, istr const& indentSeparator,
                       unsigned int level, istr const& eolSeparator, istr const& beginTag,
                       istr const& endTag, istr const& typeTag, istr const& nvSeparator,
                       istr const& valueSeparator)
    : compact_(compact),
      lineSeparator_(lineSeparator),
      indentSeparator_(indentSeparator),
      level_(level),
      eolSeparator_(eolSeparator),
      beginTag_(beginTag),
      endTag_(endTag),
      typeTag_(typeTag),
      nvSeparator_(nvSeparator),
      valueSeparator_(valueSeparator) {}

dumper& dumper::Config::dump(dumper& d) const {
    _Entry const entry(d, "zan::dumper::Config");
    d << zan::indent << namestring("compact_") << compact_ << zan::endline;
    d << zan::indent << namestring("lineSeparator_") << lineSeparator_ << zan::endline;
    d << zan::indent << namestring("indentSeparator_") << indentSeparator_ << zan::endline;
    d << zan::indent << namestring("level_") << level_ << zan::endline;
    d << zan::indent << namestring("eolSeparator_") << eolSeparator_ << zan::endline;
    d << zan::indent << namestring("beginTag_") << beginTag_ << zan::endline;
    d << zan::indent << namestring("endTag_") << endTag_ << zan::endline;
    d << zan::indent << namestring("typeTag_") << typeTag_ << zan::endline;
    d << zan::indent << namestring("nvSeparator_") << nvSeparator_ << zan::endline;
    d << zan::indent << namestring("valueSeparator_") << valueSeparator_ << zan::endline;
    return d;
}

dumper::dumper() : dumper(Config()) {}

dumper::dumper(Config const& cfg) : stream_(ZAN_NEW(std::ostringstream)), owned_(true), cfg_(cfg) {}

dumper::dumper(bool compact, istr const& lineSeparator, istr const& indentSeparator,
               unsigned int level, istr const& eolSeparator, istr const& beginTag,
               istr const& endTag, istr const& typeTag, istr const& nvSeparator,
               istr const& valueSeparator)
    : dumper(Config(compact, lineSeparator, indentSeparator, level, eolSeparator, beginTag, endTag,
                    typeTag, nvSeparator, valueSeparator)) {}

dumper::dumper(std::ostream& os, Config const& cfg) : stream_(&os), owned_(false), cfg_(cfg) {}

dumper::dumper(std::ostream& os, bool compact, istr const& lineSeparator,
               istr const& indentSeparator, unsigned int level, istr const& eolSeparator,
               istr const& beginTag, istr const& endTag, istr const& typeTag,
               istr const& nvSeparator, istr const& valueSeparator)
    : dumper(os, Config(compact, lineSeparator, indentSeparator, level, eolSeparator, beginTag,
                        endTag, typeTag, nvSeparator, valueSeparator)) {}

dumper::~dumper() {
    if (owned_) ZAN_DELETE(stream_);
}

dumper& dumper::compact(bool v) {
    cfg_.compact_ = v;
    return *this;
}
dumper& dumper::lineSeparator(istr const& v) {
    cfg_.lineSeparator_ = v;
    return *this;
}
dumper& dumper::indentSeparator(istr const& v) {
    cfg_.indentSeparator_ = v;
    return *this;
}
dumper& dumper::level(unsigned int v) {
    cfg_.level_ = v;
    return *this;
}
dumper& dumper::eolSeparator(istr const& v) {
    cfg_.eolSeparator_ = v;
    return *this;
}
dumper& dumper::beginTag(istr const& v) {
    cfg_.beginTag_ = v;
    return *this;
}
dumper& dumper::endTag(istr const& v) {
    cfg_.endTag_ = v;
    return *this;
}
dumper& dumper::typeTag(istr const& v) {
    cfg_.typeTag_ = v;
    return *this;
}
dumper& dumper::nvSeparator(istr const& v) {
    cfg_.nvSeparator_ = v;
    return *this;
}
dumper& dumper::valueSeparator(istr const& v) {
    cfg_.valueSeparator_ = v;
    return *this;
}

// --- Structure

void dumper::writeIndent() {
    put(*stream_, cfg_.lineSeparator_);
    if (cfg_.indentSeparator_.empty()) return;  // a deep dump without indentation stays linear
    for (unsigned int i = 0; i < cfg_.level_; ++i) put(*stream_, cfg_.indentSeparator_);
}

dumper& dumper::indent() {
    if (!cfg_.compact_)
        writeIndent();
    else if (first_)
        first_ = false;
    else
        put(*stream_, cfg_.valueSeparator_);
    return *this;
}

dumper& dumper::endline() {
    if (!cfg_.compact_) put(*stream_, cfg_.eolSeparator_);
    return *this;
}

dumper& dumper::nl() {
    *stream_ << std::endl;
    return *this;
}

dumper& dumper::writeName(istr const& name, char const* sep) {
    if (name.empty()) return *this;
    put(*stream_, name);
    if (sep != nullptr) {
        put(*stream_, sep);
    } else if (cfg_.compact_) {
        put(*stream_, cfg_.nvSeparator_);
    } else {
        *stream_ << ' ';
        put(*stream_, cfg_.nvSeparator_);
        *stream_ << ' ';
    }
    return *this;
}

void dumper::enter(istr const& type, istr const& arg, istr const& extra1, istr const& extra2) {
    if (cfg_.compact_) {
        put(*stream_, cfg_.beginTag_);
    } else {
        auto const tagged = [this](istr const& text) {
            if (text.empty()) return;
            put(*stream_, cfg_.typeTag_);
            put(*stream_, text);
        };
        tagged(type);
        if (!arg.empty()) {
            *stream_ << '<';
            put(*stream_, arg);
            *stream_ << '>';
        }
        tagged(extra1);
        tagged(extra2);
        put(*stream_, cfg_.beginTag_);
        endline();
        ++cfg_.level_;
    }
    savedFirst_ = first_;
    first_ = true;
}

void dumper::leave() {
    first_ = savedFirst_;
    if (cfg_.compact_) {
        put(*stream_, cfg_.endTag_);
        return;
    }
    --cfg_.level_;
    indent();
    put(*stream_, cfg_.endTag_);
    endline();
}

String dumper::str() const {
    if (!owned_) ZAN_THROW_PLAIN(zan::UnsupportedFunctionException);
    return static_cast<std::ostringstream*>(stream_)->str();
}

dumper& dumper::dump(dumper& d) const {
    String const text = str();
    _Entry const entry(d, "zan::dumper");
    d << zan::indent << namestring("str()") << text << zan::endline;
    d << zan::indent << namestring("owned_") << owned_ << zan::endline;
    d << zan::indent << namestring("first_") << first_ << zan::endline;
    d << zan::indent << namestring("savedFirst_") << savedFirst_ << zan::endline;
    d << zan::indent << namestring("cfg_") << cfg_ << zan::endline;
    return d;
}

// --- Plain values

#define ZAN_WRITE_VALUE(T)       \
    dumper& dumper::write(T v) { \
        *stream_ << v;           \
        return *this;            \
    }
ZAN_WRITE_VALUE(bool)
ZAN_WRITE_VALUE(char)
ZAN_WRITE_VALUE(unsigned char)
ZAN_WRITE_VALUE(short)
ZAN_WRITE_VALUE(unsigned short)
ZAN_WRITE_VALUE(int)
ZAN_WRITE_VALUE(unsigned int)
ZAN_WRITE_VALUE(long)
ZAN_WRITE_VALUE(unsigned long)
ZAN_WRITE_VALUE(__int64)
ZAN_WRITE_VALUE(uint64)
ZAN_WRITE_VALUE(float)
ZAN_WRITE_VALUE(double)
ZAN_WRITE_VALUE(void const*)
#undef ZAN_WRITE_VALUE

dumper& dumper::write(istr const& v) {
    put(*stream_, v);
    return *this;
}

dumper& dumper::write(iwstr const& v) {
    String text;
    wstringToAnsi(v, text, -1);
    return write(istr(text));
}

dumper& dumper::write(Bytes const& v) {
    return *this << v;
}

dumper& dumper::write(Time const& v) {
    return write(istr(v.toDateTime()));
}

// --- The dump form

dumper& dumper::operator<<(bool v) {
    *stream_ << (v ? "true" : "false");
    return *this;
}

dumper& dumper::operator<<(char v) {
    *stream_ << '\'';
    Print(*stream_, v);
    *stream_ << '\'';
    return *this;
}

void dumper::writeQuoted(istr const& text, char quote) {
    if (text.empty()) return;
    unsigned long const limit = textLimit();
    *stream_ << quote;
    put(*stream_, text.leftstr(limit));
    if (text.size() > limit) putOmission(*stream_, text.size());
    *stream_ << quote;
}

dumper& dumper::operator<<(istr const& v) {
    writeQuoted(v, '\'');
    return *this;
}

dumper& dumper::operator<<(iwstr const& v) {
    Bytes text;
    wstringToUtf8(v, text);
    writeQuoted(text, '"');
    return *this;
}

dumper& dumper::operator<<(Time const& v) {
    return *this << istr(v.toDateTime());
}

dumper& dumper::operator<<(Bytes const& v) {
    if (v.empty()) return *this;
    unsigned long const limit = textLimit();
    *stream_ << '"';
    {
        HexDigits digits(*stream_);
        bool escaped = false;
        for (char const c : istr(v).leftstr(limit)) {
            if (c == '\n') {
                writeIndent();
            } else if (CharIsPrint(c)) {
                if (escaped) *stream_ << '}';
                escaped = false;
                *stream_ << c;
            } else {
                if (!escaped) *stream_ << "\\x{";
                escaped = true;
                digits.byte(c);
            }
        }
        if (escaped) *stream_ << '}';
    }
    if (v.size() > limit) putOmission(*stream_, v.size());
    *stream_ << '"';
    return *this;
}

dumper& operator<<(dumper& d, Current const& v) {
    dumper::_Entry const entry(d, "zan::Current");
    d << indent << namestring("_v.file()") << v.file() << endline;
    d << indent << namestring("_v.line()") << v.line() << endline;
    d << indent << namestring("_v.func()") << v.func() << endline;
    d << indent << namestring("_v.prefix()") << v.prefix() << endline;
    return d;
}

dumper& operator<<(dumper& d, CallStack const& v) {
    dumper::_Entry const entry(d, "zan::CallStack");
    d << indent << namestring("_v.container()") << v.container() << endline;
    d << indent << namestring("_v.separator()") << v.separator() << endline;
    return d;
}

// --- Hexadecimal views

dumper& hexdata::operator()(dumper& d) const {
    if (d.compact())
        write_hex(data_, size_)(d.internal_stream());
    else
        dump_hex<show_printable>(data_, size_)(d.internal_stream());
    return d;
}

std::ostream& hexdata::operator()(std::ostream& os) const {
    return write_hex(data_, size_)(os);
}

std::ostream& write_hex::operator()(std::ostream& os) const {
    unsigned long const limit = textLimit();
    if (data_ != nullptr) {
        HexDigits digits(os);
        unsigned long const n = size_ < limit ? size_ : limit;
        for (unsigned long i = 0; i < n; ++i) {
            if (i != 0) os << ' ';
            digits.byte(data_[i]);
        }
    }
    if (size_ > limit) putOmission(os, size_);
    return os;
}

dumper& write_hex::operator()(dumper& d) const {
    (*this)(d.internal_stream());
    return d;
}

std::ostream& dump_hex_base::operator()(std::ostream& os) const {
    constexpr unsigned long ROW = 16;
    unsigned long const limit = textLimit();
    unsigned long const n = size_ < limit ? size_ : limit;
    os << "\n        00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F  0123456789ABCDEF\n"
       << std::string(73, '-');
    HexDigits digits(os);
    unsigned long row = 0;
    if (data_ != nullptr) {
        for (; row < n; row += ROW) {
            os << std::hex << std::setfill('0') << '\n' << std::setw(6) << row << ": ";
            for (unsigned long i = row; i < row + ROW; ++i) {
                if (i < n)
                    digits.byte(data_[i]);
                else
                    os << "  ";
                os << ' ';
            }
            os << ' ';
            for (unsigned long i = row; i < row + ROW && i < n; ++i) showChar(os, data_[i]);
        }
    }
    if (size_ > limit) {
        os << '\n' << std::setw(6) << row << ": ";
        putOmission(os, size_);
    }
    return os;
}

std::ostream& operator<<(std::ostream& os, show_printable const& c) {
    return os.put(CharIsPrint(c.value) ? c.value : '.');
}

}  // namespace zan
