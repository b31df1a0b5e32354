#pragma once

#include <cstddef>
#include <new>

#include "zan/base/node_block.h"

namespace zan::detail {

// A block holds elements of one tree only, so its count needs no more protection than the tree.
using XMLBlock = NodeBlock<unsigned long>;

// Hands out memory for the elements of one tree, from blocks that grow with it.
class XMLArena {
public:
    XMLArena() = default;
    ~XMLArena() { close(); }
    XMLArena(XMLArena const&) = delete;
    XMLArena& operator=(XMLArena const&) = delete;

    // For an element, which hold() is told of once it stands. REQUIRES: a multiple of eight bytes.
    void* take(std::size_t size) {
        std::size_t const need = sizeof(XMLBlock::Origin) + size;
        if (need > static_cast<std::size_t>(end_ - at_)) open(need);
        auto* const origin = reinterpret_cast<XMLBlock::Origin*>(at_);
        at_ += need;
        origin->block = block_;
        return origin + 1;
    }
    void hold(void const* element) {
        ++taken_;
        last_ = element;
    }

    // So much memory that lasts as long as the element that was made last; keep() says how much of
    // it is used. Null for any other element, and where there is no room.
    void* beside(void const* element, std::size_t size) const {
        bool const room = element == last_ && size <= static_cast<std::size_t>(end_ - at_);
        return room ? at_ : nullptr;
    }
    void keep(std::size_t size) { at_ += (size + 7) / 8 * 8; }

    // What is taken next belongs to another tree.
    void close() {
        if (block_ != nullptr) block_->leave(XMLBlock::ARENA - taken_);
        block_ = nullptr;
        at_ = end_ = nullptr;
        last_ = nullptr;
        taken_ = 0;
        total_ = 0;
    }

private:
    static constexpr std::size_t FIRST = 512;
    static constexpr std::size_t LARGEST = 32768;

    void open(std::size_t need) {
        std::size_t const eighth = total_ / 64 * 8;
        std::size_t size = eighth < FIRST ? FIRST : eighth < LARGEST ? eighth : LARGEST;
        if (size < need + sizeof(XMLBlock)) size = need + sizeof(XMLBlock);
        char* const memory = static_cast<char*>(::operator new(size));
        std::size_t const total = total_ + size;
        close();
        total_ = total;
        block_ = new (memory) XMLBlock;
        at_ = memory + sizeof(XMLBlock);
        end_ = memory + size;
    }

    XMLBlock* block_ = nullptr;
    char* at_ = nullptr;
    char* end_ = nullptr;
    void const* last_ = nullptr;
    unsigned long taken_ = 0;
    std::size_t total_ = 0;
};

}  // namespace zan::detail
