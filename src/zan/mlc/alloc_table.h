#pragma once

#include <atomic>
#include <mutex>
#include <vector>

#include "zan/platform/stack_memory.h"

namespace zan {

constexpr unsigned long ALLOC_HASH_ENTRIES = 1023;

// A live block, with what its stack was when it was allocated.
struct AllocRecord {
    unsigned long requestId;  // 0 in a record that is free
    unsigned long size;
    unsigned char removed;
    AllocRecord* next;  // of the records that are free
    unsigned long codeAddress;
    unsigned long codeRead;
    unsigned char codeBytes[4];
    unsigned long stackAddress;
    unsigned long stackRead;
    unsigned long order;  // counts the inserts
    alignas(16) unsigned char stackBytes[1280];
};

struct AllocCounters {
    unsigned long inserts = 0;
    unsigned long collisions = 0;
    unsigned long freed = 0;
    unsigned long used = 0;
    unsigned long maxUsed = 0;
    unsigned long chained = 0;
    unsigned long maxChained = 0;
};

// The live blocks, in ALLOC_HASH_ENTRIES buckets by their request number. A chain is as long as
// there are blocks, so none is ever walked: who has a block has its record, a bucket is a number,
// and the order of buckets and chains is made when it is asked for.
//
// Threads: any; a lock for each 32nd of the buckets, which neighbouring numbers don't share. The
//   snapshot is taken inside it, so that a report, and the child of a fork, sees whole records.
// Memory: 1.4 KB to a block. Records are used again; their address stays theirs for ever, so that a
//   late release does no harm.
class AllocTable {
public:
    // Drops the records, and takes new ones from now on.
    void open();
    // Takes no more, and no release either: the report has all for itself.
    void close();
    // Drops the records. REQUIRES: closed.
    void drop();

    // A record with the snapshot of the frame, or null where there is no memory for it.
    AllocRecord* insert(unsigned long requestId, unsigned long size, void const* code,
                        void const* frame);
    // False where the record isn't that of the request any more.
    bool remove(AllocRecord* record, unsigned long requestId);

    // In the order of buckets, and in a bucket in that of the inserts. REQUIRES: closed.
    std::vector<AllocRecord const*> all() const;
    AllocCounters counters() const;

    // For a fork.
    void lock();
    void unlock();

private:
    static constexpr unsigned long SHARDS = 32;
    static constexpr unsigned long CHUNK = 96;  // records

    struct alignas(64) Shard {
        std::mutex mutex;
        bool open = false;
        AllocRecord* free = nullptr;  // have been in use
        unsigned long fresh = 0;      // the number of those that have ever been
        std::vector<AllocRecord*, platform::PageAllocator<AllocRecord*>> chunks;
        unsigned long used[ALLOC_HASH_ENTRIES / SHARDS + 1] = {};  // by bucket
        unsigned long inserts = 0;
        unsigned long collisions = 0;
        unsigned long freed = 0;

        AllocRecord* takeFree();
        void reset();
    };
    class Guard;

    static unsigned long bucketOf(unsigned long requestId) {
        return requestId % ALLOC_HASH_ENTRIES;
    }
    Shard& shardOf(unsigned long requestId) { return shards_[bucketOf(requestId) % SHARDS]; }

    Shard shards_[SHARDS];
    alignas(64) std::atomic<unsigned long> used_{0};
    std::atomic<unsigned long> maxUsed_{0};
    std::atomic<unsigned long> chained_{0};
    std::atomic<unsigned long> maxChained_{0};
    std::atomic<unsigned long> order_{0};
};

}  // namespace zan
