#pragma once

#include <atomic>
#include <vector>

#include "zan/platform/brief_lock.h"
#include "zan/platform/stack_memory.h"

namespace zan {

constexpr unsigned long ALLOC_HASH_ENTRIES = 1023;

// A live block, with what its stack was when it was allocated.
struct AllocRecord {
    unsigned long requestId;
    unsigned long size;
    unsigned char removed;
    AllocRecord* next;
    unsigned long codeAddress;
    unsigned long codeRead;
    unsigned char codeBytes[4];
    unsigned long stackAddress;
    unsigned long stackRead;
    unsigned char stackBytes[1280];
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

// The live blocks, in ALLOC_HASH_ENTRIES buckets by their request number.
//
// What the hook of a heap can afford is far from what a record says it holds, so neither the chains
// nor the stacks are kept in that form:
//
// - A chain is as long as there are blocks, and is never walked: who has a block has its record. A
//   bucket is a number, and the order of buckets and chains is made when it is asked for.
// - Most of a stack is what it was at the thread's last allocation. Each thread has a picture of
//   its stack, shared by its records, and a record holds the lines of 64 bytes that were different.
//
// Threads: any; a lock for each 32nd of the buckets, which neighbouring numbers don't share, held
//   for the time of a copy. A report, and the child of a fork, sees whole records.
// Memory: of a record, 72 bytes and the lines, at most 1416 bytes; of a picture, 3 KB.
class AllocTable {
public:
    struct Saved;

    // One table of a process can have pictures; without, a record holds all lines.
    explicit AllocTable(bool withPictures) : withPictures_(withPictures) {}

    // Drops the records, and takes new ones from now on.
    void open();
    // Takes no more, and no release either: the report has all for itself.
    void close();
    // Drops the records. REQUIRES: closed.
    void drop();

    // A record with the stack of the calling thread from the frame upwards, or null where there is
    // no memory for it, or the table is closed. REQUIRES: no other thread works on the request.
    Saved* insert(unsigned long requestId, unsigned long size, void const* code, void const* frame);
    // False where the record isn't that of the request any more.
    bool remove(Saved* saved, unsigned long requestId);
    static unsigned long sizeOf(Saved const& saved);

    // In the order of buckets, and in a bucket in that of the inserts. REQUIRES: closed.
    std::vector<Saved const*> all() const;
    static AllocRecord record(Saved const& saved);
    AllocCounters counters() const;

    // For a fork.
    void lock();
    void unlock();

private:
    static constexpr unsigned long SHARDS = 32;
    static constexpr unsigned long LINE = 64;
    // Those that 1280 bytes touch.
    static constexpr unsigned long MOST_LINES = 1280 / LINE + 1;
    static constexpr unsigned long PICTURE_LINES = 48;
    static constexpr unsigned long CHUNK = 64 * 1024;
    static constexpr unsigned long PICTURES = 64;  // in a chunk

    struct Picture;
    struct Snapshot;
    class Guard;
    using Chunks = std::vector<unsigned char*, platform::PageAllocator<unsigned char*>>;

    struct alignas(64) Shard {
        platform::BriefLock mutex;
        bool open = false;
        Saved* free[MOST_LINES + 1] = {};  // have been in use, by the number of lines
        Chunks chunks;
        unsigned long current = 0;                                 // the chunk that is being filled
        unsigned long filled = 0;                                  // bytes of it
        unsigned long used[ALLOC_HASH_ENTRIES / SHARDS + 1] = {};  // by bucket
        unsigned long inserts = 0;
        unsigned long collisions = 0;
        unsigned long freed = 0;

        Saved* take(unsigned long lines);
        void reset();
    };

    static unsigned long bucketOf(unsigned long requestId) {
        return requestId % ALLOC_HASH_ENTRIES;
    }
    Shard& shardOf(unsigned long requestId) { return shards_[bucketOf(requestId) % SHARDS]; }

    // What one thread knows of its stack.
    struct Own;
    static Own& own();
    static void endOfThread(void* table);
    Picture* newPicture();
    void release(Picture* picture);
    Picture* pictureFor(unsigned long frame, unsigned long end, Snapshot& snapshot);

    bool const withPictures_;
    Shard shards_[SHARDS];
    platform::BriefLock pictureLock_;
    Chunks pictureChunks_;
    unsigned long picturesMade_ = 0;  // of the room in the chunks
    Picture* freePictures_ = nullptr;
    std::atomic<unsigned long> generation_{0};  // of the pictures
    alignas(64) std::atomic<unsigned long> used_{0};
    std::atomic<unsigned long> maxUsed_{0};
    std::atomic<unsigned long> buckets_{0};  // that are in use
    std::atomic<unsigned long> maxChained_{0};
};

}  // namespace zan
