// Tests of path resolution against the current directory, alias collapse and the shape tests.
#include <zelk/fileutils.h>

#include "testsupport.h"

#include <atomic>
#include <filesystem>
#include <random>
#include <string>
#include <system_error>
#include <thread>

#if defined(_WIN32)
#include <windows.h>
#else
#include <zelk/posixhost.h>
#endif

using namespace vorlan::zelk;

namespace {

using namespace zelktest;
using zelktest::HostPath;

std::string Render(const APath& path) {
    return Narrow(path.GetPath(APath::kWinPath, false));
}

// The components' texts joined by "|", so that an empty root or a lost drive shows.
std::string Components(const APath& path) {
    std::string out;
    for (unsigned long i = 0; i < path.Size(); ++i) {
        out += (i > 0 ? "|" : "") + Narrow(path.GetComponent(i).Get());
    }
    return out;
}

// Keeps the process's current directory and puts it back.
class CorePathUtilsTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(CorePathUtils::IsWinLocalPath(fSaved)) << Render(fSaved);
        ASSERT_GE(fSaved.Size(), 2u) << "the tests need a directory below a drive's root";
    }

    // The current drive's letter, as the platform reports it.
    char CurrentLetter() const { return Narrow(fSaved.GetComponent(0).Get())[0]; }

    const zelktest::CurrentDirGuard fGuard;
    const APath fSaved = fGuard.Saved();
};

struct ShapeRow {
    const char* text;
    APath::PathType type;
    bool posix;
    bool unc;
    bool winLocal;
};

TEST(CorePathUtilsShape, ThreeTestsSortPathsByShape) {
    const ShapeRow rows[] = {
        {"C:\\dir\\file", APath::kWinPath, false, false, true},
        {"C:dir", APath::kWinPath, false, false, true},
        {"\\\\server\\share\\dir", APath::kWinPath, true, true, false},
        {"dir\\file", APath::kWinPath, true, false, false},
        {"/usr/bin", APath::kPosixPath, false, false, false},
        {"", APath::kWinPath, false, false, false},
        {"dir\\C:", APath::kWinPath, false, false, false}, // a drive behind the start: invalid
    };
    for (const ShapeRow& row : rows) {
        SCOPED_TRACE(row.text);
        const APath path(AString(row.text), row.type);
        EXPECT_EQ(CorePathUtils::IsPosixPath(path), row.posix);
        EXPECT_EQ(CorePathUtils::IsUNCPath(path), row.unc);
        EXPECT_EQ(CorePathUtils::IsWinLocalPath(path), row.winLocal);
    }
}

struct ResolveRow {
    const char* text;
    bool removed;
    const char* components;
};

TEST(CorePathUtilsResolve, AliasesCollapseLeftToRight) {
    const ResolveRow rows[] = {
        // . and ..
        {"..\\a", true, "a"},
        {"a\\..\\..\\b", true, "b"},
        {"a\\..", true, ""},
        {"a\\b\\.\\..\\c", true, "a|c"},
        // nothing protects the start of the path
        {"C:\\..", true, ""},
        {"\\\\server\\share\\..\\x", true, "server|x"},
        // look-alikes and no aliases
        {"...\\.a\\a.", false, "...|.a|a."},
        {"", false, ""},
    };
    for (const ResolveRow& row : rows) {
        SCOPED_TRACE(row.text);
        APath path = WinPath(row.text);
        const bool absolute = path.IsAbsolute();
        EXPECT_EQ(path.ResolveAliases(), row.removed);
        EXPECT_EQ(Components(path), row.components);
        EXPECT_EQ(path.IsAbsolute(), absolute);
    }
}

TEST(CorePathUtilsResolve, MakeAbsoluteRefusesWhatItCannotUse) {
    // Already absolute.
    APath absolute = WinPath("C:\\x\\y");
    const APath base = WinPath("D:\\base");
    EXPECT_FALSE(absolute.MakeAbsolute(&base, true));
    EXPECT_EQ(Render(absolute), "C:\\x\\y");
    // Empty, so not valid.
    APath empty;
    EXPECT_FALSE(empty.MakeAbsolute(nullptr, false));
    // A relative or invalid base changes nothing and never falls back on the current directory.
    APath relative = WinPath("a\\b");
    const APath relativeBase = WinPath("x\\y");
    const APath invalidBase = WinPath("C:\\a\\D:");
    EXPECT_FALSE(relative.MakeAbsolute(&relativeBase, false));
    EXPECT_FALSE(relative.MakeAbsolute(&invalidBase, false));
    EXPECT_EQ(Render(relative), "a\\b");
    // Against a base.
    EXPECT_TRUE(relative.MakeAbsolute(&base, false));
    EXPECT_EQ(Render(relative), "D:\\base\\a\\b");
}

TEST_F(CorePathUtilsTest, RelativePathsTakeTheCurrentDirectory) {
    const std::string drive(1, CurrentLetter());
    const std::string lower(1, static_cast<char>(CurrentLetter() - 'A' + 'a'));
    const std::string here = Render(fSaved);
    const struct {
        std::string text;
        bool madeRelative; // parsed absolute, then made relative
        bool resolve;
        std::string result;
    } rows[] = {
        {"a\\b", false, false, here + "\\a\\b"},
        // The resolve runs after the current directory's components were added, so .. reaches
        // them; without it the aliases stay.
        {"..\\b", false, true, Render(fSaved.Subpath(0, fSaved.Size() - 1)) + "\\b"},
        {"..\\b", false, false, here + "\\..\\b"},
        // Both letter cases choose the current drive; the drive component comes from the
        // directory.
        {drive + ":a\\b", false, false, here + "\\a\\b"},
        {lower + ":a\\b", false, false, here + "\\a\\b"},
        {drive + ":\\x", true, false, here + "\\x"},
        // The drive alone does not change, but it is absolute now.
        {drive + ":", true, false, drive + ":\\"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        APath path = WinPath(row.text);
        if (row.madeRelative) {
            path.SetRelative();
        }
        ASSERT_TRUE(path.MakeAbsolute(nullptr, row.resolve));
        EXPECT_EQ(Render(path), row.result);
        EXPECT_TRUE(path == WinPath(row.result)) << "the components as parsed";
        EXPECT_EQ(Render(CorePathUtils::GetCurrentDir()), here);
    }
    // A drive-relative path on a missing drive fails and stays as it was.
    const char missing = zelktest::MissingDrive();
    ASSERT_NE(missing, 0);
    APath path = WinPath(std::string(1, missing) + ":a");
    EXPECT_FALSE(path.MakeAbsolute(nullptr, true));
    EXPECT_FALSE(path.IsAbsolute());
    EXPECT_EQ(Components(path), std::string(1, missing) + ":|a");
    EXPECT_EQ(Render(CorePathUtils::GetCurrentDir()), here);
}

TEST_F(CorePathUtilsTest, SetCurrentDirRefusesInvalidPaths) {
    EXPECT_FALSE(CorePathUtils::SetCurrentDir(APath()) ||
                 CorePathUtils::SetCurrentDir(WinPath("C:\\a\\D:")));
    EXPECT_EQ(Render(CorePathUtils::GetCurrentDir()), Render(fSaved));

    const APath parent = fSaved.Subpath(0, fSaved.Size() - 1);
    ASSERT_TRUE(CorePathUtils::SetCurrentDir(parent));
    EXPECT_EQ(Render(CorePathUtils::GetCurrentDir()), Render(parent));
}

// Another drive with a directory of its own that is not its root, and the text of that
// directory. On Linux a drive of the stand-in's table mapped to a scratch directory, whose
// directory the stand-in keeps when the current directory moves on; on Windows C:, whose
// directory the process keeps in its variable "=C:", as Windows and Wine do for every drive.
class OtherDrive {
public:
    explicit OtherDrive(const APath& saved) {
#if defined(_WIN32)
        (void)saved;
        fLetter = 'C';
        fDirectory = "C:\\windows";
        fReady = SetEnvironmentVariableW(L"=C:", L"C:\\windows") != 0;
#else
        fLetter = 'K';
        fReady = fScratch.Made() && fScratch.At("sub").MakeDirectory(false, nullptr) &&
                 posixhost::MapDrive('K', HostPath(fScratch.Root()).c_str()) &&
                 CorePathUtils::SetCurrentDir(WinPath("K:\\sub")) &&
                 CorePathUtils::SetCurrentDir(saved);
        fDirectory = "K:\\sub";
#endif
    }
    ~OtherDrive() {
#if defined(_WIN32)
        SetEnvironmentVariableW(L"=C:", nullptr);
#else
        posixhost::UnmapDrive('K');
#endif
    }
    OtherDrive(const OtherDrive&) = delete;
    OtherDrive& operator=(const OtherDrive&) = delete;

    bool Ready() const {
        return fReady;
    }
    char Letter() const {
        return fLetter;
    }
    const std::string& Directory() const {
        return fDirectory;
    }

private:
#if !defined(_WIN32)
    const zelktest::ScratchDir fScratch;
#endif
    char fLetter = 0;
    std::string fDirectory;
    bool fReady = false;
};

// The other drive's own directory, found without making that drive current: the process's
// current directory is the same after every call, in both builds.
TEST_F(CorePathUtilsTest, DriveRelativePathsOnAnotherDriveLeaveTheCurrentDirectory) {
    const OtherDrive other(fSaved);
    ASSERT_TRUE(other.Ready());
    ASSERT_NE(other.Letter(), CurrentLetter());
    const std::string upper(1, other.Letter());
    const std::string lower(1, static_cast<char>(other.Letter() - 'A' + 'a'));
    const std::string dir = other.Directory();
    const std::string parent = dir.substr(0, dir.rfind('\\'));
    const struct {
        std::string text;
        bool resolve;
        std::string result;
    } rows[] = {
        {upper + ":a\\b", false, dir + "\\a\\b"},
        {lower + ":a", false, dir + "\\a"},
        {upper + ":..\\x", true, (parent.size() == 2 ? parent + "\\" : parent) + "x"},
        {upper + ":", false, upper + ":\\"}, // made relative: the drive alone doesn't change
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        APath path = WinPath(row.text);
        path.SetRelative();
        ASSERT_TRUE(path.MakeAbsolute(nullptr, row.resolve));
        EXPECT_EQ(Render(path), row.result);
        EXPECT_EQ(Render(CorePathUtils::GetCurrentDir()), Render(fSaved));
    }
    // The utilities that make a path absolute on the way leave it too.
    EXPECT_EQ(Narrow(WinFileUtils::GetUNCPath(AFile(WinPath(upper + ":a")))), dir + "\\a");
    EXPECT_EQ(Render(CorePathUtils::GetCurrentDir()), Render(fSaved));
}

// While one thread resolves drive-relative paths, another moves the current directory between
// two directories of its own and never finds it anywhere else.
TEST_F(CorePathUtilsTest, AnotherThreadNeverSeesTheCurrentDirectoryMove) {
    const OtherDrive other(fSaved);
    ASSERT_TRUE(other.Ready());
    const APath places[] = {fSaved, fSaved.Subpath(0, fSaved.Size() - 1)};
    std::atomic<bool> stop{false};
    std::atomic<int> strayed{0};
    std::thread mover([&] {
        for (unsigned i = 0; !stop; ++i) {
            const APath& place = places[i % 2];
            if (!CorePathUtils::SetCurrentDir(place)) {
                ++strayed;
                return;
            }
            for (int look = 0; look < 10; ++look) {
                strayed += CorePathUtils::GetCurrentDir() == place ? 0 : 1;
            }
        }
    });
    const std::string expected = other.Directory() + "\\a";
    for (int i = 0; i < 500; ++i) {
        APath path = WinPath(std::string(1, other.Letter()) + ":a");
        if (!path.MakeAbsolute(nullptr, false) || Render(path) != expected) {
            ADD_FAILURE() << Render(path);
            break;
        }
    }
    stop = true;
    mover.join();
    EXPECT_EQ(strayed, 0);
}

// A removed current directory can't be read (on Linux) or names nothing any more (on Windows,
// where its text stays): a relative path is then made absolute against it or not at all, never
// against nothing ("a\b" would become the server path \\a\b).
TEST_F(CorePathUtilsTest, RemovedCurrentDirectoryGivesNoOtherPath) {
    const zelktest::ScratchDir scratch;
    ASSERT_TRUE(scratch.Made());
    AFile gone = scratch.At("gone");
    ASSERT_TRUE(gone.MakeDirectory(false, nullptr));
    ASSERT_TRUE(CorePathUtils::SetCurrentDir(gone.GetPath()));
    // The library won't remove the current directory, as Windows won't; the host's own call may.
    std::error_code error;
    if (!std::filesystem::remove(HostPath(gone), error)) {
        GTEST_SKIP() << "this host keeps its current directory from being removed";
    }
    const std::string goneText = Render(gone.GetPath());
#if !defined(_WIN32)
    EXPECT_TRUE(CorePathUtils::GetCurrentDir().IsEmpty());
#endif
    APath relative = WinPath("a\\b");
    if (relative.MakeAbsolute(nullptr, false)) {
        EXPECT_EQ(Render(relative), goneText + "\\a\\b");
    } else {
        EXPECT_EQ(relative, WinPath("a\\b"));
    }
#if !defined(_WIN32)
    EXPECT_FALSE(relative.IsAbsolute()) << "the stand-in can't read a removed directory";
#endif
    // The drive's directory doesn't exist: no drive-relative path is made absolute on it.
    APath onDrive = WinPath(std::string(1, CurrentLetter()) + ":a\\b");
    EXPECT_FALSE(onDrive.MakeAbsolute(nullptr, false));
    EXPECT_EQ(onDrive, WinPath(std::string(1, CurrentLetter()) + ":a\\b"));
    // Nor does a file operation make an entry elsewhere of a text that leans on it.
    const std::string probe = "zelk-probe-" + std::to_string(std::random_device{}());
    for (const std::string& text : {probe, std::string(1, CurrentLetter()) + ":" + probe}) {
        EXPECT_FALSE(AFile(WinPath(text)).MakeDirectory(false, nullptr)) << text;
    }
    ASSERT_TRUE(CorePathUtils::SetCurrentDir(fSaved));
    EXPECT_FALSE(scratch.At(probe).Exists() ||
                 AFile(WinPath(std::string(1, CurrentLetter()) + ":\\" + probe)).Exists());
}

#if !defined(_WIN32)
// With the current directory on a share it has no drive; it is the same afterwards.
TEST_F(CorePathUtilsTest, DriveRelativePathFromAShareLeavesTheShare) {
    const std::string host =
        "/" + Narrow(fSaved.Subpath(1, fSaved.Size() - 1).GetPath(APath::kPosixPath, false));
    ASSERT_EQ(CurrentLetter(), 'Z');
    ASSERT_TRUE(posixhost::MapDrive('K', host.c_str(), "\\\\srv\\share"));
    ASSERT_TRUE(CorePathUtils::SetCurrentDir(WinPath("\\\\srv\\share")));
    const std::string onShare = Render(CorePathUtils::GetCurrentDir());
    ASSERT_EQ(onShare.substr(0, 2), "\\\\");
    APath fromShare = WinPath("Z:x");
    ASSERT_TRUE(fromShare.MakeAbsolute(nullptr, false));
    EXPECT_EQ(Render(fromShare), Render(fSaved) + "\\x");
    EXPECT_EQ(Render(CorePathUtils::GetCurrentDir()), onShare);
    ASSERT_TRUE(CorePathUtils::SetCurrentDir(fSaved) && posixhost::UnmapDrive('K'));
}
#endif

} // namespace
