// Tests of the AFile facade: its three states, copies and moves, naming and PathChanged calls.
#include <zelk/afile.h>

#include <zelk/apath.h>
#include <zelk/apathcomponent.h>

#include "testsupport.h"

#include <string>
#include <utility>
#include <vector>

using namespace vorlan::zelk;
using namespace zelktest;

namespace {

using Changes = std::vector<std::string>;

// An AFile with an object but an empty path.
AFile EmptyObject() {
    AFile file;
    file.DeleteOnDestroy(true);
    file.DeleteOnDestroy(false);
    return file;
}

TEST(AFileStates, EmptyFormsAreEqualAndAnswerAlike) {
    const AFile none;
    const AFile fromText{AString()};
    const AFile fromPath{APath()};
    AFile removed(AString("x"));
    ASSERT_TRUE(removed.RemoveName());
    const AFile* all[] = {&none, &fromText, &fromPath, &removed};
    for (const AFile* left : all) {
        for (const AFile* right : all) {
            EXPECT_TRUE(*left == *right);
        }
        EXPECT_FALSE(left->HasPath() || left->HasParentPath() || left->HasValidPath());
        EXPECT_TRUE(left->GetPath(true).IsEmpty() && left->GetPath(false).IsEmpty() &&
                    left->GetPath().IsEmpty());
        EXPECT_TRUE(left->GetParentPath().IsEmpty() && left->GetParentPath(true).IsEmpty());
        EXPECT_TRUE(left->GetName().IsEmpty() && left->GetNameStr().IsEmpty());
        EXPECT_TRUE(!left->Exists() && left->IsEmpty() && left->GetSize() == 0u);
    }
    // Comparison is exact on the rendered text.
    EXPECT_FALSE(none == AFile(AString("C:\\x")));
    EXPECT_TRUE(AFile(AString("C:\\Dir\\x")) != AFile(AString("C:\\dir\\x")));
    EXPECT_TRUE(AFile(AString("C:\\Dir\\x")) == AFile(AString("C:/Dir/x")));
}

// Without an object, or with an empty path, creation reports a bad path.
TEST(AFileStates, CreationAndStructuresWithoutPath) {
    AFile files[] = {AFile(), EmptyObject()};
    for (AFile& file : files) {
        unsigned long code = 7;
        EXPECT_FALSE(file.MakeFile(true, &code));
        EXPECT_EQ(code, 161u);
        code = 7;
        EXPECT_FALSE(file.MakeDirectory(false, &code));
        EXPECT_EQ(code, 161u);
    }

    // Structures are left alone without an object and cleared with one.
    AFile::TimeAttributes times{1, 2, 3};
    EXPECT_FALSE(AFile().GetAttributes(times));
    EXPECT_EQ(times.fCreationTime, 1u);
    EXPECT_EQ(times.fAccessTime, 3u);

    const AFile emptyPath = EmptyObject();
    EXPECT_FALSE(emptyPath.GetAttributes(times));
    EXPECT_EQ(times.fCreationTime + times.fModificationTime + times.fAccessTime, 0u);

    AFile::BoolAttributes flags;
    flags.fIsFile = flags.fIsHidden = flags.fIsWritable = true;
    EXPECT_FALSE(AFile().GetAttributes(flags, true, true));
    EXPECT_TRUE(flags.fIsFile && flags.fIsHidden && flags.fIsWritable);
    EXPECT_FALSE(emptyPath.GetAttributes(flags, true, true));
    EXPECT_FALSE(flags.fIsFile || flags.fIsHidden || flags.fIsWritable);
}

TEST_F(HookedTest, NothingToStoreAllocatesNothing) {
    const int baseline = zelktest::gAllocations;
    {
        AFile none;
        AFile copy(none);
        AFile moved(std::move(copy));
        none = moved;
        none.DeleteOnDestroy(false);
        EXPECT_TRUE(none.RemoveName());
    }
    EXPECT_EQ(zelktest::gAllocations, baseline);
}

TEST_F(HookedTest, RefusedMemoryLeavesTheObjectWithout) {
    const APathComponent name(AString("x.txt"));
    const APath path = WinPath("C:\\dir\\x.txt");
    RecordingFile source(path);
    source.DeleteOnDestroy(true);
    RecordingFile file;
    zelktest::gFailFrom = 0;
    EXPECT_FALSE(file.AppendName(name));
    EXPECT_FALSE(file.SetName(name));
    file.SetPath(path);
    file.DeleteOnDestroy(true);
    file.Assign(source);
    AFile copy(source);
    zelktest::gFailFrom = ~0ull;
    EXPECT_FALSE(copy.HasPath());
    EXPECT_TRUE(file.fChanges.empty());
    EXPECT_TRUE(file == AFile());
    source.DeleteOnDestroy(false);
}

// Each row: target and source before `target = source`, and the texts the target's hook gets.
struct AssignRow {
    const char* name;
    const char* target; // null: no object; "": object with an empty path
    const char* source; // likewise
    Changes changes;
};

void Prepare(AFile& file, const char* state) {
    if (state != nullptr) {
        *state == 0 ? (void)(file = EmptyObject()) : file.SetPath(AString(state));
    }
}

TEST(AFileCopy, AssignmentCallsTheHookAsTold) {
    const AssignRow rows[] = {
        {"none to none", nullptr, nullptr, {}},      {"none to path", "C:\\a", nullptr, {"", ""}},
        {"none to empty object", "", nullptr, {}},   {"path to none", nullptr, "C:\\b", {"C:\\b"}},
        {"empty object to none", nullptr, "", {}},   {"path to path", "C:\\a", "C:\\b", {"C:\\b"}},
        {"empty object to path", "C:\\a", "", {""}}, {"same text", "C:\\a", "C:\\a", {"C:\\a"}},
    };
    for (const AssignRow& row : rows) {
        SCOPED_TRACE(row.name);
        RecordingFile target;
        Prepare(target, row.target);
        AFile source;
        Prepare(source, row.source);
        target.fChanges.clear();
        target.Assign(source);
        EXPECT_EQ(target.fChanges, row.changes);
        EXPECT_TRUE(target == source);
    }
    // A copy is independent, and self-assignment does nothing.
    RecordingFile source(AString("C:\\dir\\x.txt"));
    const AFile copy(source);
    source.Assign(source);
    ASSERT_TRUE(source.SetName(AString("y.txt")));
    EXPECT_EQ(Narrow(copy.GetPath(true)), "C:\\dir\\x.txt");
    EXPECT_EQ(source.fChanges, Changes{"C:\\dir\\y.txt"});
}

TEST(AFileCopy, MovesCallNoHookAndSwap) {
    RecordingFile first(AString("C:\\a"));
    RecordingFile second(AString("C:\\b"));
    static_cast<AFile&>(first) = std::move(static_cast<AFile&>(second));
    EXPECT_EQ(Narrow(first.GetPath(true)), "C:\\b");
    EXPECT_EQ(Narrow(second.GetPath(true)), "C:\\a");
    AFile taken(std::move(static_cast<AFile&>(first)));
    EXPECT_EQ(Narrow(taken.GetPath(true)), "C:\\b");
    EXPECT_TRUE(first.fChanges.empty());
    EXPECT_TRUE(second.fChanges.empty());
}

TEST(AFileNaming, AppendNameAndItsLengthLimit) {
    RecordingFile file;
    EXPECT_TRUE(file.AppendName(APathComponent()));

    const std::string tooLong(256, 'n');
    EXPECT_FALSE(file.AppendName(AString(tooLong.c_str())));
    // The object made for the attempt stays behind with an empty path, which SetName reports; the
    // failed calls before told nothing.
    EXPECT_TRUE(file.SetName(APathComponent()));
    EXPECT_EQ(file.fChanges, Changes{""});

    file.SetPath(AString("C:\\d"));
    file.fChanges.clear();
    const std::string longest(255, 'n');
    EXPECT_TRUE(file.AppendName(AString(longest.c_str())));
    EXPECT_EQ(file.fChanges, Changes{"C:\\d\\" + longest});
    EXPECT_FALSE(file.SetName(AString(tooLong.c_str())));
    // The limit counts units: 128 surrogate pairs are 128 characters but 256 units.
    AString pairs;
    for (int i = 0; i < 128; ++i) {
        pairs.Append(reinterpret_cast<const unsigned short*>(u"\xD83D\xDE00"));
    }
    EXPECT_FALSE(file.AppendName(pairs));
    EXPECT_EQ(file.fChanges.size(), 1u);
}

// The last RemoveName has nothing left to do and tells nobody.
TEST(AFileNaming, SetNameRemoveNameAndTheHook) {
    RecordingFile file;
    EXPECT_TRUE(file.SetName(AString("x.txt")));
    file.SetPath(AString("C:/dir/x.txt"));
    EXPECT_TRUE(file.SetName(AString("y.doc")));
    for (int i = 0; i < 4; ++i) {
        EXPECT_TRUE(file.RemoveName());
    }
    EXPECT_EQ(file.fChanges,
              (Changes{"x.txt", "C:\\dir\\x.txt", "C:\\dir\\y.doc", "C:\\dir", "C:\\", ""}));
}

// Every SetPath form calls the hook, even with nothing changed; moving a path in swaps it. Then
// SetParentPath and ResolvePathAliases, which calls the hook only for a change.
TEST(AFileNaming, SetPathFormsAlwaysCallTheHook) {
    RecordingFile file;
    file.SetPath(APath());
    file.SetPath(AString());
    file.SetPath(WinPath("C:\\a\\b"));
    file.SetPath(APath());
    file.SetPath(AString());
    file.SetPath(AString("C:\\old"));
    APath replacement = WinPath("D:\\new");
    file.SetPath(std::move(replacement));
    EXPECT_EQ(file.fChanges, (Changes{"C:\\a\\b", "", "", "C:\\old", "D:\\new"}));
    EXPECT_EQ(Narrow(replacement.GetPath(APath::kWinPath, false)), "C:\\old");

    file.SetParentPath(AString("D:\\other\\place"));
    file.SetParentPath(WinPath("E:\\e"));
    EXPECT_EQ(Changes(file.fChanges.end() - 2, file.fChanges.end()),
              (Changes{"D:\\other\\place\\new", "E:\\e\\new"}));
    // On an empty path the argument becomes the whole path.
    RecordingFile empty, emptyToo;
    empty.SetParentPath(AString("C:\\p"));
    emptyToo.SetParentPath(WinPath("C:\\q"));
    EXPECT_EQ(empty.fChanges, Changes{"C:\\p"});
    EXPECT_EQ(emptyToo.fChanges, Changes{"C:\\q"});

    RecordingFile aliased(AString("C:\\a\\.\\b\\..\\c"));
    aliased.ResolvePathAliases();
    aliased.ResolvePathAliases();
    EXPECT_EQ(aliased.fChanges, Changes{"C:\\a\\c"});
}

// A drive path of exactly length characters, no name longer than 255.
std::string DrivePathOfLength(std::size_t length) {
    return "C:\\" + std::string(200, 'a') + "\\" + std::string(length - 204, 'z');
}

TEST(AFileNaming, PlainTextAroundTheLongPathLimit) {
    const std::string exact = DrivePathOfLength(260);
    EXPECT_EQ(Narrow(AFile(AString(exact.c_str())).GetPath(true)), exact);

    const std::string longer = DrivePathOfLength(261);
    AFile overLimit{AString(longer.c_str())};
    EXPECT_EQ(Narrow(overLimit.GetPath(true)), "\\\\?\\" + longer);
    EXPECT_EQ(Narrow(overLimit.GetPath(false)), longer);
    EXPECT_EQ(Narrow(overLimit.GetParentPath(false)), longer.substr(0, longer.rfind('\\')));

    // The hook sees the prefixed text.
    RecordingFile hooked;
    hooked.SetPath(AString(longer.c_str()));
    EXPECT_EQ(hooked.fChanges, Changes{"\\\\?\\" + longer});
}

} // namespace
