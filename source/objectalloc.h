// Storage for the public value objects themselves, through the allocation hooks.
#ifndef ZELK_SOURCE_OBJECTALLOC_H
#define ZELK_SOURCE_OBJECTALLOC_H

#include <zelk/aallocator.h>

#include <cstddef>
#include <new>

namespace vorlan {
namespace zelk {

// The class-level operator new of every value class. A throwing operator new must not return
// null, so a registered allocate procedure that gives none meets std::bad_alloc here.
inline void* AllocateObject(std::size_t size) {
    void* block = AAllocator::Alloc(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

// Records behind fpImpl: null from a registered allocate procedure is passed on, and the
// object is left without a record (only destruction and move assignment remain defined).
template <typename Record, typename... Args> Record* NewRecord(Args&&... args) {
    void* block = AAllocator::Alloc(sizeof(Record));
    if (block == nullptr) {
        return nullptr;
    }
    try {
        return new (block) Record(static_cast<Args&&>(args)...);
    } catch (...) {
        AAllocator::Free(block);
        throw;
    }
}

template <typename Record> void DeleteRecord(Record* record) {
    if (record != nullptr) {
        record->~Record();
        AAllocator::Free(record);
    }
}

// A standard allocator over the hooks, for the library's internal sequences. Growth that gets
// no memory raises std::bad_alloc, also when a registered procedure returned null.
template <typename T> struct HookAllocator {
    using value_type = T;
    HookAllocator() noexcept = default;
    template <typename U> HookAllocator(const HookAllocator<U>&) noexcept {}
    T* allocate(std::size_t count) { return static_cast<T*>(AllocateObject(count * sizeof(T))); }
    void deallocate(T* pointer, std::size_t) noexcept { AAllocator::Free(pointer); }
    template <typename U> bool operator==(const HookAllocator<U>&) const noexcept { return true; }
    template <typename U> bool operator!=(const HookAllocator<U>&) const noexcept { return false; }
};

} // namespace zelk
} // namespace vorlan

// Defines the six class-level allocation operators of a value class.
#define ZELK_DEFINE_CLASS_ALLOCATION(Class)                                                        \
    void* Class::operator new(std::size_t size) {                                                  \
        return AllocateObject(size);                                                               \
    }                                                                                              \
    void* Class::operator new[](std::size_t size) {                                                \
        return AllocateObject(size);                                                               \
    }                                                                                              \
    void* Class::operator new(std::size_t, void* place) {                                          \
        return place;                                                                              \
    }                                                                                              \
    void Class::operator delete(void* pointer) {                                                   \
        AAllocator::Free(pointer);                                                                 \
    }                                                                                              \
    void Class::operator delete[](void* pointer) {                                                 \
        AAllocator::Free(pointer);                                                                 \
    }                                                                                              \
    void Class::operator delete(void*, void*) {}

#endif // ZELK_SOURCE_OBJECTALLOC_H
