#pragma once

#include <ostream>
#include <streambuf>
#include <string>

#include "zan/base/base_type_view.h"
#include "zan/base/mlcheck.h"

namespace zan::detail {

// A growing character buffer behind a std::ostream, kept and used again: building a stream of its
// own for each line would cost more than the line. Ahead of the text there is room for a prefix.
class LineBuffer : public std::streambuf {
public:
    static constexpr unsigned long HEADROOM = 256;

    LineBuffer() {
        text_.resize(INITIAL);
        reset();
    }

    void reset() {
        // One long line must not hold its memory for ever.
        if (text_.size() > KEPT) {
            text_.resize(INITIAL);
            text_.shrink_to_fit();
        }
        setp(text_.data() + HEADROOM, text_.data() + text_.size() - 1);
    }
    // Terminated; valid until the next write.
    istr view() {
        *pptr() = 0;
        return istr(pbase(), static_cast<unsigned long>(pptr() - pbase()));
    }
    // Copies `prefix` to just before the text, and gives both; false where it is too long for that.
    bool prepend(istr const& prefix, istr& whole) {
        if (prefix.size() > HEADROOM) return false;
        char* const begin = pbase() - prefix.size();
        std::memcpy(begin, prefix.data(), prefix.size());
        whole = istr(begin, static_cast<unsigned long>(pptr() - begin));
        return true;
    }
    void append(char const* p, unsigned long n) {
        reserve(n);
        std::memcpy(pptr(), p, n);
        advance(n);
    }
    void append(istr const& s) {
        if (!s.empty()) append(s.data(), s.size());
    }
    void append(char c) {
        reserve(1);
        *pptr() = c;
        pbump(1);
    }

    // The place of the next character, for who writes into the room himself.
    char* next() const { return pptr(); }
    char* roomEnd() const { return epptr(); }
    void next(char* p) { advance(static_cast<unsigned long>(p - pptr())); }

protected:
    int_type overflow(int_type c) override {
        if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
        append(traits_type::to_char_type(c));
        return c;
    }
    std::streamsize xsputn(char const* p, std::streamsize n) override {
        append(p, static_cast<unsigned long>(n));
        return n;
    }

private:
    static constexpr unsigned long INITIAL = 1024;
    static constexpr unsigned long KEPT = 64 * 1024;

    // One place behind the end is left for the terminator.
    void reserve(unsigned long n) {
        if (n <= static_cast<unsigned long>(epptr() - pptr())) return;
        UncheckedBlocks const lifelong;  // in the main thread
        unsigned long const used = static_cast<unsigned long>(pptr() - pbase());
        unsigned long const need = HEADROOM + used + n + 1;
        text_.resize(2 * text_.size() > need ? 2 * text_.size() : need);
        setp(text_.data() + HEADROOM, text_.data() + text_.size() - 1);
        advance(used);
    }
    void advance(unsigned long n) {
        for (; n > 0x7FFFFFFF; n -= 0x7FFFFFFF) pbump(0x7FFFFFFF);
        pbump(static_cast<int>(n));
    }

    std::string text_;
};

// One line under composition, and its place in the thread's pool.
class LineSlot {
public:
    LineSlot() : stream_(&buffer_) {}
    LineSlot(LineSlot const&) = delete;
    LineSlot& operator=(LineSlot const&) = delete;

    // Takes the next free slot of the calling thread. Slots nest: a line may be composed while the
    // operands of another one are evaluated.
    static LineSlot& take();
    static void giveBack(LineSlot& slot);

    LineBuffer& buffer() { return buffer_; }
    // Its format is put back before the slot is used again.
    std::ostream& stream() {
        formatted_ = true;
        return stream_;
    }
    bool plain() const {
        return stream_.width() == 0 &&
               (stream_.flags() & (std::ios_base::basefield | std::ios_base::showpos)) ==
                   std::ios_base::dec;
    }

private:
    void reset();

    LineBuffer buffer_;
    std::ostream stream_;
    bool formatted_ = false;
    LineSlot* next_ = nullptr;  // free list
    friend struct LinePool;
};

}  // namespace zan::detail
