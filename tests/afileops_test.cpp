// Tests of what AFile does on disk: creation, deletion, sizes, attributes, times.
#include <zelk/afile.h>

#include <zelk/fileutils.h>

#include "testsupport.h"

#include <string>
#include <utility>

using namespace vorlan::zelk;

namespace {

constexpr unsigned long kBadPathName = 161;
constexpr unsigned long kAlreadyExists = 183;
constexpr unsigned long kPathNotFound = 3;

// Each test works in a scratch directory; the current directory is put back too.
class AFileOpsTest : public zelktest::ScratchTest {
protected:
    const zelktest::CurrentDirGuard fGuard;
};

TEST_F(AFileOpsTest, DeleteOneEntry) {
    AFile file = Make("plain.txt", "");
    EXPECT_TRUE(file.Delete());
    EXPECT_FALSE(file.Exists());
    EXPECT_FALSE(file.Delete());
    AFile directory = Make("d", "<dir>");
    Make("d\\inner", "");
    EXPECT_FALSE(directory.Delete()) << "deletion is not recursive";
    EXPECT_TRUE(At("d\\inner").Delete());
    EXPECT_TRUE(directory.Delete());
}

// One row of the failure table: an entry made first, then the creation asked for.
struct MakeRow {
    const char* name;
    const char* existing; // made before the call: "f" file, "d" directory, or null
    const char* target;   // "~": relative, without a drive
    bool directory, makeParents, succeeds;
    unsigned long code;
    const char* absent; // must not exist afterwards, or null
};

TEST_F(AFileOpsTest, CreationResultsAndCodes) {
    ASSERT_TRUE(CorePathUtils::SetCurrentDir(Root().GetPath()));
    const MakeRow rows[] = {
        {"file", nullptr, "f", false, false, true, 0, nullptr},
        {"directory", nullptr, "d", true, true, true, 0, nullptr},
        {"file where a file is", "f", "e1", false, true, false, kAlreadyExists, nullptr},
        {"directory where a file is", "f", "e2", true, false, false, kAlreadyExists, nullptr},
        {"file where a directory is", "d", "e3", false, false, false, kAlreadyExists, nullptr},
        // Every parent there already: only the final entry is refused.
        {"directory where one is", "d", "e4", true, true, false, kAlreadyExists, nullptr},
        {"parent is a file", "f", "pf\\x", true, true, false, kBadPathName, "pf\\x"},
        {"ancestor a file", "f", "af\\x\\y\\z", false, true, false, kBadPathName, "af\\x"},
        {"no parent, none made", nullptr, "mp\\x", false, false, false, kPathNotFound, "mp"},
        {"missing parents of a file", nullptr, "q1\\q2\\q3", false, true, true, 0, nullptr},
        {"missing parents of a directory", nullptr, "r1\\r2\\r3", true, true, true, 0, nullptr},
        // Without a drive the first two components are server and share, where the loop makes
        // nothing: the missing m2 fails m1\m2\m3, and p1\x has no parent loop at all.
        {"no drive, m2 missing", "d", "~m1\\m2\\m3\\x", true, true, false, kPathNotFound, "m1\\m2"},
        {"no drive, no loop", nullptr, "~p1\\x", false, true, false, kPathNotFound, "p1"},
        {"no drive, one component", nullptr, "~single", true, true, false, kBadPathName, "single"},
    };
    for (const MakeRow& row : rows) {
        SCOPED_TRACE(row.name);
        const bool relative = row.target[0] == '~';
        const std::string target = row.target + (relative ? 1 : 0);
        if (row.existing != nullptr) {
            Make(target.substr(0, target.find('\\')), *row.existing == 'd' ? "<dir>" : "");
        }
        AFile made = relative ? AFile(AString(target.c_str())) : At(target);
        unsigned long code = 99;
        EXPECT_EQ(row.directory ? made.MakeDirectory(row.makeParents, &code)
                                : made.MakeFile(row.makeParents, &code),
                  row.succeeds);
        EXPECT_EQ(code, row.code);
        if (row.succeeds) {
            EXPECT_EQ(made.GetAttribute(AFile::kIsDirectory), row.directory);
            EXPECT_EQ(made.GetAttribute(AFile::kIsFile), !row.directory);
            EXPECT_TRUE(made.IsEmpty());
        }
        if (row.absent != nullptr) {
            EXPECT_FALSE(At(row.absent).Exists()) << row.absent;
        }
    }
}

TEST_F(AFileOpsTest, CanOpenAndIsOpen) {
    const AFile file = Make("open.txt", "");
    EXPECT_TRUE(file.CanOpen(AFile::kAccessRead, AFile::kShareReadWrite));
    EXPECT_FALSE(file.CanOpen(static_cast<AFile::AccessMode>(4), AFile::kShareRead));
    EXPECT_FALSE(file.CanOpen(AFile::kAccessRead, static_cast<AFile::ShareMode>(5)));
    EXPECT_FALSE(At("missing.txt").CanOpen(AFile::kAccessRead, AFile::kShareReadWrite));
    EXPECT_TRUE(Make("dir", "<dir>").CanOpen(AFile::kAccessRead, AFile::kShareReadWrite));
}

TEST_F(AFileOpsTest, TouchSetsTheModificationTimeOfExistingEntries) {
    AFile missing = At("untouched");
    EXPECT_FALSE(missing.Touch());
    EXPECT_FALSE(missing.Exists());
    const unsigned long long old = 126'444'384'000'000'000ull; // 2001-09-09, whole seconds
    for (AFile entry : {Make("touched.txt", ""), Make("toucheddir", "<dir>")}) {
        ASSERT_TRUE(entry.SetAttribute(AFile::kModificationTime, old));
        EXPECT_TRUE(entry.Touch());
        EXPECT_GT(entry.GetAttribute(AFile::kModificationTime), old);
    }
}

TEST_F(AFileOpsTest, SizeOfADirectoryIsItsNumberOfEntries) {
    const AFile directory = Make("counted", "<dir>");
    EXPECT_EQ(directory.GetSize(), 0u);
    Make("counted\\sub1", "<dir>");
    Make("counted\\sub2", "<dir>");
    for (const char* file : {"counted\\1", "counted\\2.txt", "counted\\.3", "counted\\sub2\\4"}) {
        Make(file, "");
    }
    EXPECT_EQ(directory.GetSize(), 5u);
    EXPECT_EQ(At("nothing").GetSize(), 0u);
}

TEST_F(AFileOpsTest, ParentExists) {
    Make("pfile", "");
    EXPECT_TRUE(At("child").ParentExists());
    EXPECT_FALSE(At("gone\\child").ParentExists());
    EXPECT_FALSE(At("pfile\\child").ParentExists());
    EXPECT_FALSE(AFile(AString("single")).ParentExists());
}

// An alias is known by its name alone; an empty ".lnk" file resolves to nothing.
TEST_F(AFileOpsTest, AliasByNameAlone) {
    const AFile missing = At("missing.lnk");
    EXPECT_TRUE(missing.GetAttribute(AFile::kIsAlias));
    EXPECT_FALSE(missing.GetAttribute(AFile::kIsFile) ||
                 missing.GetAttribute(AFile::kIsAliasToFile) ||
                 missing.GetAttribute(AFile::kIsAliasToDirectory));
    AFile::BoolAttributes flags;
    flags.fIsAlias = flags.fIsFile = true;
    EXPECT_FALSE(missing.GetAttributes(flags, true, true));
    EXPECT_FALSE(flags.fIsAlias || flags.fIsFile);

    const AFile directory = Make("folder.LNK", "<dir>");
    EXPECT_TRUE(directory.GetAttribute(AFile::kIsAlias));
    EXPECT_TRUE(directory.GetAttribute(AFile::kIsDirectory));

    const AFile file = Make("empty.Lnk", "");
    for (bool resolve : {false, true}) {
        ASSERT_TRUE(file.GetAttributes(flags, resolve, false));
        EXPECT_TRUE(flags.fIsAlias);
        EXPECT_FALSE(flags.fIsFile || flags.fIsDirectory || flags.fIsReadable || flags.fIsWritable);
        EXPECT_FALSE(flags.fIsAliasToFile || flags.fIsAliasToDirectory);
    }
    EXPECT_FALSE(At("x.lnk2").GetAttribute(AFile::kIsAlias));
    EXPECT_FALSE(At("lnk").GetAttribute(AFile::kIsAlias));
}

// Readable and writable are asked only when told; unknown attributes read as false.
TEST_F(AFileOpsTest, StructureOfAPlainFile) {
    const AFile file = Make("plain.dat", "");
    AFile::BoolAttributes flags;
    ASSERT_TRUE(file.GetAttributes(flags, true, false));
    EXPECT_TRUE(flags.fIsFile);
    EXPECT_FALSE(flags.fIsDirectory || flags.fIsAlias || flags.fIsReadOnly || flags.fIsHidden ||
                 flags.fIsUnsupported || flags.fIsReadable || flags.fIsWritable);
    ASSERT_TRUE(file.GetAttributes(flags, false, true));
    EXPECT_TRUE(flags.fIsReadable && flags.fIsWritable);
    EXPECT_TRUE(file.GetAttribute(AFile::kIsReadable) && file.GetAttribute(AFile::kIsWritable));
    EXPECT_FALSE(file.GetAttribute(static_cast<AFile::BoolAttribute>(0)));
    EXPECT_FALSE(file.GetAttribute(static_cast<AFile::BoolAttribute>(11)));
}

TEST_F(AFileOpsTest, ReadOnlyAndHiddenKeepEachOther) {
    AFile file = Make("flags.txt", "");
    EXPECT_FALSE(file.SetAttribute(AFile::kIsFile, true));
    EXPECT_FALSE(file.SetAttribute(static_cast<AFile::BoolAttribute>(12), true));
    EXPECT_TRUE(file.SetAttribute(AFile::kIsReadOnly, false)) << "already clear";

    ASSERT_TRUE(file.SetAttribute(AFile::kIsHidden, true));
    ASSERT_TRUE(file.SetAttribute(AFile::kIsReadOnly, true));
    EXPECT_TRUE(file.GetAttribute(AFile::kIsReadOnly) && file.GetAttribute(AFile::kIsHidden));
    EXPECT_TRUE(file.SetAttribute(AFile::kIsReadOnly, true)) << "already set";

    ASSERT_TRUE(file.SetAttribute(AFile::kIsReadOnly, false));
    AFile::BoolAttributes flags;
    ASSERT_TRUE(file.GetAttributes(flags, false, false));
    EXPECT_FALSE(flags.fIsReadOnly);
    EXPECT_TRUE(flags.fIsHidden && flags.fIsFile);
    EXPECT_FALSE(At("nowhere").SetAttribute(AFile::kIsHidden, true));
}

TEST_F(AFileOpsTest, TimeSetThenReadBack) {
    AFile file = Make("timed.txt", "");
    // 2011-11-11 11:11:12 UTC: whole even seconds survive every file system's precision.
    const unsigned long long when = 129'654'126'720'000'000ull;
    ASSERT_TRUE(file.SetAttribute(AFile::kModificationTime, when));
    // The access time stays. The creation time is not asked: where the host file system keeps
    // none, it can be reported from the modification time.
    EXPECT_NE(file.GetAttribute(AFile::kAccessTime), when);
    AFile::TimeAttributes times{};
    ASSERT_TRUE(file.GetAttributes(times));
    EXPECT_EQ(times.fModificationTime, when);
    EXPECT_NE(times.fCreationTime, 0u);

    ASSERT_TRUE(file.SetAttribute(AFile::kAccessTime, when + 20'000'000ull));
    EXPECT_EQ(file.GetAttribute(AFile::kAccessTime), when + 20'000'000ull);
    EXPECT_EQ(file.GetAttribute(AFile::kModificationTime), when);

    for (unsigned int bad : {0u, 4u}) {
        EXPECT_EQ(file.GetAttribute(static_cast<AFile::TimeAttribute>(bad)), 0u);
        EXPECT_FALSE(file.SetAttribute(static_cast<AFile::TimeAttribute>(bad), when));
    }
    AFile missing = At("untimed");
    EXPECT_EQ(missing.GetAttribute(AFile::kModificationTime), 0u);
    EXPECT_FALSE(missing.SetAttribute(AFile::kModificationTime, when));
    times = AFile::TimeAttributes{1, 2, 3};
    EXPECT_FALSE(missing.GetAttributes(times));
    EXPECT_EQ(times.fCreationTime + times.fModificationTime + times.fAccessTime, 0u);
}

// The mark follows a path change, a move and a copy.
TEST_F(AFileOpsTest, DeleteOnDestroyFollowsPathAndObject) {
    const AFile first = Make("first", "");
    const AFile second = Make("second", "");
    {
        AFile marked(first);
        marked.DeleteOnDestroy(true);
        marked.SetPath(second.GetPath());
    }
    EXPECT_TRUE(first.Exists());
    EXPECT_FALSE(second.Exists());

    const AFile handed = Make("handed", "");
    const AFile copied = Make("copied", "");
    {
        AFile source(first);
        source.DeleteOnDestroy(true);
        AFile taker(std::move(source));
        taker.DeleteOnDestroy(false);
    }
    EXPECT_TRUE(first.Exists()) << "a moved-from source deletes nothing";
    {
        AFile source(first);
        {
            AFile target(handed);
            target.DeleteOnDestroy(true);
            target = std::move(source);
        }
        EXPECT_TRUE(handed.Exists()) << "the marked object now lives in the source";
    }
    EXPECT_FALSE(handed.Exists()) << "the source took the target's old object and its mark";
    EXPECT_TRUE(first.Exists());
    {
        AFile marked(copied);
        marked.DeleteOnDestroy(true);
        AFile copy(marked);
        marked.DeleteOnDestroy(false);
    }
    EXPECT_FALSE(copied.Exists()) << "the mark travels with a copy";
}

} // namespace
