#pragma once

#include "tool.h"

namespace tool {

// What a text has that the reader of PML takes, and its author will not have meant: units, quotes
// and comments that do not end, text behind the end, a second unit of one name, a name without a
// value. The reader stops at a NUL; so do we, with a finding.
//
// Cost: linear in the text, and memory for the names of the units that are open.
struct PmlLint {
    explicit PmlLint(zan::istr const& text);

    Findings findings;
    unsigned long comments = 0;
    unsigned long firstComment = 0;  // its offset
};

}  // namespace tool
