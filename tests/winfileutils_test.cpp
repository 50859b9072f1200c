// Tests of an entry's local, POSIX and UNC forms, and of showing an entry in the file browser.
#include <zelk/afile.h>
#include <zelk/apath.h>
#include <zelk/astring.h>
#include <zelk/fileutils.h>

#include <gtest/gtest.h>

#include <string>

#if !defined(_WIN32)
#include <zelk/posixhost.h>
#endif

using vorlan::zelk::AFile;
using vorlan::zelk::APath;
using vorlan::zelk::AString;
using vorlan::zelk::CoreFileUtils;
using vorlan::zelk::CorePathUtils;
using vorlan::zelk::WinFileUtils;

namespace {

std::string Narrow(const AString& text) {
    std::string out;
    for (unsigned long i = 0; i < text.UTF16Count(); ++i) {
        const unsigned short unit = text.GrabWString()[i];
        out += unit < 0x80 ? static_cast<char>(unit) : '?';
    }
    return out;
}

AFile FileOf(const std::string& text) {
    return AFile(AString(text.c_str()));
}

std::string Unc(const std::string& text) {
    return Narrow(WinFileUtils::GetUNCPath(FileOf(text)));
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

// A drive letter that can't be made current, or 0. Leaves the current directory as it was.
char MissingDrive() {
    CurrentDirGuard guard;
    for (char letter = 'Y'; letter >= 'D'; --letter) {
        const APath root(AString((std::string(1, letter) + ":\\").c_str()), APath::kWinPath);
        if (!CorePathUtils::SetCurrentDir(root)) {
            return letter;
        }
    }
    return 0;
}

// ---- Local and POSIX forms -------------------------------------------------------------------

struct FormRow {
    const char* in;
    const char* local;
    const char* posix;
};

const FormRow kForms[] = {
    {"", "", ""},
    {"C:/a", "C:\\a", "/C:/a"},
    {"C:\\a\\b.txt", "C:\\a\\b.txt", "/C:/a/b.txt"},
    {"C:a", "C:a", "C:/a"},
    {"\\\\server\\share\\x", "\\\\server\\share\\x", "/server/share/x"},
    {"a/b", "a\\b", "a/b"},
};

TEST(WinFileUtilsTest, LocalAndPosixForms) {
    for (const FormRow& row : kForms) {
        SCOPED_TRACE(row.in);
        const AFile file = FileOf(row.in);
        EXPECT_EQ(Narrow(WinFileUtils::GetLocalPath(file)), row.local);
        EXPECT_EQ(Narrow(WinFileUtils::GetPosixPath(file)), row.posix);
    }
    EXPECT_EQ(Narrow(WinFileUtils::GetLocalPath(AFile())), "");
    EXPECT_EQ(Narrow(WinFileUtils::GetPosixPath(AFile())), "");
    EXPECT_EQ(Narrow(WinFileUtils::GetUNCPath(AFile())), "");
}

TEST(WinFileUtilsTest, LongPathsHaveNoPrefix) {
    std::string local = "C:";
    std::string posix = "/C:";
    for (int i = 0; i < 30; ++i) {
        local += "\\directory";
        posix += "/directory";
    }
    const AFile file = FileOf(local);
    EXPECT_EQ(Narrow(WinFileUtils::GetLocalPath(file)), local);
    EXPECT_EQ(Narrow(WinFileUtils::GetPosixPath(file)), posix);
    EXPECT_EQ(Narrow(WinFileUtils::GetUNCPath(file)), local);
}

// ---- UNC form --------------------------------------------------------------------------------

TEST(WinFileUtilsTest, PathsWithoutDriveComeBackUnchanged) {
    // A relative path would come back absolute if the current directory had been asked.
    EXPECT_EQ(Unc("a\\b"), "a\\b");
    EXPECT_EQ(Unc("a/b"), "a\\b");
    EXPECT_EQ(Unc("\\\\server\\share\\a"), "\\\\server\\share\\a");
    EXPECT_EQ(Unc("//server/share"), "\\\\server\\share");
}

TEST(WinFileUtilsTest, LocalDriveComesBackUnchanged) {
    const APath current = CorePathUtils::GetCurrentDir();
    ASSERT_TRUE(CorePathUtils::IsWinLocalPath(current));
    const std::string text = Narrow(current.GetPath(APath::kWinPath, false)) + "\\x\\y.txt";
    EXPECT_EQ(Unc(text), text);
}

TEST(WinFileUtilsTest, MissingDrive) {
    const char letter = MissingDrive();
    ASSERT_NE(letter, 0) << "every drive letter is in use";
    const std::string drive(1, letter);
    CurrentDirGuard guard;
    EXPECT_EQ(Unc(drive + ":\\a\\b"), drive + ":\\a\\b");
    // Drive-relative: the drive can't be made current, so the path stays as it was.
    EXPECT_EQ(Unc(drive + ":a"), drive + ":a");
    EXPECT_EQ(Unc(drive + ":a/b"), drive + ":a\\b");
}

#if !defined(_WIN32)
// Network drives come from the drive table, which the Windows build lacks: under Wine no drive
// can be mapped to a share from a test, so these run on Linux only.
namespace posixhost = vorlan::zelk::posixhost;

class NetworkDriveTest : public ::testing::Test {
protected:
    void TearDown() override {
        posixhost::UnmapDrive('X');
        posixhost::UnmapDrive('W');
    }
    CurrentDirGuard fGuard;
};

TEST_F(NetworkDriveTest, MappedDriveGivesServerAndShare) {
    ASSERT_TRUE(posixhost::MapDrive('X', "/tmp", "\\\\server\\share"));
    EXPECT_EQ(Unc("X:\\a\\b"), "\\\\server\\share\\a\\b");
    EXPECT_EQ(Unc("x:/a/b/"), "\\\\server\\share\\a\\b");
    EXPECT_EQ(Unc("X:\\"), "\\\\server\\share");
    // Drive-relative: made absolute against the drive's current directory (its root) first.
    EXPECT_EQ(Unc("X:a"), "\\\\server\\share\\a");
    EXPECT_EQ(Unc("X:a\\..\\b"), "\\\\server\\share\\b");
    // A local drive of the table stays.
    ASSERT_TRUE(posixhost::MapDrive('W', "/tmp"));
    EXPECT_EQ(Unc("W:\\a"), "W:\\a");
}

TEST_F(NetworkDriveTest, NameThatDoesNotFitLeavesDrivePath) {
    // The platform is told 510 units: 509 and the terminator fit, one more doesn't.
    const std::string server(254, 's');
    const std::string fits = "\\\\" + server + "\\" + std::string(252, 'h');
    const std::string tooLong = "\\\\" + server + "\\" + std::string(253, 'h');
    ASSERT_EQ(fits.size(), 509u);

    ASSERT_TRUE(posixhost::MapDrive('X', "/tmp", fits.c_str()));
    EXPECT_EQ(Unc("X:\\a"), fits + "\\a");
    ASSERT_TRUE(posixhost::MapDrive('X', "/tmp", tooLong.c_str()));
    EXPECT_EQ(Unc("X:\\a"), "X:\\a");
    EXPECT_EQ(Unc("X:\\"), "X:\\");
}
#endif

} // namespace
