// Tests of APathComponent: the split, base and extension editing, validity and the drive flag.
#include <zelk/apathcomponent.h>

#include "testsupport.h"

#include <new>
#include <sstream>
#include <string>
#include <unordered_set>
#include <utility>

using vorlan::zelk::APathComponent;
using vorlan::zelk::AString;

namespace {

// The stored lengths show through GetBase and GetExtension (the extension behind the dot).
void ExpectSplit(const APathComponent& component, const char* text, unsigned long baseLength,
                 unsigned long extensionLength) {
    const AString whole(text);
    EXPECT_TRUE(component.Get() == whole);
    EXPECT_TRUE(component.GetBase() == whole.Substring(0, baseLength));
    EXPECT_TRUE(component.GetExtension() == whole.Substring(baseLength + 1, extensionLength));
}

AString Repeat(const unsigned short* unit, unsigned long times) {
    AString text;
    for (unsigned long i = 0; i < times; ++i) {
        text += unit;
    }
    return text;
}

APathComponent FlaggedDrive(const char* text) {
    APathComponent drive{AString(text)};
    drive.SetIsWinDrive();
    return drive;
}

const struct {
    const char* text;
    unsigned long baseLength, extensionLength;
} kSplitRows[] = {
    {"file.txt", 4, 3}, {"a b.old.txt", 7, 3}, {"file", 4, 0}, {".hidden", 0, 6},
    {".a.b", 2, 1},     {"..a", 1, 1},         {"a.", 1, 0},   {"a..", 2, 0},
    {"...", 2, 0},      {".", 1, 0},           {"..", 2, 0},   {"", 0, 0},
};

TEST(APathComponentTest, SplitTable) {
    for (const auto& row : kSplitRows) {
        SCOPED_TRACE(row.text);
        const APathComponent built{AString(row.text)};
        ExpectSplit(built, row.text, row.baseLength, row.extensionLength);
        APathComponent set{AString("other.x")};
        EXPECT_TRUE(set.Set(AString(row.text)) == built);
    }
}

TEST(APathComponentTest, SetBaseAndSetExtensionTables) {
    const struct {
        bool extension; // SetExtension, else SetBase
        const char *before, *argument, *after;
        unsigned long baseLength, extensionLength;
    } rows[] = {
        {false, "file.txt", "name", "name.txt", 4, 3},
        {false, "file.txt", "", ".txt", 0, 3},
        {false, "file", "", "", 0, 0},
        {false, "a.", "..", "..", 2, 0},
        {false, "a.txt", "..", "...txt", 2, 3},
        {false, "x", "a.b", "a.b", 3, 0},
        {false, "..", "x", "x", 1, 0},
        {false, "", "a", "a", 1, 0},
        {true, "file.txt", "md", "file.md", 4, 2},
        {true, "file.txt", "", "file.", 4, 0},
        {true, "file", "txt", "file.txt", 4, 3},
        {true, "file.", "txt", "file.txt", 4, 3},
        {true, ".", "txt", ".txt", 0, 3},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.before) + " <- " + row.argument);
        APathComponent component{AString(row.before)};
        const AString argument(row.argument);
        EXPECT_EQ(row.extension ? &component.SetExtension(argument) : &component.SetBase(argument),
                  &component);
        ExpectSplit(component, row.after, row.baseLength, row.extensionLength);
    }
    // Edits in a row work on the stored split: an empty base keeps the dot for the extension.
    APathComponent chain{AString("a.txt")};
    chain.SetBase(AString()).SetExtension(AString("md")).SetBase(AString("b"));
    ExpectSplit(chain, "b.md", 1, 2);
    // ".." made by SetExtension is an alias with an extension; it is still given up whole.
    APathComponent dots;
    dots.SetExtension(AString("."));
    ExpectSplit(dots, "..", 0, 1);
    dots.SetExtension(AString("x"));
    ExpectSplit(dots, ".x", 0, 1);
}

TEST(APathComponentTest, SetIsWinDriveTable) {
    const struct {
        const char* text;
        bool drive;
    } rows[] = {
        {"C:", true},   {"z:", true},   {"C:.", true}, {"ab", false}, {"1:", false},
        {"C:x", false}, {"C", false},   {"@:", false}, {"[:", false}, {"`:", false},
        {"{:", false},  {"C.:", false}, {"", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        APathComponent component{AString(row.text)};
        EXPECT_EQ(component.SetIsWinDrive(), row.drive);
        EXPECT_EQ(component.IsWinDrive(), row.drive);
    }
    EXPECT_FALSE(vorlan::zelk::IsWinDriveLetter(0xFF21));
    EXPECT_FALSE(vorlan::zelk::IsWinDriveDelimiter(0xFF1A));
}

TEST(APathComponentTest, DriveFlagSurvivesOnlyNonChanges) {
    const APathComponent drive = FlaggedDrive("C:");
    EXPECT_FALSE(APathComponent(AString("C:")).IsValid());
    EXPECT_TRUE(drive.IsValid());
    EXPECT_TRUE(drive != APathComponent(AString("C:")));
    const struct {
        const char* name;
        void (*apply)(APathComponent&);
        bool keepsFlag;
    } edits[] = {
        {"Set same", [](APathComponent& c) { c.Set(AString("C:")); }, true},
        {"SetBase same", [](APathComponent& c) { c.SetBase(AString("C:")); }, true},
        {"SetExtension same", [](APathComponent& c) { c.SetExtension(AString()); }, true},
        {"MakeValid", [](APathComponent& c) { c.MakeValid(u'-'); }, true},
        {"Set other", [](APathComponent& c) { c.Set(AString("D:")); }, false},
        {"SetBase other", [](APathComponent& c) { c.SetBase(AString("D:")); }, false},
        {"SetExtension other", [](APathComponent& c) { c.SetExtension(AString("x")); }, false},
    };
    for (const auto& edit : edits) {
        SCOPED_TRACE(edit.name);
        APathComponent component = drive;
        edit.apply(component);
        EXPECT_EQ(component.IsWinDrive(), edit.keepsFlag);
        EXPECT_EQ(component == drive, edit.keepsFlag);
    }
}

TEST(APathComponentTest, Validity) {
    const unsigned short x[] = {u'x', 0};
    const unsigned short pair[] = {0xD83D, 0xDE00, 0};
    const unsigned short control[] = {u'a', 0x01, 0};
    // Up to 255 characters; dots, device names, blanks and control characters are allowed.
    for (const AString& text :
         {Repeat(x, 255), Repeat(pair, 255), AString("."), AString(".."), AString("..."),
          AString("con"), AString("a."), AString(" a "), AString(control)}) {
        EXPECT_TRUE(APathComponent(text).IsValid()) << zelktest::Narrow(text);
    }
    for (const AString& text : {Repeat(x, 256), Repeat(pair, 256), AString()}) {
        EXPECT_FALSE(APathComponent(text).IsValid()) << text.CharCount();
    }
    for (const char forbidden : std::string("/\\:*?\"<>|")) {
        AString text("a.b");
        text.SetChar(1, static_cast<unsigned short>(forbidden));
        EXPECT_FALSE(APathComponent(text).IsValid()) << forbidden;
    }
}

TEST(APathComponentTest, MakeValidOverwritesInPlaceOnly) {
    APathComponent component{AString("a:b.c?d")};
    component.MakeValid(u'-');
    ExpectSplit(component, "a-b.c-d", 3, 3);
    EXPECT_TRUE(component.IsValid());
    EXPECT_TRUE(APathComponent(AString("/\\:*?\"<>|")).MakeValid(u'_').Get() ==
                AString("_________"));
    // A dot does not move the split; 0 changes nothing; a forbidden one is written all the same.
    APathComponent dotted{AString("a:b")};
    ExpectSplit(dotted.MakeValid(u'.'), "a.b", 3, 0);
    EXPECT_TRUE(APathComponent(AString("a:b")).MakeValid(0).Get() == AString("a:b"));
    EXPECT_TRUE(APathComponent(AString("a:b:")).MakeValid(u'/').Get() == AString("a/b/"));

    const unsigned short x[] = {u'x', 0};
    const APathComponent untouched[] = {APathComponent(AString("..")), FlaggedDrive("C:"),
                                        APathComponent(), APathComponent(Repeat(x, 300))};
    for (const APathComponent& original : untouched) {
        APathComponent copy = original;
        EXPECT_TRUE(copy.MakeValid(u'-') == original);
    }
}

TEST(APathComponentTest, EqualityCopiesAndMoves) {
    // Equal texts with different splits differ.
    const APathComponent source{AString("a.b")};
    APathComponent whole;
    whole.SetBase(AString("a.b"));
    EXPECT_TRUE(whole.Get() == source.Get() && whole != source && !(whole == source));
    // A copy is its own; a moved-from component is empty; move assignment swaps.
    APathComponent copy(source);
    copy.SetExtension(AString("md"));
    EXPECT_TRUE(source.Get() == AString("a.b"));
    APathComponent moved(std::move(copy));
    EXPECT_TRUE(copy.IsEmpty()); // NOLINT(bugprone-use-after-move): documented state
    whole = std::move(moved);
    EXPECT_TRUE(whole.Get() == AString("a.md"));
    EXPECT_TRUE(moved.GetBase() == AString("a.b"));
}

using APathComponentHooked = zelktest::HookedTest;

// Memory refused for a record is std::bad_alloc, never a component that lost its text; one
// without a record reads as the empty component and takes a record when it gets text.
TEST_F(APathComponentHooked, RefusedRecordsThrowAndLeaveNothingShorter) {
    const AString text("C:");
    const APathComponent drive = FlaggedDrive("C:");
    zelktest::gFailFrom = 0;
    EXPECT_THROW(APathComponent{text}, std::bad_alloc);
    EXPECT_THROW(APathComponent{drive}, std::bad_alloc);
    APathComponent empty; // needs no record
    EXPECT_THROW(empty.Set(text), std::bad_alloc);
    APathComponent copy;
    EXPECT_THROW(copy = drive, std::bad_alloc);
    zelktest::gFailFrom = ~0ull;
    EXPECT_TRUE(empty.IsEmpty() && empty == APathComponent() && copy == APathComponent());

    APathComponent moved(std::move(copy = drive));
    EXPECT_TRUE(moved == drive);
    copy.Set(AString("x.y")); // the source of the move takes a new record
    ExpectSplit(copy, "x.y", 1, 1);
}

TEST(APathComponentTest, MaximumLengthIs32BitsWide) {
    static_assert(sizeof(APathComponent::kMaxComponentLength) == 4);
    EXPECT_EQ(APathComponent::kMaxComponentLength, 255u);
}

// A lone surrogate is a character of its own: it stays in the part it ends, and a separator
// behind a lone high surrogate is still forbidden.
TEST(APathComponentTest, LoneSurrogatesAndZeroUnits) {
    const struct {
        std::u16string text, base, extension;
        bool valid;
    } rows[] = {
        {u"\xD800", u"\xD800", u"", true},
        {u"a.\xD800", u"a", u"\xD800", true},
        {u"a\xD800.txt", u"a\xD800", u"txt", true},
        {u"\xDC00.\xD800", u"\xDC00", u"\xD800", true},
        {u"a\xD800/", u"a\xD800/", u"", false},
        {u"a\xD800\\b", u"a\xD800\\b", u"", false},
        {std::u16string(u"a\0b", 3), std::u16string(u"a\0b", 3), u"", false},
    };
    const auto units = [](const std::u16string& text) {
        return AString(reinterpret_cast<const unsigned short*>(text.data()),
                       static_cast<unsigned long>(text.size()));
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(zelktest::Narrow(row.text));
        APathComponent component(units(row.text));
        EXPECT_TRUE(component.Get() == units(row.text));
        EXPECT_TRUE(component.GetBase() == units(row.base));
        EXPECT_TRUE(component.GetExtension() == units(row.extension));
        EXPECT_EQ(component.IsValid(), row.valid);
        // Only the forbidden units change; the surrogates stay where they are.
        component.MakeValid(u'-');
        EXPECT_EQ(component.Get().UTF16Count(), row.text.size());
        EXPECT_TRUE(component.IsValid());
    }
}

TEST(APathComponentTest, HashFollowsEqualityAndStreamsWriteUTF8) {
    APathComponent whole;
    whole.SetBase(AString("a.b"));
    const APathComponent split{AString("a.b")};
    const APathComponent drive = FlaggedDrive("C:");
    std::unordered_set<APathComponent> set = {split, whole, drive, APathComponent(AString("C:")),
                                              APathComponent()};
    EXPECT_EQ(set.size(), 5u);
    EXPECT_EQ(set.count(APathComponent(AString("a.b"))), 1u);
    EXPECT_EQ(set.count(APathComponent(AString("a.c"))), 0u);
    EXPECT_EQ(std::hash<APathComponent>()(split),
              std::hash<APathComponent>()(APathComponent(split)));

    const unsigned short text[] = {u'x', 0xE9, 0xD83D, 0xDE00, 0xD800, 0};
    std::ostringstream out;
    out << APathComponent(AString(text)) << '|' << APathComponent();
    EXPECT_EQ(out.str(), "x\xC3\xA9\xF0\x9F\x98\x80\xED\xA0\x80|");
}

} // namespace
