// Tests of AString: storage and growth, counting, comparison, editing, searching, failures.
#include <zelk/astring.h>

#include "testsupport.h"

#include <string>
#include <vector>

using vorlan::zelk::AAllocator;
using vorlan::zelk::AString;
using vorlan::zelk::WLength;
using zelktest::gAllocations;
using zelktest::gFailFrom;
using zelktest::gFrees;

namespace {

using Units = std::vector<unsigned short>;
constexpr unsigned long kNotFound = 0xFFFFFFFFul;
using AStringTest = zelktest::HookedTest;

Units W(std::u16string_view text) {
    return Units(text.begin(), text.end());
}

// Exactly the given units (0 units included); an empty list gives the empty string.
AString Make(std::u16string_view text) {
    const Units units = W(text);
    return units.empty() ? AString()
                         : AString(units.data(), static_cast<unsigned long>(units.size()));
}

Units Of(const AString& text) {
    const unsigned short* units = text.GrabWString();
    return Units(units, units + text.UTF16Count());
}

// A surrogate pair appended a unit at a time: two characters, as each unit came alone.
AString Singly() {
    AString s;
    s += 0xD83D;
    s += 0xDE00;
    return s;
}

// ---- Storage ----

TEST_F(AStringTest, ShortTextCostsOneAllocationAndMovesNone) {
    {
        AString empty;
        EXPECT_EQ(empty.Capacity(), 31u);
        AString s(std::string(31, 'x').c_str());
        EXPECT_EQ(gAllocations, 2);
        AString moved(std::move(s));
        empty = std::move(moved);
        AString back(std::move(empty));
        EXPECT_EQ(gAllocations, 2);
        EXPECT_EQ(back.UTF16Count(), 31u);
        // Move assignment swaps, also between a local and a heap text.
        back += u'y';
        AString left("left");
        left = std::move(back);
        EXPECT_EQ(left.UTF16Count(), 32u);
        EXPECT_EQ(Of(back), W(u"left"));
    }
    EXPECT_EQ(gFrees, gAllocations);
}

TEST_F(AStringTest, CapacityFigures) {
    AString s;
    std::vector<unsigned long> capacities;
    for (int i = 0; i < 480; ++i) {
        s += u'a';
        if (capacities.empty() || capacities.back() != s.Capacity()) {
            capacities.push_back(s.Capacity());
        }
    }
    EXPECT_EQ(capacities, (std::vector<unsigned long>{31, 63, 95, 143, 215, 323, 485}));
    EXPECT_EQ(gAllocations, 7);

    // A text of 40 units, then each step in turn: the capacity and the units after it.
    const struct {
        const char* what;
        void (*step)(AString&);
        unsigned long capacity, units;
    } steps[] = {
        {"as made", [](AString&) {}, 63, 40},
        {"preallocate", [](AString& t) { t.Preallocate(999); }, 1023, 40},
        {"no smaller by preallocating", [](AString& t) { t.Preallocate(10); }, 1023, 40},
        {"exact shrink", [](AString& t) { t.Shrink(true); }, 40, 40},
        {"rounded shrink", [](AString& t) { t.Shrink(false); }, 63, 40},
        {"31 units go local", [](AString& t) { t.Truncate(9).Shrink(false); }, 31, 31},
        {"32 units take a block of 64", [](AString& t) { (t += u'y').Shrink(false); }, 63, 32},
        {"Clear keeps the block", [](AString& t) { t.Clear(); }, 63, 0},
        {"until shrunk", [](AString& t) { t.Shrink(true); }, 31, 0},
    };
    AString forty(std::string(40, 'x').c_str());
    for (const auto& step : steps) {
        step.step(forty);
        EXPECT_EQ(forty.Capacity(), step.capacity) << step.what;
        EXPECT_EQ(forty.UTF16Count(), step.units) << step.what;
        EXPECT_EQ(forty.GrabWString()[step.units], 0) << step.what;
    }
    EXPECT_EQ(gAllocations - gFrees, 3) << "two records and one text block live";
}

// ---- Counting and reading ----

TEST_F(AStringTest, CharactersOfSurrogatesAndZeroUnits) {
    const struct {
        std::u16string_view units;
        unsigned long chars;
    } rows[] = {
        {u"\xD83D\xDE00", 1}, // a pair
        {u"z\xD83D", 1},      // a trailing high surrogate counts for nothing
        {u"\xD83Dz", 1},      // a high surrogate takes any unit along
        {u"\xDC00z", 2},      // a lone low surrogate is a character
        {u"\xD800\xD800\xDC00", 2},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(W(row.units)));
        const AString s = Make(row.units);
        EXPECT_EQ(s.CharCount(), row.chars);
        EXPECT_TRUE(s == Make(row.units).GrabWString());
    }
    // Against a bare pointer the text ends at its first 0 unit.
    const AString zero = Make(std::u16string_view(u"ab\0cd", 5));
    EXPECT_FALSE(zero == Make(u"ab").GrabWString());
    EXPECT_TRUE(AString("ab") == zero.GrabWString());
    EXPECT_TRUE(zero.UTF16Count() == 5 && zero.CharCount() == 5);
    EXPECT_EQ(zero.IndexOf(u'c'), 3u);
    // A C string widens each byte.
    EXPECT_EQ(Of(AString("\xC3\xA9")), (Units{0xC3, 0xA9}));
    EXPECT_EQ(Of(AString(static_cast<const char*>(nullptr))), Units{});
}

TEST_F(AStringTest, GetCharReadsOneUnitCharactersOnly) {
    const AString pair = Make(u"\xD83D\xDE00z\xDC01");
    EXPECT_EQ(pair.GetChar(0), 0);
    EXPECT_EQ(pair.GetChar(1), u'z');
    EXPECT_EQ(pair.GetChar(2), 0) << "a lone low surrogate reads as 0";
    EXPECT_EQ(pair.GetChar(3), 0);
    EXPECT_EQ(Singly().CharCount(), 2u);
    EXPECT_EQ(Singly().GetChar(1), 0xDE00);
}

TEST_F(AStringTest, WLengthAndGetWString) {
    EXPECT_EQ(WLength(nullptr), 0u);
    EXPECT_EQ(WLength(Make(u"ab").GrabWString()), 2u);
    unsigned short* block = AString().GetWString();
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block[0], 0);
    AAllocator::Free(block);
    const AString text = Make(std::u16string_view(u"a\0b", 3));
    block = text.GetWString();
    EXPECT_EQ(Units(block, block + 4), W(std::u16string_view(u"a\0b", 4)));
    AAllocator::Free(block);
    gFailFrom = 0;
    EXPECT_EQ(text.GetWString(), nullptr);
}

// ---- Comparison ----

TEST_F(AStringTest, CompareIsUnitOrderAndEqualityWeighsTheCharacterCount) {
    EXPECT_EQ(AString("a").Compare(AString("ab")), -1);
    EXPECT_EQ(AString("ab").Compare(AString("a")), 1);
    EXPECT_EQ(AString().Compare(AString()), 0);
    EXPECT_EQ(Make(u"\xFFFD").Compare(Make(u"\xD800\xDC00")), 1);

    const AString set = Make(u"\xD83D\xDE00");
    EXPECT_EQ(Singly().Compare(set), 0);
    EXPECT_FALSE(Singly() == set);
    EXPECT_TRUE(AString() == static_cast<const unsigned short*>(nullptr));
    EXPECT_FALSE(AString("a") == static_cast<const unsigned short*>(nullptr));
}

// ---- Editing ----

struct EditRow {
    const char* name;
    std::u16string_view text;
    void (*edit)(AString&);
    std::u16string_view expected;
};

// Each edit gives the expected units, terminated, and the character count they have when made
// afresh.
template <std::size_t N> void ExpectEdits(const EditRow (&rows)[N]) {
    for (const EditRow& row : rows) {
        SCOPED_TRACE(row.name);
        AString s = Make(row.text);
        row.edit(s);
        EXPECT_EQ(Of(s), W(row.expected));
        EXPECT_EQ(s.GrabWString()[s.UTF16Count()], 0) << "terminator";
        EXPECT_EQ(s.CharCount(), Make(row.expected).CharCount());
    }
}

TEST_F(AStringTest, EditingTable) {
    const EditRow rows[] = {
        // Append and Insert
        {"append 0 unit", u"ab", [](AString& s) { s.Append(static_cast<unsigned short>(0)); },
         u"ab"},
        {"append count", u"ab", [](AString& s) { s.Append(AString("xyz"), 2); }, u"abxy"},
        {"append pair by count", u"a", [](AString& s) { s.Append(Make(u"\xD83D\xDE00z"), 1); },
         u"a\xD83D\xDE00"},
        {"insert at CharCount", u"ab", [](AString& s) { s.Insert(2, AString("c")); }, u"abc"},
        {"insert beyond", u"ab", [](AString& s) { s.Insert(3, AString("c")); }, u"ab"},
        {"insert behind pair", u"\xD83D\xDE00z", [](AString& s) { s.Insert(1, AString("-")); },
         u"\xD83D\xDE00-z"},
        {"insert pointer count 0", u"ab",
         [](AString& s) { s.Insert(0, Make(u"x").GrabWString(), 0); }, u"ab"},
        // Remove
        {"remove to end", u"abcd", [](AString& s) { s.Remove(2, AString::kToEnd); }, u"ab"},
        {"remove at count", u"abcd", [](AString& s) { s.Remove(4, 1); }, u"abcd"},
        {"remove pair", u"\xD83D\xDE00z", [](AString& s) { s.Remove(0, 1); }, u"z"},
        // Truncate takes away from the end
        {"truncate kToEnd", u"abc", [](AString& s) { s.Truncate(AString::kToEnd); }, u""},
        {"truncate 0", u"abc", [](AString& s) { s.Truncate(0); }, u"abc"},
        {"truncate pair", u"a\xD83D\xDE00", [](AString& s) { s.Truncate(1); }, u"a"},
        // SetChar, also over a pair or a lone low surrogate that the new unit may pair with
        {"setchar appends", u"ab", [](AString& s) { s.SetChar(2, u'c'); }, u"abc"},
        {"setchar beyond", u"ab", [](AString& s) { s.SetChar(3, u'c'); }, u"ab"},
        {"setchar behind pair", u"\xD83D\xDE00z", [](AString& s) { s.SetChar(1, u'y'); },
         u"\xD83D\xDE00y"},
        {"setchar over pair", u"\xD83D\xDE00z", [](AString& s) { s.SetChar(0, u'x'); }, u"xz"},
        {"high over low", u"\xDC00z\xD83D\xDE00", [](AString& s) { s.SetChar(0, 0xD800); },
         u"\xD800z\xD83D\xDE00"},
        {"high at the end", u"\xD83D\xDE00\xDC00", [](AString& s) { s.SetChar(1, 0xD801); },
         u"\xD83D\xDE00\xD801"},
        // SetString, SetBuffer
        {"setstring count", u"old", [](AString& s) { s.SetString(AString("abcd"), 2); }, u"ab"},
        {"setstring null", u"old",
         [](AString& s) { s.SetString(static_cast<const unsigned short*>(nullptr)); }, u""},
        {"setbuffer count 0", u"old", [](AString& s) { s.SetBuffer(Make(u"ab").GrabWString(), 0); },
         u""},
        // Substring
        {"substring", u"abcd", [](AString& s) { s = s.Substring(1, 2); }, u"bc"},
        {"substring at count", u"abcd", [](AString& s) { s = s.Substring(4, 1); }, u""},
        {"substring pair", u"a\xD83D\xDE00z", [](AString& s) { s = s.Substring(1, 1); },
         u"\xD83D\xDE00"},
        {"substring past", u"a\xD83D\xDE00z", [](AString& s) { s = s.Substring(2, 5); }, u"z"},
        {"substring stops at 0", std::u16string_view(u"ab\0cd", 5),
         [](AString& s) { s = s.Substring(1); }, u"b"},
        {"substring from 0", std::u16string_view(u"ab\0cd", 5),
         [](AString& s) { s = s.Substring(2); }, u""},
    };
    ExpectEdits(rows);
}

// ---- Searching ----

enum Search { kText, kUnit, kAny };

TEST_F(AStringTest, SearchTable) {
    const struct Row {
        std::u16string_view text;
        Search how;
        std::u16string_view what; // kUnit: its first unit, or 0 when empty
        unsigned long start, expected;
    } rows[] = {
        // single units: pairs are stepped over unseen, a lone low surrogate is found
        {u"ab", kUnit, u"", 0, kNotFound},
        {u"\xD83D\xDE00z", kUnit, u"z", 0, 1},
        {u"\xD83D\xDE00z", kUnit, u"\xDE00", 0, kNotFound},
        {u"a\xDE00", kUnit, u"\xDE00", 0, 1},
        // texts: unit matching, character results
        {u"\xD83D\xDE00z", kText, u"\xDE00", 0, 0},
        {u"\xD83D\xDE00zy", kText, u"y", 0, 2},
        {u"abcd", kText, u"", 2, 2},
        {u"abcd", kText, u"", 4, kNotFound},
        {u"aaab", kText, u"aab", 0, 1}, // a failed attempt restarts one unit on
        {u"abab", kText, u"ab", 1, 2},
        {u"ab", kText, u"abc", 0, kNotFound},
        // sets: a pair is one entry and matches only as a whole
        {u"abc", kAny, u"", 1, 1},
        {u"abc", kAny, u"", 3, kNotFound},
        {u"abc", kAny, u"xc", 0, 2},
        {u"a\xD83D\xDE00", kAny, u"\xD83D\xDE00", 0, 1},
        {u"a\xD83D\xDE01", kAny, u"\xD83D\xDE00\xDE01", 0, kNotFound},
        {u"a\xD83D\xDE00\xDE00", kAny, u"\xDE00", 0, 2},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(W(row.text)) + " " +
                     testing::PrintToString(W(row.what)));
        const AString text = Make(row.text);
        const AString what = Make(row.what);
        EXPECT_EQ(row.how == kText   ? text.IndexOf(what, row.start)
                  : row.how == kUnit ? text.IndexOf(what.GrabWString()[0], row.start)
                                     : text.IndexOfAny(what, row.start),
                  row.expected);
    }
}

TEST_F(AStringTest, GetTokenTable) {
    struct Row {
        std::u16string_view text, delimiter;
        unsigned long token;
        std::u16string_view expected;
    } const rows[] = {
        {u"a,b,c", u",", 0, u""},     {u"a,b,c", u",", 1, u"b"},    {u"a,b,c", u",", 2, u"c"},
        {u"a,b,c", u",", 3, u""},     {u"a,,c", u",", 1, u""},      {u"a,,c", u",", 2, u"c"},
        {u"abc", u",", 1, u""},       {u"a,", u",", 1, u""},        {u",a", u",", 1, u"a"},
        {u"a::b::c", u"::", 1, u"b"}, {u"a::b::c", u"::", 2, u"c"}, {u"a,b", u"", 1, u""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(W(row.text)) + " " + std::to_string(row.token));
        const AString text = Make(row.text);
        EXPECT_EQ(Of(text.GetToken(Make(row.delimiter), row.token)), W(row.expected));
        if (row.delimiter.size() == 1) {
            EXPECT_EQ(Of(text.GetToken(row.delimiter[0], row.token)), W(row.expected));
        }
    }
}

// ---- A source inside the string itself ----

TEST_F(AStringTest, SourceInsideItsOwnBuffer) {
    const std::u16string letters =
        u"abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789+-";
    for (std::size_t length : {3u, 20u, 40u, 63u}) {
        SCOPED_TRACE(length);
        const std::u16string base = letters.substr(0, length);
        // Each edit starts from base and reads from the string it changes.
        const auto expect = [&](const std::u16string& expected, const auto& edit) {
            AString s = Make(base);
            edit(s);
            EXPECT_EQ(Of(s), W(expected));
        };
        expect(base + base, [](AString& s) { s += s; });
        expect(base + base.substr(1), [](AString& s) { s.Append(s.GrabWString() + 1); });
        expect(base.substr(1), [](AString& s) { s.SetString(s.GrabWString() + 1); });
        expect(base, [](AString& s) { s = static_cast<const AString&>(s); });
        for (unsigned long at = 0; at <= length; ++at) {
            SCOPED_TRACE(at);
            expect(std::u16string(base).insert(at, base), [at](AString& s) { s.Insert(at, s); });
            expect(std::u16string(base).insert(at, base.substr(length / 2)),
                   [&](AString& s) { s.Insert(at, s.GrabWString() + length / 2); });
        }
    }
}

// ---- 32-bit counts ----

TEST_F(AStringTest, AllOnesRequestsAreRefused) {
    AString s("abc");
    const int allocations = gAllocations;
    s.Preallocate(0xFFFFFFFFul);
    EXPECT_EQ(s.Capacity(), 31u);
    EXPECT_EQ(gAllocations, allocations);
    s.SetBuffer(s.GrabWString(), 0xFFFFFFFFul);
    EXPECT_EQ(Of(s), W(u"abc"));
    if (sizeof(unsigned long) > 4) {
        // Wider counts are cut to 32 bits, as on a host whose unsigned long has 32.
        const unsigned long wide = static_cast<unsigned long>(~0ull);
        AString t("abcd");
        EXPECT_EQ(Of(t.Substring(wide - 0xFFFFFFFFul + 1, wide)), W(u"bcd"));
        EXPECT_EQ(t.IndexOf(u'z'), 0xFFFFFFFFul);
    }
}

// ---- Null from a registered allocate procedure ----

// A text of 40 units in a heap block, made before blocks are refused.
const AString* gHeapText = nullptr;
const std::u16string kFull(31, u'f');
const std::u16string kLocalX(31, u'x');

TEST_F(AStringTest, FailedGrowthKeepsWhatTheOperationPromises) {
    const AString heapText(std::string(40, 'y').c_str());
    gHeapText = &heapText;
    AString shrink(std::string(100, 'z').c_str());
    // Records (under 128 bytes) still come; text blocks (64 units and more) do not.
    gFailFrom = 128;
    const EditRow rows[] = {
        {"append", u"abc", [](AString& s) { s.Append(*gHeapText); }, u"abc"},
        {"insert", u"abc", [](AString& s) { s.Insert(1, *gHeapText); }, u"abc"},
        {"+=", u"abc", [](AString& s) { s += *gHeapText; }, u"abc"},
        {"setchar past a full local buffer", kFull, [](AString& s) { s.SetChar(31, u'g'); }, kFull},
        {"setbuffer", u"abc", [](AString& s) { s.SetBuffer(gHeapText->GrabWString(), 40); },
         u"abc"},
        // Assignment brings the former text back up to its first 0 unit, with counts afresh.
        {"setstring", std::u16string_view(u"ab\0c", 4), [](AString& s) { s.SetString(*gHeapText); },
         u"ab"},
        {"assignment", u"", [](AString& s) { (s = Singly()) = *gHeapText; }, u"\xD83D\xDE00"},
        {"c string: what fits the local buffer", u"abc",
         [](AString& s) { s = std::string(40, 'x').c_str(); }, kLocalX},
        // operator+ and Substring give what found room.
        {"operator+", u"ab", [](AString& s) { s = s + *gHeapText; }, u"ab"},
        {"substring to the end", u"", [](AString& s) { s = gHeapText->Substring(1); }, u""},
        {"short substring", u"", [](AString& s) { s = gHeapText->Substring(1, 5); }, u"yyyyy"},
    };
    ExpectEdits(rows);
    AString pre("abc");
    pre.Preallocate(100);
    EXPECT_EQ(pre.Capacity(), 31u);
    // Shrink keeps the block when the smaller one is refused.
    shrink.Shrink(true);
    EXPECT_EQ(shrink.Capacity(), 127u);
    EXPECT_EQ(shrink.UTF16Count(), 100u);
}

TEST_F(AStringTest, StringWithoutRecordIsEmptyAndInert) {
    gFailFrom = 0;
    AString none("text");
    AString other(none);
    EXPECT_TRUE(none.IsEmpty());
    ASSERT_NE(none.GrabWString(), nullptr);
    EXPECT_EQ(none.GrabWString()[0], 0);
    none += u'a';
    none.SetString(other);
    EXPECT_EQ(none.CharCount(), 0u);
    EXPECT_TRUE(none == other);
    EXPECT_EQ(none.IndexOf(u'a'), kNotFound);
    EXPECT_EQ(gAllocations, 0);
    gFailFrom = ~0ull;
    AString live("abc");
    none = std::move(live);
    EXPECT_EQ(Of(none), W(u"abc"));
}

} // namespace
