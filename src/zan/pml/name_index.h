#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "zan/pml/ntv_unit.h"

namespace zan::pml::ntv {

// A hash table over the named units of a list, for lists that are too long to search. The hash is
// keyed by the process: input that was made to collide does not.
class Unit::NameIndex {
public:
    // Lists up to this size are searched one by one.
    static constexpr unsigned long SHORT = 16;
    static constexpr unsigned long SHORT_NAME = 16;

    // Makes room for units up to the `n`th of the list, so that catchUp() does not fail.
    void reserve(unsigned long n) {
        if (n * 4 <= slots_.size() * 3) return;
        unsigned long size = 16;
        while (n * 4 > size * 3) size *= 2;
        std::vector<Unit*> old(size);
        old.swap(slots_);
        for (Unit* const unit : old)
            if (unit != nullptr) put(unit);
    }

    // Takes in the units behind those that it knows already. REQUIRES: reserve().
    void catchUp(std::vector<Unit*> const& units) {
        for (; covered_ < units.size(); ++covered_) {
            Unit* const unit = units[covered_];
            if (unit->name_.empty()) continue;
            unit->hash_ = hashOf(unit->name_);
            put(unit);
        }
    }

    void clear() {
        covered_ = 0;
        std::fill(slots_.begin(), slots_.end(), nullptr);
    }

    Unit* find(istr const& name) const {
        if (slots_.empty()) return nullptr;
        unsigned int const hash = hashOf(name);
        unsigned long const mask = slots_.size() - 1;
        for (unsigned long i = hash & mask; slots_[i] != nullptr; i = (i + 1) & mask) {
            Unit* const unit = slots_[i];
            if (unit->hash_ == hash && same(unit->name_, name)) return unit;
        }
        return nullptr;
    }

    // How many units of the list it knows.
    unsigned long covered() const { return covered_; }

    // REQUIRES, here and below: `b` is not empty.
    static bool same(String const& a, istr const& b) {
        unsigned long const n = b.size();
        return n <= SHORT_NAME ? sameShort(a, b, b[n - 1])
                               : a.size() == n && std::memcmp(a.data(), b.data(), n) == 0;
    }

    // Without a call. Names in one list tend to differ in size or at the end: `last` is the last
    // byte of `b`, for the caller to keep at hand. REQUIRES: `b` is not above SHORT_NAME.
    static bool sameShort(String const& a, istr const& b, char last) {
        unsigned long const n = b.size();
        if (a.size() != n) return false;
        char const* const p = a.data();
        if (p[n - 1] != last) return false;
        if (n < 4) return n == 1 || sameEnds<unsigned short>(p, b.data(), n);
        return n < 8 ? sameEnds<unsigned int>(p, b.data(), n) : sameEnds<uint64>(p, b.data(), n);
    }

private:
    static unsigned int hashOf(istr const& name);

    // The first and the last word of the two. REQUIRES: one to two words in `n` bytes.
    template <class Word>
    static bool sameEnds(char const* p, char const* q, unsigned long n) {
        auto const differ = [p, q](unsigned long at) {
            Word a, b;
            std::memcpy(&a, p + at, sizeof(Word));
            std::memcpy(&b, q + at, sizeof(Word));
            return static_cast<Word>(a ^ b);
        };
        return (differ(0) | differ(n - sizeof(Word))) == 0;
    }

    // Of two units with one name the first one stays in front.
    void put(Unit* unit) {
        unsigned long const mask = slots_.size() - 1;
        unsigned long i = unit->hash_ & mask;
        while (slots_[i] != nullptr) i = (i + 1) & mask;
        slots_[i] = unit;
    }

    std::vector<Unit*> slots_;
    unsigned long covered_ = 0;
};

}  // namespace zan::pml::ntv
