#pragma once

#include <cstring>

#include "zan/base/base_type_string.h"

#if defined(__SSE2__)
#include <immintrin.h>
#endif

namespace zan::detail {

// How many bytes behind its end a text must be readable for these searches.
constexpr unsigned long XML_SCAN_TAIL = 64;

struct XMLFound {
    char const* at;
    bool ampersand;  // one stands before `at`
};

#if defined(__SSE2__)

inline unsigned int xmlMask(__m128i block, char c) {
    return static_cast<unsigned int>(_mm_movemask_epi8(_mm_cmpeq_epi8(block, _mm_set1_epi8(c))));
}
// Of the five bytes that are written as references.
inline unsigned int xmlSpecials(__m128i block) {
    return xmlMask(block, '&') | xmlMask(block, '"') | xmlMask(block, '\'') | xmlMask(block, '<') |
           xmlMask(block, '>');
}
inline __m128i xmlLoad(char const* p) {
    return _mm_loadu_si128(reinterpret_cast<__m128i const*>(p));
}

// Which of 64 bytes they are; the lowest bit is the first byte.
inline uint64 xmlMask64(char const* p, char c) {
    return xmlMask(xmlLoad(p), c) | uint64{xmlMask(xmlLoad(p + 16), c)} << 16 |
           uint64{xmlMask(xmlLoad(p + 32), c)} << 32 | uint64{xmlMask(xmlLoad(p + 48), c)} << 48;
}
inline bool xmlHasEither64(char const* p, char a, char b) {
    auto const either = [p, a, b](int at) {
        __m128i const block = xmlLoad(p + at);
        return _mm_or_si128(_mm_cmpeq_epi8(block, _mm_set1_epi8(a)),
                            _mm_cmpeq_epi8(block, _mm_set1_epi8(b)));
    };
    return _mm_movemask_epi8(_mm_or_si128(_mm_or_si128(either(0), either(16)),
                                          _mm_or_si128(either(32), either(48)))) != 0;
}

// The next `stop` in [p, end), or the end. REQUIRES: the bytes behind the end are NUL.
inline XMLFound xmlFind(char const* p, char const* end, char stop) {
    bool ampersand = false;
    // Most runs are short; the rest is gone through once, in larger steps, for both bytes.
    if (unsigned int const stops = xmlMask(xmlLoad(p), stop)) {
        unsigned int const before = (stops & (0 - stops)) - 1;
        return {p + __builtin_ctz(stops), (xmlMask(xmlLoad(p), '&') & before) != 0};
    }
    for (; p < end; p += 64) {
        if (!xmlHasEither64(p, stop, '&')) continue;
        uint64 const ampersands = xmlMask64(p, '&');
        if (uint64 const stops = xmlMask64(p, stop)) {
            uint64 const before = (stops & (0 - stops)) - 1;
            return {p + __builtin_ctzll(stops), ampersand || (ampersands & before) != 0};
        }
        ampersand = true;
    }
    return {end, ampersand};
}

// The next `stop` or NUL. REQUIRES: there is one.
inline char const* xmlFindOrNul(char const* p, char stop) {
    for (;; p += 16) {
        __m128i const block = xmlLoad(p);
        unsigned int const stops = xmlMask(block, stop) | xmlMask(block, 0);
        if (stops != 0) return p + __builtin_ctz(stops);
    }
}

// The next "=" or white space in [p, end), or the end. REQUIRES: as xmlFind().
inline char const* xmlFindNameEnd(char const* p, char const* end) {
    for (; p < end; p += 16) {
        __m128i const block = xmlLoad(p);
        unsigned int const stops = xmlMask(block, '=') | xmlMask(block, ' ') |
                                   xmlMask(block, '\n') | xmlMask(block, '\t') |
                                   xmlMask(block, '\r');
        if (stops != 0) return p + __builtin_ctz(stops);
    }
    return end;
}

#else

inline char const* xmlFindNameEnd(char const* p, char const* end) {
    while (p < end && *p != '=' && *p != ' ' && *p != '\n' && *p != '\t' && *p != '\r') ++p;
    return p;
}
inline XMLFound xmlFind(char const* p, char const* end, char stop) {
    bool ampersand = false;
    for (; p < end && *p != stop; ++p) ampersand = ampersand || *p == '&';
    return {p, ampersand};
}
inline char const* xmlFindOrNul(char const* p, char stop) {
    while (*p != 0 && *p != stop) ++p;
    return p;
}

#endif

// One of the five bytes that are written as references.
inline bool xmlSpecial(char c) {
    auto const b = static_cast<unsigned char>(c);
    // Each is below 64, so one word tells.
    constexpr uint64 SPECIAL = 1ull << '&' | 1ull << '"' | 1ull << '\'' | 1ull << '<' | 1ull << '>';
    return b < 64 && (SPECIAL >> b & 1) != 0;
}

inline istr xmlReference(char c) {
    switch (c) {
        case '&':
            return istr("&amp;", 5);
        case '"':
            return istr("&quot;", 6);
        case '\'':
            return istr("&apos;", 6);
        case '<':
            return istr("&lt;", 4);
        default:
            return istr("&gt;", 4);
    }
}

// The first of them in [p, end), or the end.
inline char const* xmlFindSpecial(char const* p, char const* end) {
#if defined(__SSE2__)
    for (; end - p >= 16; p += 16) {
        unsigned int const special = xmlSpecials(xmlLoad(p));
        if (special != 0) return p + __builtin_ctz(special);
    }
#endif
    while (p != end && !xmlSpecial(*p)) ++p;
    return p;
}

// Copies with references resolved, which makes a text no longer; gives the end of the copy.
char* xmlUnescape(char* to, istr const& in);

// Blank, tab, carriage return, line feed.
inline bool xmlWhite(char c) {
    return c == ' ' || c == '\n' || c == '\t' || c == '\r';
}

}  // namespace zan::detail
