#include "zan/mlc/alloc_table.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <new>

#include "zan/platform/debug_heap.h"
#include "zan/platform/thread.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

// A stack is saved with what lies between the variables.
#define ZAN_WHOLE_STACK __attribute__((no_sanitize("address")))

namespace zan {

namespace {

// A set of the pieces of a snapshot, from its first line on.
struct Pieces {
    unsigned long low = 0;
    unsigned int high = 0;

    // Those in [from, to).
    static Pieces range(unsigned long from, unsigned long to) {
        return {upTo(to, 0) & ~upTo(from, 0),
                static_cast<unsigned int>(upTo(to, 64) & ~upTo(from, 64))};
    }
    friend Pieces operator&(Pieces a, Pieces b) { return {a.low & b.low, a.high & b.high}; }
    bool has(unsigned long piece) const {
        return ((piece < 64 ? low >> piece : static_cast<unsigned long>(high) >> (piece - 64)) &
                1) != 0;
    }
    unsigned long count() const { return ones(low) + ones(high); }
    // Adds up to 16, from one on: bit for bit.
    void add(unsigned long pieces, unsigned long first) {
        if (first < 64) low |= pieces << first;
        if (first > 48)
            high |= static_cast<unsigned int>(first < 64 ? pieces >> (64 - first)
                                                         : pieces << (first - 64));
    }

private:
    // By halves, quarters and so on: the run-time's way is a call and a table.
    static unsigned long ones(unsigned long n) {
        n -= n >> 1 & 0x5555555555555555;
        n = (n & 0x3333333333333333) + (n >> 2 & 0x3333333333333333);
        n = (n + (n >> 4)) & 0x0f0f0f0f0f0f0f0f;
        return n * 0x0101010101010101 >> 56;
    }
    static unsigned long upTo(unsigned long n, unsigned long begin) {
        return n <= begin ? 0 : n - begin >= 64 ? ~0ul : (1ul << (n - begin)) - 1;
    }
};

}  // namespace

struct AllocTable::Picture {
    unsigned long references;  // from records of the shard, and from its thread
    Picture* next;             // of one that is free
    unsigned long begin;       // the address of the first line
    unsigned int lines;
    unsigned int number;
    alignas(64) unsigned char bytes[PICTURE_LINES * LINE];
};

// A line of the processor's cache; its pieces stand in the lines behind it.
struct AllocTable::Saved {
    unsigned long requestId;
    unsigned long size;
    unsigned long codeAddress;
    unsigned long stackAddress;
    union {
        Picture* picture;
        unsigned long order;  // in a chain, in a table without pictures
    };
    unsigned long differentLow;  // of the pieces
    unsigned int differentHigh;
    unsigned char codeBytes[4];
    unsigned short stackRead;
    unsigned char codeRead;

    unsigned char* piece(unsigned long i) {
        return reinterpret_cast<unsigned char*>(this + 1) + i * PIECE;
    }
    unsigned char const* piece(unsigned long i) const { return const_cast<Saved*>(this)->piece(i); }
};

// Where the threads of a shard lay their records. None goes over its end.
struct AllocTable::Slab {
    union {
        std::atomic<unsigned char> shard;
        unsigned char lines[LINES][LINE];
    };
    Info infos[LINES];
};

// A stack that is about to be saved.
struct AllocTable::Snapshot {
    unsigned long life = 0;
    unsigned long first = 0;   // the address of the first line
    unsigned long read = 0;    // bytes from the frame on
    unsigned long lines = 0;   // touched by these
    Pieces whole;              // what it consists of
    Pieces different;          // what has to be kept of it
    unsigned long pieces = 0;  // their number
    Picture* picture = nullptr;
    unsigned char const* from = nullptr;  // what stands at `first`
};

struct AllocTable::Own {
    static constexpr unsigned long SITES = 16;
    struct Site {
        Picture* picture;
        // Since the last look at how well it does.
        unsigned short different;
        unsigned char snapshots;
        unsigned char poor;  // in a row
    };
    Site sites[SITES];
    unsigned long life;
    unsigned char shard;
    bool ends;  // the thread has no more pictures
    bool armed;
};

namespace {

// Which pieces of a line, or of four lines, differ. No branch: what differs changes with every
// call.
#if defined(__SSE2__)
// All ones for a piece that is the same.
ZAN_WHOLE_STACK inline __m128i samePieces(void const* a, void const* b) {
    auto const* const x = static_cast<__m128i const*>(a);
    auto const* const y = static_cast<__m128i const*>(b);
    // A byte for each word of the line, and then all four of a piece at once.
    __m128i const words = _mm_packs_epi16(
        _mm_packs_epi32(_mm_cmpeq_epi32(_mm_load_si128(x), _mm_load_si128(y)),
                        _mm_cmpeq_epi32(_mm_load_si128(x + 1), _mm_load_si128(y + 1))),
        _mm_packs_epi32(_mm_cmpeq_epi32(_mm_load_si128(x + 2), _mm_load_si128(y + 2)),
                        _mm_cmpeq_epi32(_mm_load_si128(x + 3), _mm_load_si128(y + 3))));
    return _mm_cmpeq_epi32(words, _mm_set1_epi32(-1));
}
ZAN_WHOLE_STACK inline unsigned long differences(unsigned char const* a, unsigned char const* b) {
    int const same = _mm_movemask_ps(_mm_castsi128_ps(samePieces(a, b)));
    return static_cast<unsigned int>(same) ^ 0xF;
}
ZAN_WHOLE_STACK inline unsigned long differencesOfFour(unsigned char const* a,
                                                       unsigned char const* b) {
    int const same = _mm_movemask_epi8(_mm_packs_epi16(
        _mm_packs_epi32(samePieces(a, b), samePieces(a + 64, b + 64)),
        _mm_packs_epi32(samePieces(a + 128, b + 128), samePieces(a + 192, b + 192))));
    return static_cast<unsigned int>(same) ^ 0xFFFF;
}
ZAN_WHOLE_STACK inline void copyPiece(void* to, void const* from) {
    _mm_store_si128(static_cast<__m128i*>(to), _mm_load_si128(static_cast<__m128i const*>(from)));
}
#else
inline unsigned long differencesOf(unsigned long pieces, unsigned char const* a,
                                   unsigned char const* b) {
    unsigned long different = 0;
    for (unsigned long i = 0; i < pieces; ++i)
        if (std::memcmp(a + i * 16, b + i * 16, 16) != 0) different |= 1ul << i;
    return different;
}
inline unsigned long differences(unsigned char const* a, unsigned char const* b) {
    return differencesOf(4, a, b);
}
inline unsigned long differencesOfFour(unsigned char const* a, unsigned char const* b) {
    return differencesOf(16, a, b);
}
inline void copyPiece(void* to, void const* from) {
    std::memcpy(to, from, 16);
}
#endif

void raise(std::atomic<unsigned long>& most, unsigned long n) {
    unsigned long before = most.load(std::memory_order_relaxed);
    while (before < n && !most.compare_exchange_weak(before, n, std::memory_order_relaxed)) {
    }
}

// Of all tables: what a thread knows of its stack is of one life of one of them.
std::atomic<unsigned long> lives{0};

}  // namespace

// A thread that forks holds all the locks.
class AllocTable::Guard {
public:
    explicit Guard(platform::BriefLock& mutex)
        : mutex_(platform::holdsHeapLocks() ? nullptr : &mutex) {
        if (mutex_ != nullptr) mutex_->lock();
    }
    ~Guard() {
        if (mutex_ != nullptr) mutex_->unlock();
    }
    Guard(Guard const&) = delete;
    Guard& operator=(Guard const&) = delete;

private:
    platform::BriefLock* mutex_;
};

// --- Pictures

AllocTable::Own& AllocTable::own() {
    static thread_local __attribute__((tls_model("initial-exec"))) Own mine;
    return mine;
}

void AllocTable::endOfThread(void* table) {
    Own& mine = own();
    mine.ends = true;
    auto& self = *static_cast<AllocTable*>(table);
    Shard& shard = self.shards_[mine.shard];
    Guard const guard(shard.mutex);
    if (mine.life != self.life_) return;
    for (Own::Site const& site : mine.sites)
        if (site.picture != nullptr) shard.release(site.picture->number);
}

AllocTable::Picture& AllocTable::Shard::picture(unsigned long number) {
    return pictures[number / PICTURES][number % PICTURES];
}

AllocTable::Picture* AllocTable::Shard::newPicture() {
    Picture* made = freePictures;
    if (made != nullptr) {
        freePictures = made->next;
    } else {
        if (picturesMade == Info::MOST_PICTURES) return nullptr;
        if (picturesMade >= pictures.size() * PICTURES) {
            void* const chunk = platform::mapPages(PICTURES * sizeof(Picture));
            if (chunk == nullptr) return nullptr;
            try {
                pictures.push_back(static_cast<Picture*>(chunk));
            } catch (std::bad_alloc const&) {
                platform::unmapPages(chunk, PICTURES * sizeof(Picture));
                return nullptr;
            }
        }
        made = &picture(picturesMade);
        made->number = static_cast<unsigned int>(picturesMade++);
    }
    made->references = 1;
    return made;
}

void AllocTable::Shard::release(unsigned long number) {
    Picture& old = picture(number);
    if (--old.references != 0) return;
    old.next = freePictures;
    freePictures = &old;
}

// Finds the thread's picture for the place, and what it doesn't serve for. A new one is taken where
// the old one serves badly; that is a matter of averages, as a picture is large.
ZAN_WHOLE_STACK void AllocTable::compare(unsigned long code, unsigned long end,
                                         Snapshot& snapshot) {
    constexpr unsigned int LOOK_EVERY = 64;
    constexpr unsigned int GOOD = 12;  // pieces that differ
    constexpr unsigned int POOR = 40;
    constexpr unsigned int POOR_IN_A_ROW = 4;
    Own& mine = own();
    snapshot.life = life_.load(std::memory_order_relaxed);
    if (mine.life != snapshot.life) {
        for (Own::Site& site : mine.sites) site = {nullptr, 0, 0, POOR_IN_A_ROW - 1};
        mine.life = snapshot.life;
        mine.shard = static_cast<unsigned char>(threads_++ % SHARDS);
    }
    if (mine.ends) return;
    Own::Site& site = mine.sites[((code ^ snapshot.first) * 0x9E3779B97F4A7C15ul) >> 60];
    static_assert(Own::SITES == 1ul << (64 - 60));
    Picture* const picture = site.picture;
    unsigned long const first = snapshot.first;
    if (picture != nullptr) {
        // The lines of the snapshot that the picture has, [i, n).
        unsigned long const below = picture->begin > first ? (picture->begin - first) / LINE : 0;
        unsigned long const above = first > picture->begin ? (first - picture->begin) / LINE : 0;
        unsigned long i = std::min(below, snapshot.lines);
        unsigned long const n =
            above < picture->lines ? std::min(snapshot.lines, i + picture->lines - above) : i;
        Pieces different;
        if (i != 0) different = Pieces::range(0, i * 4);
        unsigned char const* shown = picture->bytes + above * LINE;
        unsigned char const* now = snapshot.from + i * LINE;
        for (; i + 4 <= n; i += 4, shown += 4 * LINE, now += 4 * LINE)
            different.add(differencesOfFour(now, shown), i * 4);
        for (; i < n; ++i, shown += LINE, now += LINE)
            different.add(differences(now, shown), i * 4);
        if (n < snapshot.lines) {
            Pieces const beyond = Pieces::range(n * 4, snapshot.lines * 4);
            different.low |= beyond.low;
            different.high |= beyond.high;
        }
        snapshot.different = different & snapshot.whole;
    }
    unsigned long const count = snapshot.different.count();
    snapshot.pieces = count;
    snapshot.picture = picture;
    site.different = static_cast<unsigned short>(site.different + count);
    site.poor = count > POOR ? static_cast<unsigned char>(site.poor + 1) : 0;
    bool renew = site.poor >= POOR_IN_A_ROW;
    if (++site.snapshots == LOOK_EVERY) {
        renew = renew || site.different > GOOD * LOOK_EVERY;
        site.snapshots = 0;
        site.different = 0;
    }
    if (!renew) return;
    if (!mine.armed) mine.armed = platform::atThreadExit(&endOfThread, this);
    Shard& shard = shards_[mine.shard];
    Guard const guard(shard.mutex);
    if (snapshot.life != life_.load(std::memory_order_relaxed)) return;
    Picture* const made = shard.newPicture();
    if (made == nullptr) return;
    if (picture != nullptr) shard.release(picture->number);
    made->begin = first;
    made->lines = static_cast<unsigned int>(std::min((end - first) / LINE, PICTURE_LINES));
    for (unsigned long i = 0; i < made->lines * LINE; i += PIECE)
        copyPiece(made->bytes + i, snapshot.from + i);
    site.picture = made;
    site.poor = 0;
    snapshot.picture = made;
    // All but the last line of a stack that ends within it.
    snapshot.different = Pieces::range(made->lines * 4, snapshot.lines * 4) & snapshot.whole;
    snapshot.pieces = snapshot.different.count();
}

// --- Records

inline AllocTable::Slab* AllocTable::slabOf(unsigned long number) const {
    unsigned long const slab = number / LINES;
    SlabPage const* const page = slabPages_[slab / SLABS_IN_PAGE].load(std::memory_order_acquire);
    return page == nullptr ? nullptr
                           : (*page)[slab % SLABS_IN_PAGE].load(std::memory_order_acquire);
}
inline AllocTable::Info& AllocTable::infoOf(unsigned long number) const {
    return slabOf(number)->infos[number % LINES];
}
inline AllocTable::Saved* AllocTable::savedOf(unsigned long number) const {
    static_assert(sizeof(Saved) == LINE);
    return reinterpret_cast<Saved*>(slabOf(number)->lines[number % LINES]);
}

// Of one that isn't used, any: the handle is of a former life then.
AllocTable::Shard& AllocTable::shardOf(Slab const& slab) {
    return shards_[slab.shard % SHARDS];
}

bool AllocTable::isLive(Shard const& shard, Handle handle) const {
    return shard.open && static_cast<unsigned long>(handle) / NUMBERS == life_ % LIVES &&
           infoOf(numberOf(handle)).lines() != 0;
}

unsigned long AllocTable::take(Shard& shard, unsigned long lines) {
    if (unsigned long const number = shard.free[lines]) {
        unsigned long const next = infoOf(number).next();
        shard.free[lines] = next;
        if (next == 0) return number;
        // The next one is written to some time from now.
        Slab& slab = *slabOf(next);
        __builtin_prefetch(&slab.infos[next % LINES], 1);
        for (unsigned long i = 0; i < lines; ++i)
            __builtin_prefetch(slab.lines[next % LINES + i], 1);
        return number;
    }
    if (shard.left < lines) {
        unsigned long const number = newSlab(shard);
        if (number == 0) return 0;
        shard.next = number;
        shard.left = LINES - 1;
    }
    unsigned long const number = shard.next;
    shard.next += lines;
    shard.left -= lines;
    return number;
}

unsigned long AllocTable::newSlab(Shard& shard) {
    Guard const guard(slabLock_);
    if (slabsUsed_ == MOST_SLABS) return 0;
    if (slabsUsed_ == slabsMapped_) {
        std::atomic<SlabPage*>& page = slabPages_[slabsMapped_ / SLABS_IN_PAGE];
        if (page == nullptr) page = static_cast<SlabPage*>(platform::mapPages(sizeof(SlabPage)));
        Slab* const slab = page != nullptr ? mapSlab() : nullptr;
        if (slab == nullptr) return 0;
        (*page)[slabsMapped_ % SLABS_IN_PAGE].store(slab, std::memory_order_release);
        ++slabsMapped_;
    }
    unsigned long const first = slabsUsed_++ * LINES;
    slabOf(first)->shard = static_cast<unsigned char>(&shard - shards_);
    return first + 1;
}

// Records are read and written all over: in large pages the processor finds them sooner.
AllocTable::Slab* AllocTable::mapSlab() {
    if (largePageLeft_ < sizeof(Slab) && slabsMapped_ >= SMALL_SLABS) {
        largePage_ = static_cast<unsigned char*>(platform::mapLargePage());
        largePageLeft_ = largePage_ != nullptr ? platform::LARGE_PAGE : 0;
    }
    if (largePageLeft_ < sizeof(Slab)) return static_cast<Slab*>(platform::mapPages(sizeof(Slab)));
    auto* const slab = reinterpret_cast<Slab*>(largePage_);
    largePage_ += sizeof(Slab);
    largePageLeft_ -= sizeof(Slab);
    return slab;
}

// The first and the last of a shard's blocks in a bucket are few: what all share is seldom written.
void AllocTable::countInsert(Shard& shard, unsigned long bucket) {
    bool const isHead =
        shard.usedOf[bucket]++ == 0 && headOf_[bucket].fetch_add(1, std::memory_order_relaxed) == 0;
    if (!isHead) ++shard.collisions;
    unsigned long const heads = isHead ? heads_.fetch_add(1, std::memory_order_relaxed) + 1
                                       : heads_.load(std::memory_order_relaxed);
    unsigned long const used = used_.fetch_add(1, std::memory_order_relaxed) + 1;
    raise(maxUsed_, used);
    if (used > heads) raise(maxChained_, used - heads);
}

void AllocTable::countRelease(Shard& shard, unsigned long bucket) {
    ++shard.freed;
    used_.fetch_sub(1, std::memory_order_relaxed);
    if (--shard.usedOf[bucket] == 0 && headOf_[bucket].fetch_sub(1, std::memory_order_relaxed) == 1)
        heads_.fetch_sub(1, std::memory_order_relaxed);
}

ZAN_WHOLE_STACK AllocTable::Handle AllocTable::insert(unsigned long requestId, unsigned long size,
                                                      void const* code, void const* frame) {
    auto const at = reinterpret_cast<unsigned long>(frame);
    Snapshot snapshot;
    snapshot.life = life_.load(std::memory_order_relaxed);
    snapshot.first = at & ~(LINE - 1);
    alignas(64) unsigned char copied[MOST_LINES * LINE];
    unsigned long const end = platform::endOfStack(frame, reinterpret_cast<unsigned long>(code));
    if (end != 0) {
        snapshot.read = std::min(end - at, SNAPSHOT);
        snapshot.from = reinterpret_cast<unsigned char const*>(snapshot.first);
    } else {
        snapshot.read = platform::readMemory(frame, copied + at % LINE, SNAPSHOT);
        snapshot.from = copied;
    }
    snapshot.lines = (at % LINE + snapshot.read + LINE - 1) / LINE;
    snapshot.whole =
        Pieces::range(at % LINE / PIECE, (at % LINE + snapshot.read + PIECE - 1) / PIECE);
    snapshot.different = snapshot.whole;
    if (end != 0 && withPictures_) compare(reinterpret_cast<unsigned long>(code), end, snapshot);
    if (snapshot.picture == nullptr) snapshot.pieces = snapshot.whole.count();
    unsigned long const lines = 1 + (snapshot.pieces * PIECE + LINE - 1) / LINE;
    unsigned long const bucket = bucketOf(requestId);

    Shard& shard = shards_[withPictures_ ? own().shard : 0];
    Guard const guard(shard.mutex);
    if (!shard.open || snapshot.life != life_.load(std::memory_order_relaxed)) return Handle::None;
    ++shard.inserts;
    if (shard.usedOf == nullptr)
        shard.usedOf = static_cast<unsigned int*>(
            platform::mapPages(ALLOC_HASH_ENTRIES * sizeof(unsigned int)));
    unsigned long const number = shard.usedOf != nullptr ? take(shard, lines) : 0;
    if (number == 0) {  // counted, but lost
        if (headOf_[bucket].load(std::memory_order_relaxed) != 0) ++shard.collisions;
        return Handle::None;
    }
    countInsert(shard, bucket);
    infoOf(number) =
        Info::live(lines, bucket, snapshot.picture != nullptr ? snapshot.picture->number : 0);
    Saved* const saved = savedOf(number);
    saved->requestId = requestId;
    saved->size = size;
    saved->codeAddress = reinterpret_cast<unsigned long>(code);
    constexpr unsigned long PAGE = 4096;
    constexpr unsigned long CODE = sizeof saved->codeBytes;
    if (saved->codeAddress % PAGE <= PAGE - CODE) {
        // It is about to run, and none of it is in another page.
        std::memcpy(saved->codeBytes, code, CODE);
        saved->codeRead = CODE;
    } else {
        saved->codeRead =
            static_cast<unsigned char>(platform::readMemory(code, saved->codeBytes, CODE));
    }
    saved->stackAddress = at;
    saved->stackRead = static_cast<unsigned short>(snapshot.read);
    if (!withPictures_) {
        saved->order = shard.inserts;
    } else {
        saved->picture = snapshot.picture;
        if (saved->picture != nullptr) ++saved->picture->references;
    }
    saved->differentLow = snapshot.different.low;
    saved->differentHigh = snapshot.different.high;
    unsigned char* to = saved->piece(0);
    for (unsigned long set = snapshot.different.low; set != 0; set &= set - 1, to += PIECE)
        copyPiece(to, snapshot.from + static_cast<unsigned long>(__builtin_ctzl(set)) * PIECE);
    for (unsigned long set = snapshot.different.high; set != 0; set &= set - 1, to += PIECE)
        copyPiece(to,
                  snapshot.from + (64 + static_cast<unsigned long>(__builtin_ctzl(set))) * PIECE);
    return static_cast<Handle>(snapshot.life % LIVES * NUMBERS + number);
}

bool AllocTable::remove(Handle handle) {
    unsigned long const number = numberOf(handle);
    Slab* const slab = slabOf(number);
    if (handle == Handle::None || slab == nullptr) return false;
    Shard& shard = shardOf(*slab);
    Guard const guard(shard.mutex);
    if (!isLive(shard, handle)) return false;
    Info& info = slab->infos[number % LINES];
    countRelease(shard, info.bucket());
    if (info.picture() != 0) shard.release(info.picture());
    unsigned long& first = shard.free[info.lines()];
    info = Info::free(first);
    first = number;
    return true;
}

AllocTable::Block AllocTable::blockOf(Handle handle) {
    Slab* const slab = slabOf(numberOf(handle));
    if (handle == Handle::None || slab == nullptr) return {};
    Shard& shard = shardOf(*slab);
    Guard const guard(shard.mutex);
    if (!isLive(shard, handle)) return {};
    Saved const& saved = *savedOf(numberOf(handle));
    return {saved.requestId, saved.size};
}

void AllocTable::open() {
    drop();
    for (Shard& shard : shards_) {
        Guard const guard(shard.mutex);
        shard.open = true;
    }
}

void AllocTable::close() {
    for (Shard& shard : shards_) {
        Guard const guard(shard.mutex);
        shard.open = false;
    }
}

void AllocTable::Shard::reset() {
    for (Picture* const chunk : pictures) platform::dropPages(chunk, PICTURES * sizeof(Picture));
    if (usedOf != nullptr) std::fill_n(usedOf, ALLOC_HASH_ENTRIES, 0u);
    std::fill(std::begin(free), std::end(free), 0ul);
    freePictures = nullptr;
    picturesMade = 1;
    next = left = inserts = collisions = freed = 0;
}

void AllocTable::drop() {
    // From here on no thread uses what it knows: it looks at the life inside a lock.
    life_ = lives.fetch_add(1) + 1;
    for (Shard& shard : shards_) {
        Guard const guard(shard.mutex);
        shard.reset();
    }
    Guard const guard(slabLock_);
    for (unsigned long i = 0; i < slabsUsed_; ++i)
        platform::dropPages(slabOf(i * LINES), sizeof(Slab));
    slabsUsed_ = 0;
    used_ = maxUsed_ = heads_ = maxChained_ = 0;
    for (auto& shards : headOf_) shards = 0;
}

// --- The report

std::vector<AllocTable::Saved const*> AllocTable::all() const {
    std::vector<Saved const*> live;
    for (unsigned long number = 0; number < slabsUsed_ * LINES; ++number)
        if (infoOf(number).lines() != 0) live.push_back(savedOf(number));
    bool const numbered = withPictures_;
    std::sort(live.begin(), live.end(), [numbered](Saved const* a, Saved const* b) {
        unsigned long const left = bucketOf(a->requestId);
        unsigned long const right = bucketOf(b->requestId);
        if (left != right) return left < right;
        return numbered ? a->requestId < b->requestId : a->order < b->order;
    });
    return live;
}

AllocRecord AllocTable::record(Saved const& saved) {
    AllocRecord out = {};
    out.requestId = saved.requestId;
    out.size = saved.size;
    out.codeRead = saved.codeRead;
    if (saved.codeRead == sizeof out.codeBytes) {
        out.codeAddress = saved.codeAddress;
        std::memcpy(out.codeBytes, saved.codeBytes, sizeof out.codeBytes);
    }
    out.stackRead = saved.stackRead;
    if (saved.stackRead == 0) return out;
    out.stackAddress = saved.stackAddress;
    unsigned long const into = saved.stackAddress % LINE;
    unsigned long const first = saved.stackAddress - into;
    unsigned char lines[MOST_LINES * LINE] = {};
    Pieces const different = {saved.differentLow, saved.differentHigh};
    unsigned long kept = 0;
    for (unsigned long i = into / PIECE; i * PIECE < into + saved.stackRead; ++i) {
        unsigned char const* const piece =
            different.has(i) ? saved.piece(kept++)
                             : saved.picture->bytes + (first + i * PIECE - saved.picture->begin);
        std::memcpy(lines + i * PIECE, piece, PIECE);
    }
    std::memcpy(out.stackBytes, lines + into, saved.stackRead);
    return out;
}

AllocCounters AllocTable::counters() const {
    AllocCounters sum;
    for (Shard const& shard : shards_) {
        sum.inserts += shard.inserts;
        sum.collisions += shard.collisions;
        sum.freed += shard.freed;
    }
    sum.used = used_;
    sum.maxUsed = maxUsed_;
    sum.chained = used_ - heads_;
    sum.maxChained = maxChained_;
    return sum;
}

void AllocTable::lock() {
    for (Shard& shard : shards_) shard.mutex.lock();
    slabLock_.lock();
}
void AllocTable::unlock() {
    slabLock_.unlock();
    for (Shard& shard : shards_) shard.mutex.unlock();
}

}  // namespace zan
