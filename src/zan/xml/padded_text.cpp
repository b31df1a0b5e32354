#include "zan/xml/padded_text.h"

#include <string>
#include <utility>

#include "zan/xml/xml_scan.h"

namespace zan::detail {

static_assert(XMLPadded::SHORT <= XML_SCAN_TAIL);

// A copy of fixed length is a few instructions, one of any length is a call. By itself, so that the
// compiler sees one length and one result.
__attribute__((noinline)) String XMLPadded::copyShort(char const* p, unsigned long n) {
    constexpr unsigned long LENGTH = SHORT - 1;
    std::string copy(p, LENGTH);
#if defined(__SSE2__)
    // Once more, terminator included, in one piece: the processor would wait for two pieces when
    // the text moves on.
    __m128i const last = _mm_slli_si128(_mm_set1_epi8(-1), LENGTH);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(copy.data()), _mm_andnot_si128(last, xmlLoad(p)));
    if (copy.size() != LENGTH) __builtin_unreachable();
#endif
    String text(std::move(copy));
    text.erase(n);
    return text;
}

}  // namespace zan::detail
