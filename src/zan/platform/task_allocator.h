#pragma once

namespace zan::platform {

// The process's task allocator, for memory that one module allocates and another one frees, and
// the spy that may watch it. A call of the allocator is a call of the spy ahead of the work and one
// behind it; no other thread comes between the two.

enum class InterfaceId { Unknown, Malloc, MallocSpy };
constexpr int E_NOINTERFACE = static_cast<int>(0x80004002);

class IMallocSpy {
public:
    virtual int QueryInterface(InterfaceId id, void** out) = 0;
    virtual unsigned long AddRef() = 0;
    virtual unsigned long Release() = 0;
    // `spied` says that the block was allocated while there was a spy. What a Pre gives back is
    // used in place of its argument.
    virtual unsigned long PreAlloc(unsigned long size) = 0;
    virtual void* PostAlloc(void* p) = 0;
    virtual void* PreFree(void* p, bool spied) = 0;
    virtual void PostFree(bool spied) = 0;
    virtual unsigned long PreRealloc(void* p, unsigned long size, void** out, bool spied) = 0;
    virtual void* PostRealloc(void* p, bool spied) = 0;
    virtual void* PreGetSize(void* p, bool spied) = 0;
    virtual unsigned long PostGetSize(unsigned long size, bool spied) = 0;
    virtual void* PreDidAlloc(void* p, bool spied) = 0;
    virtual int PostDidAlloc(void* p, bool spied, int result) = 0;
    virtual void PreHeapMinimize() = 0;
    virtual void PostHeapMinimize() = 0;

protected:
    ~IMallocSpy() = default;  // goes by Release()
};

// Holds a reference. 0, or the errno value: EEXIST where there is a spy, EINVAL for null or for
// what is none.
int registerMallocSpy(IMallocSpy* spy);
// 0, or ENOENT where there is none.
int revokeMallocSpy();

// As malloc(), realloc() and free(). What they allocate is not seen by the hook of the heap.
void* taskAlloc(unsigned long size);
void* taskRealloc(void* p, unsigned long size);
void taskFree(void* p);
// The room of a block, which is its size or more; 0 for null.
unsigned long taskGetSize(void* p);
// 1 for a block of this allocator, 0 for none; -1 where that is not known, for what was allocated
// while there was no spy.
int taskDidAlloc(void* p);
// Gives memory that isn't in use back to the system.
void taskHeapMinimize();

}  // namespace zan::platform
