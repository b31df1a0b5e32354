#pragma once

#include <array>
#include <iosfwd>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "zan/base/base_type_bytes.h"
#include "zan/base/base_type_time.h"
#include "zan/base/call_stack.h"
#include "zan/mt/mutex.h"

namespace zan {

class dumper;

namespace detail {
template <class T, class = void>
struct HasDump : std::false_type {};
template <class T>
struct HasDump<T, std::void_t<decltype(std::declval<T const&>().dump(std::declval<dumper&>()))>>
    : std::true_type {};
}  // namespace detail

// The one textual dump format. A class takes part by having `dumper& dump(dumper&) const`:
//
//     zan::dumper& Sample::dump(zan::dumper& d) const {
//         zan::dumper::_Entry const entry(d, "app::Sample");
//         d << zan::indent << zan::namestring("count_") << count_ << zan::endline;
//         return d;
//     }
//
// Ten settings shape the text, so that the same code gives an indented form of many lines and a
// compact form of one:
//
//     @app::Sample{                          {count_=7 name_='ab'}
//         count_ = 7
//         name_ = 'ab'
//     }
//
// A line break stands ahead of a line, not behind it: a dump begins with "@" and ends with "}".
// Quoted text, escaped bytes and hexadecimal views show at most maxStringSize() bytes of the logger
// LOGGER_ID (256 unless configured), then how much there was.
//
// Ownership: the dumper owns the stream that it makes itself; a stream that it is given must
// outlive
//   it. Threads: one at a time. Errors: those of the stream are not looked at.
class ZAN_EXPORT dumper : noncopyable {
public:
    // The ten settings.
    struct ZAN_EXPORT Config {
        Config(bool compact = false, istr const& lineSeparator = "\n",
               istr const& indentSeparator = "    ", unsigned int level = 0,
               istr const& eolSeparator = "", istr const& beginTag = "{", istr const& endTag = "}",
               istr const& typeTag = "@", istr const& nvSeparator = "=",
               istr const& valueSeparator = " ");
        dumper& dump(dumper& d) const;

        bool compact_;            // one-line form
        String lineSeparator_;    // at the start of each new line, before the indentation
        String indentSeparator_;  // once per level
        unsigned int level_;      // nesting depth, and with it the base indentation
        String eolSeparator_;     // at the end of a line
        String beginTag_;
        String endTag_;
        String typeTag_;         // before a type's name
        String nvSeparator_;     // between a name and its value
        String valueSeparator_;  // between two values in the compact form
    };

    // A structure, open for the lifetime of this object.
    class _Entry : noncopyable {
    public:
        _Entry(dumper& d, istr const& type, istr const& arg = istr(), istr const& extra1 = istr(),
               istr const& extra2 = istr())
            : dumper_(&d) {
            d.enter(type, arg, extra1, extra2);
        }
        ~_Entry() { dumper_->leave(); }

    private:
        dumper* dumper_;
    };

    // On a stream of its own, read back with str().
    dumper();
    explicit dumper(Config const& cfg);
    explicit dumper(bool compact, istr const& lineSeparator = "\n",
                    istr const& indentSeparator = "    ", unsigned int level = 0,
                    istr const& eolSeparator = "", istr const& beginTag = "{",
                    istr const& endTag = "}", istr const& typeTag = "@",
                    istr const& nvSeparator = "=", istr const& valueSeparator = " ");
    // On a stream of the caller's, written to at once.
    explicit dumper(std::ostream& os, Config const& cfg = Config());
    dumper(std::ostream& os, bool compact, istr const& lineSeparator = "\n",
           istr const& indentSeparator = "    ", unsigned int level = 0,
           istr const& eolSeparator = "", istr const& beginTag = "{", istr const& endTag = "}",
           istr const& typeTag = "@", istr const& nvSeparator = "=",
           istr const& valueSeparator = " ");
    ~dumper();

    // Begins a line: the line separator and the indentation; in the compact form the separator
    // between two values, where one is due.
    dumper& indent();
    dumper& endline();
    // Writes std::endl.
    dumper& nl();
    dumper& raw(istr const& text) { return write(text); }
    dumper& name(istr const& name, char const* sep = nullptr) { return writeName(name, sep); }
    // A null `sep` stands for the configured separator. An empty name writes nothing at all.
    dumper& writeName(istr const& name, char const* sep);
    // Opens a structure: the type's tag and the type, "<arg>", each extra behind the tag, and the
    // begin tag; what is empty is left out. The compact form has the begin tag alone. Close it
    // with leave(), or hold an _Entry.
    void enter(istr const& type, istr const& arg = istr(), istr const& extra1 = istr(),
               istr const& extra2 = istr());
    void leave();
    // Mark the base-class part of an object, for streams that show it; here they do nothing.
    void enterSuper() {}
    void leaveSuper() {}

    // The text so far. Throws UnsupportedFunctionException on a stream of the caller's.
    String str() const;
    std::ostream& internal_stream() { return *stream_; }
    Config const& cfg() const { return cfg_; }

    bool compact() const { return cfg_.compact_; }
    istr lineSeparator() const { return cfg_.lineSeparator_; }
    istr indentSeparator() const { return cfg_.indentSeparator_; }
    unsigned int level() const { return cfg_.level_; }
    istr eolSeparator() const { return cfg_.eolSeparator_; }
    istr beginTag() const { return cfg_.beginTag_; }
    istr endTag() const { return cfg_.endTag_; }
    istr typeTag() const { return cfg_.typeTag_; }
    istr nvSeparator() const { return cfg_.nvSeparator_; }
    istr valueSeparator() const { return cfg_.valueSeparator_; }
    dumper& compact(bool v);
    dumper& lineSeparator(istr const& v);
    dumper& indentSeparator(istr const& v);
    dumper& level(unsigned int v);
    dumper& eolSeparator(istr const& v);
    dumper& beginTag(istr const& v);
    dumper& endTag(istr const& v);
    dumper& typeTag(istr const& v);
    dumper& nvSeparator(istr const& v);
    dumper& valueSeparator(istr const& v);

    dumper& dump(dumper& d) const;

    // write() is the plain form: the stream's own, text in full, no quotes.
    dumper& write(bool v);
    dumper& write(char v);
    dumper& write(unsigned char v);
    dumper& write(short v);
    dumper& write(unsigned short v);
    dumper& write(int v);
    dumper& write(unsigned int v);
    dumper& write(long v);
    dumper& write(unsigned long v);
    dumper& write(__int64 v);
    dumper& write(uint64 v);
    dumper& write(float v);
    dumper& write(double v);
    dumper& write(void const* v);
    dumper& write(istr const& v);
    dumper& write(String const& v) { return write(istr(v)); }
    dumper& write(std::string const& v) { return write(istr(v)); }
    dumper& write(char const* v) { return write(istr(v)); }
    dumper& write(unsigned char const* v) { return write(istr(v)); }
    dumper& write(iwstr const& v);
    dumper& write(std::wstring const& v) { return write(iwstr(v)); }
    dumper& write(wchar_t const* v) { return write(iwstr(v)); }
    dumper& write(Bytes const& v);
    dumper& write(Time const& v);

    // The dump form: "true" and "false", characters and text in quotes, long text cut. Empty text
    // and empty bytes write nothing, not even quotes.
    dumper& operator<<(bool v);
    dumper& operator<<(char v);
    dumper& operator<<(unsigned char v) { return *this << static_cast<char>(v); }
    dumper& operator<<(short v) { return write(v); }
    dumper& operator<<(unsigned short v) { return write(v); }
    dumper& operator<<(int v) { return write(v); }
    dumper& operator<<(unsigned int v) { return write(v); }
    dumper& operator<<(long v) { return write(v); }
    dumper& operator<<(unsigned long v) { return write(v); }
    dumper& operator<<(__int64 v) { return write(v); }
    dumper& operator<<(uint64 v) { return write(v); }
    dumper& operator<<(float v) { return write(v); }
    dumper& operator<<(double v) { return write(v); }
    dumper& operator<<(void const* v) { return write(v); }
    dumper& operator<<(istr const& v);
    dumper& operator<<(String const& v) { return *this << istr(v); }
    dumper& operator<<(std::string const& v) { return *this << istr(v); }
    dumper& operator<<(char const* v) { return *this << istr(v); }
    dumper& operator<<(unsigned char const* v) { return *this << istr(v); }
    dumper& operator<<(iwstr const& v);
    dumper& operator<<(std::wstring const& v) { return *this << iwstr(v); }
    dumper& operator<<(wchar_t const* v) { return *this << iwstr(v); }
    dumper& operator<<(Bytes const& v);
    dumper& operator<<(Time const& v);
    dumper& operator<<(dumper& (dumper::*op)()) { return (this->*op)(); }  // calls it

private:
    void writeIndent();
    void writeQuoted(istr const& text, char quote);

    std::ostream* stream_;
    bool owned_;
    bool first_ = true;       // compact form: no separator is due before the next value
    bool savedFirst_ = true;  // first_ at the last enter(): one flag, not a stack
    Config cfg_;
};

// --- Manipulators and the stream syntax

inline dumper& indent(dumper& d) {
    return d.indent();
}
inline dumper& endline(dumper& d) {
    return d.endline();
}
inline dumper& nl(dumper& d) {
    return d.nl();
}
inline dumper& operator<<(dumper& d, dumper& (*op)(dumper&)) {
    return op(d);
}

// Text as it is, without quotes.
class rawstring : public istr {
public:
    using istr::istr;
    rawstring(istr const& s) : istr(s) {}
    dumper& operator()(dumper& d) const { return d.raw(*this); }
};

// The name of a field and its separator.
class namestring : public istr {
public:
    explicit namestring(istr const& name, char const* separator = nullptr)
        : istr(name), sep(separator) {}
    dumper& operator()(dumper& d) const { return d.writeName(*this, sep); }

    char const* sep;
};

inline dumper& operator<<(dumper& d, rawstring const& s) {
    return s(d);
}
inline dumper& operator<<(dumper& d, namestring const& s) {
    return s(d);
}

// Streams an object by its own dump().
template <class T, std::enable_if_t<detail::HasDump<T>::value, int> = 0>
dumper& operator<<(dumper& d, T const& value) {
    value.dump(d);
    return d;
}

ZAN_EXPORT dumper& operator<<(dumper& d, Current const& v);
ZAN_EXPORT dumper& operator<<(dumper& d, CallStack const& v);

// For application classes that want to dump through a base class.
class ZAN_EXPORT Interface {
public:
    virtual ~Interface();
};

// An Interface with a dump.
class ZAN_EXPORT Dumpable : public virtual Interface {
public:
    virtual dumper& dump(dumper& d) const = 0;
};

// --- Containers are structures: a vector or array names its elements by index, a list or set shows
// values alone, a map shows "key : value".

namespace detail {

template <class Container>
dumper& dumpIndexed(dumper& d, char const* type, Container const& c) {
    dumper::_Entry const entry(d, type);
    unsigned long i = 0;
    for (auto const& item : c) {
        String name("[");
        name << i++ << "]";
        d << indent << namestring(name, "") << item << endline;
    }
    return d;
}

template <class Container>
dumper& dumpValues(dumper& d, char const* type, Container const& c) {
    dumper::_Entry const entry(d, type);
    for (auto const& item : c) d << indent << item << endline;
    return d;
}

template <class Container>
dumper& dumpPairs(dumper& d, char const* type, Container const& c) {
    dumper::_Entry const entry(d, type);
    for (auto const& item : c)
        d << indent << item.first << rawstring(d.compact() ? ":" : " : ") << item.second << endline;
    return d;
}

}  // namespace detail

template <class T, class A>
dumper& operator<<(dumper& d, std::vector<T, A> const& c) {
    return detail::dumpIndexed(d, "zan::vector", c);
}
template <class T, std::size_t N>
dumper& operator<<(dumper& d, std::array<T, N> const& c) {
    return detail::dumpIndexed(d, "zan::array", c);
}
template <class T, class A>
dumper& operator<<(dumper& d, std::list<T, A> const& c) {
    return detail::dumpValues(d, "zan::list", c);
}
template <class T, class C, class A>
dumper& operator<<(dumper& d, std::set<T, C, A> const& c) {
    return detail::dumpValues(d, "zan::set", c);
}
template <class T, class C>
dumper& operator<<(dumper& d, stack<T, C> const& c) {
    return detail::dumpValues(d, "zan::stack", c.container());
}
template <class K, class V, class C, class A>
dumper& operator<<(dumper& d, std::map<K, V, C, A> const& c) {
    return detail::dumpPairs(d, "zan::map", c);
}
template <class K, class V, class C, class A>
dumper& operator<<(dumper& d, std::multimap<K, V, C, A> const& c) {
    return detail::dumpPairs(d, "zan::multimap", c);
}

// --- Hexadecimal views. The data is not owned.

// In the compact form one line of digits, else a table.
class ZAN_EXPORT hexdata {
public:
    hexdata(char const* data, unsigned long size) : data_(data), size_(size) {}
    hexdata(unsigned char const* data, unsigned long size)
        : hexdata(reinterpret_cast<char const*>(data), size) {}
    explicit hexdata(istr const& s) : hexdata(s.data(), s.size()) {}
    // At most `n` bytes of it.
    hexdata(istr const& s, unsigned long n) : hexdata(istr(s, n)) {}
    dumper& operator()(dumper& d) const;
    std::ostream& operator()(std::ostream& os) const;

private:
    char const* data_;
    unsigned long size_;
};

// "41 42 0A".
class ZAN_EXPORT write_hex {
public:
    write_hex(char const* data, unsigned long size) : data_(data), size_(size) {}
    write_hex(unsigned char const* data, unsigned long size)
        : write_hex(reinterpret_cast<char const*>(data), size) {}
    explicit write_hex(istr const& s) : write_hex(s.data(), s.size()) {}
    std::ostream& operator()(std::ostream& os) const;
    dumper& operator()(dumper& d) const;

private:
    char const* data_;
    unsigned long size_;
};

// A table with 16 bytes to a row: offset, digits, and each byte as the derived class shows it.
class ZAN_EXPORT dump_hex_base {
public:
    dump_hex_base(char const* data, unsigned long size) : data_(data), size_(size) {}
    dump_hex_base(unsigned char const* data, unsigned long size)
        : dump_hex_base(reinterpret_cast<char const*>(data), size) {}
    explicit dump_hex_base(istr const& s) : dump_hex_base(s.data(), s.size()) {}
    std::ostream& operator()(std::ostream& os) const;

protected:
    virtual void showChar(std::ostream& os, char c) const = 0;
    ~dump_hex_base() = default;

private:
    char const* data_;
    unsigned long size_;
};

// The character where it is printable, else ".".
struct show_printable {
    explicit show_printable(char c) : value(c) {}
    char value;
};
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, show_printable const& c);

// A `Show` is made of a char and written to a stream, as show_printable.
template <class Show>
class dump_hex final : public dump_hex_base {
public:
    using dump_hex_base::dump_hex_base;

private:
    void showChar(std::ostream& os, char c) const override { os << Show(c); }
};

inline dumper& operator<<(dumper& d, hexdata const& h) {
    return h(d);
}
inline dumper& operator<<(dumper& d, write_hex const& h) {
    return h(d);
}
inline std::ostream& operator<<(std::ostream& os, hexdata const& h) {
    return h(os);
}
inline std::ostream& operator<<(std::ostream& os, write_hex const& h) {
    return h(os);
}

}  // namespace zan
