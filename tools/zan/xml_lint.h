#pragma once

#include "tool.h"

namespace tool {

// What keeps a text from being well-formed XML, where the reader of the library forgives it or
// reads it differently: tags and elements that do not end, end tags that belong to nothing,
// attributes that come twice, references that nobody knows. Declarations are stepped over.
//
// Cost: linear in the text, and memory for the elements that are open. Nothing recurses.
struct XmlLint {
    explicit XmlLint(zan::istr const& text);

    Findings findings;
    unsigned long elements = 0;
    // What a tree does not hold: comments, instructions, declarations.
    unsigned long lost = 0;
    unsigned long firstLost = 0;  // its offset
    // Text on both sides of a child loses its place.
    unsigned long mixed = 0;
    unsigned long firstMixed = 0;
};

}  // namespace tool
