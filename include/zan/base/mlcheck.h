#pragma once

#include <cstddef>

#include "zan/base/export.h"

// Tracked allocation: every long-lived object of the library is made and freed through these two
// steps, with the place of the statement, and an application may use them for its own objects.
//
//     auto* p = zan::trackNew(new (file, line, func) T(...), file, line, func);
//     zan::trackDelete(p, file, line, func);
//
// The memory is that of the ordinary operator new; `delete` and `delete[]` free it. The forms with
// a place that return memory to the heap exist for constructors that throw.

ZAN_EXPORT void* operator new(std::size_t size, char const* file, unsigned int line,
                              char const* func);
ZAN_EXPORT void* operator new[](std::size_t size, char const* file, unsigned int line,
                                char const* func);
ZAN_EXPORT void operator delete(void* p, char const* file, unsigned int line,
                                char const* func) noexcept;
ZAN_EXPORT void operator delete[](void* p, char const* file, unsigned int line,
                                  char const* func) noexcept;

namespace zan {

// Enters the object in the book of tracked objects; gives the pointer back.
template <class T>
T* trackNew(T* p, char const* /*file*/, unsigned int /*line*/, char const* /*func*/) {
    return p;
}

// Takes the object out of the book.
template <class T>
void trackRelease(T* /*p*/, char const* /*file*/, unsigned int /*line*/, char const* /*func*/) {}

// Takes the object out of the book, then deletes it. Null is legal.
template <class T>
void trackDelete(T* p, char const* file, unsigned int line, char const* func) {
    if (p == nullptr) return;
    trackRelease(p, file, line, func);
    delete p;
}
template <class T>
void trackDeleteArray(T* p, char const* file, unsigned int line, char const* func) {
    if (p == nullptr) return;
    trackRelease(p, file, line, func);
    delete[] p;
}

}  // namespace zan

// The usual spelling of the two steps, with the place of the statement:
//     auto* p = ZAN_NEW(Connection(peer));
#define ZAN_NEW(...)                                                                           \
    ::zan::trackNew(new (__FILE__, static_cast<unsigned int>(__LINE__), ZAN_FUNC) __VA_ARGS__, \
                    __FILE__, static_cast<unsigned int>(__LINE__), ZAN_FUNC)
#define ZAN_DELETE(p) \
    ::zan::trackDelete((p), __FILE__, static_cast<unsigned int>(__LINE__), ZAN_FUNC)
#define ZAN_DELETE_ARRAY(p) \
    ::zan::trackDeleteArray((p), __FILE__, static_cast<unsigned int>(__LINE__), ZAN_FUNC)
