// A consumer of the installed or embedded library: includes everything, calls into the library.
#include <zelk/zelk.h>

#include <cstdio>

int main() {
    using vorlan::zelk::AAllocator;
    void* block = AAllocator::Alloc(16);
    if (block == nullptr) {
        std::puts("zelk consumer: allocation failed");
        return 1;
    }
    AAllocator::Free(block);
    std::puts("zelk consumer: ok");
    return 0;
}
