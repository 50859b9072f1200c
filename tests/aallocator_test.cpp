// Tests of the allocation hooks.
#include <zelk/aallocator.h>

#include "testsupport.h"

using vorlan::zelk::AAllocator;
using zelktest::CountingAlloc;
using zelktest::gAllocations;
using zelktest::gFrees;

namespace {

// Starts on the counting hooks and registers what each step needs.
using AAllocatorTest = zelktest::HookedTest;

TEST_F(AAllocatorTest, SlotsNullsAndDefaults) {
    // Null is never passed to the free procedure.
    AAllocator::Free(nullptr);
    EXPECT_EQ(gFrees, 0);
    AAllocator::Free(AAllocator::Alloc(1));
    EXPECT_EQ(gFrees, 1);
    // A registered procedure's null is passed on.
    zelktest::gFailFrom = 0;
    EXPECT_EQ(AAllocator::Alloc(8), nullptr);
    zelktest::gFailFrom = ~0ull;

    // Null slots stand for the defaults, which never give null, even for 0 bytes.
    AAllocator::RegisterMemoryProcs(nullptr, nullptr);
    EXPECT_TRUE(AAllocator::GetAllocateProc() == nullptr && AAllocator::GetFreeProc() == nullptr);
    void* block = AAllocator::Alloc(0);
    EXPECT_NE(block, nullptr);
    AAllocator::Free(block);

    // With the free half on the default, a counted block is still released by the runtime.
    AAllocator::RegisterMemoryProcs(CountingAlloc, nullptr);
    EXPECT_TRUE(AAllocator::GetAllocateProc() == &CountingAlloc && !AAllocator::GetFreeProc());
    gAllocations = gFrees = 0;
    block = AAllocator::Alloc(16);
    ASSERT_NE(block, nullptr);
    AAllocator::Free(block);
    EXPECT_EQ(gAllocations, 1);
    EXPECT_EQ(gFrees, 0);
}

} // namespace
