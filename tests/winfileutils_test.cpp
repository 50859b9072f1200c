// Tests of an entry's local, POSIX and UNC forms, and of showing an entry in the file browser.
#include <zelk/afile.h>
#include <zelk/apath.h>
#include <zelk/astring.h>
#include <zelk/astring8.h>
#include <zelk/fileutils.h>

#include <gtest/gtest.h>

#include <string>

#if !defined(_WIN32)
#include <zelk/posixhost.h>

#include <sys/wait.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>
#endif

using vorlan::zelk::AFile;
using vorlan::zelk::APath;
using vorlan::zelk::AString;
using vorlan::zelk::AString8;
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

// ---- Showing an entry --------------------------------------------------------------------

TEST(ShowFileLocationTest, EmptyFileStartsNothing) {
    EXPECT_FALSE(CoreFileUtils::ShowFileLocation(AFile()));
}

#if !defined(_WIN32)
// Any other entry would start the real file browser on Windows and under Wine, so these run on
// Linux only, with a launcher that records its arguments in place of the file manager.
namespace fs = std::filesystem;

class ShowThroughLauncherTest : public ::testing::Test {
protected:
    void SetUp() override {
        fDir = fs::temp_directory_path() /
               ("zelk-show-" + std::to_string(::getpid()) + "-" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(fDir);
        ASSERT_TRUE(fs::create_directory(fDir));
        fRecord = (fDir / "arguments").string();
        fScript = (fDir / "record.sh").string();
        std::ofstream(fScript)
            << "#!/bin/sh\nout=$1; shift\n"
               "printf '%s\\n' \"$@\" > \"$out.part\" && mv \"$out.part\" \"$out\"\n";
        fs::permissions(fScript, fs::perms::owner_all);
    }
    void TearDown() override {
        vorlan::zelk::posixhost::SetShowLauncher(nullptr);
        fs::remove_all(fDir);
    }

    // The arguments the launcher got, one a line; empty when it wrote nothing within 10 s.
    std::vector<std::string> RecordedArguments() const {
        for (int i = 0; i < 500 && !fs::exists(fRecord); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        std::ifstream in(fRecord);
        std::vector<std::string> lines;
        for (std::string line; std::getline(in, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    // The AFile of a host path, in its drive form through Z:, the host root.
    static AFile HostFile(const std::string& hostPath) {
        std::string text = "Z:" + hostPath;
        for (char& c : text) {
            c = c == '/' ? '\\' : c;
        }
        AFile file;
        CoreFileUtils::UTF8ToAFile(AString8(text.c_str()), file);
        return file;
    }

    fs::path fDir;
    std::string fRecord;
    std::string fScript;
};

TEST_F(ShowThroughLauncherTest, LauncherGetsTheEntryAsArguments) {
    const char* const command[] = {fScript.c_str(), fRecord.c_str(), nullptr};
    ASSERT_TRUE(vorlan::zelk::posixhost::SetShowLauncher(command));
    // Blanks, quotation marks, a semicolon and non-ASCII text reach the launcher unchanged, and
    // the entry need not exist.
    const std::string name = "a b \"q\" 'x';\xC3\xBC.txt";
    const std::string hostPath = (fDir / name).string();

    EXPECT_TRUE(CoreFileUtils::ShowFileLocation(HostFile(hostPath)));
    // The launcher runs detached: no child is left for this process to reap.
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);

    const std::vector<std::string> arguments = RecordedArguments();
    ASSERT_EQ(arguments.size(), 2u);
    const std::string uri = arguments[0];
    const std::string encoded = "/a%20b%20%22q%22%20%27x%27%3B%C3%BC.txt";
    EXPECT_EQ(uri.rfind("file:///", 0), 0u) << uri;
    ASSERT_GE(uri.size(), encoded.size());
    EXPECT_EQ(uri.substr(uri.size() - encoded.size()), encoded);
    EXPECT_EQ(arguments[1], hostPath);
}

TEST_F(ShowThroughLauncherTest, FailedStartsGiveFalse) {
    const std::string entry = (fDir / "x.txt").string();
    const std::string notRunnable = (fDir / "not-runnable").string();
    std::ofstream(notRunnable) << "neither a script nor a program\n";
    fs::permissions(notRunnable, fs::perms::owner_all);
    const std::string missing = (fDir / "missing").string();

    for (const std::string& program : {missing, notRunnable}) {
        SCOPED_TRACE(program);
        const char* const command[] = {program.c_str(), nullptr};
        ASSERT_TRUE(vorlan::zelk::posixhost::SetShowLauncher(command));
        EXPECT_FALSE(CoreFileUtils::ShowFileLocation(HostFile(entry)));
    }
    // An entry on a drive the table doesn't map has no place on the host.
    const char* const command[] = {fScript.c_str(), fRecord.c_str(), nullptr};
    ASSERT_TRUE(vorlan::zelk::posixhost::SetShowLauncher(command));
    const char letter = MissingDrive();
    ASSERT_NE(letter, 0);
    EXPECT_FALSE(CoreFileUtils::ShowFileLocation(FileOf(std::string(1, letter) + ":\\a")));
    EXPECT_FALSE(fs::exists(fRecord));
}
#endif

} // namespace
