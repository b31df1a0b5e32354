#include "zan/util/util_str.h"

#include <cstring>

#include "zan/base/report.h"

namespace zan {

// Puts the text at `at`, as far as it fits. REQUIRES: `at` lies in the buffer.
void Str::put(unsigned long at, istr const& src) {
    unsigned long const room = max_size() - at - 1;
    unsigned long n = src.empty() ? 0 : StrLenN(src.data(), src.size());
    if (n > room) n = room;
    if (n != 0) std::memmove(buffer() + at, src.data(), n);
    buffer()[at + n] = 0;
}

Str& Str::copy(istr const& _src) {
    unsigned long const size = _src.empty() ? 0 : _src.size();
    ZAN_ASSERT_TEXT_DO(size == 0 || size < max_size(), "max_size()-1 >= _src.size()", "",
                       static_cast<void>(0));
    if (buffer() != nullptr && max_size() != 0) put(0, _src);
    return *this;
}

Str& Str::cat(istr const& _src) {
    unsigned long const size = _src.empty() ? 0 : _src.size();
    ZAN_ASSERT_TEXT_DO(left() >= size, "left()>=_src.size()", "", static_cast<void>(0));
    // Text that fills the buffer without a terminator is cut at the buffer too.
    if (buffer() != nullptr && max_size() != 0) {
        unsigned long const at = sizeN();
        put(at < max_size() ? at : at - 1, _src);
    }
    return *this;
}

unsigned long Str::left() const {
    return max_size() == npos ? npos : max_size() - sizeN();
}

int Str::cmp(istr const& other, unsigned long limit, bool noCase) const {
    return StrCmp(text(), other, limit, noCase);
}

bool Str::beginWith(istr const& other, unsigned long n, bool noCase) const {
    if (n == npos) n = other.size();
    return StrCmp(text().leftstr(n), other, n, noCase) == 0;
}

bool Str::endWith(istr const& other, unsigned long n, bool noCase) const {
    if (n == npos) n = other.size();
    return StrCmp(text().rightstr(n), other, n, noCase) == 0;
}

Str& Str::toUpper(unsigned long limit) {
    StrToUpper(buffer(), limit < max_size() ? limit : max_size());
    return *this;
}

Str& Str::toLower(unsigned long limit) {
    StrToLower(buffer(), limit < max_size() ? limit : max_size());
    return *this;
}

bool Str::isAllDigits() const {
    return !empty() && StrIsAllDigits(data());
}

Str& Str::fill(int c, unsigned long n) {
    if (buffer() == nullptr || max_size() == 0) return *this;
    if (n == npos && max_size() == npos) n = size();
    if (n > max_size() - 1) n = max_size() - 1;
    std::memset(buffer(), c, n);
    buffer()[n] = 0;
    return *this;
}

Mem& Mem::fill(int c) {
    MemSet(data_, c, size_);
    return *this;
}

Mem& Mem::copy(istr const& src) {
    MemCopy(data_, src.data(), size_ < src.size() ? size_ : src.size());
    return *this;
}

Mem& Mem::copyZ(istr const& src) {
    if (size_ != 0) MemCopyZ(data_, src.data(), size_ - 1 < src.size() ? size_ - 1 : src.size());
    return *this;
}

int Mem::cmp(istr const& other) const {
    unsigned long const theirs = other.size();
    int const result = MemCmp(data_, other.data(), size_ < theirs ? size_ : theirs);
    if (result != 0 || size_ == theirs) return result;
    // The difference of the sizes, as far as an int holds it.
    constexpr unsigned long GREATEST = 0x7FFFFFFF;
    unsigned long const difference = size_ < theirs ? theirs - size_ : size_ - theirs;
    int const bounded = static_cast<int>(difference < GREATEST ? difference : GREATEST);
    return size_ < theirs ? -bounded : bounded;
}

std::ostream& Mem::dump(std::ostream& os) const {
    return istr(*this).dump(os);
}

}  // namespace zan
