#pragma once

#include <iosfwd>
#include <vector>

#include "zan/base/base_type_string.h"

namespace zan {

class dumper;

// Fills the placeholders of a text, one after the other, with text that is made already. The format
// is taken apart once and can be filled again and again.
//
//     zan::Printf greeting("Hello ${name}, you are number ${id}", '$', '{', '}', '\\');
//     greeting.replaceNext("Anna").replaceNext("7").str();  // Hello Anna, you are number 7
//     greeting.reset().replaceNext("Otto").str();           // Hello Otto, you are number ${id}
//
// A placeholder goes from the flag character to the next right-hand one, whatever stands between
// them; one that has no end goes to the end of the text. The left-hand character and the escape are
// only kept: nothing escapes a flag.
//
// Ownership: the format is copied; what str() gives is good until the next str() or the end of the
//   object. Threads: one at a time, also for what is const. Errors: none but std::bad_alloc.
class ZAN_EXPORT Printf {
public:
    // A stretch of the format, from begin_ up to end_: a placeholder if it begins with the flag,
    // else literal text.
    struct ZAN_EXPORT Tag {
        unsigned long begin_;
        unsigned long end_;
        dumper& dump(dumper& d) const;
    };

    // A null format is an empty one.
    Printf(char const* format, char flag, char left, char right, char escape);

    // Puts the value in the place of the next placeholder. With none left it goes to the end of the
    // text.
    Printf const& replaceNext(istr value) const;
    // The text so far, and the rest of the format as it is.
    String const& str() const;
    // As new.
    Printf& reset();

    dumper& dump(dumper& d) const;
    std::ostream& dump(std::ostream& os) const;

private:
    void split();

    String format_;
    std::vector<Tag> tags_;
    char flag_;
    char left_;
    char right_;
    char escape_;
    mutable unsigned long curr_ = 0;
    mutable String tempbuf_;
    mutable String result_;
};

}  // namespace zan
