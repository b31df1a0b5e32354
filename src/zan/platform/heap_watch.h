#pragma once

#include <cstdint>

#include "zan/platform/saved_frame.h"

namespace zan::platform {

// What is kept with a block, 0 for nothing.
using BlockRecord = std::uint32_t;

// What the library libzanmlc.so tells of the malloc family and the operators new and delete. It
// passes each call on to the allocator of the process, and while nobody watches that is all it
// does. A watcher runs in the thread that allocates; it may allocate itself, and hears of that too.
struct HeapWatch {
    // A block between `moving` and what comes of it.
    struct Moved {
        BlockRecord record;
        unsigned long session;
    };

    // Has been allocated.
    void (*allocated)(void* p, unsigned long size, SavedFrame const* frame);
    // Is about to be freed or re-allocated, and is not null: from now on the address may become
    // that of another block.
    Moved (*moving)(void* p);
    // Behind it: the block is freed.
    void (*freed)(Moved const& block, void* p, SavedFrame const* frame);
    // Or it is another one; null where that has failed, and the block is still what it was.
    void (*moved)(Moved const& block, void* old, void* now, unsigned long size,
                  SavedFrame const* frame);
};

}  // namespace zan::platform

// Exported by libzanmlc.so. Null ends the watch; other threads may still be in a call of it then.
// The number is that of this interface: both libraries are of one version or don't meet.
extern "C" void zanmlc_watch_1(zan::platform::HeapWatch const* watch);
// It exports its malloc as zanmlc_malloc_1, too, to find out whether that is the one that the
// process uses.
