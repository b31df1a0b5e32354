#pragma once

#include "tool.h"

namespace tool {

// The text in the layout of the library's FORMATTED, with its comments, and with an empty line
// where there was one or more. Only white space is changed: names, types and values stand as they
// stood, quotes and escapes included. Tidy text comes out as it is.
//
// REQUIRES: PmlLint finds nothing in it.
// Cost: linear in the text. Nothing recurses.
zan::String tidyPml(zan::istr const& text);

}  // namespace tool
