// AAllocator: the process-wide allocation hooks through which zelk allocates everything.
#ifndef ZELK_AALLOCATOR_H
#define ZELK_AALLOCATOR_H

#include <zelk/export.h>

#include <cstddef>

namespace vorlan {
namespace zelk {

// Every object and text buffer of the library is allocated through these two hooks. Register
// them before the first zelk object is created: a block is always released through whatever free
// procedure is stored at that moment, and nothing records where it came from. The slots are
// written without synchronisation, so registration must be finished before other threads use
// the library.
class ZELK_API AAllocator {
public:
    using AllocateProc = void* (*)(unsigned long long size);
    using FreeProc = void (*)(void* pointer);

    // Stores both procedures. A null pointer puts that half back on the default (the runtime's
    // global allocation and free); the two halves are independent.
    static void RegisterMemoryProcs(AllocateProc allocate, FreeProc free);

    // What is stored: null until registration, and null again after registering null.
    static AllocateProc GetAllocateProc();
    static FreeProc GetFreeProc();

    // The registered procedure's result, null included. Without one, the runtime's global
    // allocation, which throws std::bad_alloc and so never returns null.
    static void* Alloc(unsigned long long size);

    // Null returns at once, so a registered free procedure never sees null.
    static void Free(void* pointer);

    AAllocator& operator=(const AAllocator&) { return *this; }
    AAllocator& operator=(AAllocator&&) noexcept { return *this; }
};

} // namespace zelk
} // namespace vorlan

#endif // ZELK_AALLOCATOR_H
