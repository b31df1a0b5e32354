#pragma once

#include <cstddef>
#include <new>

#include "zan/base/mlcheck.h"

namespace zan::detail {

// The memory of the nodes of trees on the heap. Those that an arena hands out lie side by side in
// blocks, which saves most of the allocator's time; a block goes with the last node in it. All
// others are allocated one by one. In front of each node stands the address of its block, null for
// a node by itself.
//
// `Count` is atomic where nodes of one block may be freed by several threads at once.
template <class Count>
class NodeBlock {
public:
    struct Origin {
        NodeBlock* block;
    };
    // What an arena that is still at work counts for.
    static constexpr unsigned long ARENA = 1ul << 48;

    static void* alone(std::size_t size) { return placed(::operator new(sizeof(Origin) + size)); }
    static void* alone(std::size_t size, char const* file, unsigned int line, char const* func) {
        return placed(::operator new(sizeof(Origin) + size, file, line, func));
    }
    static void free(void* p) noexcept {
        if (p == nullptr) return;
        auto* const origin = static_cast<Origin*>(p) - 1;
        if (origin->block == nullptr)
            ::operator delete(origin);
        else
            origin->block->leave(1);
    }
    void leave(unsigned long n) {
        if ((live_ -= n) == 0) ::operator delete(this);
    }

private:
    static void* placed(void* memory) {
        auto* const origin = static_cast<Origin*>(memory);
        origin->block = nullptr;
        return origin + 1;
    }

    Count live_{ARENA};
};

}  // namespace zan::detail
