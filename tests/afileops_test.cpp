// Tests of what AFile does on disk: existence, creation with parents, deletion, opening tests,
// touching, sizes, attributes and times, and deletion when the object dies.
#include <zelk/afile.h>

#include <zelk/apath.h>
#include <zelk/apathcomponent.h>
#include <zelk/astring.h>
#include <zelk/fileutils.h>

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

using vorlan::zelk::AFile;
using vorlan::zelk::APath;
using vorlan::zelk::AString;
using vorlan::zelk::CorePathUtils;

namespace {

constexpr unsigned long kBadPathName = 161;
constexpr unsigned long kAlreadyExists = 183;
constexpr unsigned long kPathNotFound = 3;

// A name no earlier run left behind.
std::string UniqueName() {
    static int counter = 0;
    return "zelk-afileops-" +
           std::to_string(std::chrono::system_clock::now().time_since_epoch().count()) + "-" +
           std::to_string(++counter);
}

// Every test works below a fresh directory in the current directory, which tear-down removes with
// whatever the test told it about; the current directory is put back too.
class AFileOpsTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_FALSE(fSavedDir.IsEmpty());
        fRoot.SetPath(fSavedDir);
        ASSERT_TRUE(fRoot.AppendName(AString(UniqueName().c_str())));
        unsigned long code = 0;
        ASSERT_TRUE(fRoot.MakeDirectory(false, &code)) << code;
    }

    void TearDown() override {
        CorePathUtils::SetCurrentDir(fSavedDir);
        for (auto it = fMade.rbegin(); it != fMade.rend(); ++it) {
            (void)it->SetAttribute(AFile::kIsReadOnly, false);
            (void)it->Delete();
        }
        EXPECT_TRUE(fRoot.Delete()) << "entries were left in the scratch directory";
    }

    // The entry at relative (Windows notation) below the scratch directory, remembered for
    // tear-down, children after their parents.
    AFile At(const char* relative) {
        APath path = fRoot.GetPath();
        path.Append(APath(AString(relative), APath::kWinPath));
        AFile file(path);
        fMade.push_back(file);
        return file;
    }

    AFile NewFile(const char* relative) {
        AFile file = At(relative);
        unsigned long code = 0;
        EXPECT_TRUE(file.MakeFile(false, &code)) << relative << ": " << code;
        return file;
    }

    AFile NewDirectory(const char* relative) {
        AFile file = At(relative);
        unsigned long code = 0;
        EXPECT_TRUE(file.MakeDirectory(false, &code)) << relative << ": " << code;
        return file;
    }

    const APath fSavedDir = CorePathUtils::GetCurrentDir();
    AFile fRoot;
    std::vector<AFile> fMade;
};

// ---- Existence, creation, deletion ----------------------------------------------------------

TEST_F(AFileOpsTest, CreateTestAndDelete) {
    AFile file = At("plain.txt");
    EXPECT_FALSE(file.Exists());
    EXPECT_FALSE(file.Delete());
    unsigned long code = 99;
    EXPECT_TRUE(file.MakeFile(false, &code));
    EXPECT_EQ(code, 0u);
    EXPECT_TRUE(file.Exists());
    EXPECT_TRUE(file.GetAttribute(AFile::kIsFile));
    EXPECT_EQ(file.GetSize(), 0u);
    EXPECT_TRUE(file.IsEmpty());
    EXPECT_TRUE(file.Delete());
    EXPECT_FALSE(file.Exists());

    AFile directory = At("dir");
    EXPECT_TRUE(directory.MakeDirectory(false, nullptr));
    EXPECT_TRUE(directory.GetAttribute(AFile::kIsDirectory));
    EXPECT_FALSE(directory.GetAttribute(AFile::kIsFile));
    NewFile("dir\\inner");
    EXPECT_FALSE(directory.Delete()) << "deletion is not recursive";
}

// One row of the failure table: an entry made first, then the creation asked for.
struct MakeRow {
    const char* name;
    const char* file; // made as a file before the call, or null
    const char* dir;  // made as a directory before the call, or null
    const char* target;
    bool directory, makeParents, succeeds;
    unsigned long code;
    std::vector<const char*> absent; // must not exist afterwards
};

TEST_F(AFileOpsTest, CreationResultsAndCodes) {
    const char* none = nullptr;
    const MakeRow rows[] = {
        {"file", none, none, "f", false, false, true, 0, {}},
        {"directory", none, none, "d", true, true, true, 0, {}},
        {"file where a file is", "e1", none, "e1", false, true, false, kAlreadyExists, {}},
        {"directory where a file is", "e2", none, "e2", true, false, false, kAlreadyExists, {}},
        {"file where a directory is", none, "e3", "e3", false, false, false, kAlreadyExists, {}},
        {"directory where one is", none, "e4", "e4", true, true, false, kAlreadyExists, {}},
        {"parent is a file", "pf", none, "pf\\x", true, true, false, kBadPathName, {"pf\\x"}},
        {"ancestor a file", "af", none, "af\\x\\y\\z", false, true, false, kBadPathName, {"af\\x"}},
        {"no parent, none made", none, none, "mp\\x", false, false, false, kPathNotFound, {"mp"}},
        {"missing parents made", none, none, "q1\\q2\\q3", false, true, true, 0, {}},
    };
    for (const MakeRow& row : rows) {
        SCOPED_TRACE(row.name);
        if (row.file != nullptr) {
            NewFile(row.file);
        }
        if (row.dir != nullptr) {
            NewDirectory(row.dir);
        }
        // Every ancestor of the target is remembered for tear-down.
        const std::string target = row.target;
        for (std::size_t at = target.find('\\'); at != std::string::npos;
             at = target.find('\\', at + 1)) {
            At(target.substr(0, at).c_str());
        }
        AFile made = At(row.target);
        unsigned long code = 99;
        EXPECT_EQ(row.directory ? made.MakeDirectory(row.makeParents, &code)
                                : made.MakeFile(row.makeParents, &code),
                  row.succeeds);
        EXPECT_EQ(code, row.code);
        if (row.succeeds) {
            EXPECT_EQ(made.GetAttribute(AFile::kIsDirectory), row.directory);
        }
        for (const char* absent : row.absent) {
            EXPECT_FALSE(At(absent).Exists()) << absent;
        }
    }
}

TEST_F(AFileOpsTest, ParentLoopOnAnAbsolutePath) {
    NewDirectory("a");
    AFile b = At("a\\b"), c = At("a\\b\\c"), d = At("a\\b\\c\\d");
    unsigned long code = 99;
    EXPECT_TRUE(d.MakeDirectory(true, &code));
    EXPECT_EQ(code, 0u);
    for (const AFile& made : {b, c, d}) {
        EXPECT_TRUE(made.GetAttribute(AFile::kIsDirectory));
    }
    // Everything there already: only the final entry is refused.
    EXPECT_FALSE(d.MakeFile(true, &code));
    EXPECT_EQ(code, kAlreadyExists);
}

// A path without a drive counts its first two components as server and share: the parent loop
// makes nothing there. One component with parents asked for is a bad path.
TEST_F(AFileOpsTest, ParentLoopOnPathsWithoutDrive) {
    ASSERT_TRUE(CorePathUtils::SetCurrentDir(fRoot.GetPath()));
    NewDirectory("m1");
    for (const char* later : {"m1\\m2", "m1\\m2\\m3", "m1\\m2\\m3\\x", "p1", "single"}) {
        At(later);
    }
    const struct {
        const char* path;
        bool directory;
        unsigned long code;
        const char* absent;
    } rows[] = {
        {"m1\\m2\\m3\\x", true, kPathNotFound, "m1\\m2"}, // the missing m2 fails m1\m2\m3
        {"p1\\x", false, kPathNotFound, "p1"},            // the loop runs zero times
        {"single", true, kBadPathName, "single"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        AFile file{AString(row.path)};
        unsigned long code = 0;
        EXPECT_FALSE(row.directory ? file.MakeDirectory(true, &code) : file.MakeFile(true, &code));
        EXPECT_EQ(code, row.code);
        EXPECT_FALSE(At(row.absent).Exists());
    }
}

// ---- Opening tests and touching ---------------------------------------------------------------

TEST_F(AFileOpsTest, CanOpenAndIsOpen) {
    AFile file = NewFile("open.txt");
    EXPECT_TRUE(file.CanOpen(AFile::kAccessRead, AFile::kShareReadWrite));
    EXPECT_TRUE(file.CanOpen(AFile::kAccessReadWrite, AFile::kShareNone));
    EXPECT_FALSE(file.CanOpen(static_cast<AFile::AccessMode>(0), AFile::kShareRead));
    EXPECT_FALSE(file.CanOpen(static_cast<AFile::AccessMode>(4), AFile::kShareRead));
    EXPECT_FALSE(file.CanOpen(AFile::kAccessRead, static_cast<AFile::ShareMode>(5)));
    EXPECT_FALSE(file.IsOpen());
    AFile missing = At("missing.txt");
    EXPECT_FALSE(missing.CanOpen(AFile::kAccessRead, AFile::kShareReadWrite));
    EXPECT_FALSE(missing.IsOpen());
    AFile directory = NewDirectory("opendir");
    EXPECT_TRUE(directory.CanOpen(AFile::kAccessRead, AFile::kShareReadWrite));
}

TEST_F(AFileOpsTest, TouchSetsTheModificationTimeOfExistingEntries) {
    AFile missing = At("untouched");
    EXPECT_FALSE(missing.Touch());
    EXPECT_FALSE(missing.Exists());

    // 2001-09-09, a whole number of seconds.
    const unsigned long long old = 126'444'384'000'000'000ull;
    for (AFile entry : {NewFile("touched.txt"), NewDirectory("toucheddir")}) {
        ASSERT_TRUE(entry.SetAttribute(AFile::kModificationTime, old));
        ASSERT_EQ(entry.GetAttribute(AFile::kModificationTime), old);
        EXPECT_TRUE(entry.Touch());
        EXPECT_GT(entry.GetAttribute(AFile::kModificationTime), old);
    }
}

// ---- Sizes -----------------------------------------------------------------------------------

TEST_F(AFileOpsTest, SizeOfADirectoryIsItsNumberOfEntries) {
    AFile directory = NewDirectory("counted");
    EXPECT_EQ(directory.GetSize(), 0u);
    EXPECT_TRUE(directory.IsEmpty());
    NewDirectory("counted\\sub1");
    NewDirectory("counted\\sub2");
    for (const char* file : {"counted\\1", "counted\\2.txt", "counted\\.3", "counted\\sub2\\4"}) {
        NewFile(file);
    }
    EXPECT_EQ(directory.GetSize(), 5u);
    EXPECT_FALSE(directory.IsEmpty());
    EXPECT_EQ(At("nothing").GetSize(), 0u);
    EXPECT_TRUE(At("nothing").IsEmpty());
}

TEST_F(AFileOpsTest, ParentExists) {
    NewFile("pfile");
    EXPECT_TRUE(At("child").ParentExists());
    EXPECT_FALSE(At("gone\\child").ParentExists());
    EXPECT_FALSE(At("pfile\\child").ParentExists());
    EXPECT_FALSE(AFile(AString("single")).ParentExists());
}

// ---- Attributes ------------------------------------------------------------------------------

// An alias is known by its name alone; an empty ".lnk" file resolves to nothing.
TEST_F(AFileOpsTest, AliasByNameAlone) {
    AFile missing = At("missing.lnk");
    EXPECT_TRUE(missing.GetAttribute(AFile::kIsAlias));
    EXPECT_FALSE(missing.GetAttribute(AFile::kIsFile) ||
                 missing.GetAttribute(AFile::kIsAliasToFile) ||
                 missing.GetAttribute(AFile::kIsAliasToDirectory));
    AFile::BoolAttributes flags;
    flags.fIsAlias = flags.fIsFile = true;
    EXPECT_FALSE(missing.GetAttributes(flags, true, true));
    EXPECT_FALSE(flags.fIsAlias || flags.fIsFile);

    AFile directory = NewDirectory("folder.LNK");
    EXPECT_TRUE(directory.GetAttribute(AFile::kIsAlias));
    EXPECT_TRUE(directory.GetAttribute(AFile::kIsDirectory));
    EXPECT_FALSE(directory.GetAttribute(AFile::kIsFile));

    AFile file = NewFile("empty.Lnk");
    EXPECT_TRUE(file.GetAttribute(AFile::kIsAlias));
    EXPECT_FALSE(file.GetAttribute(AFile::kIsFile) || file.GetAttribute(AFile::kIsAliasToFile));
    for (bool resolve : {false, true}) {
        ASSERT_TRUE(file.GetAttributes(flags, resolve, false));
        EXPECT_TRUE(flags.fIsAlias);
        EXPECT_FALSE(flags.fIsFile || flags.fIsDirectory || flags.fIsReadable || flags.fIsWritable);
        EXPECT_FALSE(flags.fIsAliasToFile || flags.fIsAliasToDirectory);
    }
    EXPECT_FALSE(At("x.lnk2").GetAttribute(AFile::kIsAlias));
    EXPECT_FALSE(At("lnk").GetAttribute(AFile::kIsAlias));
}

TEST_F(AFileOpsTest, StructureOfAPlainFile) {
    AFile file = NewFile("plain.dat");
    AFile::BoolAttributes flags;
    ASSERT_TRUE(file.GetAttributes(flags, true, false));
    EXPECT_TRUE(flags.fIsFile);
    EXPECT_FALSE(flags.fIsDirectory || flags.fIsAlias || flags.fIsReadOnly || flags.fIsHidden ||
                 flags.fIsUnsupported);
    EXPECT_FALSE(flags.fIsReadable || flags.fIsWritable);
    ASSERT_TRUE(file.GetAttributes(flags, false, true));
    EXPECT_TRUE(flags.fIsReadable);
    EXPECT_TRUE(flags.fIsWritable);
    EXPECT_TRUE(file.GetAttribute(AFile::kIsReadable));
    EXPECT_TRUE(file.GetAttribute(AFile::kIsWritable));
    EXPECT_FALSE(file.GetAttribute(AFile::kIsUnsupported));
    EXPECT_FALSE(file.GetAttribute(static_cast<AFile::BoolAttribute>(0)));
    EXPECT_FALSE(file.GetAttribute(static_cast<AFile::BoolAttribute>(11)));
}

TEST_F(AFileOpsTest, ReadOnlyAndHiddenKeepEachOther) {
    AFile file = NewFile("flags.txt");
    EXPECT_FALSE(file.SetAttribute(AFile::kIsFile, true));
    EXPECT_FALSE(file.SetAttribute(AFile::kIsUnsupported, true));
    EXPECT_FALSE(file.SetAttribute(static_cast<AFile::BoolAttribute>(12), true));
    EXPECT_TRUE(file.SetAttribute(AFile::kIsReadOnly, false)) << "already clear";

    ASSERT_TRUE(file.SetAttribute(AFile::kIsHidden, true));
    ASSERT_TRUE(file.SetAttribute(AFile::kIsReadOnly, true));
    EXPECT_TRUE(file.GetAttribute(AFile::kIsReadOnly));
    EXPECT_TRUE(file.GetAttribute(AFile::kIsHidden));
    EXPECT_TRUE(file.SetAttribute(AFile::kIsReadOnly, true)) << "already set";

    ASSERT_TRUE(file.SetAttribute(AFile::kIsReadOnly, false));
    AFile::BoolAttributes flags;
    ASSERT_TRUE(file.GetAttributes(flags, false, false));
    EXPECT_FALSE(flags.fIsReadOnly);
    EXPECT_TRUE(flags.fIsHidden);
    EXPECT_TRUE(flags.fIsFile);
    ASSERT_TRUE(file.SetAttribute(AFile::kIsHidden, false));
    EXPECT_FALSE(file.GetAttribute(AFile::kIsHidden));

    EXPECT_FALSE(At("nowhere").SetAttribute(AFile::kIsHidden, true));
}

TEST_F(AFileOpsTest, TimeSetThenReadBack) {
    AFile file = NewFile("timed.txt");
    // 2011-11-11 11:11:12 UTC: whole even seconds survive every file system's precision.
    const unsigned long long when = 129'654'126'720'000'000ull;
    ASSERT_TRUE(file.SetAttribute(AFile::kModificationTime, when));
    EXPECT_EQ(file.GetAttribute(AFile::kModificationTime), when);
    // The access time stays. The creation time is not asked: where the host file system keeps
    // none, it can be reported from the modification time.
    EXPECT_NE(file.GetAttribute(AFile::kAccessTime), when);

    AFile::TimeAttributes times{};
    ASSERT_TRUE(file.GetAttributes(times));
    EXPECT_EQ(times.fModificationTime, when);
    EXPECT_NE(times.fCreationTime, 0u);

    const unsigned long long accessed = when + 20'000'000ull;
    ASSERT_TRUE(file.SetAttribute(AFile::kAccessTime, accessed));
    EXPECT_EQ(file.GetAttribute(AFile::kAccessTime), accessed);
    EXPECT_EQ(file.GetAttribute(AFile::kModificationTime), when);

    for (unsigned int bad : {0u, 4u}) {
        const auto attribute = static_cast<AFile::TimeAttribute>(bad);
        EXPECT_EQ(file.GetAttribute(attribute), 0u);
        EXPECT_FALSE(file.SetAttribute(attribute, when));
    }
    EXPECT_EQ(At("untimed").GetAttribute(AFile::kModificationTime), 0u);
    EXPECT_FALSE(At("untimed").SetAttribute(AFile::kModificationTime, when));
    times = AFile::TimeAttributes{1, 2, 3};
    EXPECT_FALSE(At("untimed").GetAttributes(times));
    EXPECT_EQ(times.fCreationTime + times.fModificationTime + times.fAccessTime, 0u);
}

// ---- Deletion when the object dies -------------------------------------------------------------

// The mark follows a path change, a move and a copy.
TEST_F(AFileOpsTest, DeleteOnDestroyFollowsPathAndObject) {
    AFile first = NewFile("first");
    AFile second = NewFile("second");
    {
        AFile marked(first);
        marked.DeleteOnDestroy(true);
        marked.SetPath(second.GetPath());
    }
    EXPECT_TRUE(first.Exists());
    EXPECT_FALSE(second.Exists());
    {
        AFile marked(first);
        marked.DeleteOnDestroy(true);
        marked.DeleteOnDestroy(false);
    }
    EXPECT_TRUE(first.Exists());

    AFile kept = NewFile("kept");
    AFile handed = NewFile("handed");
    AFile copied = NewFile("copied");
    {
        AFile source(kept);
        source.DeleteOnDestroy(true);
        AFile taker(std::move(source));
        taker.DeleteOnDestroy(false);
    }
    EXPECT_TRUE(kept.Exists()) << "a moved-from source deletes nothing";
    {
        AFile source(kept);
        {
            AFile target(handed);
            target.DeleteOnDestroy(true);
            target = std::move(source);
        }
        EXPECT_TRUE(handed.Exists()) << "the marked object now lives in the source";
    }
    EXPECT_FALSE(handed.Exists()) << "the source took the target's old object and its mark";
    EXPECT_TRUE(kept.Exists());
    {
        AFile marked(copied);
        marked.DeleteOnDestroy(true);
        AFile copy(marked);
        marked.DeleteOnDestroy(false);
    }
    EXPECT_FALSE(copied.Exists()) << "the mark travels with a copy";
}

} // namespace
