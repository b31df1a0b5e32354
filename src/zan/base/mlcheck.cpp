#include "zan/base/mlcheck.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <ostream>
#include <sstream>
#include <utility>

#include "zan/base/call_stack.h"
#include "zan/base/source_place.h"
#include "zan/log/console.h"
#include "zan/log/log_dumper.h"
#include "zan/log/log_factory.h"
#include "zan/mt/mutex.h"
#include "zan/platform/debug_heap.h"
#include "zan/platform/fork.h"

namespace zan {

namespace {

// A Current without what makes it heavy to copy.
struct Place {
    char const* file;
    char const* func;
    unsigned int line;

    Current current() const { return Current(file, line, func); }
};

unsigned long mixed(void const* p) {
    // Upper bits of the product: those of an address that tell two objects apart are in the middle.
    return reinterpret_cast<std::uintptr_t>(p) * 0x9E3779B97F4A7C15ul;
}

// A part of the book: an open hash table with linear probing, and its lock. Taking an entry out
// moves back those behind it that it kept from their place, so a table never fills with the dead.
class alignas(64) Shard {
public:
    // Also for std::lock_guard, and for a fork.
    void lock() { mutex_.lock(); }
    void unlock() { mutex_.unlock(); }

    // REQUIRES for all: locked.

    // Nothing happens where there is no memory for it.
    void put(void* p, Place const& place) {
        if (used_ * 4 >= size_ * 3 && !grow()) return;
        Slot& slot = slots_[find(p)];
        if (slot.p == nullptr) ++used_;
        slot = Slot{p, place};
    }
    bool take(void* p, Place& place) {
        if (used_ == 0) return false;
        unsigned long hole = find(p);
        if (slots_[hole].p == nullptr) return false;
        place = slots_[hole].place;
        --used_;
        unsigned long const mask = size_ - 1;
        for (unsigned long i = (hole + 1) & mask; slots_[i].p != nullptr; i = (i + 1) & mask) {
            // The entry may move if its own place is not between the hole and where it stands.
            if (((i - home(slots_[i].p)) & mask) < ((i - hole) & mask)) continue;
            slots_[hole] = slots_[i];
            hole = i;
        }
        slots_[hole].p = nullptr;
        return true;
    }
    template <class F>
    void each(F f) const {
        for (unsigned long i = 0; i < size_; ++i)
            if (slots_[i].p != nullptr) f(slots_[i].place);
    }
    void clear() {
        delete[] slots_;
        slots_ = nullptr;
        size_ = used_ = 0;
    }

private:
    struct Slot {
        void* p;  // null where the slot is free
        Place place;
    };

    // The uppermost six bits have chosen the shard.
    unsigned long home(void const* p) const { return (mixed(p) >> 20) & (size_ - 1); }
    unsigned long find(void const* p) const {
        unsigned long i = home(p);
        while (slots_[i].p != nullptr && slots_[i].p != p) i = (i + 1) & (size_ - 1);
        return i;
    }
    bool grow() {
        unsigned long const size = size_ == 0 ? 16 : size_ * 2;
        Slot* const slots = new (std::nothrow) Slot[size]();
        if (slots == nullptr) return false;
        Slot* const old = std::exchange(slots_, slots);
        unsigned long const oldSize = std::exchange(size_, size);
        for (unsigned long i = 0; i < oldSize; ++i)
            if (old[i].p != nullptr) slots_[find(old[i].p)] = old[i];
        delete[] old;
        return true;
    }

    std::mutex mutex_;
    Slot* slots_ = nullptr;
    unsigned long size_ = 0;  // a power of two
    unsigned long used_ = 0;
};

// Constant-initialised and never destroyed: objects are tracked from the first to the last moment
// of the process.
constexpr unsigned SHARD_BITS = 6;
union Shards {
    constexpr Shards() : all() {}
    ~Shards() {}
    Shard all[1u << SHARD_BITS];
} entries;

Shard& shardOf(void const* p) {
    return entries.all[mixed(p) >> (64 - SHARD_BITS)];
}

void lockAll() {
    for (Shard& shard : entries.all) shard.lock();
}
void unlockAll() {
    for (Shard& shard : entries.all) shard.unlock();
}

// The console allocates tracked objects itself. What it enters while it prints for the book is not
// printed in its turn.
thread_local bool printing = false;

template <class... Parts>
void printLine(Parts const&... parts) noexcept {
    if (printing) return;
    printing = true;
    try {
        std::ostringstream line;
        (line << ... << parts) << '\n';
        console::print(String(line.str()));
    } catch (std::exception const&) {
        // A line that cannot be shown is no reason to lose the object that it is about.
    }
    printing = false;
}

bool wanted() {
    static String const category("MLC");
    return logger_factory::instance(LOGGER_ID).appLogOn(category);
}

}  // namespace

UncheckedBlocks::UncheckedBlocks() {
    platform::beginUnchecked();
}
UncheckedBlocks::~UncheckedBlocks() {
    platform::endUnchecked();
}

MemLeakChecker MemLeakChecker::book_;
MemLeakChecker* MemLeakChecker::pointer_ = nullptr;
std::atomic<bool> MemLeakChecker::running_{false};

MemLeakChecker*& MemLeakChecker::instance() {
    if (__atomic_load_n(&pointer_, __ATOMIC_ACQUIRE) == nullptr) {
        MutexLock const guard(mtxInstance());
        if (pointer_ == nullptr) __atomic_store_n(&pointer_, &book_, __ATOMIC_RELEASE);
    }
    return pointer_;
}

Mutex& MemLeakChecker::mtxInstance() {
    static Mutex& mutex = detail::lifelong([] { return new Mutex; });  // never destroyed
    return mutex;
}

void MemLeakChecker::destroy() {
    MutexLock const guard(mtxInstance());
    if (pointer_ != nullptr) pointer_->end();
}

// REQUIRES: mtxInstance() is locked.
void MemLeakChecker::end() {
    running_ = false;
    echo_ = false;
    for (Shard& shard : entries.all) {
        std::lock_guard<Shard> const lock(shard);
        shard.clear();
    }
    __atomic_store_n(&pointer_, static_cast<MemLeakChecker*>(nullptr), __ATOMIC_RELEASE);
}

void MemLeakChecker::push(void* p, char const* file, unsigned int line, char const* func) noexcept {
    if (!running() || platform::isUnchecked()) return;
    Place const place = {file, func, line};
    if (echo_.load(std::memory_order_relaxed)) printLine("+++ ", p, " ", place.current());
    Shard& shard = shardOf(p);
    std::lock_guard<Shard> const lock(shard);
    // Again, since the book may just have ended: the next one begins empty.
    if (running()) shard.put(p, place);
}

bool MemLeakChecker::pop(void* p, char const* file, unsigned int line, char const* func) noexcept {
    if (p == nullptr) return false;
    if (!running()) return true;
    Place known = {};
    bool found = false;
    {
        Shard& shard = shardOf(p);
        std::lock_guard<Shard> const lock(shard);
        if (!running()) return true;
        found = shard.take(p, known);
    }
    // Without the lock: the console has objects in the book too.
    bool const echo = echo_.load(std::memory_order_relaxed);
    if (found && !echo) return true;
    Current const here(file, line, func);
    if (found) {
        printLine("--- ", p, " ", known.current(), " (", here, ")");
        return true;
    }
    if (platform::isUnchecked()) return true;
    if (echo) printLine("--- ", p, " (", here, ")");
    printLine("[NOTICE] not found pointer ", here);
    return false;
}

std::ostream& MemLeakChecker::dump(std::ostream& os) const {
    dumper d(os);
    dump(d);
    return os;
}

dumper& MemLeakChecker::dump(dumper& d) const {
    dumper::_Entry const entry(d, "zan::MemLeakChecker");
    std::map<Current, unsigned long> sorting;
    {
        MutexLock const guard(mtxInstance());
        for (Shard& shard : entries.all) {
            std::lock_guard<Shard> const lock(shard);
            shard.each([&](Place const& place) { ++sorting[place.current()]; });
        }
    }
    if (sorting.empty()) return d << rawstring("\n\tCongratulations! No memory leaked.");
    std::multimap<unsigned long, Current> sorted;
    for (auto const& [place, count] : sorting) sorted.emplace(count, place);
    d << indent << namestring("sorted") << sorted << endline;
    d << indent << namestring("sorting") << sorting << endline;
    return d;
}

void MemLeakChecker::start() {
    static int const noLocksAcrossForks = platform::aroundFork(&lockAll, &unlockAll);
    static_cast<void>(noLocksAcrossForks);  // without it only a child of a busy process suffers
    running_ = true;
}

void MemLeakChecker::stop() {
    running_ = false;
    logger& log = logger_factory::instance(LOGGER_ID);
    if (log.infoOn()) {
        std::ostringstream text;
        dump(text);
        writeInfoLog(log, __FILE__, __LINE__, "zan::MemLeakChecker::stop", text.str().c_str(),
                     "INFO");
    }
    destroy();
}

MemLeakChecker::Helper::Helper() {
    if (wanted()) instance()->start();
}

MemLeakChecker::Helper::~Helper() {
    try {
        if (wanted()) instance()->stop();
    } catch (std::exception const& e) {
        std_err() << "zan: no report of the tracked objects: " << e.what() << std::endl;
        destroy();
    }
}

MemLeakChecker::DumpEntry::DumpEntry() {
    instance()->dumpOn();
}

MemLeakChecker::DumpEntry::~DumpEntry() {
    instance()->dumpOff();
}

}  // namespace zan
