#pragma once

#include <atomic>
#include <cstdint>

#include "zan/platform/stack_memory.h"

namespace zan::platform {

// What is known of each block, by its address: a number, 0 for nothing. The index is a picture of
// the address space, 4 bytes for each 16 of it, in leaves that are made when a block lies in them.
// Nothing is searched and nothing locked, and neighbours in memory are so in the index: programs
// work on neighbours, and the processor fetches ahead.
//
// Threads: any; calls for one address are one at a time, as those for a block are that exists.
// Memory: of the system's own, in whole pages, so the heap looks as it does without an index. Up
//   to 1/4 of that in which the blocks lie.
class BlockIndex {
public:
    // Replaces what was known. False where there is no memory for it.
    bool put(void const* p, std::uint32_t number) noexcept {
        Entry* const entry = find(p);
        if (entry == nullptr && number == 0) return true;
        if (entry == nullptr) return putFirst(p, number);
        entry->store(number, std::memory_order_relaxed);
        return true;
    }
    std::uint32_t look(void const* p) const noexcept {
        Entry const* const entry = find(p);
        return entry == nullptr ? 0 : entry->load(std::memory_order_relaxed);
    }
    std::uint32_t take(void const* p) noexcept {
        Entry* const entry = find(p);
        if (entry == nullptr) return 0;
        std::uint32_t const number = entry->load(std::memory_order_relaxed);
        if (number != 0) entry->store(0, std::memory_order_relaxed);
        return number;
    }
    void clear() noexcept;

private:
    using Entry = std::atomic<std::uint32_t>;

    // An address has 48 bits: 14 of the branch, 14 of the leaf in it, 16 of the entry, and four
    // that are 0, or 8 where an allocator has blocks that small: these have a tree of their own.
    static constexpr unsigned ENTRY_BITS = 16;
    static constexpr unsigned LEAF_BITS = 14;
    static constexpr unsigned BRANCH_BITS = 14;
    struct Leaf {
        Entry entries[1 << ENTRY_BITS];
    };
    struct Branch {
        std::atomic<Leaf*> leaves[1 << LEAF_BITS];
    };
    struct Tree {
        std::atomic<Branch*> branches[1 << BRANCH_BITS];
    };

    static unsigned long bits(void const* p, unsigned from, unsigned count) {
        return reinterpret_cast<std::uintptr_t>(p) >> from & ((1ul << count) - 1);
    }
    static unsigned long treeOf(void const* p) { return bits(p, 3, 1); }
    static unsigned long entryOf(void const* p) { return bits(p, 4, ENTRY_BITS); }
    static unsigned long leafOf(void const* p) { return bits(p, 4 + ENTRY_BITS, LEAF_BITS); }
    static unsigned long branchOf(void const* p) {
        return reinterpret_cast<std::uintptr_t>(p) >> (4 + ENTRY_BITS + LEAF_BITS);
    }

    static bool isBlock(void const* p) {
        return bits(p, 0, 3) == 0 && branchOf(p) < 1 << BRANCH_BITS;
    }
    Entry* find(void const* p) const noexcept {
        Tree const* const tree = trees_[treeOf(p)].load(std::memory_order_acquire);
        if (tree == nullptr || !isBlock(p)) return nullptr;
        Branch const* const branch = tree->branches[branchOf(p)].load(std::memory_order_acquire);
        if (branch == nullptr) return nullptr;
        Leaf* const leaf = branch->leaves[leafOf(p)].load(std::memory_order_acquire);
        return leaf == nullptr ? nullptr : &leaf->entries[entryOf(p)];
    }
    bool putFirst(void const* p, std::uint32_t number) noexcept;

    std::atomic<Tree*> trees_[2] = {};
};

}  // namespace zan::platform
