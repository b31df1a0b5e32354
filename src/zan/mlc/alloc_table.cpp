#include "zan/mlc/alloc_table.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "zan/platform/debug_heap.h"

namespace zan {

namespace {

void countUp(std::atomic<unsigned long>& now, std::atomic<unsigned long>& most) {
    unsigned long const n = now.fetch_add(1, std::memory_order_relaxed) + 1;
    unsigned long before = most.load(std::memory_order_relaxed);
    while (before < n && !most.compare_exchange_weak(before, n, std::memory_order_relaxed)) {
    }
}

void takeSnapshot(AllocRecord& record, void const* code, void const* frame) {
    record.codeAddress = reinterpret_cast<unsigned long>(code);
    constexpr unsigned long PAGE = 4096;
    if (record.codeAddress % PAGE <= PAGE - sizeof record.codeBytes) {
        // Code that is about to run, and none of it in another page.
        std::memcpy(record.codeBytes, code, sizeof record.codeBytes);
        record.codeRead = sizeof record.codeBytes;
    } else {
        record.codeRead = platform::readMemory(code, record.codeBytes, sizeof record.codeBytes);
    }
    record.stackAddress = reinterpret_cast<unsigned long>(frame);
    record.stackRead = platform::readStack(frame, record.stackBytes, sizeof record.stackBytes);
    if (record.stackRead == 0) record.stackAddress = 0;
}

}  // namespace

// A thread that forks holds all the locks.
class AllocTable::Guard {
public:
    explicit Guard(Shard& shard) : mutex_(platform::holdsHeapLocks() ? nullptr : &shard.mutex) {
        if (mutex_ != nullptr) mutex_->lock();
    }
    ~Guard() {
        if (mutex_ != nullptr) mutex_->unlock();
    }
    Guard(Guard const&) = delete;
    Guard& operator=(Guard const&) = delete;

private:
    std::mutex* mutex_;
};

AllocRecord* AllocTable::Shard::takeFree() {
    if (free != nullptr) {
        AllocRecord* const record = free;
        free = record->next;
        __builtin_prefetch(free, 1);
        return record;
    }
    if (fresh == chunks.size() * CHUNK) {
        auto* const chunk = static_cast<AllocRecord*>(platform::mapPages(CHUNK * sizeof *free));
        if (chunk == nullptr) return nullptr;
        try {
            chunks.push_back(chunk);
        } catch (std::bad_alloc const&) {
            platform::unmapPages(chunk, CHUNK * sizeof *free);
            return nullptr;
        }
    }
    AllocRecord* const record = chunks[fresh / CHUNK] + fresh % CHUNK;
    ++fresh;
    return record;
}

void AllocTable::Shard::reset() {
    for (AllocRecord* const chunk : chunks) platform::dropPages(chunk, CHUNK * sizeof *free);
    free = nullptr;
    std::fill(std::begin(used), std::end(used), 0);
    fresh = inserts = collisions = freed = 0;
}

AllocRecord* AllocTable::insert(unsigned long requestId, unsigned long size, void const* code,
                                void const* frame) {
    Shard& shard = shardOf(requestId);
    Guard const guard(shard);
    if (!shard.open) return nullptr;
    AllocRecord* const record = shard.takeFree();
    ++shard.inserts;
    if (shard.used[bucketOf(requestId) / SHARDS] != 0) ++shard.collisions;
    if (record == nullptr) return nullptr;  // counted, but lost
    if (shard.used[bucketOf(requestId) / SHARDS]++ != 0) countUp(chained_, maxChained_);
    countUp(used_, maxUsed_);
    record->requestId = requestId;
    record->size = size;
    record->removed = 0;
    record->next = nullptr;
    record->order = order_.fetch_add(1, std::memory_order_relaxed);
    takeSnapshot(*record, code, frame);
    return record;
}

bool AllocTable::remove(AllocRecord* record, unsigned long requestId) {
    Shard& shard = shardOf(requestId);
    Guard const guard(shard);
    if (!shard.open || record->requestId != requestId) return false;
    ++shard.freed;
    used_.fetch_sub(1, std::memory_order_relaxed);
    if (--shard.used[bucketOf(requestId) / SHARDS] != 0)
        chained_.fetch_sub(1, std::memory_order_relaxed);
    record->requestId = 0;
    record->next = shard.free;
    shard.free = record;
    return true;
}

void AllocTable::open() {
    used_ = maxUsed_ = chained_ = maxChained_ = 0;
    for (Shard& shard : shards_) {
        Guard const guard(shard);
        shard.reset();
        shard.open = true;
    }
}

void AllocTable::close() {
    for (Shard& shard : shards_) {
        Guard const guard(shard);
        shard.open = false;
    }
}

void AllocTable::drop() {
    for (Shard& shard : shards_) {
        Guard const guard(shard);
        shard.reset();
    }
}

std::vector<AllocRecord const*> AllocTable::all() const {
    std::vector<AllocRecord const*> live;
    for (Shard const& shard : shards_)
        for (unsigned long i = 0; i < shard.fresh; ++i) {
            AllocRecord const& record = shard.chunks[i / CHUNK][i % CHUNK];
            if (record.requestId != 0) live.push_back(&record);
        }
    std::sort(live.begin(), live.end(), [](AllocRecord const* a, AllocRecord const* b) {
        unsigned long const left = bucketOf(a->requestId);
        unsigned long const right = bucketOf(b->requestId);
        return left != right ? left < right : a->order < b->order;
    });
    return live;
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
    sum.chained = chained_;
    sum.maxChained = maxChained_;
    return sum;
}

void AllocTable::lock() {
    for (Shard& shard : shards_) shard.mutex.lock();
}
void AllocTable::unlock() {
    for (Shard& shard : shards_) shard.mutex.unlock();
}

}  // namespace zan
