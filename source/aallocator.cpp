// AAllocator: the two process-wide allocation hooks and their defaults.
#include <zelk/aallocator.h>

#include <cstdlib>
#include <new>

namespace vorlan {
namespace zelk {

namespace {

AAllocator::AllocateProc gAllocate = nullptr;
AAllocator::FreeProc gFree = nullptr;

} // namespace

void AAllocator::RegisterMemoryProcs(AllocateProc allocate, FreeProc free) {
    gAllocate = allocate;
    gFree = free;
}

AAllocator::AllocateProc AAllocator::GetAllocateProc() {
    return gAllocate;
}

AAllocator::FreeProc AAllocator::GetFreeProc() {
    return gFree;
}

void* AAllocator::Alloc(unsigned long long size) {
    if (gAllocate != nullptr) {
        return gAllocate(size);
    }
    // The default pairs with std::free below: malloc, retried through the new handler the way
    // the global operator new retries, and std::bad_alloc when that gives up.
    const std::size_t bytes = size == 0 ? 1 : static_cast<std::size_t>(size);
    for (;;) {
        if (void* block = std::malloc(bytes)) {
            return block;
        }
        std::new_handler handler = std::get_new_handler();
        if (handler == nullptr) {
            throw std::bad_alloc();
        }
        handler();
    }
}

void AAllocator::Free(void* pointer) {
    if (pointer == nullptr) {
        return;
    }
    if (gFree != nullptr) {
        gFree(pointer);
    } else {
        std::free(pointer);
    }
}

} // namespace zelk
} // namespace vorlan
