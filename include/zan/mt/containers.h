#pragma once

#include <functional>
#include <map>
#include <set>

#include "zan/log/log_dumper.h"
#include "zan/mt/mutex.h"

// Standard containers with a Mutex of their own. Each operation takes the lock by itself; a caller
// that needs several steps as one takes mutex() and works on container().

namespace zan::mt {

// Threads: any. A reference from operator[] stays valid until the key is erased, but is used
// without the lock: each thread keeps to its own entries.
template <class K, class V>
class map : noncopyable {
public:
    V& operator[](K const& key) {
        MutexLock const guard(mutex_);
        return map_[key];
    }
    void erase(K const& key) {
        MutexLock const guard(mutex_);
        map_.erase(key);
    }
    // Puts a copy of the value into `value`; false, with `value` untouched, where there is none.
    bool find(K const& key, V& value) const {
        MutexLock const guard(mutex_);
        auto const it = map_.find(key);
        if (it == map_.end()) return false;
        value = it->second;
        return true;
    }
    std::map<K, V> copy() const {
        MutexLock const guard(mutex_);
        return map_;
    }
    // The values are destroyed outside the lock.
    void clear() {
        std::map<K, V> old;
        MutexLock guard(mutex_);
        old.swap(map_);
        guard.unlock();
    }
    unsigned long size() const {
        MutexLock const guard(mutex_);
        return map_.size();
    }

    Mutex& mutex() const { return mutex_; }
    // REQUIRES: mutex() is held.
    std::map<K, V>& container() { return map_; }
    std::map<K, V> const& container() const { return map_; }

    dumper& dump(dumper& d) const {
        MutexLock const guard(mutex_);
        dumper::_Entry const entry(d, "zan::mt::map");
        d << indent << map_ << endline;
        return d;
    }

private:
    mutable Mutex mutex_;
    std::map<K, V> map_;
};

// `Less` is for keys that have an order of their own which is not meant here. Threads: any.
template <class K, class Less = std::less<K>>
class set : noncopyable {
public:
    // False where the key was there already.
    bool insert(K const& key) {
        MutexLock const guard(mutex_);
        return set_.insert(key).second;
    }
    void erase(K const& key) {
        MutexLock const guard(mutex_);
        set_.erase(key);
    }
    unsigned long size() const {
        MutexLock const guard(mutex_);
        return set_.size();
    }
    void clear() {
        std::set<K, Less> old;
        MutexLock guard(mutex_);
        old.swap(set_);
        guard.unlock();
    }
    std::set<K, Less> copy() const {
        MutexLock const guard(mutex_);
        return set_;
    }

    Mutex& mutex() const { return mutex_; }
    std::set<K, Less>& container() { return set_; }
    std::set<K, Less> const& container() const { return set_; }

    dumper& dump(dumper& d) const {
        MutexLock const guard(mutex_);
        dumper::_Entry const entry(d, "zan::mt::set");
        d << indent << set_ << endline;
        return d;
    }

private:
    mutable Mutex mutex_;
    std::set<K, Less> set_;
};

}  // namespace zan::mt
