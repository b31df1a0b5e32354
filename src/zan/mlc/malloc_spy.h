#pragma once

#include <atomic>

#include "zan/mlc/alloc_table.h"
#include "zan/platform/block_index.h"
#include "zan/platform/saved_frame.h"
#include "zan/platform/task_allocator.h"

namespace zan {

// Enters the blocks of the process's task allocator in a table, under their addresses.
//
// Threads: one at a time between a Pre and its Post, which the allocator sees to.
class CMallocSpy final : public platform::IMallocSpy {
public:
    explicit CMallocSpy(AllocTable& table) : table_(table) {}

    int QueryInterface(platform::InterfaceId id, void** out) override;
    unsigned long AddRef() override;
    unsigned long Release() override;
    unsigned long PreAlloc(unsigned long size) override;
    void* PostAlloc(void* p) override;
    void* PreFree(void* p, bool spied) override;
    void PostFree(bool) override {}
    unsigned long PreRealloc(void* p, unsigned long size, void** out, bool spied) override;
    void* PostRealloc(void* p, bool spied) override;
    void* PreGetSize(void* p, bool) override { return p; }
    unsigned long PostGetSize(unsigned long size, bool) override { return size; }
    void* PreDidAlloc(void* p, bool) override { return p; }
    int PostDidAlloc(void*, bool, int result) override { return result; }
    void PreHeapMinimize() override {}
    void PostHeapMinimize() override {}

private:
    ~CMallocSpy() = default;

    void insert(void* p, unsigned long size);
    unsigned long remove(void* p);
    static void* insertFrame(unsigned long self, unsigned long p, unsigned long size,
                             platform::SavedFrame const* frame);

    AllocTable& table_;
    platform::BlockIndex records_;
    std::atomic<unsigned long> references_{1};
    unsigned long requestedSize_ = 0;
    // The block that is being re-allocated: it is still there if that fails.
    void* moving_ = nullptr;
    unsigned long movingSize_ = 0;
};

}  // namespace zan
