#pragma once

#include <atomic>
#include <cstddef>
#include <new>

#include "zan/base/node_block.h"

namespace zan::pml::ntv {

// Units and values are freed by whoever holds them, in any thread.
using NodeBlock = zan::detail::NodeBlock<std::atomic<unsigned long>>;

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
