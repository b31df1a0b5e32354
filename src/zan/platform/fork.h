#pragma once

namespace zan::platform {

// Calls `prepare` ahead of each fork of the process, in the thread that forks, and `done` behind
// it, in the parent and in the child. For locks that a child must not inherit from a thread that it
// does not have: `prepare` takes them, `done` lets them go. There is no way to undo it.
//
// Threads: any. Returns 0, or the errno value where no memory is left.
int aroundFork(void (*prepare)(), void (*done)());

}  // namespace zan::platform
