#include "zan/platform/block_index.h"

namespace zan::platform {

namespace {

// Two threads may make it at once: one of them is in vain. Zeroed pages are nodes without anything.
template <class Node>
Node* made(std::atomic<Node*>& place) {
    Node* node = place.load(std::memory_order_acquire);
    if (node != nullptr) return node;
    auto* const mine = static_cast<Node*>(mapPages(sizeof(Node)));
    if (mine == nullptr) return nullptr;
    if (place.compare_exchange_strong(node, mine, std::memory_order_acq_rel)) return mine;
    unmapPages(mine, sizeof(Node));
    return node;
}

}  // namespace

bool BlockIndex::putFirst(void const* p, std::uint32_t number) noexcept {
    if (!isBlock(p)) return false;
    Tree* const tree = made(trees_[treeOf(p)]);
    if (tree == nullptr) return false;
    Branch* const branch = made(tree->branches[branchOf(p)]);
    if (branch == nullptr) return false;
    Leaf* const leaf = made(branch->leaves[leafOf(p)]);
    if (leaf == nullptr) return false;
    leaf->entries[entryOf(p)].store(number, std::memory_order_relaxed);
    return true;
}

void BlockIndex::clear() noexcept {
    for (std::atomic<Tree*>& root : trees_) {
        Tree* const tree = root.load(std::memory_order_acquire);
        if (tree == nullptr) continue;
        for (std::atomic<Branch*>& place : tree->branches) {
            Branch* const branch = place.load(std::memory_order_acquire);
            if (branch == nullptr) continue;
            for (std::atomic<Leaf*>& at : branch->leaves)
                if (Leaf* const leaf = at.load(std::memory_order_acquire))
                    dropPages(leaf, sizeof(Leaf));
        }
    }
}

}  // namespace zan::platform
