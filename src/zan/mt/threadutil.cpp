#include "zan/mt/threadutil.h"

#include <algorithm>
#include <set>

#include "zan/log/log_logger.h"
#include "zan/mt/thread_stop.h"

namespace zan {

Time detail::asyncStopTimeout = Time::seconds(10);

namespace {

// Stops one thread after the other, and counts those that have ended.
struct StopThread {
    Time timeout;
    unsigned long count = 0;

    void operator()(Handle<SimpleThread> const& thread) {
        if (thread.get() == nullptr) {
            ++count;
        } else if (timeout != Time()) {
            if (thread->stop(timeout)) ++count;
        } else {
            thread->stop();
            ++count;
        }
    }
};

}  // namespace

// Found by the dump of the set.
static dumper& operator<<(dumper& d, Handle<SimpleThread> const& thread) {
    return thread.get() != nullptr ? thread->dump(d) : d << rawstring("null");
}

AsyncThreadManager::AsyncThreadManager(istr const& name) : name_(name) {}

AsyncThreadManager::~AsyncThreadManager() {
    close();
}

void AsyncThreadManager::open() {
    closing_ = false;
}

void AsyncThreadManager::close() {
    std::set<Handle<SimpleThread>, ByAddress> threads;
    {
        // A put() under way is in the copy, or refused.
        MutexLock const guard(threads_.mutex());
        closing_ = true;
        threads = threads_.container();
    }
    if (!threads.empty()) {
        char const* const func = "zan::AsyncThreadManager::close";
        String text(name_);
        text << " " << threads.size() << " threads still living, try stop them...";
        writeInfoLog(detail::zanLogger(), __FILE__, __LINE__, func, text.c_str(), "NOTICE");
        StopThread const stopped =
            std::for_each(threads.begin(), threads.end(), StopThread{detail::asyncStopTimeout});
        if (stopped.count < threads.size()) {
            text = name_;
            text << " " << stopped.count << " threads stopped, " << threads.size() - stopped.count
                 << " remaning";
            writeInfoLog(detail::zanLogger(), __FILE__, __LINE__, func, text.c_str(), "NOTICE");
        }
    }
    threads_.clear();
}

void AsyncThreadManager::put(Handle<SimpleThread> thread) {
    {
        MutexLock const guard(threads_.mutex());
        if (!closing_) {
            if (thread.get() != nullptr && thread->owner() == nullptr) thread->owner(this);
            threads_.container().insert(thread);
            return;
        }
    }
    String text("closing ");
    text << name_ << " thread manager, not put new thread into it";
    writeErrorLog(detail::zanLogger(), __FILE__, __LINE__, "zan::AsyncThreadManager::put",
                  text.c_str(), "<WARNING>");
}

void AsyncThreadManager::onThreadExit(Thread* thread) {
    auto* const simple = dynamic_cast<SimpleThread*>(thread);
    if (simple == nullptr) return;
    // Lives until the end of the function, so the object goes outside the set's lock.
    Handle<SimpleThread> const ended(simple);
    threads_.erase(ended);
}

dumper& AsyncThreadManager::dump(dumper& d) const {
    dumper::_Entry const entry(d, "zan::AsyncThreadManager");
    d << indent << namestring("name_") << name_ << endline;
    d << indent << namestring("threads_") << threads_ << endline;
    d << indent << namestring("closing_") << closing_.load() << endline;
    return d;
}

}  // namespace zan
