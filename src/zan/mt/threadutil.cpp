#include "zan/mt/threadutil.h"

#include "zan/log/log_logger.h"

namespace zan {

namespace {

Time const STOP_TIMEOUT = Time::seconds(10);

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
    closing_ = true;
    auto const threads = threads_.copy();
    if (!threads.empty()) {
        char const* const func = "zan::AsyncThreadManager::close";
        String text(name_);
        text << " " << threads.size() << " threads still living, try stop them...";
        writeInfoLog(detail::zanLogger(), __FILE__, __LINE__, func, text.c_str(), "NOTICE");
        unsigned long count = 0;
        for (Handle<SimpleThread> const& thread : threads)
            if (thread.get() == nullptr || thread->stop(STOP_TIMEOUT)) ++count;
        if (count < threads.size()) {
            text = name_;
            text << " " << count << " threads stopped, " << threads.size() - count << " remaning";
            writeInfoLog(detail::zanLogger(), __FILE__, __LINE__, func, text.c_str(), "NOTICE");
        }
    }
    threads_.clear();
}

void AsyncThreadManager::put(Handle<SimpleThread> thread) {
    if (closing_) {
        String text("closing ");
        text << name_ << " thread manager, not put new thread into it";
        writeErrorLog(detail::zanLogger(), __FILE__, __LINE__, "zan::AsyncThreadManager::put",
                      text.c_str(), "<WARNING>");
        return;
    }
    if (thread.get() != nullptr && thread->owner() == nullptr) thread->owner(this);
    threads_.insert(thread);
}

void AsyncThreadManager::onThreadExit(Thread* thread) {
    // Lives until the end of the function, so the object goes outside the set's lock.
    Handle<SimpleThread> const ended(dynamic_cast<SimpleThread*>(thread));
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
