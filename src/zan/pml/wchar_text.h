#pragma once

#include "zan/base/exception.h"
#include "zan/log/log_logger.h"

namespace zan::pml {

// "\u00E9". The form has room for 16 bits: OutOfRangeException above.
inline String wcharText(wchar_t c) {
    auto const v = static_cast<unsigned int>(c);
    if (v > 0xFFFF)
        ZAN_USER_THROW_MSG(zan::detail::zanLogger(), zan::OutOfRangeException,
                           "character " << v << " has no form of four digits");
    String text("\\u");
    for (unsigned int shift = 16; shift != 0;) {
        shift -= 4;
        text += HexToChar(static_cast<unsigned char>(v >> shift & 15));
    }
    return text;
}

}  // namespace zan::pml
