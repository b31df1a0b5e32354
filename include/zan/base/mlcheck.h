#pragma once

#include <atomic>
#include <cstddef>
#include <iosfwd>
#include <new>
#include <type_traits>

#include "zan/base/export.h"

// Tracked allocation: every long-lived object of the library is made and freed through two steps
// that know the place of the statement, and an application may use them for its own objects. While
// the book of tracked objects runs, it holds each of them from the one step to the other, and so
// can name at the end what was never freed, by place and count.
//
//     auto* p = ZAN_NEW(Connection(peer));
//     ZAN_DELETE(p);
//
// or, with a place of one's own:
//
//     auto* p = zan::trackNew(new (file, line, func) T(...), file, line, func);
//     zan::trackDelete(p, file, line, func);
//
// The memory is that of the ordinary operator new; `delete` and `delete[]` free it. The forms with
// a place that return memory to the heap exist for constructors that throw. All are inline: with
// the book stopped, a tracked object costs a test of its pointer and one of the book's flag.

[[nodiscard]] inline void* operator new(std::size_t size, char const*, unsigned int, char const*) {
    return ::operator new(size);
}
[[nodiscard]] inline void* operator new[](std::size_t size, char const*, unsigned int,
                                          char const*) {
    return ::operator new[](size);
}
inline void operator delete(void* p, char const*, unsigned int, char const*) noexcept {
    ::operator delete(p);
}
inline void operator delete[](void* p, char const*, unsigned int, char const*) noexcept {
    ::operator delete[](p);
}

// The run-time library here has no debug heap whose flags could be written back.
inline void _RegDebugNew() {}

namespace zan {

class dumper;
class Mutex;

// The book of tracked objects.
//
//     int main() {
//         zan::InitFini const library;
//         zan::MemLeakChecker::Helper const checked;
//         ...
//     }
//
// The book runs from a Helper's beginning to its end, and only where the logger "ZAN" has the
// category "MLC" on (`appLogs=["MLC"=true]` in the unit `log` of the configuration). Its end writes
// the report to that logger: places in rising order of their number of objects, or
// "Congratulations! No memory leaked.". A Helper stands inside the library's own life, as above:
// what the library makes earlier and frees later is then no matter of the book.
//
// A release of an object that is not in the book prints "[NOTICE] not found pointer" and the place
// on the console, and goes ahead all the same: it was released twice, made untracked, or made
// before the book began.
//
// Ownership: one book to a process; its memory is given back when it ends. The texts of a place are
//   not copied: they must outlive the report, as literals do. So a module with tracked objects of
//   its own is not to be unloaded while the book runs.
// Threads: any, also across a fork, whose child goes on with a copy of the book. What other threads
//   hold at the moment of the report counts as not freed.
// Errors: none. Where no memory is left for an entry, the book lacks it.
// Cost: see above for a stopped book; for a running one a lock, one of 64 by address, and a
//   step in a hash table at each end of an object's life. 43 to 85 bytes of memory to an object.
class ZAN_EXPORT MemLeakChecker {
public:
    // Brackets a checked run.
    class ZAN_EXPORT Helper {
    public:
        Helper();
        // Writes the report, without ever throwing.
        ~Helper();
        Helper(Helper const&) = delete;  // a run has one end
        Helper& operator=(Helper const&) = delete;
    };

    // Brackets a stretch in which each entry in the book and each removal also prints a line on the
    // console: "+++ " or "--- ", the pointer, and the place. They do not nest: the first that ends
    // turns the lines off.
    class ZAN_EXPORT DumpEntry {
    public:
        DumpEntry();
        ~DumpEntry();
        DumpEntry(DumpEntry const&) = delete;
        DumpEntry& operator=(DumpEntry const&) = delete;
    };

    // Makes a new, empty, stopped book where there is none. The reference turns null with the book,
    // so it is for the thread that begins and ends it; others use always().
    static MemLeakChecker*& instance();
    // The object behind it, book or no book.
    static MemLeakChecker& always() { return book_; }
    // Drops the book and what stands in it, without a report.
    static void destroy();
    // Guards the beginning and the end of the book.
    static Mutex& mtxInstance();
    static bool running() { return running_.load(std::memory_order_relaxed); }

    MemLeakChecker(MemLeakChecker const&) = delete;  // there is one
    MemLeakChecker& operator=(MemLeakChecker const&) = delete;

    // An entry of the same pointer is replaced. Does nothing in a stopped book.
    void push(void* p, char const* file, unsigned int line, char const* func) noexcept;
    // Whether the book accepts the release: false for null, and for a pointer that is not in a
    // running book; a stopped one accepts any other.
    bool pop(void* p, char const* file, unsigned int line, char const* func) noexcept;

    // The report.
    std::ostream& dump(std::ostream& os) const;
    dumper& dump(dumper& d) const;

private:
    constexpr MemLeakChecker() noexcept = default;

    void start();
    void stop();
    void dumpOn() { echo_.store(true, std::memory_order_relaxed); }
    void dumpOff() { echo_.store(false, std::memory_order_relaxed); }
    void end();

    // The one object, which never goes, and the pointer to it while there is a book.
    static MemLeakChecker book_;
    static MemLeakChecker* pointer_;
    static std::atomic<bool> running_;

    std::atomic<bool> echo_{false};
};

namespace detail {

// The address of the whole object, which is what it was allocated at, whichever base class the
// pointer is of.
template <class T>
void* wholeObject(T* p) {
    if constexpr (std::is_polymorphic_v<T>)
        return const_cast<void*>(dynamic_cast<void const volatile*>(p));
    else
        return const_cast<void*>(static_cast<void const volatile*>(p));
}

// Kept out of the code of those who allocate.
template <class T>
[[gnu::noinline]] void bookIn(T* p, char const* file, unsigned int line, char const* func) {
    if (p != nullptr) MemLeakChecker::always().push(wholeObject(p), file, line, func);
}
template <class T>
[[gnu::noinline]] void bookOut(T* p, char const* file, unsigned int line, char const* func) {
    if (p != nullptr) MemLeakChecker::always().pop(wholeObject(p), file, line, func);
}

}  // namespace detail

// Enters the object in the book of tracked objects; gives the pointer back. Null is legal.
template <class T>
T* trackNew(T* p, [[maybe_unused]] char const* file, [[maybe_unused]] unsigned int line,
            [[maybe_unused]] char const* func) {
#if defined(_ZAN_MEMLEAKCHECK_ON)
    if (__builtin_expect(MemLeakChecker::running(), 0)) detail::bookIn(p, file, line, func);
#endif
    return p;
}

// Takes the object out of the book, for an owner that frees it in another way. Null is legal.
template <class T>
void trackRelease([[maybe_unused]] T* p, [[maybe_unused]] char const* file,
                  [[maybe_unused]] unsigned int line, [[maybe_unused]] char const* func) {
#if defined(_ZAN_MEMLEAKCHECK_ON)
    if (__builtin_expect(MemLeakChecker::running(), 0)) detail::bookOut(p, file, line, func);
#endif
}

// Takes the object out of the book, then deletes it. Null is legal.
template <class T>
void trackDelete(T* p, char const* file, unsigned int line, char const* func) {
    if (p == nullptr) return;
    trackRelease(p, file, line, func);
    delete p;
}
template <class T>
void trackDeleteArray(T* p, char const* file, unsigned int line, char const* func) {
    if (p == nullptr) return;
    trackRelease(p, file, line, func);
    delete[] p;
}

}  // namespace zan

namespace zan {

// What a thread allocates while it holds one of these lives as long as the process by design:
// neither the book nor the checker of allocations (mlc/stackwalker.h) lists it. They nest.
//
// Threads: the one that makes it. Cost: a call each, and a counter.
class ZAN_EXPORT UncheckedBlocks {
public:
    UncheckedBlocks();
    ~UncheckedBlocks();
    UncheckedBlocks(UncheckedBlocks const&) = delete;  // a stretch has one end
    UncheckedBlocks& operator=(UncheckedBlocks const&) = delete;
};

namespace detail {

// Makes an object that is never destroyed.
template <class Make>
auto& lifelong(Make make) {
    UncheckedBlocks const unchecked;
    return *make();
}

}  // namespace detail
}  // namespace zan

// The usual spelling of the two steps, with the place of the statement:
//     auto* p = ZAN_NEW(Connection(peer));
#define ZAN_NEW(...)                                                                           \
    ::zan::trackNew(new (__FILE__, static_cast<unsigned int>(__LINE__), ZAN_FUNC) __VA_ARGS__, \
                    __FILE__, static_cast<unsigned int>(__LINE__), ZAN_FUNC)
#define ZAN_DELETE(p) \
    ::zan::trackDelete((p), __FILE__, static_cast<unsigned int>(__LINE__), ZAN_FUNC)
#define ZAN_DELETE_ARRAY(p) \
    ::zan::trackDeleteArray((p), __FILE__, static_cast<unsigned int>(__LINE__), ZAN_FUNC)
