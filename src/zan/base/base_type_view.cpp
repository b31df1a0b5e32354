#include "zan/base/base_type_view.h"

#include <ostream>

#include "zan/base/base_type_string.h"

namespace zan {

istr istr::trimLeft() const {
    unsigned long i = 0;
    while (i < size_ && CharIsSpace(data_[i])) ++i;
    return removeLeft(i);
}

istr istr::trimRight() const {
    unsigned long n = size_;
    while (n != 0 && CharIsSpace(data_[n - 1])) --n;
    return istr(data_, n);
}

std::ostream& istr::dump(std::ostream& os) const {
    if (is_null()) return os << "0, <null>";
    os << size_ << ", ";
    return os.write(data_, static_cast<std::streamsize>(size_));
}

std::ostream& operator<<(std::ostream& os, istr const& s) {
    if (s.empty()) return os;
    return os.write(s.data(), static_cast<std::streamsize>(s.size())).flush();
}

iwstr iwstr::trimLeft() const {
    unsigned long i = 0;
    while (i < size_ && CharIsSpace(data_[i])) ++i;
    return removeLeft(i);
}

std::ostream& iwstr::dump(std::ostream& os) const {
    if (is_null()) return os << "0, <null>";
    os << size_ << ", ";
    return os << *this;
}

std::ostream& operator<<(std::ostream& os, iwstr const& s) {
    if (s.empty()) return os;
    String text;
    wstringToAnsi(s, text, -1);
    return os << istr(text);
}

void ostr::reset() {
    if (buffer_ == nullptr || max_size_ == 0) return;
    buffer_[0] = 0;
    if (max_size_ != npos) buffer_[max_size_ - 1] = 0;
}

ostr& ostr::assign(char const* p, unsigned long n) {
    if (empty()) return *this;
    buffer_[0] = 0;
    if (p == nullptr || n == 0) return *this;
    if (n > max_size_ - 1) n = max_size_ - 1;
    unsigned long const text = StrLenN(p, n);
    std::memmove(buffer_, p, text);
    // A short text is padded, as by strncpy, up to the place of the terminator.
    std::memset(buffer_ + text, 0, n - text + 1);
    return *this;
}

std::ostream& ostr::dump(std::ostream& os) const {
    os << sizeN() << '/' << max_size_ << ", ";
    if (buffer_ == nullptr) return os << "<null>";
    return os.write(buffer_, static_cast<std::streamsize>(sizeN()));
}

}  // namespace zan
