#pragma once

#include <sstream>
#include <string>
#include <type_traits>
#include <utility>

#include "zan/base/base_type_view.h"

// The owning 8-bit string and the conversions between three encodings of text:
//   ansi  8-bit text in a named code page;
//   utf8  8-bit text in UTF-8;
//   wide  wchar_t text, one code point to an element.
//
// Code page arguments are numbers such as 65001 (UTF-8), 936 or 1252; 0 is the locale's own. The
// default, -1, is the configured code page, which is UTF-8 unless the configuration says otherwise:
// an application that sets nothing works in UTF-8 throughout.
//
// Conversions throw nothing and report nothing. Invalid input bytes become U+FFFD, characters that
// the target cannot hold become '?', and the rest of the text goes on. An unknown code page gives
// an empty result. Text that goes through the wide form ends at its first NUL; where no conversion
// is needed (ansi in UTF-8) all bytes pass, unchecked.

namespace zan {

class Bytes;

// A std::string with conversions; it has no data of its own and goes wherever a std::string goes.
// Null pointers and null views count as empty text in all operations.
//
// Threads: as std::string.
class ZAN_EXPORT String : public std::string {
public:
    String() = default;
    String(String const&) = default;
    String(String&&) noexcept = default;
    String(std::string const& s) : std::string(s) {}
    String(std::string&& s) noexcept : std::string(std::move(s)) {}
    String(istr const& s) { assignBytes(s.data(), s.size()); }
    String(char const* s) { assignBytes(s, StrLen(s)); }
    String(unsigned char const* s) : String(reinterpret_cast<char const*>(s)) {}
    // Exactly `n` bytes, zero bytes included.
    String(char const* p, unsigned long n) { assignBytes(p, n); }
    String(unsigned char const* p, unsigned long n) : String(reinterpret_cast<char const*>(p), n) {}
    template <class P, detail::PointerTo<P, char> = 0>
    String(char const* first, P last) : String(istr(first, last)) {}
    // Converted to the code page, -1 for the configured one.
    String(wchar_t const* p, long codepage = -1);
    String(std::wstring const& s, long codepage = -1);
    String(iwstr const& s, long codepage = -1);

    String& operator=(String const&) = default;
    String& operator=(String&&) noexcept = default;
    String& operator=(std::string const& s) {
        std::string::operator=(s);
        return *this;
    }
    String& operator=(istr const& s);
    String& operator=(char const* s);
    String& operator=(unsigned char const* s) { return *this = reinterpret_cast<char const*>(s); }
    String& operator=(wchar_t const* s);
    String& operator=(std::wstring const& s);
    String& operator=(iwstr const& s);

    String& operator+=(String const& s) { return appendBytes(s.std::string::data(), s.size()); }
    String& operator+=(std::string const& s) { return appendBytes(s.data(), s.size()); }
    String& operator+=(istr const& s) { return appendBytes(s.data(), s.size()); }
    String& operator+=(char const* s) { return appendBytes(s, StrLen(s)); }
    String& operator+=(unsigned char const* s) { return *this += reinterpret_cast<char const*>(s); }
    // Wide text is converted to the configured code page.
    String& operator+=(std::wstring const& s);
    String& operator+=(iwstr const& s);
    String& operator+=(wchar_t const* s);
    // One character, NUL included.
    String& operator+=(char c) { return appendBytes(&c, 1); }
    String& operator+=(unsigned char c) { return *this += static_cast<char>(c); }

    // Appends: text as += does, anything else as it prints on a std::ostream.
    template <class T>
    String& operator<<(T const& value);

    // Always terminated.
    char const* data() const { return c_str(); }
    bool operator!() const { return empty(); }
    operator void*() const { return empty() ? nullptr : const_cast<char*>(c_str()); }
    operator istr() const { return istr(c_str(), size()); }
    operator std::wstring() const { return toWstring(); }

    String& clear() {
        std::string::clear();
        return *this;
    }
    // Removes one pair: the first and the last character where both are `c`.
    String& trimLeftRight(char c);
    // Replaces all occurrences, from left to right; what was put in is not searched again. An empty
    // `from` occurs nowhere.
    String& replace(std::string const& from, std::string const& to);
    using std::string::replace;

    // One shared empty string.
    static String const& null();

    void ansiFromUtf8(istr const& s, long codepage = -1);
    void ansiToUtf8(Bytes& out, long codepage = -1) const;
    void ansiFromWstring(iwstr const& s, long codepage = -1);
    void ansiToWstring(std::wstring& out, long codepage = -1) const;
    static String fromUtf8(istr const& s, long codepage = -1);
    static String fromWstring(iwstr const& s, long codepage = -1);
    String toUtf8(long codepage = -1) const;
    std::wstring toWstring(long codepage = -1) const;

private:
    void assignBytes(char const* p, unsigned long n) {
        if (p != nullptr && n != 0) std::string::assign(p, n);
    }
    String& appendBytes(char const* p, unsigned long n) {
        if (p != nullptr && n != 0) std::string::append(p, n);
        return *this;
    }
};

namespace detail {
template <class T>
constexpr bool IS_TEXT =
    std::is_convertible_v<T const&, istr> || std::is_convertible_v<T const&, iwstr> ||
    std::is_same_v<T, char> || std::is_same_v<T, unsigned char>;
}  // namespace detail

template <class T>
String& String::operator<<(T const& value) {
    if constexpr (detail::IS_TEXT<T>) {
        return *this += value;
    } else {
        std::ostringstream os;
        os << value;
        return *this += os.str();
    }
}

namespace detail {
template <class S>
using IsString = std::enable_if_t<std::is_same_v<S, String>, int>;
}

// One side is a String as it stands: nothing is converted to one for the sake of a comparison, so
// `"ab" == istr` stays a comparison of views.
#define ZAN_STRING_COMPARE(op)                           \
    template <class S, detail::IsString<S> = 0>          \
    bool operator op(S const& a, String const& b) {      \
        return istr(a).compare(istr(b)) op 0;            \
    }                                                    \
    template <class S, detail::IsString<S> = 0>          \
    bool operator op(S const& a, std::string const& b) { \
        return istr(a).compare(istr(b)) op 0;            \
    }                                                    \
    template <class S, detail::IsString<S> = 0>          \
    bool operator op(std::string const& a, S const& b) { \
        return istr(a).compare(istr(b)) op 0;            \
    }                                                    \
    template <class S, detail::IsString<S> = 0>          \
    bool operator op(S const& a, istr const& b) {        \
        return istr(a).compare(b) op 0;                  \
    }                                                    \
    template <class S, detail::IsString<S> = 0>          \
    bool operator op(istr const& a, S const& b) {        \
        return a.compare(istr(b)) op 0;                  \
    }                                                    \
    template <class S, detail::IsString<S> = 0>          \
    bool operator op(S const& a, char const* b) {        \
        return istr(a).compare(istr(b)) op 0;            \
    }                                                    \
    template <class S, detail::IsString<S> = 0>          \
    bool operator op(char const* a, S const& b) {        \
        return istr(a).compare(istr(b)) op 0;            \
    }
ZAN_STRING_COMPARE(==)
ZAN_STRING_COMPARE(!=)
ZAN_STRING_COMPARE(<)
ZAN_STRING_COMPARE(<=)
ZAN_STRING_COMPARE(>)
ZAN_STRING_COMPARE(>=)
#undef ZAN_STRING_COMPARE

// One owned array, handed over on copy: the copy takes the pointer from its source.
template <class T>
class ZAN_EXPORT AutoPtr {
public:
    explicit AutoPtr(T* p = nullptr) : p_(p) {}
    AutoPtr(AutoPtr& other) : p_(other.release()) {}
    AutoPtr(AutoPtr&& other) noexcept : p_(other.release()) {}
    AutoPtr& operator=(AutoPtr& other) {
        if (this != &other) reset(other.release());
        return *this;
    }
    AutoPtr& operator=(AutoPtr&& other) noexcept {
        if (this != &other) reset(other.release());
        return *this;
    }
    ~AutoPtr();

    T* get() const { return p_; }
    // The caller frees it, with delete[].
    T* release() {
        T* const p = p_;
        p_ = nullptr;
        return p;
    }

private:
    void reset(T* p) {
        AutoPtr old(p_);
        p_ = p;
    }

    T* p_;
};

template <>
ZAN_EXPORT AutoPtr<char>::~AutoPtr();
template <>
ZAN_EXPORT AutoPtr<wchar_t>::~AutoPtr();

// An owned, terminated scratch buffer of fixed size: one character more than was asked for.
class ZAN_EXPORT CharBuffer {
public:
    // Capacity `n` + 1, all zero.
    explicit CharBuffer(unsigned long n = 0);
    explicit CharBuffer(istr const& s);
    CharBuffer(CharBuffer const& other);
    ~CharBuffer();
    CharBuffer& operator=(CharBuffer const& other);
    CharBuffer& operator=(istr const& s);
    void swap(CharBuffer& other) noexcept;

    // Gives the buffer away (freed with delete[]); this object then holds null.
    char* release();
    char* buffer() { return buffer_; }
    char const* data() const { return buffer_; }
    // The capacity, terminator included.
    unsigned long max_size() const { return max_size_; }
    // The length of the text, by its terminator.
    unsigned long size() const { return StrLen(buffer_); }
    operator istr() const { return istr(buffer_, size()); }
    operator ostr() { return ostr(buffer_, max_size_); }

private:
    char* buffer_ = nullptr;
    unsigned long max_size_ = 0;
};

// The wide twin; its capacity counts wide characters.
class ZAN_EXPORT WcharBuffer {
public:
    explicit WcharBuffer(unsigned long n = 0);
    explicit WcharBuffer(iwstr const& s);
    WcharBuffer(WcharBuffer const& other);
    ~WcharBuffer();
    WcharBuffer& operator=(WcharBuffer const& other);
    WcharBuffer& operator=(iwstr const& s);
    void swap(WcharBuffer& other) noexcept;

    wchar_t* release();
    wchar_t* buffer() { return buffer_; }
    wchar_t const* data() const { return buffer_; }
    unsigned long max_size() const { return max_size_; }
    unsigned long size() const { return StrLen(buffer_); }
    operator iwstr() const { return iwstr(buffer_, size()); }
    operator owstr() { return owstr(buffer_, max_size_); }

private:
    wchar_t* buffer_ = nullptr;
    unsigned long max_size_ = 0;
};

// --- Conversions on views. `out` is replaced; it may not be the memory that `in` views.

ZAN_EXPORT void ansiToUtf8(istr const& in, Bytes& out, long codepage = -1);
ZAN_EXPORT void utf8ToAnsi(istr const& in, String& out, long codepage = -1);
ZAN_EXPORT void ansiToWstring(istr const& in, std::wstring& out, long codepage = -1);
ZAN_EXPORT void utf8ToWstring(istr const& in, std::wstring& out);
ZAN_EXPORT void wstringToAnsi(iwstr const& in, String& out, long codepage = -1);
ZAN_EXPORT void wstringToUtf8(iwstr const& in, Bytes& out);
// Equal numbers copy the bytes; -1 and 65001 are different numbers, and so convert.
ZAN_EXPORT void ansiToAnsi(istr const& in, long fromCodepage, String& out, long toCodepage);

// --- Conversions by tag: the type says which encoding the view is in.

// Says that the text is in the configured code page.
struct ansi {
    explicit ansi(istr const& s) : view(s) {}
    istr view;
};
// Says that the text is UTF-8.
struct utf8 {
    explicit utf8(istr const& s) : view(s) {}
    istr view;
};
// Says that the text is wide.
struct wstr {
    explicit wstr(iwstr const& s) : view(s) {}
    iwstr view;
};

ZAN_EXPORT String toAnsi(ansi s);
ZAN_EXPORT String toAnsi(utf8 s, long codepage = -1);
ZAN_EXPORT String toAnsi(wstr s, long codepage = -1);
ZAN_EXPORT Bytes toUtf8(ansi s, long codepage = -1);
ZAN_EXPORT Bytes toUtf8(utf8 s);
ZAN_EXPORT Bytes toUtf8(wstr s);
ZAN_EXPORT std::wstring toWstring(ansi s, long codepage = -1);
ZAN_EXPORT std::wstring toWstring(utf8 s);
ZAN_EXPORT std::wstring toWstring(wstr s);

// --- Plain terminated arrays. A null input gives an empty array, not a null one.

ZAN_EXPORT AutoPtr<char> to_str(char const* s);
ZAN_EXPORT AutoPtr<char> to_str(wchar_t const* s, long codepage = -1);
ZAN_EXPORT AutoPtr<char> to_utf8str(wchar_t const* s);
ZAN_EXPORT AutoPtr<wchar_t> to_wstr(char const* s, long codepage = -1);
ZAN_EXPORT AutoPtr<wchar_t> to_wstr(wchar_t const* s);
ZAN_EXPORT String to_ansi(istr const& s);
ZAN_EXPORT String to_ansi(iwstr const& s, long codepage = -1);

}  // namespace zan
