#pragma once

#include <cstddef>
#include <mutex>
#include <new>
#include <vector>

#include "zan/platform/brief_lock.h"
#include "zan/platform/stack_memory.h"

namespace zan::platform {

// What is known of each live block, by its address: open hash tables with linear probing, 64 of
// them, each with a lock. Taking an entry out moves back those behind it that it kept from their
// place, so a table never fills with the dead. Blocks that are neighbours in memory are so in the
// table, and programs work on neighbours.
//
// The memory comes from the system in whole pages: the heap looks as it does without an index.
template <class Entry>
class BlockIndex {
public:
    // For a fork: all of it or nothing.
    void lock() {
        for (Shard& shard : shards_) shard.mutex.lock();
    }
    void unlock() {
        for (Shard& shard : shards_) shard.mutex.unlock();
    }

    // An entry of the same address is replaced. False where there is no memory for it. `locked`
    // says for all that this thread holds the lock of the whole.
    bool put(void const* p, Entry const& entry, bool locked) noexcept {
        Guard const guard(shardOf(p), locked);
        return guard.shard.put(p, entry);
    }
    bool take(void const* p, Entry& entry, bool locked) noexcept {
        Guard const guard(shardOf(p), locked);
        return guard.shard.take(p, entry);
    }
    void clear() {
        for (Shard& shard : shards_) {
            std::lock_guard<BriefLock> const guard(shard.mutex);
            Slots().swap(shard.slots);
            shard.used = 0;
        }
    }

private:
    struct Slot {
        void const* p = nullptr;  // null where it is free
        Entry entry = {};
    };
    using Slots = std::vector<Slot, PageAllocator<Slot>>;

    struct alignas(64) Shard {
        // The uppermost six bits have chosen the shard.
        static unsigned long place(void const* p) {
            return (mixed(p) >> 32) + (numberOf(p) >> 4) % (REGION / 16);
        }
        unsigned long home(void const* p) const { return place(p) & (slots.size() - 1); }
        unsigned long find(void const* p) const {
            unsigned long i = home(p);
            while (slots[i].p != nullptr && slots[i].p != p) i = (i + 1) & (slots.size() - 1);
            return i;
        }
        bool put(void const* p, Entry const& entry) {
            if (used * 2 >= slots.size() && !grow()) return false;
            Slot& slot = slots[find(p)];
            if (slot.p == nullptr) ++used;
            slot = Slot{p, entry};
            return true;
        }
        bool take(void const* p, Entry& entry) {
            if (used == 0) return false;
            unsigned long hole = find(p);
            if (slots[hole].p == nullptr) return false;
            entry = slots[hole].entry;
            --used;
            unsigned long const mask = slots.size() - 1;
            for (unsigned long i = (hole + 1) & mask; slots[i].p != nullptr; i = (i + 1) & mask) {
                // The entry may move if its own place is not between the hole and where it stands.
                if (((i - home(slots[i].p)) & mask) < ((i - hole) & mask)) continue;
                slots[hole] = slots[i];
                hole = i;
            }
            slots[hole].p = nullptr;
            return true;
        }
        bool grow() {
            Slots old;
            try {
                old.resize(slots.empty() ? 256 : slots.size() * 2);
            } catch (std::bad_alloc const&) {
                return false;
            }
            old.swap(slots);
            for (Slot const& slot : old)
                if (slot.p != nullptr) slots[find(slot.p)] = slot;
            return true;
        }

        BriefLock mutex;
        Slots slots;  // none, or a power of two
        unsigned long used = 0;
    };

    struct Guard {
        Guard(Shard& s, bool isLocked) : shard(s), locked(isLocked) {
            if (!locked) shard.mutex.lock();
        }
        ~Guard() {
            if (!locked) shard.mutex.unlock();
        }
        Guard(Guard const&) = delete;
        Guard& operator=(Guard const&) = delete;
        Shard& shard;
        bool locked;
    };

    static constexpr unsigned long REGION = 1 << 16;

    static unsigned long numberOf(void const* p) { return reinterpret_cast<unsigned long>(p); }
    static unsigned long mixed(void const* p) {
        return numberOf(p) / REGION * 0x9E3779B97F4A7C15ul;
    }
    Shard& shardOf(void const* p) { return shards_[mixed(p) >> 58]; }

    Shard shards_[64];
};

}  // namespace zan::platform
