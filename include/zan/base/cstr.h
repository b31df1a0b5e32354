#pragma once

#include <cctype>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <iosfwd>
#include <string>

#include "zan/base/base_type.h"
#include "zan/base/export.h"

// The lowest layer of text handling: free functions on terminated strings, raw memory and single
// characters. What sets them apart from the C library is their tolerance: a null source is an empty
// source, a null destination gives a report and a harmless result, a copy onto itself is nothing,
// a size of ~0UL means up to the terminator, and an index out of range gives a fixed answer or an
// exception instead of touching memory.
//
// Threads: no shared state. Errors: none throws but the writing CharAt.

namespace zan {

class istr;

// --- Terminated strings

// `n` of ~0UL measures up to the terminator; any other `n` is returned unread. Null gives 0.
inline unsigned long StrLen(char const* s, unsigned long n = npos) {
    return s == nullptr ? 0 : n == npos ? std::strlen(s) : n;
}
inline unsigned long StrLen(unsigned char const* s, unsigned long n = npos) {
    return StrLen(reinterpret_cast<char const*>(s), n);
}
inline unsigned long StrLen(wchar_t const* s, unsigned long n = npos) {
    return s == nullptr ? 0 : n == npos ? std::wcslen(s) : n;
}

// The length up to the terminator, never reading beyond `n` bytes.
ZAN_EXPORT unsigned long StrLenN(char const* s, unsigned long n);

// The text itself; "<null>" for a null pointer.
ZAN_EXPORT char const* SafeStr(char const* s);
ZAN_EXPORT unsigned char const* SafeStr(unsigned char const* s);

// Copies `n` characters (~0UL: all) and terminates. REQUIRES: room for n + 1 characters in `dest`.
// A null `dest` is reported and returned.
ZAN_EXPORT char* StrCopy(char* dest, char const* src, unsigned long n = npos);

// Appends at most `n` characters of `src`. REQUIRES: room for the result and its terminator.
ZAN_EXPORT char* StrCat(char* dest, char const* src, unsigned long n = npos);

// Compare at most `n` characters. Null and empty are equal and sort before any text. The form on
// views stops at a zero byte, as text does; istr::compare is the one that compares bytes.
ZAN_EXPORT int StrCmp(char const* a, char const* b, unsigned long n = npos, bool noCase = false);
ZAN_EXPORT int StrCmp(istr a, istr b, unsigned long n = npos, bool noCase = false);

// REQUIRES: neither is null.
ZAN_EXPORT int StrCmpUnsafe(char const* a, char const* b, unsigned long n = npos,
                            bool noCase = false);

ZAN_EXPORT bool StrBeginWith(char const* s, istr prefix);

// In place, at most `n` characters, stopping at the terminator.
ZAN_EXPORT char* StrToUpper(char* s, unsigned long n = npos);
ZAN_EXPORT char* StrToLower(char* s, unsigned long n = npos);

// False for null and for the empty text.
ZAN_EXPORT bool StrIsAllDigits(char const* s);

ZAN_EXPORT void StrTrimRight(std::string& s);
ZAN_EXPORT void StrTrimRight(std::wstring& s);

// --- Memory

// A null `dest` is reported, and the result is then null.
ZAN_EXPORT void* MemSet(void* dest, int value, unsigned long n);
ZAN_EXPORT void* MemCopy(void* dest, void const* src, unsigned long n);

// As MemCopy, with a zero byte behind the copy. REQUIRES: room for n + 1 bytes.
ZAN_EXPORT void* MemCopyZ(void* dest, void const* src, unsigned long n);

// A null pointer sorts before any memory. Bytes compare as unsigned.
inline int MemCmp(void const* a, void const* b, unsigned long n) {
    if (a == b || n == 0) return 0;
    if (a == nullptr) return -1;
    if (b == nullptr) return 1;
    return std::memcmp(a, b, n);
}

// --- Characters, by the C library's classification in the current locale

inline bool CharIsSpace(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}
inline bool CharIsPrint(char c) {
    return std::isprint(static_cast<unsigned char>(c)) != 0;
}
inline bool CharIsCntrl(char c) {
    return std::iscntrl(static_cast<unsigned char>(c)) != 0;
}
inline bool CharIsUpper(char c) {
    return std::isupper(static_cast<unsigned char>(c)) != 0;
}
inline bool CharIsLower(char c) {
    return std::islower(static_cast<unsigned char>(c)) != 0;
}
inline bool CharIsAlpha(char c) {
    return std::isalpha(static_cast<unsigned char>(c)) != 0;
}
inline bool CharIsDigit(char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}
inline bool CharIsPunct(char c) {
    return std::ispunct(static_cast<unsigned char>(c)) != 0;
}
inline bool CharIsXdigit(char c) {
    return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}
inline bool CharIsAlnum(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0;
}
inline bool CharIsGraph(char c) {
    return std::isgraph(static_cast<unsigned char>(c)) != 0;
}
inline bool CharIsSpace(wchar_t c) {
    return std::iswspace(static_cast<wint_t>(c)) != 0;
}
inline bool CharIsPrint(wchar_t c) {
    return std::iswprint(static_cast<wint_t>(c)) != 0;
}
inline char CharToLower(char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}
inline char CharToUpper(char c) {
    return static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
}

// The terminator counts as part of `set`. A null set holds nothing.
inline bool CharIn(char c, char const* set) {
    return set != nullptr && std::strchr(set, c) != nullptr;
}

// The upper-case digit of the low four bits.
inline char HexToChar(unsigned char v) {
    return "0123456789ABCDEF"[v & 15];
}

// 0 to 15 for a digit of either case; 255 for any other character.
ZAN_EXPORT unsigned char HexFromChar(char c);

ZAN_EXPORT std::ostream& Print(std::ostream& os, char const* text);

// A printable character stands for itself, a control character shows by its name ("<LF>", "^A"),
// any other value as a backslash and its octal number.
ZAN_EXPORT std::ostream& Print(std::ostream& os, char c);

// --- Guarded element access. Index `size` is legal: it is the place of the terminator.
// Beyond it the reading forms report and answer with a shared null character; the writing forms
// report and throw OutOfRangeException.

ZAN_EXPORT char const& CharAt(char const* buffer, unsigned long size, unsigned long i);
ZAN_EXPORT unsigned char const& CharAt(unsigned char const* buffer, unsigned long size,
                                       unsigned long i);
ZAN_EXPORT char& CharAt(char* buffer, unsigned long size, unsigned long i);
ZAN_EXPORT unsigned char& CharAt(unsigned char* buffer, unsigned long size, unsigned long i);

}  // namespace zan
