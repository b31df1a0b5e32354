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

struct AllocTable::Picture {
    std::atomic<unsigned long> references;
    Picture* next;
    unsigned long begin;  // the address of the first line
    unsigned long lines;
    alignas(64) unsigned char bytes[PICTURE_LINES * LINE];
};

// The record as it is kept; its own lines stand behind it. A free one has no request.
struct AllocTable::Saved {
    unsigned long requestId;
    unsigned long size;
    unsigned long codeAddress;
    unsigned long stackAddress;
    unsigned long order;
    Picture* picture;
    union {
        Saved* next;             // of one that is free
        unsigned int different;  // bit i: line i is not as in the picture
    };
    unsigned short stackRead;
    unsigned char lines;  // behind it
    unsigned char codeRead;
    unsigned char codeBytes[4];

    unsigned char* line(unsigned long i) {
        return reinterpret_cast<unsigned char*>(this + 1) + i * LINE;
    }
    unsigned char const* line(unsigned long i) const { return const_cast<Saved*>(this)->line(i); }
    static unsigned long sizeWith(unsigned long lines) { return sizeof(Saved) + lines * LINE; }
};

// A stack that is about to be saved.
struct AllocTable::Snapshot {
    unsigned long generation = 0;
    unsigned long first = 0;     // the address of the first line
    unsigned long read = 0;      // bytes from the frame on
    unsigned long lines = 0;     // touched by these
    unsigned int different = 0;  // lines that have to be kept
    Picture* picture = nullptr;
    unsigned char const* from = nullptr;  // what stands at `first`
};

struct AllocTable::Own {
    Picture* picture = nullptr;
    unsigned long generation = 0;
    // Since the last look at how well it does.
    unsigned int snapshots = 0;
    unsigned int different = 0;
    unsigned int poor = 0;  // in a row
    bool ends = false;      // the thread has no more
    bool armed = false;
};

namespace {

// Whether 64 bytes are the same; `b` is aligned.
#if defined(__SSE2__)
ZAN_WHOLE_STACK inline bool sameLine(void const* a, void const* b) {
    auto const* const x = static_cast<__m128i const*>(a);
    auto const* const y = static_cast<__m128i const*>(b);
    __m128i const p = _mm_and_si128(_mm_cmpeq_epi8(_mm_load_si128(x), _mm_load_si128(y)),
                                    _mm_cmpeq_epi8(_mm_load_si128(x + 1), _mm_load_si128(y + 1)));
    __m128i const q = _mm_and_si128(_mm_cmpeq_epi8(_mm_load_si128(x + 2), _mm_load_si128(y + 2)),
                                    _mm_cmpeq_epi8(_mm_load_si128(x + 3), _mm_load_si128(y + 3)));
    return _mm_movemask_epi8(_mm_and_si128(p, q)) == 0xFFFF;
}
#else
bool sameLine(void const* a, void const* b) {
    return std::memcmp(a, b, 64) == 0;
}
#endif

// Of whole lines.
ZAN_WHOLE_STACK void copyLines(void* to, void const* from, unsigned long lines) {
#if defined(__SSE2__)
    auto* const t = static_cast<__m128i*>(to);
    auto const* const f = static_cast<__m128i const*>(from);
    for (unsigned long i = 0; i < lines * 4; ++i) _mm_storeu_si128(t + i, _mm_load_si128(f + i));
#else
    std::memcpy(to, from, lines * 64);
#endif
}

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
    Picture* const picture = mine.picture;
    mine.picture = nullptr;
    auto& self = *static_cast<AllocTable*>(table);
    if (picture != nullptr && mine.generation == self.generation_) self.release(picture);
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
    picture->references.store(1, std::memory_order_relaxed);
    return picture;
}

void AllocTable::release(Picture* picture) {
    if (picture->references.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    Guard const guard(pictureLock_);
    picture->next = freePictures_;
    freePictures_ = picture;
}

// The thread's picture, after a look at which lines it doesn't serve for. A new one is taken where
// the old one serves badly; that is a matter of averages, as a picture is large.
AllocTable::Picture* AllocTable::pictureFor(unsigned long frame, unsigned long end,
                                            Snapshot& snapshot) {
    constexpr unsigned int LOOK_EVERY = 64;
    constexpr unsigned int GOOD = 3;  // lines that differ
    constexpr unsigned int POOR = 12;
    constexpr unsigned int POOR_IN_A_ROW = 4;
    Own& mine = own();
    unsigned long const generation = generation_.load(std::memory_order_relaxed);
    if (mine.generation != generation) {
        mine.picture = nullptr;
        mine.generation = generation;
        mine.poor = POOR_IN_A_ROW;
    }
    if (mine.ends) return nullptr;
    Picture* const picture = mine.picture;
    unsigned int different = (1u << snapshot.lines) - 1;
    if (picture != nullptr) {
        // A frame below the picture makes this larger than any number of lines.
        unsigned long const from = (snapshot.first - picture->begin) / LINE;
        if (from < picture->lines) {
            unsigned long const shared = std::min(picture->lines - from, snapshot.lines);
            unsigned char const* const saved = picture->bytes + from * LINE;
            for (unsigned long i = 0; i < shared; ++i)
                if (sameLine(snapshot.from + i * LINE, saved + i * LINE)) different &= ~(1u << i);
        }
    }
    auto const count = static_cast<unsigned int>(__builtin_popcount(different));
    mine.different += count;
    mine.poor = count > POOR ? mine.poor + 1 : 0;
    bool renew = mine.poor >= POOR_IN_A_ROW;
    if (++mine.snapshots == LOOK_EVERY) {
        renew = renew || mine.different > GOOD * LOOK_EVERY;
        mine.snapshots = mine.different = 0;
    }
    snapshot.different = different;
    snapshot.generation = generation;
    if (!renew) return picture;
    Picture* const made = newPicture();
    if (made == nullptr) return picture;
    if (picture != nullptr)
        release(picture);
    else if (!mine.armed)
        mine.armed = platform::atThreadExit(&endOfThread, this);
    made->begin = frame & ~(LINE - 1);
    made->lines = std::min((end - made->begin) / LINE, PICTURE_LINES);
    copyLines(made->bytes, snapshot.from, made->lines);
    mine.picture = made;
    mine.poor = 0;
    // All that the picture has, and the last line of a stack that ends within one.
    snapshot.different &= made->lines < snapshot.lines ? ~0u << made->lines : 0;
    return made;
}

// --- Records

AllocTable::Saved* AllocTable::Shard::take(unsigned long lines) {
    if (Saved* const saved = free[lines]) {
        free[lines] = saved->next;
        return saved;
    }
    unsigned long const size = Saved::sizeWith(lines);
    if (chunks.empty() || filled + size > CHUNK) {
        if (!chunks.empty() && current + 1 < chunks.size()) {
            ++current;
        } else {
            void* const chunk = platform::mapPages(CHUNK);
            if (chunk == nullptr) return nullptr;
            try {
                chunks.push_back(static_cast<unsigned char*>(chunk));
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
    filled += size;
    return saved;
}

void AllocTable::Shard::reset() {
    for (unsigned char* const chunk : chunks) platform::dropPages(chunk, CHUNK);
    std::fill(std::begin(free), std::end(free), nullptr);
    std::fill(std::begin(used), std::end(used), 0);
    current = filled = inserts = collisions = freed = 0;
}

AllocTable::Saved* AllocTable::insert(unsigned long requestId, unsigned long size, void const* code,
                                      void const* frame) {
    auto const at = reinterpret_cast<unsigned long>(frame);
    Snapshot snapshot;
    snapshot.first = at & ~(LINE - 1);
    alignas(64) unsigned char copied[MOST_LINES * LINE];
    unsigned long const end = platform::endOfStack(frame);
    snapshot.read = std::min(end - at, sizeof AllocRecord::stackBytes);
    if (end == 0) {
        std::memset(copied, 0, sizeof copied);
        snapshot.read =
            platform::readMemory(frame, copied + at % LINE, sizeof AllocRecord::stackBytes);
        snapshot.from = copied;
    } else {
        snapshot.from = reinterpret_cast<unsigned char const*>(snapshot.first);
    }
    snapshot.lines = (at % LINE + snapshot.read + LINE - 1) / LINE;
    snapshot.different = (1u << snapshot.lines) - 1;
    if (end != 0 && withPictures_) snapshot.picture = pictureFor(at, end, snapshot);

    Shard& shard = shardOf(requestId);
    Guard const guard(shard.mutex);
    if (!shard.open) return nullptr;
    if (snapshot.picture != nullptr && snapshot.generation != generation_) return nullptr;
    unsigned long& inBucket = shard.used[bucketOf(requestId) / SHARDS];
    ++shard.inserts;
    if (inBucket != 0) ++shard.collisions;
    auto const lines = static_cast<unsigned long>(__builtin_popcount(snapshot.different));
    Saved* const saved = shard.take(lines);
    if (saved == nullptr) return nullptr;  // counted, but lost
    unsigned long const buckets = inBucket++ == 0
                                      ? buckets_.fetch_add(1, std::memory_order_relaxed) + 1
                                      : buckets_.load(std::memory_order_relaxed);
    unsigned long const used = used_.fetch_add(1, std::memory_order_relaxed) + 1;
    raise(maxUsed_, used);
    if (used > buckets) raise(maxChained_, used - buckets);
    saved->requestId = requestId;
    saved->size = size;
    saved->order = shard.inserts;
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
    saved->picture = snapshot.picture;
    saved->different = snapshot.different;
    if (snapshot.picture != nullptr)
        snapshot.picture->references.fetch_add(1, std::memory_order_relaxed);
    unsigned char* to = saved->line(0);
    for (unsigned int left = snapshot.different; left != 0; left &= left - 1, to += LINE)
        copyLines(to, snapshot.from + static_cast<unsigned long>(__builtin_ctz(left)) * LINE, 1);
    return saved;
}

bool AllocTable::remove(Saved* saved, unsigned long requestId) {
    Shard& shard = shardOf(requestId);
    Guard const guard(shard.mutex);
    if (!shard.open || saved->requestId != requestId) return false;
    ++shard.freed;
    used_.fetch_sub(1, std::memory_order_relaxed);
    if (--shard.used[bucketOf(requestId) / SHARDS] == 0)
        buckets_.fetch_sub(1, std::memory_order_relaxed);
    if (saved->picture != nullptr) release(saved->picture);
    saved->requestId = 0;
    saved->next = shard.free[saved->lines];
    shard.free[saved->lines] = saved;
    return true;
}

unsigned long AllocTable::sizeOf(Saved const& saved) {
    return saved.size;
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
    for (Shard& shard : shards_) {
        Guard const guard(shard.mutex);
        shard.reset();
    }
    Guard const guard(pictureLock_);
    ++generation_;
    for (unsigned char* const chunk : pictureChunks_)
        platform::dropPages(chunk, PICTURES * sizeof(Picture));
    picturesMade_ = 0;
    freePictures_ = nullptr;
    used_ = maxUsed_ = buckets_ = maxChained_ = 0;
}

// --- The report

std::vector<AllocTable::Saved const*> AllocTable::all() const {
    std::vector<Saved const*> live;
    for (Shard const& shard : shards_)
        for (unsigned long i = 0; i < shard.chunks.size() && i <= shard.current; ++i) {
            unsigned char const* const chunk = shard.chunks[i];
            unsigned long const end = i == shard.current ? shard.filled : CHUNK;
            for (unsigned long at = 0; at + sizeof(Saved) <= end;) {
                auto const* const saved = reinterpret_cast<Saved const*>(chunk + at);
                if (saved->requestId != 0) live.push_back(saved);
                unsigned long const size = Saved::sizeWith(saved->lines);
                // The rest of a chunk was too small, and is zero.
                if (saved->order == 0) break;
                at += size;
            }
        }
    std::sort(live.begin(), live.end(), [](Saved const* a, Saved const* b) {
        unsigned long const left = bucketOf(a->requestId);
        unsigned long const right = bucketOf(b->requestId);
        return left != right ? left < right : a->order < b->order;
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
    unsigned long kept = 0;
    for (unsigned long i = 0; i * LINE < into + saved.stackRead; ++i) {
        unsigned char const* const line =
            (saved.different >> i & 1) != 0
                ? saved.line(kept++)
                : saved.picture->bytes + (first + i * LINE - saved.picture->begin);
        unsigned long const skip = i == 0 ? into : 0;
        unsigned long const at = i * LINE + skip - into;
        std::memcpy(out.stackBytes + at, line + skip, std::min(LINE - skip, saved.stackRead - at));
    }
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
    sum.chained = used_ - buckets_;
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
