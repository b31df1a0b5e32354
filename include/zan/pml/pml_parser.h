#pragma once

#include <istream>
#include <string>

#include "zan/base/exception.h"
#include "zan/pml/ntv_unit.h"

namespace zan::pml {

namespace ntv {
class NodeArena;
}

// Text that cannot be PML.
struct ZAN_EXPORT DecodeException : Exception {
    DecodeException(char const* file, unsigned int line, char const* func, char const* msg);
    ~DecodeException() noexcept override;
};

// The characters that mean something in PML: ( ) : * ^ ' "
ZAN_EXPORT bool isSpeacialChar(char c);
ZAN_EXPORT bool isSpeacialChar(wchar_t c);

// Makes a text fit to stand as a value: what the parser reads back is the same text, for any text
// without a NUL.
ZAN_EXPORT void escapeString(String& s);
ZAN_EXPORT void escapeString(std::wstring& s);

// Takes off one pair of enclosing quotes.
ZAN_EXPORT void unescapeString(String& s);
ZAN_EXPORT void unescapeString(std::wstring& s);

namespace detail {

// White space, as CharIsSpace says, without a call for the usual characters.
template <class CharT>
bool isBlank(CharT c) {
    auto const v = static_cast<std::make_unsigned_t<CharT>>(c);
    if (v < 128) return v == ' ' || (v >= 9 && v <= 13);
    return CharIsSpace(c);
}

// Reads terminated text, or a range in which NUL is a character like others.
template <class CharT>
class TextReader {
public:
    static constexpr bool CONTIGUOUS = true;

    explicit TextReader(CharT const*& p) : p_(p), begin_(p) {}
    TextReader(CharT const*& p, CharT const* end) : p_(p), begin_(p), end_(end) {}

    bool get(CharT& c) {
        if (eof()) return false;
        c = *p_++;
        return true;
    }
    bool peek(CharT& c) const {
        if (eof()) return false;
        c = *p_;
        return true;
    }
    void ignore() { ++p_; }
    bool getNonBlank(CharT& c) {
        while (get(c))
            if (!isBlank(c)) return true;
        return false;
    }
    bool eof() const { return p_ == end_ || (end_ == nullptr && *p_ == 0); }
    bool good() const { return !eof(); }

    CharT const*& position() { return p_; }
    CharT const* begin() const { return begin_; }
    // Null for terminated text.
    CharT const* end() const { return end_; }

private:
    CharT const*& p_;
    CharT const* begin_;
    CharT const* end_ = nullptr;
};

// Reads a stream character by character, and never beyond what the parser takes.
template <class CharT>
class StreamReader {
public:
    static constexpr bool CONTIGUOUS = false;

    explicit StreamReader(std::basic_istream<CharT>& in) : in_(in) {}

    bool get(CharT& c) {
        if (!in_.good()) return false;
        in_.get(c);
        return in_.good();
    }
    bool peek(CharT& c) {
        if (!in_.good()) return false;
        auto const next = in_.peek();
        if (!in_.good()) return false;
        c = std::char_traits<CharT>::to_char_type(next);
        return true;
    }
    void ignore() { in_.ignore(); }
    bool getNonBlank(CharT& c) {
        while (get(c))
            if (!isBlank(c)) return true;
        return false;
    }
    bool eof() const { return in_.eof(); }
    bool good() const { return in_.good(); }

private:
    std::basic_istream<CharT>& in_;
};

}  // namespace detail

// The parser, for one call: fills one unit from a reader. Applications use the functions in
// pml_t.h.
//
// Errors: DecodeException; DuplicatedUnitException for two children of one name. The unit then
//   holds what was read up to there. Input that ends too soon is no error.
// Cost: time linear in the input, and memory for what it carries. Nothing recurses: nesting has no
//   limit.
template <class CharT>
class pmlParserBase {
public:
    // What the parser is about to read.
    enum State { PasingName = 0, PasingType = 1, PasingValue = 2 };

    // `file`, where it is not null, is named in errors, with the line and the column.
    explicit pmlParserBase(ntv::Unit& unit, State state = PasingName, istr const& file = istr())
        : unit_(&unit), state_(state), file_(file) {}

    // REQUIRES: the unit has no value. Always true.
    template <class Reader>
    bool parse(Reader& in);

private:
    template <class Reader>
    void run(Reader& in, ntv::Unit* root);
    template <class Reader>
    bool getToken(Reader& in);
    template <class Reader>
    bool getTokenByChar(Reader& in, CharT c);
    template <class Reader>
    bool getQuoted(Reader& in, CharT& c);
    template <class Reader>
    static bool skipComment(Reader& in);
    template <class Reader>
    [[noreturn]] void raise(Reader& in, char const* text) const;
    template <class Reader>
    String place(Reader& in) const;

    void setName(ntv::Unit& unit) const;
    void setType() const;
    void setValue();
    void add(ntv::Unit* child, ntv::Unit* parent);
    void keepOpenUnits(ntv::Unit* root);

    ntv::Unit* unit_;
    State state_;
    std::basic_string<CharT> token_;
    int tokenFlag_ = 0;  // how the token ended: 0 ":", 1 "(", 2 ")"

    CharT const* text_ = nullptr;  // the token, in the input or in token_
    unsigned long size_ = 0;
    istr file_;
    ntv::NodeArena* arena_ = nullptr;
};

}  // namespace zan::pml
