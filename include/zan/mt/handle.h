#pragma once

#include <typeinfo>

#include "zan/base/exception.h"
#include "zan/mt/shared.h"

namespace zan {

namespace detail {
// Reports the access through a null handle and throws NullHandleException, or aborts.
[[noreturn]] ZAN_EXPORT void nullHandle(char const* mangledType, unsigned int line);
}  // namespace detail

// A raw pointer with guarded access; the base of Handle.
template <class T>
class SmartPtrBase {
public:
    // Null is a NullHandleException, or the end of the process while nullHandleAbort is true.
    T* operator->() const {
        if (__builtin_expect(ptr_ == nullptr, 0)) detail::nullHandle(typeid(T).name(), __LINE__);
        return ptr_;
    }
    T& operator*() const { return *operator->(); }
    // Null is legal here.
    T* get() const { return ptr_; }
    bool operator!() const { return ptr_ == nullptr; }
    explicit operator bool() const { return ptr_ != nullptr; }

protected:
    explicit SmartPtrBase(T* p) : ptr_(p) {}
    ~SmartPtrBase() = default;

    T* ptr_;
};

// Reference-counting pointer to a `T` derived from Shared. May be null.
//
// Threads: two threads may each hold a handle to one object, but may not assign to the same handle
//   at once without a lock.
// Cost: an atomic increment for a copy, an atomic decrement for a drop; a move has neither.
template <class T>
class Handle : public SmartPtrBase<T> {
public:
    Handle(T* p = nullptr) : SmartPtrBase<T>(p) { add(); }
    Handle(Handle const& other) : SmartPtrBase<T>(other.ptr_) { add(); }
    Handle(Handle&& other) noexcept : SmartPtrBase<T>(other.ptr_) { other.ptr_ = nullptr; }
    template <class U, std::enable_if_t<std::is_convertible_v<U*, T*>, int> = 0>
    Handle(Handle<U> const& other) : SmartPtrBase<T>(other.get()) {
        add();
    }
    ~Handle() {
        if (this->ptr_ != nullptr) this->ptr_->__SubRef();
    }

    Handle& operator=(T* p) {
        if (p == this->ptr_) return *this;
        if (p != nullptr) p->__AddRef();
        T* const old = this->ptr_;
        this->ptr_ = p;
        if (old != nullptr) old->__SubRef();
        return *this;
    }
    Handle& operator=(Handle const& other) { return *this = other.ptr_; }
    Handle& operator=(Handle&& other) noexcept {
        swap(other);
        return *this;
    }
    void swap(Handle& other) noexcept { std::swap(this->ptr_, other.ptr_); }

private:
    void add() {
        if (this->ptr_ != nullptr) this->ptr_->__AddRef();
    }
};

// The same object, or both null.
template <class T>
bool operator==(Handle<T> const& a, Handle<T> const& b) {
    return a.get() == b.get();
}
template <class T>
bool operator!=(Handle<T> const& a, Handle<T> const& b) {
    return a.get() != b.get();
}
// By the objects; a null handle sorts before any object.
template <class T>
bool operator<(Handle<T> const& a, Handle<T> const& b) {
    if (a.get() != nullptr && b.get() != nullptr) return *a < *b;
    return a.get() == nullptr && b.get() != nullptr;
}

}  // namespace zan
