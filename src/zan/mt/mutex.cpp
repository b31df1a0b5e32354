#include "zan/mt/mutex.h"
#include "zan/base/mlcheck.h"

#include <ace/Condition_Attributes.h>
#include <ace/Monotonic_Time_Policy.h>
#include <ace/OS_NS_Thread.h>
#include <ace/Time_Value.h>

namespace zan {

namespace {

// The attributes of a mutex that its holder may lock again.
struct RecursiveAttributes {
    RecursiveAttributes() {
        pthread_mutexattr_init(&value);
        pthread_mutexattr_settype(&value, PTHREAD_MUTEX_RECURSIVE);
    }
    ~RecursiveAttributes() { pthread_mutexattr_destroy(&value); }
    RecursiveAttributes(RecursiveAttributes const&) = delete;
    RecursiveAttributes& operator=(RecursiveAttributes const&) = delete;
    ACE_mutexattr_t value;
};

ACE_mutexattr_t* recursive() {
    static RecursiveAttributes& attributes =
        detail::lifelong([] { return new RecursiveAttributes; });
    return &attributes.value;
}

}  // namespace

Mutex::Mutex() : mutex_(nullptr, recursive()) {}

Monitor::Monitor()
    : condition_(mutex_.impl(), ACE_Condition_Attributes_T<ACE_Monotonic_Time_Policy>()) {}

void Monitor::lock() const {
    mutex_.lock();
    if (mutex_.willUnlock()) nnotify_ = 0;
}

void Monitor::unlock() const {
    if (mutex_.willUnlock()) sendNotifications();
    mutex_.unlock();
}

void Monitor::sendNotifications() const {
    if (nnotify_ == -1) {
        condition_.broadcast();
        return;
    }
    for (long i = 0; i < nnotify_; ++i) condition_.signal();
}

void Monitor::wait() const {
    sendNotifications();
    try {
        condition_.wait();
    } catch (...) {
        nnotify_ = 0;
        throw;
    }
    nnotify_ = 0;
}

bool Monitor::timedWait(Time const& t) const {
    sendNotifications();
    // A deadline that does not fit the clock means no end.
    Time const now = Time::now(Time::Monotonic);
    Time const deadline = t > Time::forever() - now ? Time::forever() : now + t;
    ACE_Time_Value const absolute(static_cast<time_t>(deadline.toSeconds()),
                                  static_cast<suseconds_t>(deadline.toMicroSeconds() % 1000000));
    int result = 0;
    try {
        result = condition_.wait(&absolute);
    } catch (...) {
        nnotify_ = 0;
        throw;
    }
    nnotify_ = 0;
    return result != -1;
}

void Monitor::notify() const {
    if (nnotify_ != -1) ++nnotify_;
}

void Monitor::notifyAll() const {
    nnotify_ = -1;
}

}  // namespace zan
