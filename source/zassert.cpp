// The report and stop behind ZELK_ASSERT.
#include "zassert.h"

#include <cstdio>
#include <cstdlib>

namespace vorlan {
namespace zelk {

void AssertionFailed(const char* expression, const char* file, unsigned line) {
    std::fprintf(stderr, "Assertion failed: %s, file %s, line %u\n", expression, file, line);
    std::fflush(stderr);
    std::abort();
}

} // namespace zelk
} // namespace vorlan
