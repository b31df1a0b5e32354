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
    unsigned long count() const {
        int const n = __builtin_popcountl(low) + __builtin_popcount(high);
        return static_cast<unsigned long>(n);
    }

private:
    static unsigned long upTo(unsigned long n, unsigned long begin) {
        return n <= begin ? 0 : n - begin >= 64 ? ~0ul : (1ul << (n - begin)) - 1;
    }
};

}  // namespace

struct AllocTable::Picture {
    unsigned long references;  // under the lock of the thread's shard, as all that refer to it
    Picture* next;
    unsigned long begin;  // the address of the first line
    unsigned long lines;
    alignas(64) unsigned char bytes[PICTURE_LINES * LINE];
};

// A line of the processor's cache; its pieces stand in the lines behind it.
struct AllocTable::Saved {
    unsigned long requestId;  // 0 in one that is free
    union {
        unsigned long size;
        Saved* next;  // of one that is free
    };
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
    unsigned char lines;  // behind it, and this one; 0 where nothing has ever been
    unsigned char shard;

    unsigned char* piece(unsigned long i) {
        return reinterpret_cast<unsigned char*>(this + 1) + i * PIECE;
    }
    unsigned char const* piece(unsigned long i) const { return const_cast<Saved*>(this)->piece(i); }
};

// A stack that is about to be saved.
struct AllocTable::Snapshot {
    unsigned long life = 0;
    unsigned long first = 0;  // the address of the first line
    unsigned long read = 0;   // bytes from the frame on
    unsigned long lines = 0;  // touched by these
    Pieces whole;             // what it consists of
    Pieces different;         // what has to be kept of it
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

// Of four pieces each, those that differ.
#if defined(__SSE2__)
ZAN_WHOLE_STACK inline unsigned long differences(void const* a, void const* b) {
    auto const* const x = static_cast<__m128i const*>(a);
    auto const* const y = static_cast<__m128i const*>(b);
    // A byte for each word of the line, and then a bit for each four. No branch: what differs
    // changes with every call.
    __m128i const words = _mm_packs_epi16(
        _mm_packs_epi32(_mm_cmpeq_epi32(_mm_load_si128(x), _mm_load_si128(y)),
                        _mm_cmpeq_epi32(_mm_load_si128(x + 1), _mm_load_si128(y + 1))),
        _mm_packs_epi32(_mm_cmpeq_epi32(_mm_load_si128(x + 2), _mm_load_si128(y + 2)),
                        _mm_cmpeq_epi32(_mm_load_si128(x + 3), _mm_load_si128(y + 3))));
    __m128i const same = _mm_cmpeq_epi32(words, _mm_set1_epi32(-1));
    return static_cast<unsigned long>(_mm_movemask_ps(_mm_castsi128_ps(same))) ^ 15;
}
ZAN_WHOLE_STACK inline void copyPiece(void* to, void const* from) {
    _mm_store_si128(static_cast<__m128i*>(to), _mm_load_si128(static_cast<__m128i const*>(from)));
}
#else
inline unsigned long differences(void const* a, void const* b) {
    unsigned long four = 0;
    for (unsigned long i = 0; i < 4; ++i)
        if (std::memcmp(static_cast<char const*>(a) + i * 16, static_cast<char const*>(b) + i * 16,
                        16) != 0)
            four |= 1ul << i;
    return four;
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
    Guard const guard(self.shards_[mine.shard].mutex);
    for (Own::Site& site : mine.sites)
        if (site.picture != nullptr && mine.life == self.life_) self.release(site.picture);
}

AllocTable::Picture* AllocTable::newPicture() {
    Guard const guard(pictureLock_);
    Picture* picture = freePictures_;
    if (picture != nullptr) {
        freePictures_ = picture->next;
    } else {
        if (picturesMade_ == pictureChunks_.size() * PICTURES) {
            void* const chunk = platform::mapPages(PICTURES * sizeof(Picture));
            if (chunk == nullptr) return nullptr;
            try {
                pictureChunks_.push_back(static_cast<unsigned char*>(chunk));
            } catch (std::bad_alloc const&) {
                platform::unmapPages(chunk, PICTURES * sizeof(Picture));
                return nullptr;
            }
        }
        auto* const chunk = reinterpret_cast<Picture*>(pictureChunks_[picturesMade_ / PICTURES]);
        picture = chunk + picturesMade_ % PICTURES;
        ++picturesMade_;
    }
    picture->references = 1;
    return picture;
}

// REQUIRES: the shard of its thread is locked.
void AllocTable::release(Picture* picture) {
    if (--picture->references != 0) return;
    Guard const guard(pictureLock_);
    picture->next = freePictures_;
    freePictures_ = picture;
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
        Pieces different = Pieces::range(0, i * 4);
        unsigned char const* shown = picture->bytes + above * LINE;
        unsigned char const* now = snapshot.from + i * LINE;
        for (; i < std::min(n, 16ul); ++i, shown += LINE, now += LINE)
            different.low |= differences(now, shown) << i * 4;
        for (; i < n; ++i, shown += LINE, now += LINE)
            different.high |= static_cast<unsigned int>(differences(now, shown) << (i - 16) * 4);
        Pieces const beyond = Pieces::range(n * 4, snapshot.lines * 4);
        different.low |= beyond.low;
        different.high |= beyond.high;
        snapshot.different = different & snapshot.whole;
    }
    unsigned long const count = snapshot.different.count();
    site.different = static_cast<unsigned short>(site.different + count);
    site.poor = count > POOR ? static_cast<unsigned char>(site.poor + 1) : 0;
    bool renew = site.poor >= POOR_IN_A_ROW;
    if (++site.snapshots == LOOK_EVERY) {
        renew = renew || site.different > GOOD * LOOK_EVERY;
        site.snapshots = 0;
        site.different = 0;
    }
    snapshot.picture = picture;
    if (!renew) return;
    Picture* const made = newPicture();
    if (made == nullptr) return;
    if (picture != nullptr) {
        Guard const guard(shards_[mine.shard].mutex);
        if (snapshot.life == life_) release(picture);
    }
    if (!mine.armed) mine.armed = platform::atThreadExit(&endOfThread, this);
    made->begin = first;
    made->lines = std::min((end - first) / LINE, PICTURE_LINES);
    for (unsigned long i = 0; i < made->lines * LINE; i += PIECE)
        copyPiece(made->bytes + i, snapshot.from + i);
    site.picture = made;
    site.poor = 0;
    snapshot.picture = made;
    // All but the last line of a stack that ends within it.
    snapshot.different = Pieces::range(made->lines * 4, snapshot.lines * 4) & snapshot.whole;
}

// --- Records

AllocTable::Saved* AllocTable::Shard::take(unsigned long pieces) {
    static_assert(sizeof(Saved) == LINE);
    unsigned long const lines = 1 + (pieces * PIECE + LINE - 1) / LINE;
    if (Saved* const saved = free[lines]) {
        free[lines] = saved->next;
        // The next one is written to some time from now.
        if (auto const* const next = reinterpret_cast<unsigned char const*>(saved->next))
            for (unsigned long i = 0; i < lines; ++i) __builtin_prefetch(next + i * LINE, 1);
        return saved;
    }
    if (chunks.empty() || filled + lines * LINE > CHUNK) {
        if (!chunks.empty() && current + 1 < chunks.size()) {
            ++current;
        } else {
            unsigned char* const chunk = newChunk();
            if (chunk == nullptr) return nullptr;
            try {
                chunks.push_back(chunk);
            } catch (std::bad_alloc const&) {
                platform::unmapPages(chunk, CHUNK);
                return nullptr;
            }
            current = chunks.size() - 1;
        }
        filled = 0;
    }
    auto* const saved = reinterpret_cast<Saved*>(chunks[current] + filled);
    saved->lines = static_cast<unsigned char>(lines);
    filled += lines * LINE;
    return saved;
}

// Records are read and written all over: in large pages the processor finds them sooner.
unsigned char* AllocTable::Shard::newChunk() {
    if (largePageLeft == 0 && chunks.size() >= SMALL_CHUNKS) {
        largePage = static_cast<unsigned char*>(platform::mapLargePage());
        if (largePage != nullptr) largePageLeft = platform::LARGE_PAGE;
    }
    if (largePageLeft == 0) return static_cast<unsigned char*>(platform::mapPages(CHUNK));
    largePageLeft -= CHUNK;
    return largePage + largePageLeft;
}

void AllocTable::Shard::reset() {
    for (unsigned char* const chunk : chunks) platform::dropPages(chunk, CHUNK);
    std::fill(std::begin(free), std::end(free), nullptr);
    current = filled = inserts = collisions = freed = 0;
}

// The lowest bits of an address are free for the count of lives.
AllocTable::Saved* AllocTable::savedOf(Handle handle) {
    return reinterpret_cast<Saved*>(static_cast<unsigned long>(handle) & ~LIVES);
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
    unsigned long const pieces = snapshot.different.count();

    unsigned char const shardNumber = withPictures_ ? own().shard : 0;
    Shard& shard = shards_[shardNumber];
    Guard const guard(shard.mutex);
    if (!shard.open || snapshot.life != life_.load(std::memory_order_relaxed)) return Handle::None;
    Saved* const saved = shard.take(pieces);
    ++shard.inserts;
    std::atomic<unsigned int>& bucket = usedOf_[bucketOf(requestId)];
    if (saved == nullptr) {  // counted, but lost
        if (bucket.load(std::memory_order_relaxed) != 0) ++shard.collisions;
        return Handle::None;
    }
    bool const isHead = bucket.fetch_add(1, std::memory_order_relaxed) == 0;
    if (!isHead) ++shard.collisions;
    unsigned long const heads = isHead ? heads_.fetch_add(1, std::memory_order_relaxed) + 1
                                       : heads_.load(std::memory_order_relaxed);
    unsigned long const used = used_.fetch_add(1, std::memory_order_relaxed) + 1;
    raise(maxUsed_, used);
    if (used > heads) raise(maxChained_, used - heads);
    saved->requestId = requestId;
    saved->size = size;
    saved->shard = shardNumber;
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
    return static_cast<Handle>(reinterpret_cast<unsigned long>(saved) | (snapshot.life & LIVES));
}

bool AllocTable::remove(Handle handle) {
    if (handle == Handle::None) return false;
    Saved* const saved = savedOf(handle);
    Shard& shard = shards_[saved->shard % SHARDS];
    Guard const guard(shard.mutex);
    if (!shard.open || ((static_cast<unsigned long>(handle) ^ life_) & LIVES) != 0) return false;
    ++shard.freed;
    used_.fetch_sub(1, std::memory_order_relaxed);
    if (usedOf_[bucketOf(saved->requestId)].fetch_sub(1, std::memory_order_relaxed) == 1)
        heads_.fetch_sub(1, std::memory_order_relaxed);
    if (withPictures_ && saved->picture != nullptr) release(saved->picture);
    saved->requestId = 0;
    saved->next = shard.free[saved->lines];
    shard.free[saved->lines] = saved;
    return true;
}

AllocTable::Block AllocTable::blockOf(Handle handle) {
    if (handle == Handle::None) return {};
    return {savedOf(handle)->requestId, savedOf(handle)->size};
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

void AllocTable::drop() {
    // From here on no thread uses what it knows: it looks at the life inside a lock.
    ++life_;
    for (Shard& shard : shards_) {
        Guard const guard(shard.mutex);
        shard.reset();
    }
    Guard const guard(pictureLock_);
    for (unsigned char* const chunk : pictureChunks_)
        platform::dropPages(chunk, PICTURES * sizeof(Picture));
    picturesMade_ = 0;
    freePictures_ = nullptr;
    for (auto& bucket : usedOf_) bucket = 0;
    used_ = maxUsed_ = heads_ = maxChained_ = 0;
}

// --- The report

std::vector<AllocTable::Saved const*> AllocTable::all() const {
    std::vector<Saved const*> live;
    for (Shard const& shard : shards_)
        for (unsigned long i = 0; i < shard.chunks.size() && i <= shard.current; ++i)
            for (unsigned long at = 0; at + sizeof(Saved) <= CHUNK;) {
                auto const* const saved = reinterpret_cast<Saved const*>(shard.chunks[i] + at);
                if (saved->lines == 0) break;
                if (saved->requestId != 0) live.push_back(saved);
                at += saved->lines * LINE;
            }
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
    pictureLock_.lock();
}
void AllocTable::unlock() {
    pictureLock_.unlock();
    for (Shard& shard : shards_) shard.mutex.unlock();
}

}  // namespace zan
