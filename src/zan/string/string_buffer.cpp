#include "zan/string/string_buffer.h"

#include <new>
#include <utility>

#include "zan/base/mlcheck.h"
#include "zan/log/log_dumper.h"

namespace zan {

unsigned char* StringBuffer::alloc(unsigned long n) {
    try {
        auto* const p = ZAN_NEW(unsigned char[n + 1]);
        p[n] = 0;
        return p;
    } catch (std::bad_alloc const&) {
        return nullptr;
    }
}

void StringBuffer::free(unsigned char* p) {
    ZAN_DELETE_ARRAY(p);
}

bool StringBuffer::growTo(unsigned long capacity) {
    if (capacity > npos / 8) return false;  // no machine has that much, nor its allocator's count
    unsigned char* const block = alloc(capacity);
    if (block == nullptr) return false;
    MemCopyZ(block, data_, put_size_);
    if (!isInternal()) free(data_);
    data_ = block;
    max_size_ = capacity;
    return true;
}

bool StringBuffer::needMore(unsigned long n) {
    if (n > npos - put_size_) return false;
    unsigned long const need = put_size_ + n;
    if (need <= max_size_) return true;
    unsigned long const twice = 2 * max_size_ + 2;
    return growTo(need > twice ? need : twice);
}

StringBuffer& StringBuffer::appendGrowing(char const* p, unsigned long n) {
    // Growing frees the old block, and the bytes may lie in it.
    auto const* const bytes = reinterpret_cast<unsigned char const*>(p);
    bool const own = bytes >= data_ && bytes < data_ + max_size_;
    unsigned long const offset = own ? static_cast<unsigned long>(bytes - data_) : 0;
    if (!needMore(n)) n = max_size_ - put_size_;
    if (own) p = c_str() + offset;
    return append(p, n);
}

StringBuffer& StringBuffer::assign(char const* p, unsigned long n) {
    put_size_ = 0;
    get_size_ = 0;
    return append(p, n);
}

StringBuffer StringBuffer::operator+(unsigned char c) const {
    StringBuffer sum(put_size_ + 1);
    sum.append(data_, put_size_);
    sum += c;
    return sum;
}

StringBuffer StringBuffer::operator+(istr const& s) const {
    StringBuffer sum(put_size_ + s.size());
    sum.append(data_, put_size_);
    sum += s;
    return sum;
}

StringBuffer& StringBuffer::read(unsigned char* dest, unsigned long& n) {
    unsigned long const left = put_size_ - get_size_;
    if (n > left) n = left;
    if (n != 0) MemCopy(dest, gbuf(), n);
    get_size_ += n;
    return *this;
}

StringBuffer& StringBuffer::operator-=(unsigned char& c) {
    unsigned long n = 1;
    return read(&c, n);
}

StringBuffer& StringBuffer::operator-=(StringRef ref) {
    unsigned long n = ref.left();
    unsigned long const asked = n;
    read(ref.current(), n);
    ref.advance(asked);
    return *this;
}

StringBuffer StringBuffer::operator-(unsigned char& c) const {
    StringBuffer rest(*this);
    rest.get_size_ = get_size_;
    rest -= c;
    return rest;
}

StringBuffer StringBuffer::operator-(StringRef ref) const {
    StringBuffer rest(*this);
    rest.get_size_ = get_size_;
    rest -= ref;
    return rest;
}

void StringBuffer::swap(StringBuffer& other) noexcept {
    if (this == &other) return;
    bool const mine = isInternal();
    bool const its = other.isInternal();
    if (mine && its) {
        std::swap(internal_, other.internal_);
    } else {
        // A heap block says nothing about the array of its owner.
        if (mine) std::memcpy(other.internal_.buffer(), internal_.data(), internal_.size());
        if (its) std::memcpy(internal_.buffer(), other.internal_.data(), internal_.size());
        unsigned char* const block = data_;
        data_ = its ? internal_.buffer() : other.data_;
        other.data_ = mine ? other.internal_.buffer() : block;
    }
    std::swap(max_size_, other.max_size_);
    std::swap(put_size_, other.put_size_);
    std::swap(get_size_, other.get_size_);
}

dumper& StringBuffer::dump(dumper& d) const {
    dumper::_Entry const entry(d, "zan::StringBuffer");
    d << indent << namestring("data()") << istr(*this) << endline;
    d << indent << namestring("max_size()") << max_size() << endline;
    d << indent << namestring("psize()") << psize() << endline;
    d << indent << namestring("gsize()") << gsize() << endline;
    d << indent << namestring("internal_") << isInternal() << endline;
    return d;
}

}  // namespace zan
