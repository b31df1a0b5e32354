#include "zan/base/cstr.h"

#include <ace/OS_NS_string.h>

#include <ostream>

#include "zan/base/base_type_view.h"
#include "zan/base/exception.h"

namespace zan {

namespace {

// The answer of comparisons in which a text may be missing.
int compareEmpty(bool aHasText, bool bHasText) {
    return aHasText == bHasText ? 0 : aHasText ? 1 : -1;
}

char const* const CONTROL_NAMES[32] = {
    "<NUL>", "^A",   "^B",   "^C", "^D", "^E",    "^F",  "^G", "<BS>", "<HT>", "<LF>",
    "<VT>",  "<FF>", "<CR>", "^N", "^O", "^P",    "^Q",  "^R", "^S",   "^T",   "^U",
    "^V",    "^W",   "^X",   "^Y", "^Z", "<ESC>", "^\\", "^]", "^^",   "^_"};

template <class T>
T const& readAt(T const* _buf, unsigned long _size, unsigned long i, char const* willDo) {
    ZAN_ENSURE_TEXT_DO(_buf != nullptr && i <= _size, "_buf!=0 && i<=_size", willDo,
                       return GetNull<T>());
    return _buf[i];
}

template <class T>
T& writeAt(T* _buf, unsigned long _max_size, unsigned long i) {
    ZAN_ASSERT_TEXT_DO(_buf != nullptr && i <= _max_size, "_buf!=0 && i<=_max_size",
                       "ZAN_USER_THROW_MSG(zan::logger_factory::instance(zan::LOGGER_ID), "
                       "zan::OutOfRangeException, \"zan::OutOfRangeException\")",
                       ZAN_THROW_PLAIN(zan::OutOfRangeException));
    return _buf[i];
}

}  // namespace

unsigned long StrLenN(char const* s, unsigned long n) {
    if (s == nullptr) return 0;
    if (n == npos) return std::strlen(s);
    void const* const end = std::memchr(s, 0, n);
    return end == nullptr ? n : static_cast<unsigned long>(static_cast<char const*>(end) - s);
}

char const* SafeStr(char const* s) {
    return s != nullptr ? s : "<null>";
}

unsigned char const* SafeStr(unsigned char const* s) {
    return s != nullptr ? s : reinterpret_cast<unsigned char const*>("<null>");
}

char* StrCopy(char* dest, char const* src, unsigned long n) {
    ZAN_ASSERT_TEXT_DO(dest != nullptr, "dest!=0", "return dest", return dest);
    if (dest == src) return dest;
    if (src == nullptr) n = 0;
    if (n == npos) n = StrLen(src);
    dest[n] = 0;
    if (n != 0) ACE_OS::strncpy(dest, src, n);
    return dest;
}

char* StrCat(char* dest, char const* src, unsigned long n) {
    ZAN_ASSERT_TEXT_DO(dest != nullptr, "dest!=0", "return dest", return dest);
    if (n == 0 || src == nullptr) return dest;
    return ACE_OS::strncat(dest, src, n);
}

int StrCmpUnsafe(char const* a, char const* b, unsigned long n, bool noCase) {
    if (!noCase) return n == npos ? std::strcmp(a, b) : std::strncmp(a, b, n);
    for (; n != 0 && *a != 0 && *b != 0; ++a, ++b, --n) {
        int const difference = static_cast<unsigned char>(CharToUpper(*a)) -
                               static_cast<unsigned char>(CharToUpper(*b));
        if (difference != 0) return difference;
    }
    return n == 0 ? 0 : static_cast<unsigned char>(*a) - static_cast<unsigned char>(*b);
}

int StrCmp(char const* a, char const* b, unsigned long n, bool noCase) {
    if (a == b || n == 0) return 0;
    bool const aHasText = a != nullptr && *a != 0;
    bool const bHasText = b != nullptr && *b != 0;
    if (aHasText && bHasText) return StrCmpUnsafe(a, b, n, noCase);
    return compareEmpty(aHasText, bHasText);
}

int StrCmp(istr a, istr b, unsigned long n, bool noCase) {
    if (a.data() == b.data() || n == 0) return 0;
    if (a.empty() || b.empty()) return compareEmpty(!a.empty(), !b.empty());
    unsigned long const la = a.size() < n ? a.size() : n;
    unsigned long const lb = b.size() < n ? b.size() : n;
    // A bound of ~0UL would mean "no bound" further down; no view is that long.
    int const r = StrCmpUnsafe(a.data(), b.data(), la < lb ? la : lb, noCase);
    if (r != 0) return r;
    if (la == lb) return 0;
    unsigned long const difference = la > lb ? la - lb : lb - la;
    int const cut = difference > 0x7FFFFFFFul ? 0x7FFFFFFF : static_cast<int>(difference);
    return la > lb ? cut : -cut;
}

bool StrBeginWith(char const* s, istr prefix) {
    return StrCmp(s, prefix.data(), prefix.size(), false) == 0;
}

char* StrToUpper(char* s, unsigned long n) {
    if (s == nullptr) return nullptr;
    for (char* p = s; n != 0 && *p != 0; ++p, --n) *p = CharToUpper(*p);
    return s;
}

char* StrToLower(char* s, unsigned long n) {
    if (s == nullptr) return nullptr;
    for (char* p = s; n != 0 && *p != 0; ++p, --n) *p = CharToLower(*p);
    return s;
}

bool StrIsAllDigits(char const* s) {
    if (s == nullptr || *s == 0) return false;
    for (; *s != 0; ++s)
        if (!CharIsDigit(*s)) return false;
    return true;
}

void StrTrimRight(std::string& s) {
    while (!s.empty() && CharIsSpace(s.back())) s.pop_back();
}

void StrTrimRight(std::wstring& s) {
    while (!s.empty() && CharIsSpace(s.back())) s.pop_back();
}

void* MemSet(void* dest, int value, unsigned long n) {
    ZAN_ASSERT_TEXT_DO(dest != nullptr, "dest!=0", "return 0", return nullptr);
    return n == 0 ? dest : std::memset(dest, value, n);
}

void* MemCopy(void* dest, void const* src, unsigned long n) {
    ZAN_ASSERT_TEXT_DO(dest != nullptr, "dest!=0", "return 0", return nullptr);
    if (dest == src || n == 0 || src == nullptr) return dest;
    return std::memcpy(dest, src, n);
}

void* MemCopyZ(void* dest, void const* src, unsigned long n) {
    ZAN_ASSERT_TEXT_DO(dest != nullptr, "dest!=0", "return 0", return nullptr);
    if (dest == src) return dest;
    if (src == nullptr) n = 0;
    static_cast<char*>(dest)[n] = 0;
    return n == 0 ? dest : std::memcpy(dest, src, n);
}

unsigned char HexFromChar(char c) {
    if (c >= '0' && c <= '9') return static_cast<unsigned char>(c - '0');
    if (c >= 'A' && c <= 'F') return static_cast<unsigned char>(c - 'A' + 10);
    if (c >= 'a' && c <= 'f') return static_cast<unsigned char>(c - 'a' + 10);
    return 255;
}

std::ostream& Print(std::ostream& os, char const* text) {
    return os << SafeStr(text);
}

std::ostream& Print(std::ostream& os, char c) {
    unsigned char const code = static_cast<unsigned char>(c);
    if (CharIsPrint(c)) return os.put(c);
    if (code < 32) return os << CONTROL_NAMES[code];
    return os << '\\' << std::oct << static_cast<unsigned int>(code) << std::dec;
}

char const& CharAt(char const* buffer, unsigned long size, unsigned long i) {
    return readAt(buffer, size, i, "return GetNull<char>()");
}

unsigned char const& CharAt(unsigned char const* buffer, unsigned long size, unsigned long i) {
    return readAt(buffer, size, i, "return GetNull<uchar>()");
}

char& CharAt(char* buffer, unsigned long size, unsigned long i) {
    return writeAt(buffer, size, i);
}

unsigned char& CharAt(unsigned char* buffer, unsigned long size, unsigned long i) {
    return writeAt(buffer, size, i);
}

}  // namespace zan
