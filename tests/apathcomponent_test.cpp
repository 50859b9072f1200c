// Tests of APathComponent: the split, base and extension editing, validity and the drive flag.
#include <zelk/apathcomponent.h>

#include "testsupport.h"

#include <string>
#include <utility>

using vorlan::zelk::APathComponent;
using vorlan::zelk::AString;

namespace {

// The stored lengths show through GetBase and GetExtension.
void ExpectSplit(const APathComponent& component, const char* text, unsigned long baseLength,
                 unsigned long extensionLength) {
    const AString whole(text);
    EXPECT_TRUE(component.Get() == whole);
    EXPECT_TRUE(component.GetBase() == whole.Substring(0, baseLength));
    EXPECT_EQ(component.GetBase().CharCount(), baseLength);
    EXPECT_EQ(component.GetExtension().CharCount(), extensionLength);
    if (extensionLength != 0) {
        EXPECT_TRUE(component.GetExtension() == whole.Substring(baseLength + 1));
    }
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

struct SplitRow {
    const char* text;
    unsigned long baseLength;
    unsigned long extensionLength;
};

const SplitRow kSplitRows[] = {
    {"file.txt", 4, 3}, {"a b.old.txt", 7, 3}, {"file", 4, 0}, {".hidden", 0, 6},
    {".a.b", 2, 1},     {"..a", 1, 1},         {"a.", 1, 0},   {"a..", 2, 0},
    {"...", 2, 0},      {".", 1, 0},           {"..", 2, 0},   {"", 0, 0},
};

TEST(APathComponentTest, SplitTable) {
    for (const SplitRow& row : kSplitRows) {
        SCOPED_TRACE(row.text);
        const APathComponent built{AString(row.text)};
        ExpectSplit(built, row.text, row.baseLength, row.extensionLength);
        APathComponent set{AString("other.x")};
        EXPECT_TRUE(set.Set(AString(row.text)) == built);
    }
}

struct EditRow {
    const char* before;
    const char* argument;
    const char* after;
    unsigned long baseLength;
    unsigned long extensionLength;
};

const EditRow kSetBaseRows[] = {
    {"file.txt", "name", "name.txt", 4, 3},
    {"file.txt", "", ".txt", 0, 3},
    {"file", "", "", 0, 0},
    {"a.", "", "", 0, 0},
    {"a.", "b", "b.", 1, 0},
    {"a.", "..", "..", 2, 0},
    {"a.txt", "..", "...txt", 2, 3},
    {"x", "a.b", "a.b", 3, 0},
    {"..", "x", "x", 1, 0},
    {"", "a", "a", 1, 0},
};

const EditRow kSetExtensionRows[] = {
    {"file.txt", "md", "file.md", 4, 2}, {"file.txt", "", "file.", 4, 0},
    {"file", "txt", "file.txt", 4, 3},   {"file.", "txt", "file.txt", 4, 3},
    {"file", "a.b", "file.a.b", 4, 3},   {"file", ".txt", "file..txt", 4, 4},
    {".", "txt", ".txt", 0, 3},          {"..", "txt", ".txt", 0, 3},
    {"", "txt", ".txt", 0, 3},
};

TEST(APathComponentTest, SetBaseAndSetExtensionTables) {
    for (const EditRow& row : kSetBaseRows) {
        SCOPED_TRACE(std::string("SetBase ") + row.before + " <- " + row.argument);
        APathComponent component{AString(row.before)};
        EXPECT_EQ(&component.SetBase(AString(row.argument)), &component);
        ExpectSplit(component, row.after, row.baseLength, row.extensionLength);
    }
    for (const EditRow& row : kSetExtensionRows) {
        SCOPED_TRACE(std::string("SetExtension ") + row.before + " <- " + row.argument);
        APathComponent component{AString(row.before)};
        EXPECT_EQ(&component.SetExtension(AString(row.argument)), &component);
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
        EXPECT_FALSE(component.IsWinDrive());
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

TEST(APathComponentTest, IsValidTable) {
    const unsigned short x[] = {u'x', 0};
    const unsigned short pair[] = {0xD83D, 0xDE00, 0};
    const unsigned short control[] = {u'a', 0x01, 0};
    const struct {
        const char* name;
        AString text;
        bool valid;
    } rows[] = {
        {"255 x", Repeat(x, 255), true},
        {"256 x", Repeat(x, 256), false},
        {"255 pairs", Repeat(pair, 255), true},
        {"256 pairs", Repeat(pair, 256), false},
        {"dot", AString("."), true},
        {"dot dot", AString(".."), true},
        {"three dots", AString("..."), true},
        {"empty", AString(), false},
        {"device name", AString("con"), true},
        {"trailing dot", AString("a."), true},
        {"blanks", AString(" a "), true},
        {"control", AString(control), true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(APathComponent(row.text).IsValid(), row.valid);
    }
    for (const char forbidden : std::string("/\\:*?\"<>|")) {
        SCOPED_TRACE(forbidden);
        AString text("a.b");
        text.SetChar(1, static_cast<unsigned short>(forbidden));
        EXPECT_FALSE(APathComponent(text).IsValid());
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
    EXPECT_FALSE(APathComponent(Repeat(x, 300)).MakeValid(u'-').IsValid());
}

TEST(APathComponentTest, EqualityCopiesAndMoves) {
    // Equal texts with different splits differ.
    const APathComponent source{AString("a.b")};
    APathComponent whole;
    whole.SetBase(AString("a.b"));
    EXPECT_TRUE(whole.Get() == source.Get() && whole != source && !(whole == source));
    EXPECT_TRUE(APathComponent(AString("A.b")) != source);

    APathComponent copy(source);
    copy.SetExtension(AString("md"));
    EXPECT_TRUE(source.Get() == AString("a.b"));
    copy = source;
    EXPECT_TRUE(copy == source);
    APathComponent moved(std::move(copy));
    EXPECT_TRUE(moved == source);
    EXPECT_TRUE(copy.IsEmpty()); // NOLINT(bugprone-use-after-move): documented state
    whole = std::move(moved);
    EXPECT_TRUE(whole == source);
    EXPECT_TRUE(moved.GetBase() == AString("a.b"));
}

using APathComponentHooked = zelktest::HookedTest;

TEST_F(APathComponentHooked, ObjectWithoutRecordIsAnInertEmptyComponent) {
    const AString text("C:");
    zelktest::gFailFrom = 0;
    APathComponent orphan(text);
    zelktest::gFailFrom = ~0ull;

    orphan.Set(text).SetBase(text).SetExtension(text).MakeValid(u'-');
    EXPECT_FALSE(orphan.SetIsWinDrive());
    EXPECT_TRUE(orphan.IsEmpty());
    EXPECT_FALSE(orphan.IsValid());
    EXPECT_TRUE(orphan.Get().IsEmpty() && orphan.GetBase().IsEmpty());
    EXPECT_TRUE(orphan == APathComponent() && APathComponent() == orphan);
    EXPECT_TRUE(orphan != APathComponent(text));
    // Assignment gives it a record again.
    const APathComponent drive = FlaggedDrive("C:");
    orphan = drive;
    EXPECT_TRUE(orphan == drive);
}

} // namespace
