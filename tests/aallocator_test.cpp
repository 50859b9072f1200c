// Tests of the allocation hooks.
#include <zelk/aallocator.h>

#include <gtest/gtest.h>

#include <cstdlib>

using vorlan::zelk::AAllocator;

namespace {

int gAllocations = 0;
int gFrees = 0;

void* CountingAlloc(unsigned long long size) {
    ++gAllocations;
    return std::malloc(static_cast<std::size_t>(size));
}

void CountingFree(void* pointer) {
    ++gFrees;
    std::free(pointer);
}

void* FailingAlloc(unsigned long long) {
    return nullptr;
}

class AAllocatorTest : public ::testing::Test {
protected:
    void SetUp() override { gAllocations = gFrees = 0; }
    void TearDown() override { AAllocator::RegisterMemoryProcs(nullptr, nullptr); }
};

TEST_F(AAllocatorTest, SlotsReportWhatIsStoredAndNullMeansDefault) {
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
    AAllocator::RegisterMemoryProcs(nullptr, nullptr);
    EXPECT_EQ(AAllocator::GetAllocateProc(), nullptr);
}

TEST_F(AAllocatorTest, NullIsNeverPassedToTheFreeProcedure) {
    AAllocator::RegisterMemoryProcs(CountingAlloc, CountingFree);
    AAllocator::Free(nullptr);
    EXPECT_EQ(gFrees, 0);
    AAllocator::Free(AAllocator::Alloc(1));
    EXPECT_EQ(gFrees, 1);
}

TEST_F(AAllocatorTest, RegisteredNullResultIsPassedOnAndDefaultNeverGivesNull) {
    AAllocator::RegisterMemoryProcs(FailingAlloc, CountingFree);
    EXPECT_EQ(AAllocator::Alloc(8), nullptr);
    AAllocator::RegisterMemoryProcs(nullptr, nullptr);
    void* block = AAllocator::Alloc(0);
    EXPECT_NE(block, nullptr);
    AAllocator::Free(block);
}

} // namespace
