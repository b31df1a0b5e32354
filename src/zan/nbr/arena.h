#pragma once

#include <atomic>
#include <cstddef>
#include <new>
#include <vector>

#include "zan/nbr/lsd.h"

namespace zan::nbr {

// What a ComplexValue makes at need for its readers. In a parsed tree the arena keeps it, since
// the nodes there are never destroyed one by one.
struct ComplexValue::Made {
    virtual ~Made() = default;
    Made* next = nullptr;
};

struct ComplexValue::MadeList : Made {
    List items;
};

struct ComplexValue::MadeIndex : Made {
    ValueBase* last[256] = {};
};

// The memory of one parsed tree: a chain of blocks, the first of which begins with the arena
// itself. Nodes are taken from it and never given back; all blocks go when the root is deleted.
//
// Block sizes follow what has been used, so the memory is bounded by a multiple of the input's
// bytes, whatever sizes the input announces.
class Arena {
public:
    // What stands in front of a node that can be deleted by itself.
    struct alignas(std::max_align_t) Origin {
        Arena* arena;
    };

    // For the tree of an input of `inputSize` bytes.
    static Arena* make(unsigned long inputSize) {
        unsigned long const room = inputSize >= MAX_FIRST / NODE_PER_BYTE
                                       ? MAX_FIRST
                                       : MIN_FIRST + inputSize * NODE_PER_BYTE;
        void* const block = ::operator new(sizeof(Arena) + room);
        return new (block) Arena(static_cast<char*>(block) + sizeof(Arena), room);
    }

    // REQUIRES: the root has been destroyed, or never was handed out.
    static void destroy(Arena* arena) noexcept;

    void* take(unsigned long n) {
        if (__builtin_expect(n > static_cast<unsigned long>(end_ - at_), 0)) grow();
        void* const p = at_;
        at_ += n;
        return p;
    }
    void* takeRoot(unsigned long n) {
        auto* const origin = new (take(sizeof(Origin) + n)) Origin{this};
        return origin + 1;
    }

    // Nodes of the heap that were added to nodes of this arena.
    void adopt(ValueBase* value) { adopted_.push_back(value); }
    // Takes them back, linked behind one another and ahead of `rest`.
    ValueBase* orphans(ValueBase* rest);

    // Threads: any.
    void keep(ComplexValue::Made* made) {
        made->next = made_.load(std::memory_order_relaxed);
        while (!made_.compare_exchange_weak(made->next, made, std::memory_order_release,
                                            std::memory_order_relaxed)) {
        }
    }

private:
    static constexpr unsigned long NODE_PER_BYTE = 6;
    static constexpr unsigned long MIN_FIRST = 128;
    static constexpr unsigned long MAX_FIRST = 8192;
    static constexpr unsigned long MAX_BLOCK = 1ul << 20;

    struct alignas(std::max_align_t) Block {
        Block* next;
    };

    Arena(char* at, unsigned long room) : at_(at), end_(at + room), nextSize_(2 * room) {}
    ~Arena();
    void grow();

    char* at_;
    char* end_;
    unsigned long nextSize_;
    Block* blocks_ = nullptr;
    std::atomic<ComplexValue::Made*> made_{nullptr};
    std::vector<ValueBase*> adopted_;
};

// The parser's way into the nodes.
class TreeBuilder {
public:
    explicit TreeBuilder(unsigned long inputSize) : inputSize_(inputSize) {}
    // Not copyable: one tree has one builder.
    TreeBuilder(TreeBuilder const&) = delete;
    TreeBuilder& operator=(TreeBuilder const&) = delete;
    ~TreeBuilder() {
        if (arena_ != nullptr) Arena::destroy(arena_);
    }

    void simple(unsigned char id, istr const& data, bool text) {
        auto* const node = new (memory<SimpleValue>()) SimpleValue(data, text);
        node->id_ = id;
        link(node);
    }
    void open(unsigned char id) {
        auto* const node = new (memory<ComplexValue>()) ComplexValue();
        node->id_ = id;
        node->arena_ = arena_;
        link(node);
        // The sibling comes only once this node is closed.
        node->next_ = open_;
        open_ = node;
        tail_ = &node->first_;
    }
    // REQUIRES: an open node.
    void close() {
        ComplexValue* const node = open_;
        node->tail_ = tail_;
        open_ = static_cast<ComplexValue*>(node->next_);
        node->next_ = nullptr;
        tail_ = &node->next_;
    }
    bool anyOpen() const { return open_ != nullptr; }
    unsigned long depth() const {
        unsigned long n = 0;
        for (ValueBase const* node = open_; node != nullptr; node = node->next_) ++n;
        return n;
    }
    // The root, null where nothing was built. The tree is the caller's now.
    ValueBase* release() {
        arena_ = nullptr;
        return root_;
    }

private:
    template <class T>
    void* memory() {
        static_assert(sizeof(T) % alignof(T) == 0 && alignof(T) == alignof(void*));
        if (__builtin_expect(arena_ != nullptr, 1)) return arena_->take(sizeof(T));
        arena_ = Arena::make(inputSize_);
        return arena_->takeRoot(sizeof(T));
    }
    void link(ValueBase* node) {
        node->home_ = root_ == nullptr ? ValueBase::ROOT : ValueBase::ARENA;
        *tail_ = node;
        tail_ = &node->next_;
    }

    Arena* arena_ = nullptr;
    ValueBase* root_ = nullptr;
    ComplexValue* open_ = nullptr;
    ValueBase** tail_ = &root_;
    unsigned long inputSize_;
};

}  // namespace zan::nbr
