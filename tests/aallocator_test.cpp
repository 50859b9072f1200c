// Tests of the allocation hooks.
#include <zelk/aallocator.h>

#include "testsupport.h"

using vorlan::zelk::AAllocator;
using zelktest::CountingAlloc;
using zelktest::CountingFree;
using zelktest::gAllocations;
using zelktest::gFrees;

namespace {

// Starts on the counting hooks; each test registers what it needs.
using AAllocatorTest = zelktest::HookedTest;

TEST_F(AAllocatorTest, SlotsReportWhatIsStoredAndNullMeansDefault) {
    AAllocator::RegisterMemoryProcs(nullptr, nullptr);
    EXPECT_EQ(AAllocator::GetAllocateProc(), nullptr);
    EXPECT_EQ(AAllocator::GetFreeProc(), nullptr);
    AAllocator::RegisterMemoryProcs(CountingAlloc, nullptr);
    EXPECT_EQ(AAllocator::GetAllocateProc(), &CountingAlloc);
    EXPECT_EQ(AAllocator::GetFreeProc(), nullptr);
    // The free half stays on the default: a counted block is still released by the runtime.
    void* block = AAllocator::Alloc(16);
    ASSERT_NE(block, nullptr);
    AAllocator::Free(block);
    EXPECT_EQ(gAllocations, 1);
    EXPECT_EQ(gFrees, 0);
}

TEST_F(AAllocatorTest, NullIsNeverPassedToTheFreeProcedure) {
    AAllocator::Free(nullptr);
    EXPECT_EQ(gFrees, 0);
    AAllocator::Free(AAllocator::Alloc(1));
    EXPECT_EQ(gFrees, 1);
}

TEST_F(AAllocatorTest, RegisteredNullResultIsPassedOnAndDefaultNeverGivesNull) {
    zelktest::gFailFrom = 0;
    EXPECT_EQ(AAllocator::Alloc(8), nullptr);
    AAllocator::RegisterMemoryProcs(nullptr, nullptr);
    void* block = AAllocator::Alloc(0);
    EXPECT_NE(block, nullptr);
    AAllocator::Free(block);
}

} // namespace
