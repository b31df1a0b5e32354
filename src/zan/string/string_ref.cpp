#include "zan/string/string_ref.h"

#include "zan/base/base_type_value.h"
#include "zan/base/exception.h"
#include "zan/log/log_dumper.h"

namespace zan {

StringRef& StringRef::append(char const* p, unsigned long _sz) {
    if (_sz == npos) _sz = StrLen(p);
    ZAN_ENSURE_TEXT_DO(_sz <= left(), "curSize_ + _sz <= maxSize_", "", );
    unsigned long const n = _sz < left() ? _sz : left();
    if (n != 0 && p != nullptr) {
        MemCopy(current(), p, n);
        curSize_ += n;
    }
    if (left() != 0) *current() = 0;
    return *this;
}

StringRef& StringRef::operator<<(char c) {
    if (left() == 0)
        ZAN_USER_THROW_MSG(logger_factory::instance(LOGGER_ID), OutOfRangeException,
                           "OutOfRangeException");
    *current() = static_cast<unsigned char>(c);
    return advance(1);
}

StringRef& StringRef::operator<<(Byte const& b) {
    return *this << static_cast<char>(b.value());
}

StringRef& StringRef::advance(unsigned long n) {
    if (n > left())
        ZAN_USER_THROW_MSG(logger_factory::instance(LOGGER_ID), OutOfRangeException,
                           "OutOfRangeException");
    curSize_ += n;
    if (left() != 0) *current() = 0;
    return *this;
}

StringRef& StringRef::shift(unsigned long n) {
    if (n > maxSize_) n = maxSize_;
    buffer_ += n;
    maxSize_ -= n;
    curSize_ = 0;
    return *this;
}

StringRef& StringRef::fill(unsigned char c, unsigned long n) {
    if (n > left()) n = left();
    if (n != 0) MemSet(current(), c, n);
    curSize_ += n;
    return *this;
}

StringRef& StringRef::left(istr const& s) {
    if (s.empty() || maxSize_ == 0) return *this;
    istr const shown = s.leftstr(maxSize_ - 1);
    MemCopy(buffer_, shown.data(), shown.size());
    buffer_[shown.size()] = ' ';
    return *this;
}

StringRef& StringRef::right(istr const& s) {
    if (s.empty() || maxSize_ == 0) return *this;
    istr const shown = s.rightstr(s.size() < maxSize_ ? s.size() : maxSize_ - 1);
    unsigned long const pos = maxSize_ - shown.size();
    buffer_[pos - 1] = ' ';
    MemCopy(buffer_ + pos, shown.data(), shown.size());
    return *this;
}

StringRef& StringRef::right(char c, unsigned long n) {
    if (n == 0 || maxSize_ == 0) return *this;
    if (n > maxSize_ - 1) n = maxSize_ - 1;
    unsigned long const pos = maxSize_ - n;
    buffer_[pos - 1] = ' ';
    if (n != 0) MemSet(buffer_ + pos, c, n);
    return *this;
}

StringRef& StringRef::center(istr const& s) {
    if (s.empty() || maxSize_ < 2) return *this;
    unsigned long const n = s.size() < maxSize_ - 2 ? s.size() : maxSize_ - 2;
    unsigned long const pos = (maxSize_ - n) / 2;
    buffer_[pos - 1] = ' ';
    MemCopy(buffer_ + pos, s.data() + (s.size() - n) / 2, n);
    buffer_[pos + n] = ' ';
    return *this;
}

dumper& StringRef::dump(dumper& d) const {
    dumper::_Entry const entry(d, "zan::StringRef");
    d << indent << namestring("buffer_") << istr(*this) << endline;
    d << indent << namestring("curSize_") << curSize_ << endline;
    d << indent << namestring("maxSize_") << maxSize_ << endline;
    return d;
}

}  // namespace zan
