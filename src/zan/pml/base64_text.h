#pragma once

#include "zan/base/base_type_bytes.h"

namespace zan::pml {

// Base64 as values are written with, without line breaks. Empty input gives empty text.
void encodeBase64(istr const& in, String& out);

// Characters that are not of the alphabet are left out; there is no invalid input.
void decodeBase64(istr const& in, Bytes& out);

}  // namespace zan::pml
