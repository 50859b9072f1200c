// The library's assertion for broken invariants: active in every build type.
#ifndef ZELK_SOURCE_ZASSERT_H
#define ZELK_SOURCE_ZASSERT_H

namespace vorlan {
namespace zelk {

// Writes "Assertion failed: <expression>, file <file>, line <line>" to the standard error stream
// and stops the process with std::abort. It never returns, so no code goes on past a broken
// invariant (for instance with a null implementation pointer).
[[noreturn]] void AssertionFailed(const char* expression, const char* file, unsigned line);

} // namespace zelk
} // namespace vorlan

// Tests expression and, when it is false, reports its text with the given file name and the
// line. A macro, because only a macro can hand on the text of the expression and its line. The
// file is passed by the caller so that the report names the unit as the source tree does,
// independent of where the build ran.
#define ZELK_ASSERT(expression, file)                                                              \
    ((expression) ? static_cast<void>(0)                                                           \
                  : ::vorlan::zelk::AssertionFailed(#expression, file, __LINE__))

#endif // ZELK_SOURCE_ZASSERT_H
