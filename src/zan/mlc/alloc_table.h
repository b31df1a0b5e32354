#pragma once

#include <atomic>
#include <cstdint>
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
// - A block mostly goes long after it came, when its record is in no cache of the processor. What
//   the table has to know then is four bytes, which lie apart from the records, close together.
//
// Threads: any. The records of a thread's blocks lie together, under one of 32 locks, held for the
//   time of a copy. A report, and the child of a fork, sees whole records.
// Memory: of a record, 64 bytes and the pieces, at most 1408 bytes, and 1/16 of it for what lies
//   apart; of a picture, 1.6 KB. Records are laid in slabs of 68 KiB of one thread's, from 544 KiB
//   on in pages of 2 MiB. More than 8 GiB of them are not kept.
class AllocTable {
public:
    // A record as it is kept.
    struct Saved;
    // What a block has to keep of it: it is not that of another block in the next 31 lives.
    enum class Handle : std::uint32_t { None = 0 };

    // Without pictures a record holds all of its stack, and the order of the inserts is that of the
    // calls. With them: a thread has those of one table, and drops them where it meets another.
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
    // Zeros where there is no such record any more.
    Block blockOf(Handle handle);

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
    static constexpr unsigned long PICTURE_LINES = 24;
    static constexpr unsigned long PICTURES = 64;    // in a chunk
    static constexpr unsigned long SMALL_SLABS = 8;  // in pages of their own

    // A handle is the life of the table, the slab, and the record's first line in it. The first
    // line of a slab is no record's.
    static constexpr unsigned long LINES = 1024;
    static constexpr unsigned NUMBER_BITS = 27;
    static constexpr unsigned long NUMBERS = 1ul << NUMBER_BITS;
    static constexpr unsigned long MOST_SLABS = NUMBERS / LINES;
    static constexpr unsigned long LIVES = 32;

    struct Picture;
    struct Snapshot;
    struct Slab;
    struct Own;
    class Guard;
    template <class T>
    using InPages = std::vector<T, platform::PageAllocator<T>>;

    // Of the first line of a record that is live: its lines, its bucket, and the number of its
    // picture. Of one that is free, the next such. Of all other lines, 0.
    class Info {
    public:
        Info() = default;
        static Info live(unsigned long lines, unsigned long bucket, unsigned long picture) {
            return Info(lines << NUMBER_BITS | bucket << PICTURE_BITS | picture);
        }
        static Info free(unsigned long next) { return Info(next); }

        unsigned long lines() const { return bits_ >> NUMBER_BITS; }  // 0 where it isn't live
        unsigned long bucket() const { return bits_ >> PICTURE_BITS & 1023; }
        unsigned long picture() const { return bits_ & (MOST_PICTURES - 1); }
        unsigned long next() const { return bits_ & (NUMBERS - 1); }

        static constexpr unsigned PICTURE_BITS = NUMBER_BITS - 10;
        static constexpr unsigned long MOST_PICTURES = 1ul << PICTURE_BITS;

    private:
        explicit Info(unsigned long bits) : bits_(static_cast<std::uint32_t>(bits)) {}
        std::uint32_t bits_;
    };

    struct alignas(64) Shard {
        platform::BriefLock mutex;
        bool open = false;
        unsigned long next = 0;  // the line to be filled, and how many there are from it on
        unsigned long left = 0;
        unsigned long free[MOST_LINES + 2] = {};  // the first free record, by the number of lines
        unsigned int* usedOf = nullptr;           // by bucket; none before the first insert
        InPages<Picture*> pictures;               // in chunks
        unsigned long picturesMade = 1;           // of the room in them; 0 is no number
        Picture* freePictures = nullptr;
        unsigned long inserts = 0;
        unsigned long collisions = 0;
        unsigned long freed = 0;

        // REQUIRES, of all: locked.
        Picture& picture(unsigned long number);
        Picture* newPicture();
        void release(unsigned long picture);
        void reset();
    };

    static unsigned long bucketOf(unsigned long requestId) {
        return requestId % ALLOC_HASH_ENTRIES;
    }
    static unsigned long numberOf(Handle handle) {
        return static_cast<unsigned long>(handle) % NUMBERS;
    }
    static Own& own();
    static void endOfThread(void* table);

    Slab* slabOf(unsigned long number) const;  // null where there is none
    Info& infoOf(unsigned long number) const;
    Saved* savedOf(unsigned long number) const;
    Shard& shardOf(Slab const& slab);
    bool isLive(Shard const& shard, Handle handle) const;  // REQUIRES: locked

    void compare(unsigned long code, unsigned long end, Snapshot& snapshot);
    // REQUIRES, of these: the shard is locked. Numbers, 0 where there is no memory.
    unsigned long take(Shard& shard, unsigned long lines);
    unsigned long newSlab(Shard& shard);
    Slab* mapSlab();
    void countInsert(Shard& shard, unsigned long bucket);
    void countRelease(Shard& shard, unsigned long bucket);

    bool const withPictures_;
    std::atomic<unsigned long> life_{0};  // each time of opening is one, in all tables
    std::atomic<unsigned long> threads_{0};
    Shard shards_[SHARDS];

    // Slabs are never given back, and found without the lock.
    static constexpr unsigned long SLABS_IN_PAGE = 512;
    using SlabPage = std::atomic<Slab*>[SLABS_IN_PAGE];
    platform::BriefLock slabLock_;  // taken last
    std::atomic<SlabPage*> slabPages_[MOST_SLABS / SLABS_IN_PAGE] = {};
    unsigned long slabsMapped_ = 0;
    unsigned long slabsUsed_ = 0;
    unsigned char* largePage_ = nullptr;  // the slabs to come
    unsigned long largePageLeft_ = 0;     // bytes

    alignas(64) std::atomic<unsigned long> used_{0};
    std::atomic<unsigned long> maxUsed_{0};
    std::atomic<unsigned long> heads_{0};  // buckets that are in use
    std::atomic<unsigned long> maxChained_{0};
    std::atomic<unsigned char> headOf_[ALLOC_HASH_ENTRIES] = {};  // shards that use the bucket
};

}  // namespace zan
