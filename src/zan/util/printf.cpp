#include "zan/util/printf.h"

#include "zan/log/log_dumper.h"

namespace zan {

dumper& Printf::Tag::dump(dumper& d) const {
    dumper::_Entry const entry(d, "zan::Printf::Tag");
    d << indent << namestring("begin_") << begin_ << endline;
    d << indent << namestring("end_") << end_ << endline;
    return d;
}

Printf::Printf(char const* format, char flag, char left, char right, char escape)
    : format_(format == nullptr ? "" : format),
      flag_(flag),
      left_(left),
      right_(right),
      escape_(escape) {
    split();
}

void Printf::split() {
    unsigned long const size = format_.size();
    unsigned long mark = 0;
    while (mark != size) {
        unsigned long const flag = format_.find(flag_, mark);
        unsigned long const literalEnd = flag == String::npos ? size : flag;
        if (literalEnd != mark) tags_.push_back({mark, literalEnd});
        mark = literalEnd;
        if (mark == size) break;
        unsigned long const right = format_.find(right_, mark);
        unsigned long const end = right == String::npos ? size : right + 1;
        tags_.push_back({mark, end});
        mark = end;
    }
}

Printf const& Printf::replaceNext(istr value) const {
    for (; curr_ < tags_.size(); ++curr_) {
        Tag const& tag = tags_[curr_];
        if (format_[tag.begin_] == flag_) break;
        tempbuf_.append(format_, tag.begin_, tag.end_ - tag.begin_);
    }
    if (!value.empty()) tempbuf_.append(value.data(), value.size());
    ++curr_;
    return *this;
}

// The tags lie side by side, so the rest of the format is one piece.
String const& Printf::str() const {
    result_ = tempbuf_;
    if (curr_ < tags_.size()) result_.append(format_, tags_[curr_].begin_, String::npos);
    return result_;
}

Printf& Printf::reset() {
    curr_ = 0;
    tempbuf_.clear();
    return *this;
}

dumper& Printf::dump(dumper& d) const {
    dumper::_Entry const entry(d, "zan::Printf");
    d << indent << namestring("format_") << format_ << endline;
    d << indent << namestring("tags_") << tags_ << endline;
    d << indent << namestring("curr_") << curr_ << endline;
    d << indent << namestring("tempbuf_") << tempbuf_ << endline;
    d << indent << namestring("result_") << result_ << endline;
    d << indent << namestring("flag_") << flag_ << endline;
    d << indent << namestring("left_") << left_ << endline;
    d << indent << namestring("right_") << right_ << endline;
    d << indent << namestring("escape_") << escape_ << endline;
    return d;
}

std::ostream& Printf::dump(std::ostream& os) const {
    dumper d(os);
    dump(d);
    return os;
}

}  // namespace zan
