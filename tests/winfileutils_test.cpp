// Tests of an entry's local, POSIX and UNC forms, and of showing an entry in the file browser.
#include <zelk/fileutils.h>

#include "testsupport.h"

#include <algorithm>
#include <string>

#if !defined(_WIN32)
#include <zelk/posixhost.h>

#include <sys/wait.h>

#include <cerrno>
#include <thread>
#include <vector>
#endif

using namespace vorlan::zelk;
using zelktest::Narrow;

namespace {

AFile FileOf(const std::string& text) {
    return AFile(AString(text.c_str()));
}

std::string Unc(const std::string& text) {
    return Narrow(WinFileUtils::GetUNCPath(FileOf(text)));
}

TEST(WinFileUtilsTest, FormsWithoutTheCurrentDirectory) {
    std::string longLocal = "C:";
    std::string longPosix = "/C:";
    for (int i = 0; i < 30; ++i) {
        longLocal += "\\directory";
        longPosix += "/directory";
    }
    const struct {
        std::string in;
        std::string local;
        std::string posix;
        const char* unc; // null: not asked, a drive-relative path
    } rows[] = {
        {"", "", "", ""},
        {"C:/a", "C:\\a", "/C:/a", "C:\\a"},
        {"C:a", "C:a", "C:/a", nullptr},
        {"//server/share", "\\\\server\\share", "/server/share", "\\\\server\\share"},
        // A relative path would come back absolute if the current directory had been asked.
        {"a/b", "a\\b", "a/b", "a\\b"},
        // Long paths have no prefix.
        {longLocal, longLocal, longPosix, longLocal.c_str()},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.in.substr(0, 40));
        const AFile file = FileOf(row.in);
        EXPECT_EQ(Narrow(WinFileUtils::GetLocalPath(file)), row.local);
        EXPECT_EQ(Narrow(WinFileUtils::GetPosixPath(file)), row.posix);
        if (row.unc != nullptr) {
            EXPECT_EQ(Narrow(WinFileUtils::GetUNCPath(file)), row.unc);
        }
    }
}

TEST(WinFileUtilsTest, LocalAndMissingDrivesComeBackUnchanged) {
    const APath current = CorePathUtils::GetCurrentDir();
    ASSERT_TRUE(CorePathUtils::IsWinLocalPath(current));
    const std::string text = Narrow(current.GetPath(APath::kWinPath, false)) + "\\x\\y.txt";
    EXPECT_EQ(Unc(text), text);

    const char letter = zelktest::MissingDrive();
    ASSERT_NE(letter, 0) << "every drive letter is in use";
    const std::string drive(1, letter);
    const zelktest::CurrentDirGuard guard;
    EXPECT_EQ(Unc(drive + ":\\a\\b"), drive + ":\\a\\b");
    // Drive-relative: the drive can't be made current, so the path stays as it was.
    EXPECT_EQ(Unc(drive + ":a/b"), drive + ":a\\b");
}

#if !defined(_WIN32)
// Network drives come from the stand-in's drive table: under Wine a test can't map one.

class NetworkDriveTest : public ::testing::Test {
protected:
    void TearDown() override { posixhost::UnmapDrive('X'); }
    const zelktest::CurrentDirGuard fGuard;
};

TEST_F(NetworkDriveTest, MappedDriveGivesServerAndShare) {
    ASSERT_TRUE(posixhost::MapDrive('X', "/tmp", "\\\\server\\share"));
    EXPECT_EQ(Unc("X:\\a\\b"), "\\\\server\\share\\a\\b");
    EXPECT_EQ(Unc("x:/a/b/"), "\\\\server\\share\\a\\b");
    EXPECT_EQ(Unc("X:\\"), "\\\\server\\share");
    // Drive-relative: made absolute against the drive's current directory (its root) first.
    EXPECT_EQ(Unc("X:a"), "\\\\server\\share\\a");
    EXPECT_EQ(Unc("X:a\\..\\b"), "\\\\server\\share\\b");

    // The platform is told 510 units: 509 and the terminator fit, one more doesn't.
    const std::string fits = "\\\\" + std::string(254, 's') + "\\" + std::string(252, 'h');
    ASSERT_TRUE(posixhost::MapDrive('X', "/tmp", fits.c_str()));
    EXPECT_EQ(Unc("X:\\a"), fits + "\\a");
    ASSERT_TRUE(posixhost::MapDrive('X', "/tmp", (fits + "h").c_str()));
    EXPECT_EQ(Unc("X:\\a"), "X:\\a");
}
#endif

TEST(ShowFileLocationTest, EmptyFileStartsNothing) {
    EXPECT_FALSE(CoreFileUtils::ShowFileLocation(AFile()));
}

#if !defined(_WIN32)
// Elsewhere the real file browser would start: on Linux a launcher records its arguments instead.
namespace fs = std::filesystem;

class ShowThroughLauncherTest : public zelktest::ScratchTest {
protected:
    void SetUp() override {
        ScratchTest::SetUp();
        fDir = zelktest::HostPath(Root()).string();
        fRecord = fDir + "/arguments";
        fScript = fDir + "/record.sh";
        std::ofstream(fScript)
            << "#!/bin/sh\nout=$1; shift\n"
               "printf '%s\\n' \"$@\" > \"$out.part\" && mv \"$out.part\" \"$out\"\n";
        fs::permissions(fScript, fs::perms::owner_all);
        UseLauncher(fScript, fRecord);
    }
    void TearDown() override { posixhost::SetShowLauncher(nullptr); }

    static void UseLauncher(const std::string& program, const std::string& argument = {}) {
        const char* const command[] = {program.c_str(),
                                       argument.empty() ? nullptr : argument.c_str(), nullptr};
        ASSERT_TRUE(posixhost::SetShowLauncher(command));
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

    // The AFile of a host path (UTF-8) through Z:, the host root; slashes are separators too.
    static AFile HostFile(const std::string& text) {
        AFile file;
        CoreFileUtils::UTF8ToAFile(AString8(("Z:" + text).c_str()), file);
        return file;
    }

    std::string fDir;
    std::string fRecord;
    std::string fScript;
};

TEST_F(ShowThroughLauncherTest, LauncherGetsTheEntryAsArguments) {
    // Blanks, quotation marks, a semicolon and non-ASCII text reach the launcher unchanged, and
    // the entry need not exist.
    const std::string hostPath = fDir + "/a b \"q\" 'x';\xC3\xBC.txt";
    EXPECT_TRUE(CoreFileUtils::ShowFileLocation(HostFile(hostPath)));
    // The launcher runs detached: no child is left for this process to reap.
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);

    const std::vector<std::string> arguments = RecordedArguments();
    ASSERT_EQ(arguments.size(), 2u);
    const std::string& uri = arguments[0];
    const std::string encoded = "/a%20b%20%22q%22%20%27x%27%3B%C3%BC.txt";
    EXPECT_EQ(uri.rfind("file:///", 0), 0u) << uri;
    EXPECT_EQ(uri.substr(uri.size() - std::min(uri.size(), encoded.size())), encoded);
    EXPECT_EQ(arguments[1], hostPath);
}

TEST_F(ShowThroughLauncherTest, FailedStartsGiveFalse) {
    const std::string notRunnable = fDir + "/not-runnable";
    std::ofstream(notRunnable) << "neither a script nor a program\n";
    fs::permissions(notRunnable, fs::perms::owner_all);
    for (const std::string& program : {fDir + "/missing", notRunnable}) {
        SCOPED_TRACE(program);
        UseLauncher(program);
        EXPECT_FALSE(CoreFileUtils::ShowFileLocation(HostFile(fDir + "/x.txt")));
    }
    // An entry on a drive the table doesn't map has no place on the host.
    UseLauncher(fScript, fRecord);
    const char letter = zelktest::MissingDrive();
    ASSERT_NE(letter, 0);
    EXPECT_FALSE(CoreFileUtils::ShowFileLocation(FileOf(std::string(1, letter) + ":\\a")));
    EXPECT_FALSE(fs::exists(fRecord));
}
#endif

} // namespace
