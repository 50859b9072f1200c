// Tests of what AFile does on disk: existence, creation with parents, deletion, opening tests,
// touching, sizes, attributes and times, and deletion when the object dies.
#include <zelk/afile.h>

#include <zelk/apath.h>
#include <zelk/apathcomponent.h>
#include <zelk/astring.h>
#include <zelk/fileutils.h>

#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <string>
#include <utility>
#include <vector>

using vorlan::zelk::AFile;
using vorlan::zelk::APath;
using vorlan::zelk::APathComponent;
using vorlan::zelk::AString;
using vorlan::zelk::CorePathUtils;

namespace {

constexpr unsigned long kBadPathName = 161;
constexpr unsigned long kAlreadyExists = 183;
constexpr unsigned long kPathNotFound = 3;

std::string UniqueName() {
    std::random_device device;
    const auto ticks = std::chrono::steady_clock::now().time_since_epoch().count();
    std::mt19937_64 generator(device() ^ static_cast<unsigned long long>(ticks));
    const char digits[] = "0123456789abcdef";
    std::string name = "zelk-afileops-";
    for (int i = 0; i < 12; ++i) {
        name += digits[generator() % 16];
    }
    return name;
}

// Puts the current directory back on every way out.
class CurrentDirGuard {
public:
    CurrentDirGuard() : fSaved(CorePathUtils::GetCurrentDir()) {}
    ~CurrentDirGuard() { CorePathUtils::SetCurrentDir(fSaved); }
    CurrentDirGuard(const CurrentDirGuard&) = delete;
    CurrentDirGuard& operator=(const CurrentDirGuard&) = delete;

private:
    APath fSaved;
};

// Every test works below a fresh directory in the current directory, which tear-down removes with
// whatever the test told it about.
class AFileOpsTest : public ::testing::Test {
protected:
    void SetUp() override {
        const APath base = CorePathUtils::GetCurrentDir();
        ASSERT_FALSE(base.IsEmpty());
        fRoot.SetPath(base);
        ASSERT_TRUE(fRoot.AppendName(AString(UniqueName().c_str())));
        unsigned long code = 0;
        ASSERT_TRUE(fRoot.MakeDirectory(false, &code)) << code;
    }

    void TearDown() override {
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

// One row of the failure table: entries made first, then the creation asked for.
struct MakeRow {
    const char* name;
    std::vector<const char*> files;       // made as files before the call
    std::vector<const char*> directories; // made as directories before the call
    const char* target;
    bool directory;
    bool makeParents;
    bool succeeds;
    unsigned long code;
    std::vector<const char*> absent; // must not exist afterwards
};

TEST_F(AFileOpsTest, CreationResultsAndCodes) {
    const MakeRow rows[] = {
        {"file", {}, {}, "f", false, false, true, 0, {}},
        {"directory", {}, {}, "d", true, true, true, 0, {}},
        {"file where a file is", {"e1"}, {}, "e1", false, true, false, kAlreadyExists, {}},
        {"directory where a file is", {"e2"}, {}, "e2", true, false, false, kAlreadyExists, {}},
        {"file where a directory is", {}, {"e3"}, "e3", false, false, false, kAlreadyExists, {}},
        {"directory where one is", {}, {"e4"}, "e4", true, true, false, kAlreadyExists, {}},
        {"parent is a file", {"pf"}, {}, "pf\\x", true, true, false, kBadPathName, {"pf\\x"}},
        {"ancestor is a file",
         {"af"},
         {},
         "af\\x\\y\\z",
         false,
         true,
         false,
         kBadPathName,
         {"af\\x", "af\\x\\y"}},
        {"missing parent without makeParents",
         {},
         {},
         "mp\\x",
         false,
         false,
         false,
         kPathNotFound,
         {"mp"}},
        {"missing parents made", {}, {}, "q1\\q2\\q3", false, true, true, 0, {}},
    };
    for (const MakeRow& row : rows) {
        SCOPED_TRACE(row.name);
        for (const char* file : row.files) {
            NewFile(file);
        }
        for (const char* directory : row.directories) {
            NewDirectory(directory);
        }
        // Every ancestor of the target is remembered for tear-down.
        std::string partial;
        for (const char* c = row.target; *c != 0; ++c) {
            if (*c == '\\') {
                At(partial.c_str());
            }
            partial += *c;
        }
        AFile target = At(row.target);
        unsigned long code = 99;
        const bool made = row.directory ? target.MakeDirectory(row.makeParents, &code)
                                        : target.MakeFile(row.makeParents, &code);
        EXPECT_EQ(made, row.succeeds);
        EXPECT_EQ(code, row.code);
        if (row.succeeds) {
            EXPECT_EQ(target.GetAttribute(AFile::kIsDirectory), row.directory);
        }
        for (const char* absent : row.absent) {
            EXPECT_FALSE(At(absent).Exists()) << absent;
        }
    }
}

TEST_F(AFileOpsTest, OneComponentPathWithParentsIsABadPath) {
    const std::string name = UniqueName();
    AFile single{AString(name.c_str())};
    unsigned long code = 0;
    EXPECT_FALSE(single.MakeDirectory(true, &code));
    EXPECT_EQ(code, kBadPathName);
    EXPECT_FALSE(single.Exists());
}

TEST_F(AFileOpsTest, ParentLoopOnAnAbsolutePath) {
    NewDirectory("a");
    AFile b = At("a\\b");
    AFile c = At("a\\b\\c");
    AFile d = At("a\\b\\c\\d");
    unsigned long code = 99;
    EXPECT_TRUE(d.MakeDirectory(true, &code));
    EXPECT_EQ(code, 0u);
    EXPECT_TRUE(b.GetAttribute(AFile::kIsDirectory));
    EXPECT_TRUE(c.GetAttribute(AFile::kIsDirectory));
    EXPECT_TRUE(d.GetAttribute(AFile::kIsDirectory));
    // Everything there already: only the final entry is refused.
    EXPECT_FALSE(d.MakeFile(true, &code));
    EXPECT_EQ(code, kAlreadyExists);
}

TEST_F(AFileOpsTest, ParentLoopWithoutDriveStartsAtTheThirdComponent) {
    CurrentDirGuard keep;
    ASSERT_TRUE(CorePathUtils::SetCurrentDir(fRoot.GetPath()));
    NewDirectory("m1");
    At("m1\\m2");
    At("m1\\m2\\m3");
    At("m1\\m2\\m3\\x");
    At("p1");

    // The first two components of a path without a drive count as server and share: the loop
    // makes nothing there, and the missing m2 fails the creation of m1\m2\m3.
    AFile deep{AString("m1\\m2\\m3\\x")};
    unsigned long code = 0;
    EXPECT_FALSE(deep.MakeDirectory(true, &code));
    EXPECT_EQ(code, kPathNotFound);
    EXPECT_FALSE(At("m1\\m2").Exists());

    // A parent of one component: the loop runs zero times and the final creation reports.
    AFile shallow{AString("p1\\x")};
    code = 0;
    EXPECT_FALSE(shallow.MakeFile(true, &code));
    EXPECT_EQ(code, kPathNotFound);
    EXPECT_FALSE(At("p1").Exists());
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
    NewFile("counted\\one");
    NewFile("counted\\two.txt");
    NewFile("counted\\.three");
    NewDirectory("counted\\sub1");
    NewDirectory("counted\\sub2");
    NewFile("counted\\sub2\\deeper");
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

TEST_F(AFileOpsTest, AliasByNameAlone) {
    AFile missing = At("missing.lnk");
    EXPECT_TRUE(missing.GetAttribute(AFile::kIsAlias));
    EXPECT_FALSE(missing.GetAttribute(AFile::kIsFile));
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
    EXPECT_FALSE(file.GetAttribute(AFile::kIsFile));
    ASSERT_TRUE(file.GetAttributes(flags, false, false));
    EXPECT_TRUE(flags.fIsAlias);
    EXPECT_FALSE(flags.fIsFile || flags.fIsDirectory);
    EXPECT_FALSE(flags.fIsAliasToFile || flags.fIsAliasToDirectory);
    EXPECT_FALSE(flags.fIsReadable || flags.fIsWritable);

    EXPECT_FALSE(At("x.lnk2").GetAttribute(AFile::kIsAlias));
    EXPECT_FALSE(At("lnk").GetAttribute(AFile::kIsAlias));
}

TEST_F(AFileOpsTest, AliasesThatDoNotResolve) {
    AFile missing = At("missing.lnk");
    EXPECT_FALSE(missing.GetAttribute(AFile::kIsAliasToFile));
    EXPECT_FALSE(missing.GetAttribute(AFile::kIsAliasToDirectory));
    // An empty file is no shell link: the structure form still succeeds.
    AFile garbage = NewFile("garbage.lnk");
    AFile::BoolAttributes flags;
    ASSERT_TRUE(garbage.GetAttributes(flags, true, false));
    EXPECT_TRUE(flags.fIsAlias);
    EXPECT_FALSE(flags.fIsAliasToFile || flags.fIsAliasToDirectory);
    EXPECT_FALSE(garbage.GetAttribute(AFile::kIsAliasToFile));
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

TEST_F(AFileOpsTest, DeleteOnDestroyFollowsTheLastPath) {
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
}

TEST_F(AFileOpsTest, DeleteOnDestroyAndMoves) {
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
