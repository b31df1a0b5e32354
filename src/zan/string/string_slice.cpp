#include "zan/string/string_slice.h"

#include "zan/base/base_type_value.h"
#include "zan/base/exception.h"
#include "zan/log/log_dumper.h"

namespace zan {

StringSlice& StringSlice::advance(unsigned long n) {
    if (n > left())
        ZAN_USER_THROW_MSG(logger_factory::instance(LOGGER_ID), OutOfRangeException,
                           "OutOfRangeException");
    cursor_ += n;
    return *this;
}

StringSlice& StringSlice::rewind(unsigned long pos) {
    if (pos > size_)
        ZAN_USER_THROW_MSG(logger_factory::instance(LOGGER_ID), OutOfRangeException,
                           "OutOfRangeException");
    cursor_ = pos;
    return *this;
}

bool StringSlice::match(istr const& x) const {
    return x.size() <= left() && StrCmp(istr(current(), x.size()), x) == 0;
}

StringSlice& StringSlice::read(unsigned char* dest, unsigned long& n) {
    if (n > left()) n = left();
    if (n != 0) MemCopy(dest, current(), n);
    cursor_ += n;
    return *this;
}

StringSlice& StringSlice::operator>>(unsigned char& c) {
    if (eof()) return advance(1);
    c = addr_[cursor_++];
    return *this;
}

StringSlice& StringSlice::operator>>(char& c) {
    unsigned char byte = 0;
    *this >> byte;
    c = static_cast<char>(byte);
    return *this;
}

StringSlice& StringSlice::operator>>(Byte& b) {
    return *this >> b.value();
}

unsigned long StringSlice::find(istr const& delim) const {
    if (delim.empty()) return eof() ? npos : 0;
    char const* const begin = reinterpret_cast<char const*>(current());
    char const* const end = begin + left();
    for (char const* p = begin; delim.size() <= static_cast<unsigned long>(end - p); ++p) {
        auto const room = static_cast<unsigned long>(end - p) - delim.size() + 1;
        p = static_cast<char const*>(std::memchr(p, delim[0], room));
        if (p == nullptr) return npos;
        if (std::memcmp(p, delim.data(), delim.size()) == 0)
            return static_cast<unsigned long>(p - begin);
    }
    return npos;
}

istr StringSlice::readUntil(istr const& delim) {
    unsigned long const n = find(delim);
    if (n == npos) return readAllLeft();
    istr const piece = next(n);
    cursor_ += delim.size();
    return piece;
}

bool StringSlice::skipTo(istr const& delim) {
    unsigned long const n = find(delim);
    if (n == npos) {
        cursor_ = size_;
        return false;
    }
    cursor_ += n + delim.size();
    return true;
}

int StringSlice::compare(StringSlice const& other) const {
    if (addr_ == other.addr_) return 0;
    if (addr_ == nullptr) return -1;
    if (other.addr_ == nullptr) return 1;
    return istr(*this).compare(other);
}

dumper& StringSlice::dump(dumper& d) const {
    dumper::_Entry const entry(d, "zan::StringSlice");
    d << indent << namestring("addr_") << istr(*this) << endline;
    d << indent << namestring("size_") << size_ << endline;
    d << indent << namestring("cursor_") << cursor_ << endline;
    return d;
}

}  // namespace zan
