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
// - Most of a stack is what it was when the place in the code last allocated. Each thread has a few
//   pictures of its stack, by such places, which its records share, and a record holds the pieces
//   of 16 bytes that were different.
//
// Threads: any. The records of a thread's blocks lie together, under one of 32 locks, held for the
//   time of a copy. A report, and the child of a fork, sees whole records.
// Memory: of a record, 64 bytes and the pieces, at most 1408 bytes; of a picture, 1.6 KB.
//   Records of a thread are laid in chunks of 64 KiB, from 512 KiB on in pages of 2 MiB.
class AllocTable {
public:
    // A record as it is kept.
    struct Saved;
    // What a block has to keep of it: no number of it comes back in another life of the table.
    enum class Handle : unsigned long { None = 0 };

    // One table of a process can have pictures; without, a record holds all of its stack, and the
    // order of the inserts is that of the calls.
    explicit AllocTable(bool withPictures) : withPictures_(withPictures) {}

    // Drops the records, and takes new ones from now on.
    void open();
    // Takes no more, and no release either: the report has all for itself.
    void close();
    // Drops the records. REQUIRES: closed.
    void drop();

    // Makes a record with the stack of the calling thread from the frame upwards. None where there
    // is no memory for it, or the table is closed.
    Handle insert(unsigned long requestId, unsigned long size, void const* code, void const* frame);
    // False where there is no such record any more.
    bool remove(Handle handle);
    struct Block {
        unsigned long requestId = 0;
        unsigned long size = 0;
    };
    // Of a record that is not yet removed.
    static Block blockOf(Handle handle);

    // In the order of buckets, and in a bucket in that of the inserts. REQUIRES: closed.
    std::vector<Saved const*> all() const;
    static AllocRecord record(Saved const& saved);
    AllocCounters counters() const;

    // For a fork.
    void lock();
    void unlock();

private:
    static constexpr unsigned long SHARDS = 32;
    static constexpr unsigned long PIECE = 16;
    static constexpr unsigned long LINE = 64;
    static constexpr unsigned long SNAPSHOT = sizeof AllocRecord::stackBytes;
    static constexpr unsigned long MOST_LINES = SNAPSHOT / LINE + 1;
    static constexpr unsigned long LIVES = LINE - 1;
    static constexpr unsigned long PICTURE_LINES = 24;
    static constexpr unsigned long CHUNK = 64 * 1024;
    static constexpr unsigned long SMALL_CHUNKS = 8;  // of a shard, in pages of their own
    static constexpr unsigned long PICTURES = 64;     // in a chunk

    struct Picture;
    struct Snapshot;
    class Guard;
    using Chunks = std::vector<unsigned char*, platform::PageAllocator<unsigned char*>>;

    struct alignas(64) Shard {
        platform::BriefLock mutex;
        bool open = false;
        Saved* free[MOST_LINES + 2] = {};  // have been in use, by the number of lines
        Chunks chunks;
        unsigned char* largePage = nullptr;  // the chunks to come, from its end on
        unsigned long largePageLeft = 0;     // bytes
        unsigned long current = 0;           // the chunk that is being filled
        unsigned long filled = 0;            // bytes of it
        unsigned long inserts = 0;
        unsigned long collisions = 0;
        unsigned long freed = 0;

        Saved* take(unsigned long pieces);
        unsigned char* newChunk();
        void reset();
    };

    static unsigned long bucketOf(unsigned long requestId) {
        return requestId % ALLOC_HASH_ENTRIES;
    }
    static Saved* savedOf(Handle handle);

    // What one thread knows of its stack.
    struct Own;
    static Own& own();
    static void endOfThread(void* table);
    Picture* newPicture();
    void release(Picture* picture);
    void compare(unsigned long code, unsigned long end, Snapshot& snapshot);

    bool const withPictures_;
    Shard shards_[SHARDS];
    std::atomic<unsigned long> threads_{0};
    platform::BriefLock pictureLock_;
    Chunks pictureChunks_;
    unsigned long picturesMade_ = 0;  // of the room in the chunks
    Picture* freePictures_ = nullptr;
    std::atomic<unsigned long> life_{0};  // counts the times of opening
    alignas(64) std::atomic<unsigned long> used_{0};
    std::atomic<unsigned long> maxUsed_{0};
    std::atomic<unsigned long> heads_{0};  // buckets that are in use
    std::atomic<unsigned long> maxChained_{0};
    std::atomic<unsigned int> usedOf_[ALLOC_HASH_ENTRIES] = {};
};

}  // namespace zan
