#pragma once

#include <string>

#include "zan/base/base_type_view.h"
#include "zan/base/report.h"

namespace zan {

// A fixed array of `N` characters and a terminator behind them. It starts as the empty text.
//
// Threads: a plain value. Errors: too much text is reported and cut; indexes are not checked.
template <unsigned long N>
class charray {
public:
    charray() { chars_[0] = chars_[N] = 0; }
    charray(istr const& s) : charray() { assign(s); }

    charray& operator=(istr const& s) { return assign(s); }

    static constexpr unsigned long max_size() { return N; }
    // The length of the text, by its terminator.
    unsigned long size() const { return StrLenN(chars_, N); }
    bool empty() const { return chars_[0] == 0; }
    char& operator[](unsigned long i) { return chars_[i]; }
    char const& operator[](unsigned long i) const { return chars_[i]; }
    char* buffer() { return chars_; }
    char const* data() const { return chars_; }
    char const* c_str() const { return chars_; }

    charray& assign(char const* _buf, unsigned long _sz) {
        if (__builtin_expect(_sz > N, 0)) reportOversize(_buf, _sz);
        MemCopyZ(chars_, _buf, _sz < N ? _sz : N);
        return *this;
    }
    charray& assign(istr const& s) { return assign(s.data(), s.size()); }

    charray& fill(char c) {
        MemSet(chars_, c, N);
        chars_[N] = 0;
        return *this;
    }

    // The text.
    operator istr() const { return istr(chars_, size()); }
    // The N characters, without the terminator's place.
    operator ostr() { return ostr(chars_, N); }

private:
    static void reportOversize(char const* buf, unsigned long sz) {
        std::string const cond = "_sz<=max_size(), _buf(" + std::string(istr(buf, sz)) + ")_sz(" +
                                 std::to_string(sz) + ")max_size()(" + std::to_string(N) + ")";
        std::string const func = "zan::charray<" + std::to_string(N) + ">::assign";
        ensureFailure(logger_factory::instance(LOGGER_ID), cond.c_str(), __FILE__, __LINE__,
                      func.c_str(), "");
    }

    char chars_[N + 1];
};

}  // namespace zan
