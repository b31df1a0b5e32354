#pragma once

#include <ace/Condition_Thread_Mutex.h>
#include <ace/Thread_Mutex.h>

#include "zan/base/base_type_time.h"
#include "zan/base/export.h"

namespace zan {

// Base of classes whose objects stay where they are.
class noncopyable {
public:
    noncopyable(noncopyable const&) = delete;
    noncopyable& operator=(noncopyable const&) = delete;

protected:
    noncopyable() = default;
    ~noncopyable() = default;
};

// A mutex that the holding thread may lock again; lock and unlock pair up.
//
// Threads: any; const objects can be locked. Errors: failures of the system's calls are not looked
// at. Cost: that of std::recursive_mutex.
class ZAN_EXPORT Mutex : noncopyable {
public:
    Mutex();
    ~Mutex() = default;

    // Straight to the mutex inside: by way of ACE's library a pair costs half as much again.
    void lock() const { pthread_mutex_lock(&mutex_.lock()); }
    // True when the lock was obtained.
    bool tryLock() const { return pthread_mutex_trylock(&mutex_.lock()) == 0; }
    void unlock() const { pthread_mutex_unlock(&mutex_.lock()); }
    bool willUnlock() const { return true; }
    ACE_Thread_Mutex& impl() const { return mutex_; }

private:
    mutable ACE_Thread_Mutex mutex_;
};

// Scoped guard of a Mutex, or of anything with lock() and unlock().
template <class Lockable>
class LockGuard : noncopyable {
public:
    explicit LockGuard(Lockable& lockable) : lockable_(lockable) { lockable_.lock(); }
    ~LockGuard() { unlock(); }
    // Releases ahead of the end of the scope.
    void unlock() {
        if (!locked_) return;
        locked_ = false;
        lockable_.unlock();
    }

private:
    Lockable& lockable_;
    bool locked_ = true;
};

using MutexLock = LockGuard<Mutex const>;

// A mutex with a condition, and notifications that go out when the lock is released, so that a
// woken thread does not at once run into the lock of its notifier.
//
// A notification given before the waiter has locked is lost: the waiter tests its condition under
// the lock. wait(), timedWait(), notify() and notifyAll() REQUIRE the lock, held once.
//
// Threads: any.
class ZAN_EXPORT Monitor : noncopyable {
public:
    Monitor();
    ~Monitor() = default;

    void lock() const;
    // Sends the notifications due, then unlocks.
    void unlock() const;
    void wait() const;
    // True when woken, false when the time ran out. The deadline is on the monotonic clock: setting
    // the date neither cuts a wait short nor draws it out.
    bool timedWait(Time const& t) const;
    void notify() const;
    void notifyAll() const;

private:
    void sendNotifications() const;

    Mutex mutex_;
    mutable ACE_Condition<ACE_Thread_Mutex> condition_;
    mutable long nnotify_ = 0;  // -1: everybody
};

using MonitorLock = LockGuard<Monitor const>;

}  // namespace zan
