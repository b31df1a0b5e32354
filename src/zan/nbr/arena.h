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
// The first block follows the size of the input, up to 2 KiB, and all others have 64 KiB, whatever
// sizes the input announces. Up to 1 MiB of freed blocks stays in a reserve for the whole process:
// the heap would hand them back to the system, and a page that comes back costs more than the nodes
// that fill it.
class alignas(std::max_align_t) Arena {
public:
    // What stands in front of a node that can be deleted by itself.
    struct alignas(std::max_align_t) Origin {
        Arena* arena;
    };

    // For the tree of an input of `inputSize` bytes.
    static Arena* make(unsigned long inputSize) {
        unsigned long const room =
            inputSize >= MAX_FIRST / 4 ? MAX_FIRST : MIN_FIRST + inputSize / 2 * 8;
        void* const block = ::operator new(sizeof(Arena) + room);
        return new (block) Arena(static_cast<char*>(block) + sizeof(Arena), room);
    }

    // REQUIRES: the root has been destroyed, or never was handed out.
    static void destroy(Arena* arena) noexcept;

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
    friend class TreeBuilder;

    static constexpr unsigned long MIN_FIRST = 128;
    static constexpr unsigned long MAX_FIRST = 2048;
    static constexpr unsigned long BLOCK = 1ul << 16;
    static constexpr unsigned RESERVE = 16;

    struct alignas(std::max_align_t) Block {
        Block* next;
    };

    Arena(char* at, unsigned long room) : at_(at), end_(at + room) {}
    ~Arena();
    void grow();

    // The free part of the newest block. The builder works on a copy.
    char* at_;
    char* end_;
    Block* blocks_ = nullptr;
    std::atomic<ComplexValue::Made*> made_{nullptr};
    std::vector<ValueBase*> adopted_;
    static std::atomic<Block*> reserve_[RESERVE];
};

// The parser's way into the nodes. Its own address is never taken, so that all of it can stay in
// registers while nodes are written.
class TreeBuilder {
public:
    explicit TreeBuilder(unsigned long inputSize)
        : arena_(Arena::make(inputSize)), at_(arena_->at_), end_(arena_->end_) {}
    // Not copyable: one tree has one builder.
    TreeBuilder(TreeBuilder const&) = delete;
    TreeBuilder& operator=(TreeBuilder const&) = delete;
    ~TreeBuilder() {
        if (arena_ != nullptr) Arena::destroy(arena_);
    }

    // The root comes first and once.
    void simpleRoot(istr const& data, bool text) {
        root_ = new (takeRoot(sizeof(SimpleValue))) SimpleValue(data, text);
        root_->home_ = ValueBase::ROOT;
    }
    void openRoot() {
        auto* const node = new (takeRoot(sizeof(ComplexValue))) ComplexValue();
        node->home_ = ValueBase::ROOT;
        node->arena_ = arena_;
        root_ = node;
        open_ = node;
        tail_ = &node->first_;
    }
    // Below: REQUIRES anyOpen().
    void simple(unsigned char id, istr const& data, bool text) {
        link(new (take(sizeof(SimpleValue))) SimpleValue(data, text), id);
    }
    void open(unsigned char id) {
        auto* const node = new (take(sizeof(ComplexValue))) ComplexValue();
        node->arena_ = arena_;
        link(node, id);
        // The sibling comes only once this node is closed.
        node->next_ = open_;
        open_ = node;
        tail_ = &node->first_;
    }
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
    // The tree is the caller's now.
    ValueBase* release() {
        arena_ = nullptr;
        return root_;
    }

private:
    // REQUIRES: n is small beside a block, and a multiple of the alignment of a pointer.
    void* take(unsigned long n) {
        if (__builtin_expect(n > static_cast<unsigned long>(end_ - at_), 0)) {
            arena_->grow();
            at_ = arena_->at_;
            end_ = arena_->end_;
        }
        void* const p = at_;
        at_ += n;
        return p;
    }
    void* takeRoot(unsigned long n) {
        auto* const origin = new (take(sizeof(Arena::Origin) + n)) Arena::Origin{arena_};
        return origin + 1;
    }
    void link(ValueBase* node, unsigned char id) {
        node->id_ = id;
        node->home_ = ValueBase::ARENA;
        *tail_ = node;
        tail_ = &node->next_;
    }

    Arena* arena_;
    char* at_;
    char* end_;
    ValueBase* root_ = nullptr;
    ComplexValue* open_ = nullptr;
    ValueBase** tail_ = nullptr;  // where the next child is linked in
};

static_assert(sizeof(SimpleValue) % alignof(void*) == 0 && alignof(SimpleValue) == alignof(void*));
static_assert(sizeof(ComplexValue) % alignof(void*) == 0 &&
              alignof(ComplexValue) == alignof(void*));

}  // namespace zan::nbr
