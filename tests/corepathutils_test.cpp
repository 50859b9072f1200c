// Tests of path resolution against the current directory, alias collapse and the shape tests.
#include <zelk/fileutils.h>

#include "testsupport.h"

#include <string>

#if !defined(_WIN32)
#include <zelk/posixhost.h>
#endif

using namespace vorlan::zelk;

namespace {

using namespace zelktest;

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

#if !defined(_WIN32)
// Another drive's directory and one on a share, set up through the stand-in's drive table.
TEST_F(CorePathUtilsTest, DriveRelativePathsOnAnotherDriveUseThatDrivesDirectory) {
    const std::string host =
        "/" + Narrow(fSaved.Subpath(1, fSaved.Size() - 1).GetPath(APath::kPosixPath, false));
    ASSERT_EQ(CurrentLetter(), 'Z');
    ASSERT_TRUE(posixhost::MapDrive('K', host.c_str(), "\\\\srv\\share"));

    // K:'s own directory is its root until it was current somewhere else.
    APath path = WinPath("k:a");
    ASSERT_TRUE(path.MakeAbsolute(nullptr, false));
    EXPECT_EQ(Render(path), "K:\\a");
    EXPECT_EQ(Render(CorePathUtils::GetCurrentDir()), Render(fSaved));

    // With the current directory on the share, it has no drive; it is the same afterwards.
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
