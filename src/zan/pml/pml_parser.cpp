#include "zan/pml/pml_parser.h"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>

#include "zan/log/log_logger.h"
#include "zan/log/log_tracer.h"
#include "zan/pml/char_class.h"
#include "zan/pml/pml_t.h"
#include "zan/pml/tree_access.h"

namespace zan::pml {

using ntv::TreeAccess;
using ntv::Unit;

DecodeException::DecodeException(char const* file, unsigned int line, char const* func,
                                 char const* msg)
    : Exception(file, line, func, "zan::pml::DecodeException", msg) {}

DecodeException::~DecodeException() noexcept = default;

// --- Escapes

bool isSpeacialChar(char c) {
    return (classOf(c) & SPECIAL) != 0;
}

bool isSpeacialChar(wchar_t c) {
    return (classOf(c) & SPECIAL) != 0;
}

namespace {

template <class CharT>
bool isQuote(CharT c) {
    return c == '"' || c == '\'';
}

template <class Text>
void escape(Text& s) {
    if (s.empty()) return;
    bool quoted = detail::isBlank(s.front()) || detail::isBlank(s.back());
    unsigned long escapes = 0;
    for (auto const c : s) {
        unsigned char const kind = classOf(c);
        if ((kind & (SPECIAL | HIGH)) != 0) quoted = true;
        if ((kind & ESCAPED) != 0) ++escapes;
    }
    if (!quoted) return;
    Text out;
    out.reserve(s.size() + escapes + 2);
    out.push_back('"');
    for (auto const c : s) {
        if ((classOf(c) & ESCAPED) != 0) out.push_back('^');
        out.push_back(c);
    }
    out.push_back('"');
    s.swap(out);
}

template <class Text>
void unescape(Text& s) {
    if (s.size() < 2 || !isQuote(s.front()) || s.front() != s.back()) return;
    s.pop_back();
    s.erase(0, 1);
}

}  // namespace

void escapeString(String& s) {
    escape(s);
}

void escapeString(std::wstring& s) {
    escape(s);
}

void unescapeString(String& s) {
    unescape(s);
}

void unescapeString(std::wstring& s) {
    unescape(s);
}

// --- Tokens

// "(*" has been read.
template <class CharT>
template <class Reader>
bool pmlParserBase<CharT>::skipComment(Reader& in) {
    CharT c{};
    CharT next{};
    for (unsigned long depth = 1; in.get(c);) {
        if (c == '(') {
            if (!in.peek(next) || next != '*') continue;
            in.ignore();
            ++depth;
        } else if (c == '*') {
            if (!in.peek(next) || next != ')') continue;
            in.ignore();
            if (--depth == 0) return true;
        }
    }
    return false;
}

// `c` is the opening quote, and then the character with which plain reading goes on.
template <class CharT>
template <class Reader>
bool pmlParserBase<CharT>::getQuoted(Reader& in, CharT& c) {
    CharT const first = c;
    CharT close = c;
    token_.push_back(first);
    while (in.get(c)) {
        if (c == '^') {
            if (!in.get(c)) {
                token_.push_back('^');
                return false;
            }
            token_.push_back(c);
        } else if (c != close) {
            token_.push_back(c);
        } else {
            token_.push_back(first);
            if (!in.getNonBlank(c)) return false;
            if (!isQuote(c)) return true;
            token_.pop_back();
            close = c;
        }
    }
    return false;
}

// Goes on with a token of which token_ holds the start; `c` is the next character.
template <class CharT>
template <class Reader>
bool pmlParserBase<CharT>::getTokenByChar(Reader& in, CharT c) {
    for (;;) {
        switch (c) {
            case ':':
                tokenFlag_ = 0;
                return true;
            case ')':
                tokenFlag_ = 2;
                return true;
            case '(': {
                CharT next{};
                if (!in.peek(next)) return false;
                if (next != '*') {
                    tokenFlag_ = 1;
                    return true;
                }
                in.ignore();
                if (!skipComment(in) || !in.getNonBlank(c)) return false;
                continue;
            }
            case '^':
                if (!in.get(c)) {
                    token_.push_back('^');
                    return false;
                }
                token_.push_back(c);
                break;
            case '"':
            case '\'':
                if (!getQuoted(in, c)) return false;
                continue;
            default:
                token_.push_back(c);
                break;
        }
        if (!in.get(c)) return false;
    }
}

// Sets text_, size_ and tokenFlag_. False where the input ended first; the token is then what there
// was.
template <class CharT>
template <class Reader>
bool pmlParserBase<CharT>::getToken(Reader& in) {
    auto const trimmed = [this](CharT const* p, unsigned long n) {
        while (n != 0 && detail::isBlank(p[n - 1])) --n;
        text_ = p;
        size_ = n;
    };
    token_.clear();
    trimmed(nullptr, 0);
    CharT c{};
    if (!in.getNonBlank(c)) return false;
    if constexpr (Reader::CONTIGUOUS) {
        // Most tokens are one run of plain characters, or one quoted run, and stay where they are.
        CharT const*& p = in.position();
        CharT const* const start = --p;
        CharT const* const end = in.end();
        if (isQuote(c)) {
            do ++p;
            while (!in.eof() && *p != c && *p != '^');
            CharT const* const last = p;
            if (!in.eof() && *p == c) {
                do ++p;
                while (!in.eof() && detail::isBlank(*p));
                if (!in.eof() && (*p == ')' || *p == ':')) {
                    tokenFlag_ = *p == ')' ? 2 : 0;
                    trimmed(start, static_cast<unsigned long>(last + 1 - start));
                    ++p;
                    return true;
                }
            }
            p = start;
        } else {
            while (p != end && ((classOf(*p) & STOP) == 0 || (*p == 0 && end != nullptr))) ++p;
        }
        if (in.eof()) {
            trimmed(start, static_cast<unsigned long>(p - start));
            return false;
        }
        if (*p == ')' || *p == ':') {
            tokenFlag_ = *p == ')' ? 2 : 0;
            trimmed(start, static_cast<unsigned long>(p - start));
            ++p;
            return true;
        }
        if (*p == '(') {
            ++p;
            if (in.eof()) {
                trimmed(start, static_cast<unsigned long>(p - 1 - start));
                return false;
            }
            if (*p != '*') {
                tokenFlag_ = 1;
                trimmed(start, static_cast<unsigned long>(p - 1 - start));
                return true;
            }
            --p;
        }
        token_.assign(start, p);
        in.get(c);
    }
    bool const ended = getTokenByChar(in, c);
    trimmed(token_.data(), token_.size());
    return ended;
}

// --- Units

namespace {

String narrowed(wchar_t const* p, unsigned long n) {
    return toAnsi(wstr(iwstr(p, n)));
}

}  // namespace

template <>
void pmlParserBase<char>::setName(Unit& unit) const {
    TreeAccess::name(unit, text_, size_);
}

template <>
void pmlParserBase<wchar_t>::setName(Unit& unit) const {
    String const text = narrowed(text_, size_);
    TreeAccess::name(unit, text.data(), text.size());
}

template <>
void pmlParserBase<char>::setType() const {
    TreeAccess::type(*unit_, text_, size_);
}

template <>
void pmlParserBase<wchar_t>::setType() const {
    String const text = narrowed(text_, size_);
    TreeAccess::type(*unit_, text.data(), text.size());
}

template <class CharT>
void pmlParserBase<CharT>::setValue() {
    if (size_ >= 2 && isQuote(text_[0]) && text_[0] == text_[size_ - 1]) {
        ++text_;
        size_ -= 2;
    }
    if constexpr (sizeof(CharT) == 1)
        TreeAccess::makeText(*unit_, istr(text_, size_), *arena_);
    else
        TreeAccess::makeText(*unit_, narrowed(text_, size_), *arena_);
}

// The place of the character that was read last, for input with a name.
template <class CharT>
template <class Reader>
String pmlParserBase<CharT>::place(Reader& in) const {
    String text;
    if constexpr (Reader::CONTIGUOUS) {
        if (file_.is_null()) return text;
        CharT const* const begin = in.begin();
        CharT const* const end = in.position() == begin ? begin : in.position() - 1;
        auto const line = 1 + std::count(begin, end, CharT('\n'));
        CharT const* start = end;
        while (start != begin && start[-1] != '\n') --start;
        text << ", file " << file_ << ", line " << line << ", column " << end - start + 1;
    } else {
        static_cast<void>(in);
    }
    return text;
}

template <class CharT>
template <class Reader>
void pmlParserBase<CharT>::raise(Reader& in, char const* text) const {
    ZAN_USER_THROW_MSG(zan::detail::zanLogger(), DecodeException, text << place(in));
    __builtin_unreachable();
}

// Adds a child that is complete, or frees it.
template <class CharT>
void pmlParserBase<CharT>::add(Unit* child, Unit* parent) {
    ntv::Tracked<Unit> complete(child);
    unit_ = parent;
    TreeAccess::append(*parent, child);
    complete.release();
}

// Behind an error: what was read stays in the tree.
template <class CharT>
void pmlParserBase<CharT>::keepOpenUnits(Unit* root) {
    while (unit_ != root) {
        Unit* const child = unit_;
        try {
            add(child, TreeAccess::parent(*child));
        } catch (std::exception const&) {
            // A second child of one name; the first error is on its way already.
        }
    }
}

template <class CharT>
template <class Reader>
void pmlParserBase<CharT>::run(Reader& in, Unit* root) {
    bool truncated = false;
    bool const body = state_ == PasingValue;
    for (;;) {
        bool closed = false;  // the parent's list ends with this unit
        switch (state_) {
            case PasingName:
                if (!getToken(in)) {
                    if (!in.eof()) raise(in, "get pml name token");
                    closed = true;
                    if (unit_ != root && !(body && TreeAccess::parent(*unit_) == root))
                        truncated = true;
                    break;
                }
                setName(*unit_);
                if (tokenFlag_ == 2)
                    closed = true;
                else
                    state_ = tokenFlag_ == 0 ? PasingType : PasingValue;
                break;
            case PasingType:
                if (!getToken(in)) raise(in, "get type token");
                if (tokenFlag_ != 1) raise(in, "not found value begin tag, token");
                setType();
                state_ = PasingValue;
                break;
            case PasingValue: {
                bool const ended = getToken(in);
                if (ended && tokenFlag_ != 2) {
                    Unit* const parent = unit_;
                    TreeAccess::makeList(*parent, *arena_);
                    unit_ = TreeAccess::makeUnit(parent, *arena_);
                    setName(*unit_);
                    state_ = tokenFlag_ == 0 ? PasingType : PasingValue;
                    break;
                }
                setValue();
                state_ = PasingName;
                if (!ended && !(body && unit_ == root)) truncated = true;
                if (unit_ == root) break;
                Unit* const parent = TreeAccess::parent(*unit_);
                add(unit_, parent);
                unit_ = TreeAccess::makeUnit(parent, *arena_);
                continue;
            }
        }
        if (state_ != PasingName) continue;
        // The unit is complete, and so may be those around it.
        while (unit_ != root) {
            Unit* const child = unit_;
            Unit* const parent = TreeAccess::parent(*child);
            if (closed && TreeAccess::name(*child).empty()) {
                unit_ = parent;
                ZAN_DELETE(child);
            } else {
                add(child, parent);
            }
            if (!closed) {
                unit_ = TreeAccess::makeUnit(parent, *arena_);
                break;
            }
            closed = false;
        }
        if (unit_ == root) break;
    }
    if (truncated) ZAN_TRACE(zan::detail::zanLogger(), "the input ended inside a unit");
}

template <class CharT>
template <class Reader>
bool pmlParserBase<CharT>::parse(Reader& in) {
    Unit* const root = unit_;
    ntv::NodeArena arena;
    arena_ = &arena;
    try {
        run(in, root);
    } catch (DuplicatedUnitException const& e) {
        keepOpenUnits(root);
        String const where = place(in);
        if (where.empty()) throw;
        throw DuplicatedUnitException(e.file(), e.line(), e.func(),
                                      (String(e.msg()) << where).c_str());
    } catch (...) {
        keepOpenUnits(root);
        throw;
    }
    return true;
}

// --- Entry functions

namespace {

// Takes what a unit had, and lets it go at the end: the text that is parsed may be a part of it.
class Emptied {
public:
    explicit Emptied(Unit& unit) : value_(unit.popValue()) {
        TreeAccess::swapTexts(unit, texts_);
        unit.clear();
    }

private:
    Unit texts_;
    ntv::Tracked<ntv::ValueBase> value_;
};

// The text may stand in the unit itself.
template <class View>
bool within(View const& text, Unit const& unit) {
    auto const at = reinterpret_cast<std::uintptr_t>(text.data());
    auto const begin = reinterpret_cast<std::uintptr_t>(&unit);
    return at >= begin && at < begin + sizeof(unit);
}

template <class CharT>
bool parseStream(Unit& out, std::basic_istream<CharT>& in,
                 typename pmlParserBase<CharT>::State state) {
    out.clear();
    detail::StreamReader<CharT> reader(in);
    return pmlParserBase<CharT>(out, state).parse(reader);
}

template <class CharT>
bool parsePointer(Unit& out, CharT const*& in, typename pmlParserBase<CharT>::State state) {
    static constexpr CharT NOTHING[] = {0};
    Emptied const old(out);
    CharT const* p = in == nullptr ? NOTHING : in;
    detail::TextReader<CharT> reader(p);
    bool const done = pmlParserBase<CharT>(out, state).parse(reader);
    if (in != nullptr) in = p;
    return done;
}

template <class CharT, class View>
bool parseView(Unit& out, View const& in, typename pmlParserBase<CharT>::State state) {
    if (within(in, out)) {
        std::basic_string<CharT> const copy(in.data(), in.size());
        return parseView<CharT>(out, View(copy), state);
    }
    Emptied const old(out);
    CharT const* p = in.data();
    CharT const* const end = in.empty() ? p : std::find(in.begin(), in.end(), CharT(0));
    static constexpr CharT NOTHING[] = {0};
    if (p == nullptr) p = NOTHING;
    detail::TextReader<CharT> reader(p, end == nullptr ? p : end);
    return pmlParserBase<CharT>(out, state).parse(reader);
}

bool parseFile(Unit& out, File const& file, pmlParserBase<char>::State state) {
    // The name may stand in the unit.
    File const named(file);
    out.clear();
    std::ifstream in;
    if (!named.open(in)) return false;
    std::string const text{std::istreambuf_iterator<char>(in), {}};
    char const* p = text.data();
    detail::TextReader<char> reader(p, p + text.size());
    return pmlParserBase<char>(out, state, named.filename()).parse(reader);
}

}  // namespace

#define ZAN_PML_INPUTS(Name, STATE)                                        \
    bool Name(Unit& out, std::istream& in) {                               \
        ZAN_TRACE_FRAME(zan::detail::zanLogger());                         \
        return parseStream(out, in, pmlParserBase<char>::STATE);           \
    }                                                                      \
    bool Name(Unit& out, char const*& in) {                                \
        ZAN_TRACE_FRAME(zan::detail::zanLogger());                         \
        return parsePointer(out, in, pmlParserBase<char>::STATE);          \
    }                                                                      \
    bool Name(Unit& out, istr const& in) {                                 \
        ZAN_TRACE_FRAME(zan::detail::zanLogger());                         \
        return parseView<char>(out, in, pmlParserBase<char>::STATE);       \
    }                                                                      \
    bool Name(Unit& out, std::wistream& in) {                              \
        ZAN_TRACE_FRAME(zan::detail::zanLogger());                         \
        return parseStream(out, in, pmlParserBase<wchar_t>::STATE);        \
    }                                                                      \
    bool Name(Unit& out, wchar_t const*& in) {                             \
        ZAN_TRACE_FRAME(zan::detail::zanLogger());                         \
        return parsePointer(out, in, pmlParserBase<wchar_t>::STATE);       \
    }                                                                      \
    bool Name(Unit& out, iwstr const& in) {                                \
        ZAN_TRACE_FRAME(zan::detail::zanLogger());                         \
        return parseView<wchar_t>(out, in, pmlParserBase<wchar_t>::STATE); \
    }                                                                      \
    bool Name(Unit& out, File const& in) {                                 \
        ZAN_TRACE_FRAME(zan::detail::zanLogger());                         \
        return parseFile(out, in, pmlParserBase<char>::STATE);             \
    }
ZAN_PML_INPUTS(ntvFromPml, PasingName)
ZAN_PML_INPUTS(ntvFromValueString, PasingValue)
#undef ZAN_PML_INPUTS

#define ZAN_PML_PARSER(CharT)                                                 \
    template bool pmlParserBase<CharT>::parse(detail::TextReader<CharT>& in); \
    template bool pmlParserBase<CharT>::parse(detail::StreamReader<CharT>& in)
ZAN_PML_PARSER(char);
ZAN_PML_PARSER(wchar_t);
#undef ZAN_PML_PARSER

}  // namespace zan::pml
