#pragma once

#include <atomic>

#include "zan/base/export.h"

namespace zan {

// Root of reference-counted objects, which are held through Handle. Derive virtually where a class
// may meet Shared on two paths.
//
// Ownership: an object starts at count 0 and is deleted when the count comes back to 0; one that
//   never gets a handle is never deleted by this class.
// Threads: the count is atomic and takes no lock. What the object does with its other fields is its
//   own affair.
class ZAN_EXPORT Shared {
public:
    Shared() = default;
    // A copy starts with a count of its own; assigning changes nothing here.
    Shared(Shared const&) noexcept {}
    Shared& operator=(Shared const&) noexcept { return *this; }
    virtual ~Shared();

    void __AddRef() { count_.fetch_add(1, std::memory_order_relaxed); }
    void __SubRef() {
        if (count_.fetch_sub(1, std::memory_order_acq_rel) == 1) __lastRefGone();
    }
    long __GetRef() const { return count_.load(std::memory_order_acquire); }
    // While set, the count alone never deletes the object: for objects that are not on the heap.
    void __setNoDelete(bool on) { noDelete_ = on; }

private:
    void __lastRefGone();

    std::atomic<long> count_{0};
    bool noDelete_ = false;
};

}  // namespace zan
