#pragma once

#include <string>

#include "zan/platform/heap_watch.h"
#include "zan/platform/saved_frame.h"

namespace zan::platform {

// The heap of the process, where libzanmlc.so is loaded: each block that is allocated while a hook
// is installed has a number, and the hook hears of each operation.

enum class AllocOperation { Allocate = 1, Reallocate = 2, Free = 3 };
// Crt is what the loader of modules needs for itself, Ignore what was allocated inside an
// UncheckedBlocks.
enum class BlockType { Free, Normal, Crt, Ignore, Client };

struct AllocCall {
    AllocOperation operation;
    // The block as it is now, or was: a hook hears of what has happened.
    void* pointer;
    unsigned long size;
    BlockType type;
    // The number of the allocation. Of a release and of the old block of a re-allocation the hook
    // has it in its record.
    unsigned long request;
    char const* file;  // null: no allocator here is told
    int line;
    // What the hook keeps with a block: it sets it for a new one, and finds that of the block that
    // is freed or re-allocated; 0 for none, as of a block from before the hook.
    BlockRecord record;
    SavedFrame const* frame;
};

// Runs in the thread that allocates, and may allocate itself.
using AllocHook = void (*)(AllocCall& call);

// Returns the hook that was in place, null for none. In other threads that one may still run for a
// moment. `error` says why nothing will be heard, where that is so.
AllocHook setAllocHook(AllocHook hook, std::string& error);
AllocHook allocHook();

// What the calling thread allocates during its life is no matter of the hook: what lives as long as
// the process by design, and the hook's own. Costs a counter of the thread's.
void beginUnchecked();
void endUnchecked();
bool isUnchecked();
class UncheckedBlocks {
public:
    UncheckedBlocks() { beginUnchecked(); }
    ~UncheckedBlocks() { endUnchecked(); }
    UncheckedBlocks(UncheckedBlocks const&) = delete;
    UncheckedBlocks& operator=(UncheckedBlocks const&) = delete;
};

// In the copy of a process that has lost its threads, and with them who holds the locks.
void forgetAllocHook();

// Takes part in a fork: the locks of the hook are held throughout, and this thread does not have to
// take them.
bool holdsHeapLocks();
void aroundHeapFork(void (*lockAll)(), void (*unlockAll)());

}  // namespace zan::platform
