#include "zan/mlc/malloc_spy.h"

namespace zan {

int CMallocSpy::QueryInterface(platform::InterfaceId id, void** out) {
    if (id != platform::InterfaceId::Unknown && id != platform::InterfaceId::MallocSpy) {
        *out = nullptr;
        return platform::E_NOINTERFACE;
    }
    *out = static_cast<platform::IMallocSpy*>(this);
    AddRef();
    return 0;
}

unsigned long CMallocSpy::AddRef() {
    return ++references_;
}

unsigned long CMallocSpy::Release() {
    unsigned long const left = --references_;
    if (left == 0) delete this;
    return left;
}

unsigned long CMallocSpy::PreAlloc(unsigned long size) {
    return requestedSize_ = size;
}

void* CMallocSpy::PostAlloc(void* p) {
    if (p != nullptr) insert(p, requestedSize_);
    return p;
}

void* CMallocSpy::PreFree(void* p, bool) {
    remove(p);
    return p;
}

unsigned long CMallocSpy::PreRealloc(void* p, unsigned long size, void** out, bool) {
    moving_ = p;
    movingSize_ = remove(p);
    *out = p;
    return requestedSize_ = size;
}

void* CMallocSpy::PostRealloc(void* p, bool spied) {
    if (p != nullptr)
        insert(p, requestedSize_);
    else if (spied)
        insert(moving_, movingSize_);
    return p;
}

void* CMallocSpy::insertFrame(unsigned long self, unsigned long p, unsigned long size,
                              platform::SavedFrame const* frame) {
    auto& spy = *reinterpret_cast<CMallocSpy*>(self);
    AllocTable::Handle const record =
        spy.table_.insert(p, size, reinterpret_cast<void*>(frame->returnAddress), frame);
    // Without a place in the index its end could not be told.
    if (record != AllocTable::Handle::None &&
        !spy.records_.put(reinterpret_cast<void*>(p), static_cast<std::uint32_t>(record)))
        spy.table_.remove(record);
    return nullptr;
}

void CMallocSpy::insert(void* p, unsigned long size) {
    zan_with_frame(reinterpret_cast<unsigned long>(this), reinterpret_cast<unsigned long>(p), size,
                   &insertFrame);
}

// Returns the size that the block had.
unsigned long CMallocSpy::remove(void* p) {
    auto const record = static_cast<AllocTable::Handle>(records_.take(p));
    if (record == AllocTable::Handle::None) return 0;
    unsigned long const size = table_.blockOf(record).size;
    table_.remove(record);
    return size;
}

}  // namespace zan
