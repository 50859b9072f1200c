// Helpers shared by the test programs: a narrow view of a text, and allocation hooks that count.
#ifndef ZELK_TESTS_TESTSUPPORT_H
#define ZELK_TESTS_TESTSUPPORT_H

#include <zelk/aallocator.h>
#include <zelk/astring.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <string_view>

namespace zelktest {

// The units of a text as bytes, '?' standing for each unit beyond ASCII.
inline std::string Narrow(const vorlan::zelk::AString& text) {
    std::string out;
    for (unsigned long i = 0; i < text.UTF16Count(); ++i) {
        const unsigned short unit = text.GrabWString()[i];
        out += unit < 0x80 ? static_cast<char>(unit) : '?';
    }
    return out;
}

// The same for UTF-16 text held in a standard string.
inline std::string Narrow(std::u16string_view text) {
    std::string out;
    for (const char16_t unit : text) {
        out += unit < 0x80 ? static_cast<char>(unit) : '?';
    }
    return out;
}

// Blocks handed out and freed through the counting hooks; requests of gFailFrom bytes or more
// get null (0 refuses everything).
inline int gAllocations = 0;
inline int gFrees = 0;
inline unsigned long long gFailFrom = ~0ull;

inline void* CountingAlloc(unsigned long long size) {
    if (size >= gFailFrom) {
        return nullptr;
    }
    ++gAllocations;
    return std::malloc(static_cast<std::size_t>(size));
}

inline void CountingFree(void* pointer) {
    ++gFrees;
    std::free(pointer);
}

// Each test runs on the counting hooks, from zero and refusing nothing, and ends on the defaults.
class HookedTest : public ::testing::Test {
protected:
    void SetUp() override {
        gAllocations = gFrees = 0;
        gFailFrom = ~0ull;
        vorlan::zelk::AAllocator::RegisterMemoryProcs(CountingAlloc, CountingFree);
    }
    void TearDown() override { vorlan::zelk::AAllocator::RegisterMemoryProcs(nullptr, nullptr); }
};

} // namespace zelktest

#endif // ZELK_TESTS_TESTSUPPORT_H
