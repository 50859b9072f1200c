// Tests of the byte string: growth figures, 0 bytes, self-reference, errors and allocation failure.
#include <zelk/astring8.h>

#include "testsupport.h"

#include <new>
#include <stdexcept>
#include <string>

using vorlan::zelk::AString8;

namespace {

std::string Bytes(const AString8& text) {
    return std::string(text.c_str(), static_cast<std::size_t>(text.size()));
}

TEST(AString8Test, GrowingAByteAtATimeFollowsTheHalfSteps) {
    // Size reached -> capacity: 15 stays local, then the low four bits and the half step.
    const struct {
        unsigned long long size;
        unsigned long long capacity;
    } rows[] = {{15, 15}, {16, 31}, {31, 31}, {32, 47}, {48, 70}, {71, 105}, {106, 157}};
    AString8 text;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.size);
        while (text.size() < row.size) {
            text += static_cast<char>('a' + text.size() % 26);
        }
        EXPECT_EQ(text.capacity(), row.capacity);
        EXPECT_EQ(text.c_str()[row.size], '\0');
    }
}

TEST(AString8Test, ReserveGrowsButOnlyShrinksBackToLocal) {
    AString8 text;
    text.reserve(100);
    EXPECT_EQ(text.capacity(), 111u);
    text.reserve(50); // no block gets smaller short of going local
    EXPECT_EQ(text.capacity(), 111u);
    text.reserve(0);
    EXPECT_EQ(text.capacity(), 15u);

    AString8 twenty("abcdefghijklmnopqrst");
    twenty.reserve(10); // cannot cut the text
    EXPECT_EQ(Bytes(twenty), "abcdefghijklmnopqrst");
    twenty.erase(3, AString8::kMaxSize);
    twenty.reserve(0); // below the size: nothing happens
    EXPECT_EQ(twenty.capacity(), 31u);
    twenty.reserve(15); // "abc" fits locally again
    EXPECT_EQ(twenty.capacity(), 15u);
    EXPECT_EQ(Bytes(twenty), "abc");
}

TEST(AString8Test, CopyStopsAtZeroByteWhereAssignmentKeepsIt) {
    const AString8 counted("ab\0c", 4);
    AString8 assigned;
    assigned = counted;
    EXPECT_EQ(Bytes(assigned), std::string("ab\0c", 4));
    EXPECT_FALSE(counted == "ab");
    EXPECT_TRUE(AString8(counted) == "ab");
    // In a + b the left side ends at its first 0 byte and the right side comes whole.
    EXPECT_EQ(Bytes(counted + counted), std::string("abab\0c", 6));
    AString8 zero;
    zero += '\0';
    EXPECT_EQ(zero.size(), 1u);
}

TEST(AString8Test, SelfAppendAndSelfAssignmentSurviveGrowth) {
    AString8 text("0123456789");
    text += text; // 20 bytes: leaves the local buffer while reading from it
    EXPECT_EQ(Bytes(text), "01234567890123456789");
    text += text; // 40 bytes: a new block while reading the old one
    EXPECT_EQ(Bytes(text), "0123456789012345678901234567890123456789");
    text += text.c_str() + 30; // a pointer into the string itself
    EXPECT_EQ(text.size(), 50u);
    const AString8& same = text;
    text = same;
    EXPECT_EQ(text.size(), 50u);
    text.assign(text.c_str() + 45, 5);
    EXPECT_EQ(Bytes(text), "56789");
    text = text.c_str() + 2;
    EXPECT_EQ(Bytes(text), "789");
}

TEST(AString8Test, PositionErrorsThrowWithTheirMessages) {
    AString8 text("abc");
    try {
        (void)text.at(3);
        FAIL() << "at(size()) must throw";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(), "invalid string position");
    }
    EXPECT_NO_THROW(text.erase(3, 1));
    EXPECT_THROW(text.erase(4, 1), std::out_of_range);
    EXPECT_EQ(Bytes(text.erase(1, 100)), "a");
}

TEST(AString8Test, SizeAboveMaxThrowsLengthErrorBeforeReading) {
    AString8 text("y");
    try {
        text.assign(text.c_str(), AString8::kMaxSize + 1);
        FAIL() << "a size above kMaxSize must throw";
    } catch (const std::length_error& error) {
        EXPECT_STREQ(error.what(), "string too long");
    }
    EXPECT_EQ(Bytes(text), "y");
    EXPECT_THROW(AString8("y", AString8::kMaxSize + 1), std::length_error);
}

TEST(AString8Test, OrderIsByUnsignedBytesThenLengthAndNullIsEmpty) {
    EXPECT_TRUE(AString8("\x41") < AString8("\xFF"));
    EXPECT_TRUE(AString8("abc") < AString8("abd") && AString8("abc") < AString8("abcd"));
    EXPECT_FALSE(AString8("abd") <= AString8("abcd"));

    AString8 text(nullptr, 5);
    EXPECT_TRUE(text.empty() && text == nullptr);
    text += "ab";
    text += static_cast<const char*>(nullptr);
    EXPECT_TRUE(text != nullptr);
    text.assign(nullptr, 5);
    EXPECT_TRUE(text.empty());
}

// Every block handed out is freed again by the end of each test.
class AString8AllocationTest : public zelktest::HookedTest {
protected:
    void TearDown() override {
        EXPECT_EQ(zelktest::gAllocations, zelktest::gFrees);
        HookedTest::TearDown();
    }
};

TEST_F(AString8AllocationTest, RefusedTextBlockThrowsAndLeavesTheString) {
    AString8 text("abc");
    zelktest::gFailFrom = 33; // a record fits, a block of capacity 47 or more does not
    EXPECT_THROW(text += "0123456789abcdef0123456789abcdef", std::bad_alloc);
    EXPECT_THROW(text.reserve(40), std::bad_alloc);
    EXPECT_EQ(Bytes(text), "abc");
    EXPECT_EQ(text.capacity(), 15u);
    // A constructor whose block is refused frees its record on the way out.
    EXPECT_THROW(AString8("0123456789abcdef0123456789abcdef"), std::bad_alloc);
}

TEST_F(AString8AllocationTest, RefusedRecordLeavesAStringWithoutOne) {
    AString8 text("abc");
    zelktest::gFailFrom = 0;
    AString8 none("xyz");
    EXPECT_TRUE(none.empty());
    EXPECT_STREQ(none.c_str(), "");
    EXPECT_THROW(none += 'a', std::bad_alloc);
    text = "def"; // the old record goes, the new one is refused
    EXPECT_TRUE(text.empty());
    zelktest::gFailFrom = ~0ull;
    text += "ok";
    EXPECT_EQ(Bytes(text), "ok");
    none = std::move(text);
    EXPECT_EQ(Bytes(none), "ok");
}

} // namespace
