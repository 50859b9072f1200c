// Tests of the UTF-8 converters: the byte table, malformed input, and the ASCII fast paths
// against a plain table walk.
#include <zelk/astring.h>
#include <zelk/astring8.h>

#include "testsupport.h"

#include <cstdint>
#include <string>
#include <vector>

using vorlan::zelk::AString;
using vorlan::zelk::AString8;

namespace {

using Units = std::vector<unsigned short>;
using Bytes = std::vector<unsigned char>;

AString MakeText(const Units& units) {
    return units.empty() ? AString()
                         : AString(units.data(), static_cast<unsigned long>(units.size()));
}

AString8 MakeBytes(const Bytes& bytes) {
    return AString8(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

Units Of(const AString& text) {
    return Units(text.GrabWString(), text.GrabWString() + text.UTF16Count());
}

Bytes Of(const AString8& text) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.c_str());
    return Bytes(bytes, bytes + text.size());
}

// ---- The table walk: the converters themselves, one character per call ----

// Texts of one character are too short for the fast paths, which take whole words at a time.
Bytes WalkEncode(const Units& units) {
    Bytes out;
    for (std::size_t i = 0; i < units.size();) {
        const bool pair = i + 1 < units.size() && units[i] >= 0xD800 && units[i] <= 0xDBFF &&
                          units[i + 1] >= 0xDC00 && units[i + 1] <= 0xDFFF;
        AString8 bytes("\0", 1); // a 0 unit gives a 0 byte (a text cannot start with one)
        if (units[i] != 0) {
            AString::AStringToUTF8(MakeText(Units(&units[i], &units[i] + (pair ? 2 : 1))), bytes);
        }
        const Bytes some = Of(bytes);
        out.insert(out.end(), some.begin(), some.end());
        i += pair ? 2 : 1;
    }
    return out;
}

struct Decoded {
    Units units;
    unsigned long chars = 0;
};

// A lead byte that has too few bytes behind it, or none of the table, goes alone.
Decoded WalkDecode(const Bytes& bytes) {
    Decoded out;
    for (std::size_t i = 0; i < bytes.size();) {
        const unsigned b = bytes[i];
        const std::size_t need = b < 0x80 ? 1 : b < 0xE0 ? 2 : b < 0xF0 ? 3 : b < 0xF8 ? 4 : 0;
        const std::size_t take = need == 0 || bytes.size() - i < need ? 1 : need;
        AString text;
        AString::UTF8ToAString(MakeBytes(Bytes(&bytes[i], &bytes[i] + take)), text);
        const Units some = Of(text);
        out.units.insert(out.units.end(), some.begin(), some.end());
        out.chars += text.CharCount();
        i += take;
    }
    return out;
}

// ---- The byte table ----

enum Way { kBoth, kEncodes, kDecodes };

TEST(AStringConvertTest, ByteTable) {
    const struct Row {
        Way way;
        Units units;
        Bytes bytes;
        unsigned long chars; // of the decoded text
    } rows[] = {
        {kBoth, {0x41, 0x7F}, {0x41, 0x7F}, 2},
        {kBoth, {0x80}, {0xC2, 0x80}, 1},
        {kBoth, {0x7FF}, {0xDF, 0xBF}, 1},
        {kBoth, {0x800}, {0xE0, 0xA0, 0x80}, 1},
        {kBoth, {0xFFFF}, {0xEF, 0xBF, 0xBF}, 1},
        {kBoth, {0xFEFF, 0x41}, {0xEF, 0xBB, 0xBF, 0x41}, 2}, // no mark is added or taken away
        {kBoth, {}, {}, 0},
        // surrogates: a pair in four bytes, a lone one in three
        {kBoth, {0xD83D, 0xDE00}, {0xF0, 0x9F, 0x98, 0x80}, 1},
        {kBoth, {0xDBFF, 0xDFFF}, {0xF4, 0x8F, 0xBF, 0xBF}, 1},
        {kBoth, {0xD800}, {0xED, 0xA0, 0x80}, 1},
        {kBoth, {0xD800, 0x41}, {0xED, 0xA0, 0x80, 0x41}, 2},
        {kBoth, {0xD800, 0xD800, 0xDC00}, {0xED, 0xA0, 0x80, 0xF0, 0x90, 0x80, 0x80}, 2},
        {kBoth, {0xDC00}, {0xED, 0xB0, 0x80}, 1},
        {kBoth, {0x41, 0xD800}, {0x41, 0xED, 0xA0, 0x80}, 2},
        {kDecodes, {0xD83D, 0xDE00}, {0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80}, 2},
        // four bytes below U+10000 and beyond U+10FFFF
        {kDecodes, {0xFFC0}, {0xF0, 0x80, 0x80, 0x80}, 1},
        {kDecodes, {0xDC00}, {0xF4, 0x90, 0x80, 0x80}, 1},
        // a 0 unit is written but dropped when read; overlong forms
        {kEncodes, {0x41, 0x00, 0x42}, {0x41, 0x00, 0x42}, 0},
        {kDecodes, {0x41, 0x42}, {0x41, 0x00, 0x42}, 2},
        {kDecodes, {0x41}, {0xC1, 0x81}, 1},
        {kDecodes, {}, {0xC0, 0x80}, 0},
        {kDecodes, {}, {0xE0, 0x80, 0x80}, 0},
        // trailing bytes are not tested
        {kDecodes, {0x41, 0x02}, {0x41, 0x80, 0x42}, 2},
        {kDecodes, {0xC1}, {0xC3, 0x41}, 1},
        // bytes without a row, and leads cut short: skipped one by one
        {kDecodes, {0x41}, {0xF8, 0x41}, 1},
        {kDecodes, {0x41}, {0x41, 0xC3}, 1},
        {kDecodes, {0x41}, {0x41, 0x80}, 1},
        {kDecodes, {0x7D8}, {0xF0, 0x9F, 0x98}, 1}, // F0 skipped, then 9F 98 as a two-byte form
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.bytes));
        if (row.way != kDecodes) {
            AString8 target("former text of the target");
            AString::AStringToUTF8(MakeText(row.units), target);
            EXPECT_EQ(Of(target), row.bytes);
        }
        if (row.way != kEncodes) {
            AString target("former text");
            AString::UTF8ToAString(MakeBytes(row.bytes), target);
            EXPECT_EQ(Of(target), row.units);
            EXPECT_EQ(target.CharCount(), row.chars);
        }
    }
    // A pair written as two three-byte forms compares equal to its four-byte form, but counts
    // two characters.
    AString six, four;
    AString::UTF8ToAString(MakeBytes({0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80}), six);
    AString::UTF8ToAString(MakeBytes({0xF0, 0x9F, 0x98, 0x80}), four);
    EXPECT_EQ(six.Compare(four), 0);
    EXPECT_FALSE(six == four);
}

// ---- Sizing ----

using AStringConvertHooked = zelktest::HookedTest;
using zelktest::gAllocations;

TEST_F(AStringConvertHooked, TargetsAreSizedOnceAndTrimmed) {
    const AString source = MakeText(Units(40, 0x7FF));
    AString8 bytes;
    gAllocations = 0;
    AString::AStringToUTF8(source, bytes);
    EXPECT_EQ(gAllocations, 1);

    AString text;
    const AString8 ascii = MakeBytes(Bytes(300, 'a'));
    gAllocations = 0;
    AString::UTF8ToAString(ascii, text);
    EXPECT_EQ(gAllocations, 1);
    EXPECT_EQ(text.Capacity(), 319u);

    // A mostly multi-byte text gives back what it did not use.
    AString::UTF8ToAString(MakeBytes(WalkEncode(Units(100, 0xE9))), text);
    EXPECT_EQ(text.Capacity(), 127u);

    // An empty source releases the heap block.
    AString::UTF8ToAString(AString8(), text);
    EXPECT_TRUE(text.IsEmpty());
    EXPECT_EQ(text.Capacity(), 31u);
}

// ---- Fast paths against the plain walk ----

std::uint32_t gSeed = 12345;
std::uint32_t Next() {
    gSeed = gSeed * 1664525u + 1013904223u;
    return gSeed >> 8;
}

// The encoder, appending a byte at a time into a target prepared the same way.
// (A text cannot start with a 0 unit: such units give the empty string.)
void CheckEncode(const Units& wanted) {
    const AString text = MakeText(wanted);
    const Units units = Of(text);
    AString8 fast;
    AString::AStringToUTF8(text, fast);
    AString8 slow;
    slow.reserve(static_cast<unsigned long>(units.size() * 2));
    for (unsigned char byte : WalkEncode(units)) {
        slow += static_cast<char>(byte);
    }
    slow.reserve(0);
    ASSERT_EQ(Of(fast), Of(slow)) << testing::PrintToString(units);
    ASSERT_EQ(fast.capacity(), slow.capacity()) << testing::PrintToString(units);
}

void CheckDecode(const Bytes& bytes) {
    AString fast;
    AString::UTF8ToAString(MakeBytes(bytes), fast);
    const Decoded slow = WalkDecode(bytes);
    ASSERT_EQ(Of(fast), slow.units) << testing::PrintToString(bytes);
    ASSERT_EQ(fast.CharCount(), slow.chars) << testing::PrintToString(bytes);
}

TEST(AStringConvertTest, FastPathsAgreeAtEveryOffset) {
    const std::vector<Units> specials = {
        {0x00}, {0x7F}, {0x80}, {0x7FF}, {0x800}, {0xD83D, 0xDE00}, {0xD83D}, {0xDE00}, {0x4E2D},
    };
    const std::vector<Bytes> specialBytes = {
        {0x00}, {0x80}, {0xC3, 0xA9}, {0xE2, 0x82, 0xAC}, {0xF0, 0x9F, 0x98, 0x80},
        {0xF8}, {0xC3}, {0xE2, 0x82}, {0xF0, 0x9F, 0x98},
    };
    for (std::size_t before = 0; before <= 20; ++before) {
        for (std::size_t after = 0; after <= 20; after += 3) {
            for (const Units& special : specials) {
                Units units(before, 'a');
                units.insert(units.end(), special.begin(), special.end());
                units.insert(units.end(), after, 'b');
                CheckEncode(units);
            }
            for (const Bytes& special : specialBytes) {
                Bytes bytes(before, 'a');
                bytes.insert(bytes.end(), special.begin(), special.end());
                bytes.insert(bytes.end(), after, 'b');
                CheckDecode(bytes);
            }
        }
    }
}

TEST(AStringConvertTest, FastPathsAgreeOnMixedText) {
    // ASCII in shares from none to three quarters, the rest mostly three-byte units: the denser
    // texts outgrow the target's first block.
    for (int round = 0; round < 300; ++round) {
        Units units(Next() % 400);
        for (unsigned short& unit : units) {
            const std::uint32_t r = Next() % 16;
            const std::uint32_t ascii = static_cast<std::uint32_t>(round % 12);
            unit = static_cast<unsigned short>(r < ascii       ? 0x20 + Next() % 0x5F
                                               : r == ascii    ? Next() % 3
                                               : r < ascii + 4 ? Next() % 0x10000
                                                               : 0x4E00 + Next() % 0x100);
        }
        CheckEncode(units);
        Bytes bytes(Next() % 400);
        for (unsigned char& byte : bytes) {
            const std::uint32_t r = Next() % 8;
            byte = static_cast<unsigned char>(r < 5 ? 0x20 + Next() % 0x5F : Next() % 0x100);
        }
        CheckDecode(bytes);
        CheckDecode(WalkEncode(units));
    }
}

} // namespace
