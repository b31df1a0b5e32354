#pragma once

#include <map>

#include "zan/mt/thread.h"

namespace zan {

// What a thread keeps about itself. It belongs to its thread, is found through a pointer of the
// thread's own, and goes with the thread; the factory only lists it.
struct ThreadRecord {
    ThreadInfo info;
    ThreadId id;
    unsigned int pid = 0;
    unsigned int listedIn = 0;         // generation of the factory
    std::atomic<__int64> lastLine{0};  // microseconds; what other threads may read of the time

    // The calling thread's own; made at first use.
    static ThreadRecord& current();
    // Renders how the thread shows in lines, where that is missing or from before a fork.
    void name();
};

// The table of the threads that have logged.
class ThreadFactory {
public:
    static ThreadFactory& instance();
    static void destroy();

    // The calling thread, listed, with its time stamp refreshed.
    static ThreadInfo const& current();
    // The calling thread is run by `thread` from here on; null ends that.
    static void bind(SimpleThread* thread);

    void list(ThreadRecord& record);
    void unlist(ThreadRecord& record);
    dumper& dump(dumper& d) const;

private:
    mutable Mutex mutex_;
    std::map<ThreadId, ThreadRecord*> records_;
};

// "<pid.tid>", or "{pid.tid}" for a thread that a SimpleThread runs.
String threadText(unsigned int pid, ThreadId id, bool simple);

}  // namespace zan
