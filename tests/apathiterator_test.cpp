// Tests of the forward and reverse path iterators.
#include <zelk/apathiterator.h>
#include <zelk/apathreverseiterator.h>

#include <zelk/apath.h>
#include <zelk/apathcomponent.h>

#include "testsupport.h"

#include <algorithm>
#include <iterator>
#include <type_traits>
#include <vector>

using namespace vorlan::zelk;

namespace {

static_assert(std::is_same_v<std::iterator_traits<APathIterator>::iterator_category,
                             std::random_access_iterator_tag>);

APath Posix(const char* text) {
    return APath(AString(text), APath::kPosixPath);
}

TEST(APathIteratorTest, EmptyPathsHaveNothingToWalk) {
    const APath empty;
    const APath other;
    EXPECT_TRUE(empty.begin() == empty.end() && empty.rbegin() == empty.rend());
    EXPECT_EQ(empty.end() - empty.begin(), 0);
    // The identity of the list tells two empty paths apart.
    EXPECT_TRUE(empty.begin() != other.begin() && empty.rend() != other.rend());
}

TEST(APathIteratorTest, BothDirectionsAgreeOverTheTable) {
    for (const char* text : {"a", "a/b", "/usr/bin", "x/y/z/w", "a/./../b/c.txt/"}) {
        SCOPED_TRACE(text);
        const APath path = Posix(text);
        const long count = static_cast<long>(path.Size());
        std::vector<APathComponent> forward(path.begin(), path.end());
        std::vector<APathComponent> backward(path.rbegin(), path.rend());
        ASSERT_EQ(static_cast<long>(forward.size()), count);
        std::reverse(backward.begin(), backward.end());
        EXPECT_TRUE(forward == backward);

        EXPECT_EQ(path.end() - path.begin(), count);
        EXPECT_EQ(path.begin() - path.end(), -count);
        EXPECT_EQ(path.rend() - path.rbegin(), count);
        EXPECT_EQ(path.rbegin() - path.rend(), -count);
        for (long i = 0; i < count; ++i) {
            const unsigned long n = static_cast<unsigned long>(i);
            EXPECT_TRUE(path.begin()[n] == path[n]);
            EXPECT_TRUE(*(path.begin() + i) == path[n]);
            EXPECT_TRUE(path.rbegin()[n] == path[static_cast<unsigned long>(count - 1 - i)]);
            EXPECT_TRUE(*(path.rend() - (i + 1)) == path[n]);
        }
        EXPECT_TRUE(&path.rbegin()[0] == &*path.rbegin());
        EXPECT_TRUE(path.begin() + count == path.end() && path.rbegin() + count == path.rend());
    }
}

// first is one step before second in the walk of its kind.
template <typename Iterator> void ExpectOrdered(const Iterator& first, const Iterator& second) {
    EXPECT_TRUE(first < second && first <= second && second > first && second >= first);
    EXPECT_FALSE(second < first || second <= first || first > second || first >= second);
    const Iterator same = first;
    EXPECT_TRUE(first <= same && first >= same && !(first < same));
    EXPECT_EQ(second - first, 1);
}

TEST(APathIteratorTest, OrderFollowsTheWalkInBothDirections) {
    const APath path = Posix("a/b");
    ExpectOrdered(path.begin(), path.begin() + 1);
    ExpectOrdered(path.rbegin(), path.rbegin() + 1);
}

TEST(APathIteratorTest, StepsAndNegativeCounts) {
    const APath path = Posix("a/b/c/d");
    APathIterator it = path.begin() + 2;
    EXPECT_TRUE(it->Get() == AString("c"));
    EXPECT_EQ(&++it, &it);
    EXPECT_EQ(&--it, &it);
    EXPECT_EQ(&(it += -1), &it);
    EXPECT_TRUE(*it == path[1]);
    it -= -2;
    EXPECT_TRUE(*it == path[3]);
    EXPECT_TRUE(it + -1 == it - 1);
    EXPECT_TRUE(it - -1 == path.end());

    APathReverseIterator rit = path.rbegin();
    EXPECT_EQ(&(rit += 2), &rit);
    EXPECT_TRUE(*rit == path[1]);
    rit += -1;
    EXPECT_TRUE(*rit == path[2]);
    rit -= -1;
    EXPECT_TRUE(rit->Get() == AString("b"));
    EXPECT_TRUE(rit + -1 == rit - 1);
    EXPECT_TRUE(*--rit == path[2]);
    EXPECT_TRUE(*++rit == path[1]);
    EXPECT_TRUE(rit + 2 == path.rend());
}

// it++ and it-- give the old position, and copies move on their own.
template <typename Iterator>
void ExpectPostfix(const Iterator& begin, const APathComponent& second) {
    Iterator it = begin;
    Iterator old = it++;
    EXPECT_TRUE(old == begin && *it == second);
    old += 2;
    EXPECT_TRUE(*it == second);
    Iterator back = it--;
    EXPECT_TRUE(*back == second && it == begin);
    Iterator copy(it);
    ++copy;
    EXPECT_TRUE(it == begin);
}

TEST(APathIteratorTest, PostfixStepsAndCopiesAreIndependent) {
    const APath path = Posix("a/b/c");
    ExpectPostfix(path.begin(), path[1]);
    ExpectPostfix(path.rbegin(), path[1]);
    // Assignment takes position and list: the iterator then belongs to the other path.
    const APath other = Posix("a/b/c");
    APathIterator it = path.begin();
    it = other.begin();
    EXPECT_TRUE(it == other.begin() && it != path.begin());
    APathReverseIterator rit = path.rbegin();
    rit = other.rbegin();
    EXPECT_TRUE(rit == other.rbegin() && rit != path.rbegin());
}

#if GTEST_HAS_DEATH_TEST

// From here on every allocation through the hooks gets null.
void StarveHooks() {
    zelktest::gFailFrom = 0;
}

class APathIteratorDeathTest : public zelktest::HookedTest {
protected:
    const APath fPath = Posix("a/b");
};

TEST_F(APathIteratorDeathTest, NewIteratorWithoutMemoryStopsTheProcess) {
    const char* const forward = "Assertion failed: fpImpl != nullptr, file source/apathiterator";
    const char* const reverse =
        "Assertion failed: fpImpl != nullptr, file source/apathreverseiterator";
    EXPECT_DEATH((StarveHooks(), fPath.begin()), forward);
    EXPECT_DEATH((StarveHooks(), fPath.rend()), reverse);
    const APathIterator it = fPath.begin();
    EXPECT_DEATH((StarveHooks(), APathIterator(it)), forward);
}

TEST_F(APathIteratorDeathTest, NewPositionWithoutMemoryStopsBeforeMoving) {
    APathIterator it = fPath.begin();
    APathReverseIterator rit = fPath.rbegin();
    EXPECT_DEATH((StarveHooks(), it++),
                 "Assertion failed: pImpl != nullptr, file source/apathiterator");
    EXPECT_DEATH((StarveHooks(), rit + 1),
                 "Assertion failed: pImpl != nullptr, file source/apathreverseiterator");
    // Prefix steps need no memory.
    StarveHooks();
    ++it;
    ++rit;
    zelktest::gFailFrom = ~0ull;
    EXPECT_TRUE(it == fPath.begin() + 1);
    EXPECT_TRUE(rit == fPath.rbegin() + 1);
}

#endif // GTEST_HAS_DEATH_TEST

} // namespace
