#pragma once

#include <typeinfo>

#include "zan/base/export.h"
#include "zan/base/mlcheck.h"
#include "zan/mt/mutex.h"

namespace zan {

namespace detail {
// "zan::CreateByAllocate<class T>::destroy" for the demangled name of `T`; lives for the process.
ZAN_EXPORT char const* destroyName(char const* mangled);
}  // namespace detail

// The creation policy of all singletons: a plain new, entered in the book of tracked objects.
template <class T>
struct CreateByAllocate {
    static T* create(char const* file, unsigned int line, char const* func) {
        return trackNew(new T, file, line, func);
    }
    // Null is ignored.
    static void destroy(T*& p) {
        if (p == nullptr) return;
        T* const dying = p;
        __atomic_store_n(&p, nullptr, __ATOMIC_RELEASE);
        trackDelete(dying, "util/singleton_t.h", __LINE__, detail::destroyName(typeid(T).name()));
    }
};

// Holder of one lazily built object of type `T`.
//
// Threads: instance() may be called by any thread, and builds once. destroy() belongs to the end of
//   the program, when no other thread uses the object. The lock lives as long as the process, so
//   both work in any order of process exit.
// Cost: an acquire load once the object exists.
template <class T, class Policy = CreateByAllocate<T>>
class Singleton {
public:
    static T*& instance(char const* file, unsigned int line, char const* func) {
        if (__atomic_load_n(&pointer_, __ATOMIC_ACQUIRE) == nullptr) {
            MutexLock const guard(mutex());
            if (pointer_ == nullptr)
                __atomic_store_n(&pointer_, Policy::create(file, line, func), __ATOMIC_RELEASE);
        }
        return pointer_;
    }
    // The object, or null where there is none at present. Builds nothing.
    static T* peek() { return __atomic_load_n(&pointer_, __ATOMIC_ACQUIRE); }
    // A later instance() builds the object anew.
    static void destroy() {
        MutexLock const guard(mutex());
        Policy::destroy(pointer_);
    }

private:
    static Mutex& mutex() {
        static Mutex& holder = detail::lifelong([] { return new Mutex; });  // never destroyed
        return holder;
    }

    static inline T* pointer_ = nullptr;
};

}  // namespace zan
