#pragma once

#include <atomic>

// Everything about threads and locks in one include.
#include "zan/mt/containers.h"
#include "zan/mt/handle.h"
#include "zan/mt/mutex.h"
#include "zan/mt/shared.h"
#include "zan/mt/thread.h"
#include "zan/mt/threadexception.h"

namespace zan {

// Keeps the threads that an application starts and forgets: each stays referenced until it ends by
// itself, and what still runs at closing is stopped.
//
//     zan::Handle<Job> job(new Job(task));
//     jobs.put(job);
//     job->start();
//
// Ownership: holds a handle to each thread. It becomes the owner of threads that have none; one
//   that has another tells that one of its end, and stays here until close().
// Threads: any may call put(), size() and dump(). It must outlive its threads, or be closed.
class ZAN_EXPORT AsyncThreadManager : public ThreadOwner, noncopyable {
public:
    explicit AsyncThreadManager(istr const& name);
    // Closes.
    ~AsyncThreadManager() override;

    // Takes threads again after a close().
    void open();
    // Refuses new threads, and stops those that run, one after the other. One that has not ended
    // in 10 seconds is given up, with a line in the log.
    void close();
    // Does not start the thread, which may have been started or not. While closed, a warning, and
    // the thread is not taken.
    void put(Handle<SimpleThread> thread);
    void onThreadExit(Thread* thread) override;
    unsigned long size() const { return threads_.size(); }
    dumper& dump(dumper& d) const;

private:
    // By address: a thread has no order of its own before it is started.
    struct ByAddress {
        bool operator()(Handle<SimpleThread> const& a, Handle<SimpleThread> const& b) const {
            return std::less<SimpleThread*>()(a.get(), b.get());
        }
    };

    mt::set<Handle<SimpleThread>, ByAddress> threads_;
    String name_;
    std::atomic<bool> closing_{false};
};

}  // namespace zan
