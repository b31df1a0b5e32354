#pragma once

#include <atomic>
#include <cstddef>
#include <new>

namespace zan::pml::ntv {

// The memory of units and values on the heap. Those that the parser makes lie side by side in
// blocks, which saves most of the allocator's time; a block goes with the last node in it, whoever
// frees that and in which thread. All others are allocated one by one. In front of each node stands
// the address of its block, null for a node by itself.
class NodeBlock {
public:
    static void* alone(std::size_t size) { return placed(::operator new(sizeof(Origin) + size)); }
    static void* alone(std::size_t size, char const* file, unsigned int line, char const* func);
    static void free(void* p) noexcept {
        if (p == nullptr) return;
        auto* const origin = static_cast<Origin*>(p) - 1;
        if (origin->block == nullptr)
            ::operator delete(origin);
        else
            origin->block->leave(1);
    }

private:
    friend class NodeArena;

    struct Origin {
        NodeBlock* block;
    };

    // What an arena that is still at work counts for.
    static constexpr unsigned long ARENA = 1ul << 48;

    static void* placed(void* memory) {
        auto* const origin = static_cast<Origin*>(memory);
        origin->block = nullptr;
        return origin + 1;
    }
    void leave(unsigned long n) {
        if (live_.fetch_sub(n, std::memory_order_acq_rel) == n) ::operator delete(this);
    }

    std::atomic<unsigned long> live_{ARENA};
};

// Hands out memory for nodes, from blocks that grow with what is taken.
class NodeArena {
public:
    NodeArena() = default;
    ~NodeArena() { close(); }
    NodeArena(NodeArena const&) = delete;
    NodeArena& operator=(NodeArena const&) = delete;

    template <class T>
    void* take() {
        static_assert(alignof(T) <= alignof(NodeBlock::Origin));
        constexpr std::size_t need = sizeof(NodeBlock::Origin) + sizeof(T);
        if (need > static_cast<std::size_t>(end_ - at_)) open(need);
        auto* const origin = reinterpret_cast<NodeBlock::Origin*>(at_);
        at_ += need;
        ++taken_;
        origin->block = block_;
        return origin + 1;
    }

private:
    static constexpr std::size_t FIRST = 512;
    static constexpr std::size_t LARGEST = 8192;

    void open(std::size_t need) {
        close();
        if (next_ < need + sizeof(NodeBlock)) next_ = need + sizeof(NodeBlock);
        char* const memory = static_cast<char*>(::operator new(next_));
        block_ = new (memory) NodeBlock;
        at_ = memory + sizeof(NodeBlock);
        end_ = memory + next_;
        if (next_ < LARGEST) next_ *= 2;
    }
    void close() {
        if (block_ != nullptr) block_->leave(NodeBlock::ARENA - taken_);
        block_ = nullptr;
        at_ = end_ = nullptr;
        taken_ = 0;
    }

    NodeBlock* block_ = nullptr;
    char* at_ = nullptr;
    char* end_ = nullptr;
    unsigned long taken_ = 0;
    std::size_t next_ = FIRST;
};

}  // namespace zan::pml::ntv
