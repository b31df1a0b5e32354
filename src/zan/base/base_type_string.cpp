#include "zan/base/base_type_string.h"

#include <atomic>

#include "zan/base/base_type_bytes.h"
#include "zan/base/codepage_default.h"
#include "zan/base/mlcheck.h"
#include "zan/platform/codepage.h"

namespace zan {

namespace detail {

namespace {
constexpr long UNKNOWN = -1;
std::atomic<long> g_codepage{UNKNOWN};
}  // namespace

long configuredCodepage() {
    long const known = g_codepage.load(std::memory_order_relaxed);
    return __builtin_expect(known != UNKNOWN, 1) ? known : loadConfiguredCodepage();
}

void publishCodepage(long codepage) {
    g_codepage.store(codepage, std::memory_order_relaxed);
}

void forgetCodepage() {
    publishCodepage(UNKNOWN);
}

}  // namespace detail

namespace {

long resolve(long codepage) {
    return codepage == -1 ? detail::configuredCodepage() : codepage;
}

// Text that has been through a terminated buffer ends at its first NUL.
template <class Text>
void cutAtNul(Text& text) {
    auto const end = text.find(typename Text::value_type(0));
    if (end != Text::npos) text.resize(end);
}

void toWide(istr const& in, std::wstring& out, long codepage) {
    out.clear();
    if (in.empty()) return;
    platform::toWide(codepage, in.data(), in.size(), out);
    cutAtNul(out);
}

void fromWide(iwstr const& in, std::string& out, long codepage) {
    out.clear();
    if (in.empty()) return;
    platform::fromWide(codepage, in.data(), in.size(), out);
    cutAtNul(out);
}

void fromWide(iwstr const& in, Bytes& out, long codepage) {
    out.size(0);
    if (in.empty()) return;
    unsigned long const room = codepage == platform::CODE_PAGE_UTF8
                                   ? platform::utf8Length(in.data(), in.size())
                                   : platform::maxBytes(codepage, in.size());
    out.resize(room);
    unsigned long written = 0;
    if (!platform::fromWide(codepage, in.data(), in.size(), reinterpret_cast<char*>(out.buffer()),
                            written))
        return;
    out.size(StrLenN(out.c_str(), written));
}

template <class Char>
Char* newArray(unsigned long n, char const* func) {
    return trackNew(new (__FILE__, static_cast<unsigned int>(__LINE__), func) Char[n], __FILE__,
                    static_cast<unsigned int>(__LINE__), func);
}

}  // namespace

// --- String

String::String(wchar_t const* p, long codepage) {
    wstringToAnsi(iwstr(p), *this, codepage);
}

String::String(std::wstring const& s, long codepage) {
    wstringToAnsi(s, *this, codepage);
}

String::String(iwstr const& s, long codepage) {
    wstringToAnsi(s, *this, codepage);
}

String& String::operator=(istr const& s) {
    if (s.is_null()) return clear();
    std::string::assign(s.data(), s.size());
    return *this;
}

String& String::operator=(char const* s) {
    if (s == nullptr) return clear();
    std::string::assign(s);
    return *this;
}

String& String::operator=(wchar_t const* s) {
    if (s == nullptr) return clear();
    return *this = iwstr(s);
}

String& String::operator=(std::wstring const& s) {
    return *this = iwstr(s);
}

String& String::operator=(iwstr const& s) {
    String converted(s, -1);
    swap(converted);
    return *this;
}

String& String::operator+=(std::wstring const& s) {
    return *this += iwstr(s);
}

String& String::operator+=(iwstr const& s) {
    if (s.empty()) return *this;
    return *this += String(s, -1);
}

String& String::operator+=(wchar_t const* s) {
    return *this += iwstr(s);
}

String& String::trimLeftRight(char c) {
    if (size() >= 2 && front() == c && back() == c) {
        pop_back();
        erase(0, 1);
    }
    return *this;
}

String& String::replace(std::string const& from, std::string const& to) {
    if (from.empty()) return *this;
    size_type at = find(from);
    if (at == std::string::npos) return *this;
    // Built beside the old text, so that many occurrences cost one pass.
    std::string result;
    size_type begin = 0;
    for (; at != std::string::npos; at = find(from, begin)) {
        result.append(*this, begin, at - begin).append(to);
        begin = at + from.size();
    }
    result.append(*this, begin, std::string::npos);
    std::string::swap(result);
    return *this;
}

String const& String::null() {
    static String const& empty =
        detail::lifelong([] { return new String; });  // outlives the destructors of static objects
    return empty;
}

void String::ansiFromUtf8(istr const& s, long codepage) {
    utf8ToAnsi(s, *this, codepage);
}

void String::ansiToUtf8(Bytes& out, long codepage) const {
    zan::ansiToUtf8(*this, out, codepage);
}

void String::ansiFromWstring(iwstr const& s, long codepage) {
    wstringToAnsi(s, *this, codepage);
}

void String::ansiToWstring(std::wstring& out, long codepage) const {
    zan::ansiToWstring(*this, out, codepage);
}

String String::fromUtf8(istr const& s, long codepage) {
    String text;
    text.ansiFromUtf8(s, codepage);
    return text;
}

String String::fromWstring(iwstr const& s, long codepage) {
    String text;
    text.ansiFromWstring(s, codepage);
    return text;
}

String String::toUtf8(long codepage) const {
    Bytes bytes;
    ansiToUtf8(bytes, codepage);
    return String(istr(bytes));
}

std::wstring String::toWstring(long codepage) const {
    std::wstring wide;
    ansiToWstring(wide, codepage);
    return wide;
}

// --- Buffers

template <>
AutoPtr<char>::~AutoPtr() {
    trackDeleteArray(p_, __FILE__, __LINE__, "zan::AutoPtr<char>::~AutoPtr");
}

template <>
AutoPtr<wchar_t>::~AutoPtr() {
    trackDeleteArray(p_, __FILE__, __LINE__, "zan::AutoPtr<wchar_t>::~AutoPtr");
}

CharBuffer::CharBuffer(unsigned long n)
    : buffer_(newArray<char>(n + 1, ZAN_FUNC)), max_size_(n + 1) {
    std::memset(buffer_, 0, max_size_);
}

CharBuffer::CharBuffer(istr const& s) : CharBuffer(s.size()) {
    MemCopyZ(buffer_, s.data(), s.size());
}

CharBuffer::CharBuffer(CharBuffer const& other) {
    if (other.buffer_ == nullptr) return;
    buffer_ = newArray<char>(other.max_size_, ZAN_FUNC);
    max_size_ = other.max_size_;
    std::memcpy(buffer_, other.buffer_, max_size_);
}

CharBuffer::~CharBuffer() {
    ZAN_DELETE_ARRAY(buffer_);
    max_size_ = 0;
}

CharBuffer& CharBuffer::operator=(CharBuffer const& other) {
    if (this != &other) {
        CharBuffer copy(other);
        swap(copy);
    }
    return *this;
}

CharBuffer& CharBuffer::operator=(istr const& s) {
    CharBuffer copy(s);
    swap(copy);
    return *this;
}

void CharBuffer::swap(CharBuffer& other) noexcept {
    std::swap(buffer_, other.buffer_);
    std::swap(max_size_, other.max_size_);
}

char* CharBuffer::release() {
    char* const p = buffer_;
    trackRelease(p, ZAN_HERE);
    buffer_ = nullptr;
    max_size_ = 0;
    return p;
}

WcharBuffer::WcharBuffer(unsigned long n)
    : buffer_(newArray<wchar_t>(n + 1, ZAN_FUNC)), max_size_(n + 1) {
    std::wmemset(buffer_, 0, max_size_);
}

WcharBuffer::WcharBuffer(iwstr const& s) : WcharBuffer(s.size()) {
    if (!s.empty()) std::wmemcpy(buffer_, s.data(), s.size());
}

WcharBuffer::WcharBuffer(WcharBuffer const& other) {
    if (other.buffer_ == nullptr) return;
    buffer_ = newArray<wchar_t>(other.max_size_, ZAN_FUNC);
    max_size_ = other.max_size_;
    std::wmemcpy(buffer_, other.buffer_, max_size_);
}

WcharBuffer::~WcharBuffer() {
    ZAN_DELETE_ARRAY(buffer_);
    max_size_ = 0;
}

WcharBuffer& WcharBuffer::operator=(WcharBuffer const& other) {
    if (this != &other) {
        WcharBuffer copy(other);
        swap(copy);
    }
    return *this;
}

WcharBuffer& WcharBuffer::operator=(iwstr const& s) {
    WcharBuffer copy(s);
    swap(copy);
    return *this;
}

void WcharBuffer::swap(WcharBuffer& other) noexcept {
    std::swap(buffer_, other.buffer_);
    std::swap(max_size_, other.max_size_);
}

wchar_t* WcharBuffer::release() {
    wchar_t* const p = buffer_;
    trackRelease(p, ZAN_HERE);
    buffer_ = nullptr;
    max_size_ = 0;
    return p;
}

// --- Conversions on views

void ansiToUtf8(istr const& in, Bytes& out, long codepage) {
    codepage = resolve(codepage);
    if (codepage == platform::CODE_PAGE_UTF8) {
        out.assign(in);
        return;
    }
    std::wstring wide;
    toWide(in, wide, codepage);
    fromWide(wide, out, platform::CODE_PAGE_UTF8);
}

void utf8ToAnsi(istr const& in, String& out, long codepage) {
    codepage = resolve(codepage);
    if (codepage == platform::CODE_PAGE_UTF8) {
        out = in;
        return;
    }
    std::wstring wide;
    toWide(in, wide, platform::CODE_PAGE_UTF8);
    fromWide(wide, out, codepage);
}

void ansiToWstring(istr const& in, std::wstring& out, long codepage) {
    toWide(in, out, resolve(codepage));
}

void utf8ToWstring(istr const& in, std::wstring& out) {
    toWide(in, out, platform::CODE_PAGE_UTF8);
}

void wstringToAnsi(iwstr const& in, String& out, long codepage) {
    fromWide(in, out, resolve(codepage));
}

void wstringToUtf8(iwstr const& in, Bytes& out) {
    fromWide(in, out, platform::CODE_PAGE_UTF8);
}

void ansiToAnsi(istr const& in, long fromCodepage, String& out, long toCodepage) {
    if (fromCodepage == toCodepage) {
        out = in;
        return;
    }
    std::wstring wide;
    ansiToWstring(in, wide, fromCodepage);
    wstringToAnsi(wide, out, toCodepage);
}

// --- Conversions by tag

String toAnsi(ansi s) {
    return String(s.view);
}

String toAnsi(utf8 s, long codepage) {
    return String::fromUtf8(s.view, codepage);
}

String toAnsi(wstr s, long codepage) {
    return String(s.view, codepage);
}

Bytes toUtf8(ansi s, long codepage) {
    Bytes bytes;
    ansiToUtf8(s.view, bytes, codepage);
    return bytes;
}

Bytes toUtf8(utf8 s) {
    return Bytes(s.view);
}

Bytes toUtf8(wstr s) {
    Bytes bytes;
    wstringToUtf8(s.view, bytes);
    return bytes;
}

std::wstring toWstring(ansi s, long codepage) {
    std::wstring wide;
    ansiToWstring(s.view, wide, codepage);
    return wide;
}

std::wstring toWstring(utf8 s) {
    std::wstring wide;
    utf8ToWstring(s.view, wide);
    return wide;
}

std::wstring toWstring(wstr s) {
    return std::wstring(s.view);
}

// --- Plain arrays

AutoPtr<char> to_str(char const* s) {
    CharBuffer buffer{istr(s)};
    return AutoPtr<char>(buffer.release());
}

AutoPtr<char> to_str(wchar_t const* s, long codepage) {
    CharBuffer buffer{istr(String(iwstr(s), codepage))};
    return AutoPtr<char>(buffer.release());
}

AutoPtr<char> to_utf8str(wchar_t const* s) {
    Bytes bytes;
    wstringToUtf8(s, bytes);
    CharBuffer buffer{istr(bytes)};
    return AutoPtr<char>(buffer.release());
}

AutoPtr<wchar_t> to_wstr(char const* s, long codepage) {
    WcharBuffer buffer{iwstr(toWstring(ansi(s), codepage))};
    return AutoPtr<wchar_t>(buffer.release());
}

AutoPtr<wchar_t> to_wstr(wchar_t const* s) {
    WcharBuffer buffer{iwstr(s)};
    return AutoPtr<wchar_t>(buffer.release());
}

String to_ansi(istr const& s) {
    return String(s);
}

String to_ansi(iwstr const& s, long codepage) {
    return String(s, codepage);
}

}  // namespace zan
