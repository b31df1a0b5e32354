#pragma once

#include <string>

namespace zan::platform {

// Conversion between 8-bit text in a numbered code page and wide text, one code point to a
// wchar_t.
//
// A page is known by its customary number: 0 is the charset of the locale (UTF-8 where the
// locale is "C"), 437, 850, 852, 855, 857, 858, 860 to 866, 869, 874, 932, 936, 949, 950, 1250
// to 1258, 1361, 10000 (Macintosh), 20127 (ASCII), 20866 and 21866 (KOI8), 28591 to 28606
// (ISO 8859-1 to 16), 50220 (ISO-2022-JP), 51932 (EUC-JP), 51949 (EUC-KR), 54936 (GB18030),
// 65000 (UTF-7) and 65001 (UTF-8). ISO 8859-12 was never published, so 28602 is unknown.
//
// Damage never stops a conversion. Bytes that break the page's form, or that the page gives no
// character, become U+FFFD: in UTF-8 one for each maximal subpart, as the Unicode standard
// recommends, elsewhere one for each byte, and decoding goes on at the very next byte, so a
// lone lead byte never swallows the ASCII character behind it. A cut sequence at the end of
// the text is one U+FFFD. A wide character that the page cannot hold becomes '?'. Surrogates
// and values above U+10FFFF become U+FFFD in UTF-8 and '?' elsewhere.
//
// Ownership: nothing is kept of the arguments. Tables and converters are the layer's own; a
//   thread's converters are closed when it ends.
// Threads: any thread, at any time.
// Errors: false with an empty result for an unknown page, or where the system lacks the
//   charset; otherwise only std::bad_alloc.
// Cost: UTF-8 is decoded here, at memory speed for ASCII. Pages of one and two bytes without
//   shift states go by tables of at most 256 KiB each, built from the system's converter at
//   first use, which takes some milliseconds once. The others go through the system's converter.

constexpr long CODE_PAGE_LOCALE = 0;
constexpr long CODE_PAGE_UTF8 = 65001;

bool codePageKnown(long codePage);

// Both replace what `out` held.
bool toWide(long codePage, char const* in, unsigned long n, std::wstring& out);
bool fromWide(long codePage, wchar_t const* in, unsigned long n, std::string& out);

// The same into memory of the caller. `out` has room for `n` wide characters, which is always
// enough; `written` says how many it got.
bool toWide(long codePage, char const* in, unsigned long n, wchar_t* out, unsigned long& written);

// `out` has room for maxBytes(codePage, n) bytes; `written` says how many it got.
bool fromWide(long codePage, wchar_t const* in, unsigned long n, char* out, unsigned long& written);

// What `n` wide characters take at most: four bytes each, and eight, with a few more for the
// shift sequences, in the pages that have them (50220, 65000).
unsigned long maxBytes(long codePage, unsigned long n);

// UTF-8 alone, where the page is known beforehand. Room for `n` wide characters, and for 4 * n
// bytes; the result is how many were written. Neither writes behind its result, so an exact
// buffer of utf8Length() bytes will do as well.
unsigned long utf8ToWide(char const* in, unsigned long n, wchar_t* out);
unsigned long wideToUtf8(wchar_t const* in, unsigned long n, char* out);

// The number of bytes that wideToUtf8 gives.
unsigned long utf8Length(wchar_t const* in, unsigned long n);

}  // namespace zan::platform
