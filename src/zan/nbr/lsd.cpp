#include "zan/nbr/lsd.h"

#include <cstring>
#include <memory>
#include <ostream>
#include <vector>

#include "zan/base/mlcheck.h"
#include "zan/log/log_dumper.h"
#include "zan/nbr/arena.h"

namespace zan::nbr {

// --- ValueBase

ValueBase::~ValueBase() = default;

void* ValueBase::operator new(std::size_t size) {
    auto* const origin = static_cast<Arena::Origin*>(::operator new(sizeof(Arena::Origin) + size));
    origin->arena = nullptr;
    return origin + 1;
}

void* ValueBase::operator new(std::size_t size, char const* file, unsigned int line,
                              char const* func) {
    auto* const origin =
        static_cast<Arena::Origin*>(::operator new(sizeof(Arena::Origin) + size, file, line, func));
    origin->arena = nullptr;
    return origin + 1;
}

void ValueBase::operator delete(void* p) noexcept {
    if (p == nullptr) return;
    auto* const origin = static_cast<Arena::Origin*>(p) - 1;
    if (origin->arena != nullptr)
        Arena::destroy(origin->arena);
    else
        ::operator delete(origin);
}

void ValueBase::operator delete(void* p, char const* file, unsigned int line,
                                char const* func) noexcept {
    if (p != nullptr) ::operator delete(static_cast<Arena::Origin*>(p) - 1, file, line, func);
}

std::ostream& operator<<(std::ostream& os, ValueBase const& value) {
    dumper d(os);
    value.dump(d);
    return os;
}

// --- Arena

std::atomic<Arena::Block*> Arena::reserve_[RESERVE];

void Arena::grow() {
    Block* block = nullptr;
    for (std::atomic<Block*>& place : reserve_)
        if (place.load(std::memory_order_relaxed) != nullptr &&
            (block = place.exchange(nullptr, std::memory_order_acquire)) != nullptr)
            break;
    if (block == nullptr) {
        UncheckedBlocks const lifelong;  // by way of the reserve
        block = static_cast<Block*>(::operator new(BLOCK));
    }
    block->next = blocks_;
    blocks_ = block;
    at_ = reinterpret_cast<char*>(block + 1);
    end_ = reinterpret_cast<char*>(block) + BLOCK;
}

ValueBase* Arena::orphans(ValueBase* rest) {
    for (auto i = adopted_.rbegin(); i != adopted_.rend(); ++i) {
        (*i)->next_ = rest;
        rest = *i;
    }
    adopted_.clear();
    return rest;
}

Arena::~Arena() {
    for (ComplexValue::Made* made = made_.load(std::memory_order_acquire); made != nullptr;) {
        ComplexValue::Made* const next = made->next;
        delete made;
        made = next;
    }
    for (unsigned i = 0; blocks_ != nullptr;) {
        Block* const next = blocks_->next;
        for (Block* none = nullptr; i < RESERVE; ++i, none = nullptr)
            if (reserve_[i].load(std::memory_order_relaxed) == nullptr &&
                reserve_[i].compare_exchange_strong(none, blocks_, std::memory_order_release,
                                                    std::memory_order_relaxed))
                break;
        if (i == RESERVE) ::operator delete(blocks_);
        blocks_ = next;
    }
}

void Arena::destroy(Arena* arena) noexcept {
    arena->~Arena();
    ::operator delete(arena);
}

// --- SimpleValue

void SimpleValue::read(float& v) const {
    auto const bits = static_cast<std::uint32_t>(readUint(4));
    static_assert(sizeof bits == sizeof v);
    std::memcpy(&v, &bits, sizeof v);
}

void SimpleValue::read(double& v) const {
    uint64 const bits = readUint(8);
    static_assert(sizeof bits == sizeof v);
    std::memcpy(&v, &bits, sizeof v);
}

void SimpleValue::read(String& v) const {
    utf8ToAnsi(data_, v);
}

void SimpleValue::read(std::wstring& v) const {
    utf8ToWstring(data_, v);
}

void SimpleValue::read(Bytes& v) const {
    v.assign(data_);
}

dumper& SimpleValue::dump(dumper& d) const {
    if (!text_) return d << write_hex(data_);
    String text;
    read(text);
    if (text.empty()) return d;
    return d << rawstring("'") << rawstring(text) << rawstring("'");
}

// --- ComplexValue

ComplexValue::~ComplexValue() {
    if (arena_ == nullptr) {
        delete list_.load(std::memory_order_acquire);
        delete index_.load(std::memory_order_acquire);
        destroy(first_);
    } else {
        destroy(arena_->orphans(nullptr));
    }
}

// Deletes a chain of siblings and all below them. What a node has to delete in its turn is put at
// the head of the chain first, so no destructor goes deeper than one level.
void ComplexValue::destroy(ValueBase* chain) {
    while (chain != nullptr) {
        ValueBase* const value = chain;
        chain = value->next_;
        if (value->complex_) {
            auto* const parent = static_cast<ComplexValue*>(value);
            if (parent->arena_ != nullptr) {
                chain = parent->arena_->orphans(chain);
            } else if (parent->first_ != nullptr) {
                *parent->tail_ = chain;
                chain = parent->first_;
                parent->first_ = nullptr;
                parent->tail_ = &parent->first_;
            }
        }
        ZAN_DELETE(value);
    }
}

void ComplexValue::add(unsigned char id, ValueBase* value) {
    if (value == nullptr) return;
    if (arena_ != nullptr) arena_->adopt(value);
    value->id_ = id;
    value->next_ = nullptr;
    *tail_ = value;
    tail_ = &value->next_;
    if (MadeList* const list = list_.load(std::memory_order_relaxed))
        list->items.push_back(Item{id, value});
    if (MadeIndex* const index = index_.load(std::memory_order_relaxed)) index->last[id] = value;
}

// Of several threads that make the same thing at once, the first one's stays.
template <class T>
T& ComplexValue::keep(std::atomic<T*>& place, T* made) const {
    T* first = nullptr;
    if (!place.compare_exchange_strong(first, made, std::memory_order_acq_rel,
                                       std::memory_order_acquire)) {
        delete made;
        return *first;
    }
    if (arena_ != nullptr) arena_->keep(made);
    return *made;
}

ValueBase* ComplexValue::get(unsigned char id) const {
    // A short list is searched as fast as an index is read; and an index takes more memory than a
    // short list has bytes on the wire.
    constexpr unsigned SHORT = 32;
    if (MadeIndex const* const index = index_.load(std::memory_order_acquire))
        return index->last[id];
    ValueBase* found = nullptr;
    unsigned n = 0;
    for (ValueBase* value = first_; value != nullptr; value = value->next_) {
        if (++n > SHORT) return makeIndex().last[id];
        if (value->id_ == id) found = value;
    }
    return found;
}

ComplexValue::MadeIndex const& ComplexValue::makeIndex() const {
    auto* const index = new MadeIndex;
    for (ValueBase* value = first_; value != nullptr; value = value->next_)
        index->last[value->id_] = value;
    return keep(index_, index);
}

ComplexValue::List const& ComplexValue::data() const {
    if (MadeList const* const list = list_.load(std::memory_order_acquire)) return list->items;
    auto list = std::make_unique<MadeList>();
    for (ValueBase* value = first_; value != nullptr; value = value->next_)
        list->items.push_back(Item{value->id_, value});
    return keep(list_, list.release()).items;
}

dumper& ComplexValue::dump(dumper& d) const {
    // The children still to be shown, of each open level.
    std::vector<ValueBase const*> rest{first_};
    d.enter(istr());
    for (;;) {
        ValueBase const* const value = rest.back();
        if (value == nullptr) {
            d.leave();
            rest.pop_back();
            if (rest.empty()) return d;
            d << endline;
            continue;
        }
        rest.back() = value->next_;
        d << indent << rawstring("[") << static_cast<unsigned int>(value->id_) << rawstring("] ");
        if (value->complex_) {
            d.enter(istr());
            rest.push_back(static_cast<ComplexValue const*>(value)->first_);
        } else {
            d << *value << endline;
        }
    }
}

}  // namespace zan::nbr
