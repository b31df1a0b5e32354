#pragma once

#include "zan/base/export.h"

namespace zan {

// The switch of the memory checker that watches from outside: init() enters and fini() leaves. It
// looks at the environment variable ZAN_MEM_LEAK_CHECK at the first entry and at the last leave,
// each time afresh, and works only where that is "on".
//
// Threads: that of init() and fini().
struct ZAN_EXPORT MLC_Entry {
    MLC_Entry() { enter(); }
    ~MLC_Entry() { leave(); }
    MLC_Entry(MLC_Entry const&) = delete;  // entries are counted
    MLC_Entry& operator=(MLC_Entry const&) = delete;

    static void enter();
    static void leave();
    static void startup();
    static void shutdown();
    // Only the reports of crashes, for a program that wants them without the variable.
    static void logExceptionOnly();
};

}  // namespace zan
