#pragma once

#include "zan/string/string_charray.h"
#include "zan/string/string_ref.h"

namespace zan {

// A line of fixed width, filled with one character, with texts put at its ends.
class LogRow {
public:
    static constexpr unsigned long WIDTH = 118;

    // A `length` of -1 stands for the whole width.
    explicit LogRow(char fillChar, long length = -1)
        : ref_(chars_.buffer(),
               length < 0 || static_cast<unsigned long>(length) > WIDTH
                   ? WIDTH
                   : static_cast<unsigned long>(length),
               0),
          fill_(fillChar) {
        fill(fill_);
    }
    LogRow(LogRow const&) = delete;
    LogRow& operator=(LogRow const&) = delete;

    LogRow& fill(char c) {
        MemSet(chars_.buffer(), c, ref_.max_size());
        return *this;
    }
    LogRow& left(istr const& text) {
        ref_.left(text);
        return *this;
    }
    LogRow& right(istr const& text) {
        ref_.right(text);
        return *this;
    }
    LogRow& right(char c, unsigned long n) {
        ref_.right(c, n);
        return *this;
    }
    unsigned long max_size() const { return ref_.max_size(); }
    istr text() const { return istr(chars_.data(), ref_.max_size()); }

private:
    charray<WIDTH> chars_;
    StringRef ref_;
    char fill_;
};

}  // namespace zan
