// Tests of the platform layer's own rules, on the real Win32 calls and on the POSIX stand-in.
#include "platform/platform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#if !defined(_WIN32)
#include "platform/posix/hostapi.h"
#include <zelk/posixhost.h>
#endif

namespace platform = vorlan::zelk::platform;
using platform::CopyFileW, platform::CreateDirectoryW, platform::CreateFileW, platform::DeleteFileW,
    platform::ERROR_ACCESS_DENIED, platform::ERROR_DIRECTORY, platform::ERROR_PATH_NOT_FOUND,
    platform::ERROR_SHARING_VIOLATION, platform::FILETIME, platform::FILE_ATTRIBUTE_NORMAL,
    platform::FILE_ATTRIBUTE_READONLY, platform::FileTimeToUInt64, platform::FindFirstFileW,
    platform::GENERIC_READ, platform::GENERIC_WRITE, platform::GetDriveTypeW,
    platform::GetFileAttributesExW, platform::GetFileAttributesW, platform::GetLastError,
    platform::INVALID_FILE_ATTRIBUTES, platform::INVALID_HANDLE_VALUE, platform::MoveFileExW,
    platform::MoveFileW, platform::OPEN_EXISTING, platform::PathIsNetworkPathW,
    platform::RemoveDirectoryW, platform::SEM_FAILCRITICALERRORS, platform::ScopedFileHandle,
    platform::SetCurrentDirectoryW, platform::SetErrorMode, platform::SetFileAttributesW,
    platform::SetLastError, platform::WIN32_FILE_ATTRIBUTE_DATA, platform::WNetGetConnectionW;
using platform::DWORD;

namespace {

const unsigned short* P(const std::u16string& text) {
    return reinterpret_cast<const unsigned short*>(text.c_str());
}

DWORD Attributes(const std::u16string& path) {
    return GetFileAttributesW(P(path));
}

bool Exists(const std::u16string& path) {
    return Attributes(path) != INVALID_FILE_ATTRIBUTES;
}

bool MakeDir(const std::u16string& path) {
    return CreateDirectoryW(P(path), nullptr) != 0;
}

std::u16string FromUnits(const unsigned short* units) {
    std::u16string text;
    for (; *units != 0; ++units) {
        text += static_cast<char16_t>(*units);
    }
    return text;
}

std::u16string Ascii(const std::string& text) {
    return std::u16string(text.begin(), text.end());
}

std::string Narrow(const std::u16string& text) {
    std::string out;
    for (char16_t unit : text) {
        out += unit < 0x80 ? static_cast<char>(unit) : '?';
    }
    return out;
}

std::u16string CurrentDirectory() {
    std::vector<unsigned short> buffer(32767);
    const DWORD length =
        platform::GetCurrentDirectoryW(static_cast<DWORD>(buffer.size()), buffer.data());
    return length == 0 ? std::u16string() : FromUnits(buffer.data());
}

bool MakeFile(const std::u16string& path) {
    ScopedFileHandle file(
        CreateFileW(P(path), GENERIC_WRITE, 0, nullptr, platform::CREATE_NEW, 0x80, nullptr));
    return file.IsValid();
}

// Opens an existing entry with the given access, every share and the given flags.
ScopedFileHandle Open(const std::u16string& path, DWORD access, DWORD share = 3, DWORD flags = 0) {
    return ScopedFileHandle(
        CreateFileW(P(path), access, share, nullptr, OPEN_EXISTING, flags, nullptr));
}

// The call failed (gave 0 or false) and left this last error.
template <typename Result>::testing::AssertionResult FailsWith(Result result, DWORD expected) {
    const DWORD error = GetLastError();
    if (result == Result{} && error == expected) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "result " << result << ", last error " << error;
}

// Every name of a listing, "." and ".." included, in the order given.
std::vector<std::u16string> List(const std::u16string& pattern, DWORD* endError = nullptr) {
    std::vector<std::u16string> names;
    platform::WIN32_FIND_DATAW data{};
    platform::ScopedFindHandle search(FindFirstFileW(P(pattern), &data));
    if (!search) {
        return names;
    }
    do {
        names.push_back(FromUnits(data.cFileName));
    } while (platform::FindNextFileW(search.Get(), &data) != 0);
    if (endError != nullptr) {
        *endError = GetLastError();
    }
    return names;
}

void RemoveTree(const std::u16string& directory) {
    for (const std::u16string& name : List(directory + u"\\*")) {
        if (name == u"." || name == u"..") {
            continue;
        }
        const std::u16string path = directory + u"\\" + name;
        const DWORD attributes = Attributes(path);
        SetFileAttributesW(P(path), FILE_ATTRIBUTE_NORMAL);
        if ((attributes & platform::FILE_ATTRIBUTE_DIRECTORY) == 0) {
            DeleteFileW(P(path));
        } else if ((attributes & platform::FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
            RemoveDirectoryW(P(path));
        } else {
            RemoveTree(path);
        }
    }
    SetFileAttributesW(P(directory), FILE_ATTRIBUTE_NORMAL);
    RemoveDirectoryW(P(directory));
}

// Each test works in a fresh directory under the temporary directory, and leaves the current
// directory as it found it.
class PlatformTest : public ::testing::Test {
protected:
    void SetUp() override {
        fSavedDirectory = CurrentDirectory();
        std::vector<unsigned short> buffer(32767);
        ASSERT_NE(platform::GetTempPathW(static_cast<DWORD>(buffer.size()), buffer.data()), 0u);
        std::u16string temp = FromUnits(buffer.data());
        ASSERT_FALSE(temp.empty());
        EXPECT_EQ(temp.back(), u'\\');
        FILETIME now{};
        platform::GetSystemTimeAsFileTime(&now);
        static int counter = 0;
        fRoot = temp + u"zelk-platform-" + Ascii(std::to_string(FileTimeToUInt64(now))) + u"-" +
                Ascii(std::to_string(++counter));
        ASSERT_TRUE(MakeDir(fRoot));
    }
    void TearDown() override {
        SetCurrentDirectoryW(P(fSavedDirectory));
        RemoveTree(fRoot);
    }
    std::u16string In(const std::u16string& name) const { return fRoot + u"\\" + name; }

    std::u16string fRoot;
    std::u16string fSavedDirectory;
};

TEST_F(PlatformTest, ErrorNumbersOfCommonFailures) {
    ASSERT_TRUE(MakeFile(In(u"file")));
    ASSERT_TRUE(MakeDir(In(u"dir")));
    enum Call { kAttributes, kMakeDir, kCreateNew, kOpen, kDelete, kRemoveDir };
    const struct {
        const char* what;
        Call call;
        const char16_t* name; // below the scratch directory; empty for the directory itself
        DWORD error;
    } cases[] = {
        {"missing entry", kAttributes, u"none", 2},
        {"missing directory on the way", kAttributes, u"none\\x", 3},
        {"directory there", kMakeDir, u"dir", 183},
        {"directory under a missing one", kMakeDir, u"none\\dir", 3},
        {"create new over a file", kCreateNew, u"file", 80},
        {"create new over a directory", kCreateNew, u"dir", 80},
        {"open a missing file", kOpen, u"none", 2},
        {"open a directory without backup semantics", kOpen, u"dir", 5},
        {"delete a directory as a file", kDelete, u"dir", 5},
        {"remove a file as a directory", kRemoveDir, u"file", 267},
        {"delete a missing file", kDelete, u"none", 2},
        {"remove a non-empty directory", kRemoveDir, u"", 145},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const std::u16string path = *c.name == 0 ? fRoot : In(c.name);
        SetLastError(0);
        const bool done = c.call == kAttributes  ? Exists(path)
                          : c.call == kMakeDir   ? MakeDir(path)
                          : c.call == kCreateNew ? MakeFile(path)
                          : c.call == kOpen      ? Open(path, GENERIC_READ).IsValid()
                          : c.call == kDelete    ? DeleteFileW(P(path)) != 0
                                                 : RemoveDirectoryW(P(path)) != 0;
        EXPECT_TRUE(FailsWith(done, c.error));
    }
    // A directory opens with backup semantics, and then even for reading.
    EXPECT_TRUE(Open(In(u"dir"), GENERIC_READ, 3, platform::FILE_FLAG_BACKUP_SEMANTICS).IsValid());
}

TEST_F(PlatformTest, AttributesOfFilesAndDirectories) {
    ASSERT_TRUE(MakeFile(In(u"file")));
    ASSERT_TRUE(MakeDir(In(u"dir")));
    // A plain file has nothing but the archive or the normal bit (hosts differ in which).
    const DWORD file = Attributes(In(u"file"));
    EXPECT_EQ(file & ~(platform::FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_NORMAL), 0u);
    EXPECT_NE(file, 0u);
    EXPECT_EQ(Attributes(In(u"dir")) & 0x17u, 0x10u);

    // Hidden is set and cleared, and leaves the other bits.
    ASSERT_NE(SetFileAttributesW(P(In(u"file")), platform::FILE_ATTRIBUTE_HIDDEN), 0)
        << GetLastError();
    EXPECT_EQ(Attributes(In(u"file")) & 0x13u, 0x02u);
    ASSERT_NE(SetFileAttributesW(P(In(u"file")), FILE_ATTRIBUTE_NORMAL), 0);
    EXPECT_EQ(Attributes(In(u"file")) & 0x13u, 0x00u);

    WIN32_FILE_ATTRIBUTE_DATA data{};
    EXPECT_TRUE(FailsWith(GetFileAttributesExW(P(In(u"file")), 1, &data),
                          platform::ERROR_INVALID_PARAMETER));
    ASSERT_NE(GetFileAttributesExW(P(In(u"file")), platform::GetFileExInfoStandard, &data), 0);
    EXPECT_EQ(data.nFileSizeLow, 0u);
    EXPECT_NE(FileTimeToUInt64(data.ftCreationTime), 0u);
    EXPECT_NE(FileTimeToUInt64(data.ftLastWriteTime), 0u);
}

TEST_F(PlatformTest, ReadOnlyFileRefusesWritingAndDeletion) {
    const std::u16string path = In(u"locked");
    ASSERT_TRUE(MakeFile(path));
    ASSERT_NE(SetFileAttributesW(P(path), FILE_ATTRIBUTE_READONLY), 0);
    EXPECT_EQ(Attributes(path) & FILE_ATTRIBUTE_READONLY, 1u);
    EXPECT_EQ(platform::_waccess(P(path), 0), 0);
    EXPECT_EQ(platform::_waccess(P(path), 2), -1);

    // Also for an administrator or root, who could write it otherwise.
    EXPECT_TRUE(FailsWith(DeleteFileW(P(path)), ERROR_ACCESS_DENIED));
#if !defined(_WIN32)
    // Windows refuses to open it for writing; Wine running as root lets that through, so this is
    // asked of the stand-in alone.
    EXPECT_TRUE(FailsWith(Open(path, GENERIC_WRITE).IsValid(), ERROR_ACCESS_DENIED));
#endif
    EXPECT_TRUE(Open(path, GENERIC_READ).IsValid());

    ASSERT_NE(SetFileAttributesW(P(path), FILE_ATTRIBUTE_NORMAL), 0);
    EXPECT_NE(DeleteFileW(P(path)), 0);
    EXPECT_NE(platform::_waccess(P(path), 0), 0);
}

TEST_F(PlatformTest, ListingGivesDotsFirstAndEndsWithNoMoreFiles) {
    ASSERT_TRUE(MakeDir(In(u"d")));
    for (const char16_t* name : {u"b.txt", u"a.txt", u"c.dat"}) {
        ASSERT_TRUE(MakeFile(In(u"d\\") + name));
    }
    ASSERT_TRUE(MakeDir(In(u"d\\sub")));

    DWORD endError = 0;
    std::vector<std::u16string> names = List(In(u"d\\*"), &endError);
    ASSERT_EQ(names.size(), 6u);
    EXPECT_EQ(names[0], u".");
    EXPECT_EQ(names[1], u"..");
    EXPECT_EQ(endError, platform::ERROR_NO_MORE_FILES);
    std::sort(names.begin() + 2, names.end());
    EXPECT_EQ(names[2], u"a.txt");
    EXPECT_EQ(names[5], u"sub");

    // Patterns match without regard to letter case; a name alone finds that entry.
    names = List(In(u"d\\*.TXT"));
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::u16string>{u"a.txt", u"b.txt"}));
    EXPECT_EQ(List(In(u"d\\?.dat")), std::vector<std::u16string>{u"c.dat"});
    EXPECT_EQ(List(In(u"d\\sub")), std::vector<std::u16string>{u"sub"});

    platform::WIN32_FIND_DATAW data{};
    EXPECT_EQ(FindFirstFileW(P(In(u"d\\*.none")), &data), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), platform::ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(FindFirstFileW(P(In(u"none\\*")), &data), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
    // A pattern under a file finds nothing. Windows reports 267 or 123 by file system and
    // version; the stand-in says 123.
    EXPECT_EQ(FindFirstFileW(P(In(u"d\\a.txt\\*")), &data), INVALID_HANDLE_VALUE);
    const DWORD underFile = GetLastError();
    EXPECT_TRUE(underFile == platform::ERROR_INVALID_NAME || underFile == ERROR_DIRECTORY ||
                underFile == ERROR_PATH_NOT_FOUND)
        << underFile;

    // FindClose leaves the last error as it stood.
    platform::HANDLE search = FindFirstFileW(P(In(u"d\\*")), &data);
    ASSERT_NE(search, INVALID_HANDLE_VALUE);
    SetLastError(1234);
    EXPECT_NE(platform::FindClose(search), 0);
    EXPECT_EQ(GetLastError(), 1234u);
}

TEST_F(PlatformTest, ShareModesBetweenHandlesOfThisProcess) {
    const std::u16string path = In(u"shared");
    ASSERT_TRUE(MakeFile(path));
    ScopedFileHandle reader = Open(path, GENERIC_READ, platform::FILE_SHARE_READ);
    ASSERT_TRUE(reader.IsValid());
    EXPECT_TRUE(Open(path, GENERIC_READ, 3).IsValid());
    EXPECT_TRUE(FailsWith(Open(path, GENERIC_WRITE, 3).IsValid(), ERROR_SHARING_VIOLATION));
    // Sole use is refused while another handle reads; without data access it is not.
    EXPECT_TRUE(FailsWith(Open(path, GENERIC_READ, 0).IsValid(), ERROR_SHARING_VIOLATION));
    EXPECT_TRUE(Open(path, 0, 0).IsValid());
    EXPECT_TRUE(Open(path, platform::FILE_WRITE_ATTRIBUTES, 3).IsValid());
    // Deleting needs the delete share of every open handle.
    EXPECT_TRUE(FailsWith(DeleteFileW(P(path)), ERROR_SHARING_VIOLATION));
    reader.Reset();
    EXPECT_TRUE(Open(path, GENERIC_READ | GENERIC_WRITE, 0).IsValid());
    EXPECT_NE(DeleteFileW(P(path)), 0);

    // (HANDLE)-1 is the process itself to Windows, so null stands for a handle that isn't open.
    EXPECT_TRUE(FailsWith(platform::CloseHandle(nullptr), platform::ERROR_INVALID_HANDLE));
}

// The child half of the test below: started as a process of its own with the file's path and
// the error it must meet when it asks for sole use.
TEST(PlatformChildProcess, OpenForSoleUse) {
    std::string path;
    std::string expected;
    for (const std::string& argument : ::testing::internal::GetArgvs()) {
        if (argument.rfind("--zelk-path=", 0) == 0) {
            path = argument.substr(12);
        } else if (argument.rfind("--zelk-expect=", 0) == 0) {
            expected = argument.substr(14);
        }
    }
    if (path.empty()) {
        GTEST_SKIP() << "runs only as the child of ShareNoneAgainstAnotherProcess";
    }
    ScopedFileHandle file = Open(Ascii(path), GENERIC_READ, 0);
    const DWORD error = file.IsValid() ? 0 : GetLastError();
    EXPECT_EQ(std::to_string(error), expected);
}

TEST_F(PlatformTest, ShareNoneAgainstAnotherProcess) {
    const std::u16string path = In(u"held");
    ASSERT_TRUE(MakeFile(path));
    const std::string self = ::testing::internal::GetArgvs().front();
    const auto child = [&](const char* expected) {
        const std::string command = "\"" + self +
                                    "\" --gtest_filter=PlatformChildProcess.OpenForSoleUse "
                                    "\"--zelk-path=" +
                                    Narrow(path) + "\" --zelk-expect=" + expected;
#if defined(_WIN32)
        // cmd takes the outer quotes away before it reads the line.
        return std::system(("\"" + command + "\"").c_str());
#else
        return std::system(command.c_str());
#endif
    };
    {
        ScopedFileHandle held = Open(path, GENERIC_READ, 7);
        ASSERT_TRUE(held.IsValid());
        EXPECT_EQ(child("32"), 0) << "sole use granted while another process reads the file";
    }
    EXPECT_EQ(child("0"), 0) << "sole use refused after the other process let go";
}

TEST_F(PlatformTest, TimesAreFileTimesAndUnstorableOnesAreRefused) {
    const std::u16string path = In(u"timed");
    ASSERT_TRUE(MakeFile(path));
    const auto setWriteTime = [&](std::uint64_t value) {
        ScopedFileHandle file = Open(path, platform::FILE_WRITE_ATTRIBUTES);
        const FILETIME time = platform::UInt64ToFileTime(value);
        return file.IsValid() && platform::SetFileTime(file.Get(), nullptr, nullptr, &time) == 1;
    };
    const auto writeTime = [&] {
        WIN32_FILE_ATTRIBUTE_DATA data{};
        GetFileAttributesExW(P(path), 0, &data);
        return FileTimeToUInt64(data.ftLastWriteTime);
    };
    WIN32_FILE_ATTRIBUTE_DATA before{};
    ASSERT_NE(GetFileAttributesExW(P(path), 0, &before), 0);

    // 2001-09-09 01:46:40.1234567 UTC, in 100 ns since 1601.
    const std::uint64_t when = 126444672001234567ull;
    ASSERT_TRUE(setWriteTime(when));
    EXPECT_EQ(writeTime(), when);

#if !defined(_WIN32)
    // The creation time is the host's birth time and stays. (Wine derives one from the other
    // times, so there it follows the write time back.)
    WIN32_FILE_ATTRIBUTE_DATA after{};
    ASSERT_NE(GetFileAttributesExW(P(path), 0, &after), 0);
    EXPECT_EQ(FileTimeToUInt64(after.ftCreationTime), FileTimeToUInt64(before.ftCreationTime));

    // Year 30828 is beyond what the host's file system keeps: refused, and nothing changed.
    // (NTFS keeps it; Wine passes on whatever its host file system made of it.)
    EXPECT_TRUE(FailsWith(setWriteTime(0x7FFF000000000000ull), platform::ERROR_INVALID_PARAMETER));
    EXPECT_EQ(writeTime(), when);
#endif

    FILETIME now{};
    platform::GetSystemTimeAsFileTime(&now);
    EXPECT_GT(FileTimeToUInt64(now), 133000000000000000ull); // after 2022
}

TEST(PlatformGuards, ErrorModeIsRestoredOnEveryWayOut) {
    const platform::UINT original = SetErrorMode(0);
    try {
        platform::ErrorModeGuard outer;
        EXPECT_EQ(SetErrorMode(SEM_FAILCRITICALERRORS) & SEM_FAILCRITICALERRORS,
                  SEM_FAILCRITICALERRORS);
        { platform::ErrorModeGuard inner; }
        throw std::runtime_error("leave");
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(SetErrorMode(original) & SEM_FAILCRITICALERRORS, 0u);
}

TEST(PlatformGuards, LastErrorIsPerThread) {
    // Each side sets its own value while the other holds one, and reads it back before making
    // any further call (starting and joining a thread may change the last error).
    std::atomic<int> step{0};
    const auto waitFor = [&](int value) {
        while (step != value) {
            std::this_thread::yield();
        }
    };
    DWORD seenByOther = 0;
    std::thread other([&] {
        SetLastError(5);
        step = 1;
        waitFor(2);
        seenByOther = GetLastError();
        step = 3;
    });
    waitFor(1);
    SetLastError(77);
    step = 2;
    waitFor(3);
    const DWORD seenHere = GetLastError();
    other.join();
    EXPECT_EQ(seenByOther, 5u);
    EXPECT_EQ(seenHere, 77u);
}

TEST_F(PlatformTest, CurrentDirectoryAndDrive) {
    // Too small a buffer gives the size needed, terminator included.
    unsigned short tiny[2] = {0x55, 0x55};
    const DWORD needed = platform::GetCurrentDirectoryW(2, tiny);
    EXPECT_EQ(needed, fSavedDirectory.size() + 1);
    EXPECT_EQ(tiny[0], 0x55);

    ASSERT_NE(SetCurrentDirectoryW(P(fRoot)), 0);
    EXPECT_EQ(platform::_wcsicmp(P(CurrentDirectory()), P(fRoot)), 0);
    const int drive = platform::_getdrive();
    ASSERT_GE(drive, 1);
    EXPECT_EQ(fRoot[0] - u'A' + 1, drive);

    // Relative, rooted-relative and drive-relative texts resolve against it.
    ASSERT_TRUE(MakeDir(u"sub"));
    const std::u16string driveRelative = fRoot.substr(0, 2) + u"sub\\.\\x";
    ASSERT_TRUE(MakeFile(driveRelative));
    EXPECT_TRUE(Exists(In(u"sub\\x")));
    EXPECT_TRUE(Exists(u"sub\\..\\sub\\x"));
    EXPECT_TRUE(Exists(fRoot.substr(2) + u"\\sub/x"));
    // The long-path prefix reaches the same entry.
    EXPECT_TRUE(Exists(u"\\\\?\\" + In(u"sub\\x")));

    // Changing to the current drive keeps the directory; a drive that isn't there fails and
    // changes nothing.
    EXPECT_EQ(platform::_chdrive(drive), 0);
    EXPECT_EQ(platform::_wcsicmp(P(CurrentDirectory()), P(fRoot)), 0);
    int missing = 26;
    while (missing > 0 && Exists({static_cast<char16_t>(u'@' + missing), u':', u'\\'})) {
        --missing;
    }
    ASSERT_NE(missing, 0);
    EXPECT_EQ(platform::_chdrive(missing), -1);
    EXPECT_EQ(platform::_getdrive(), drive);
    EXPECT_EQ(platform::_wcsicmp(P(CurrentDirectory()), P(fRoot)), 0);

    // The current directory can't be removed while it is current.
    ASSERT_NE(SetCurrentDirectoryW(P(u"sub")), 0);
    EXPECT_TRUE(FailsWith(RemoveDirectoryW(P(In(u"sub"))), ERROR_SHARING_VIOLATION));
    EXPECT_TRUE(FailsWith(SetCurrentDirectoryW(P(In(u"sub\\x"))), ERROR_DIRECTORY));
}

TEST_F(PlatformTest, CopyAndMoveFollowWindowsRules) {
    ASSERT_TRUE(MakeFile(In(u"a")));
    ASSERT_TRUE(MakeFile(In(u"b")));
    ASSERT_TRUE(MakeDir(In(u"dir")));

    // Copying: over an existing file unless told not to; never onto itself or over a directory.
    EXPECT_TRUE(FailsWith(CopyFileW(P(In(u"a")), P(In(u"b")), 1), platform::ERROR_FILE_EXISTS));
    EXPECT_NE(CopyFileW(P(In(u"a")), P(In(u"b")), 0), 0);
    EXPECT_EQ(CopyFileW(P(In(u"a")), P(In(u"a")), 0), 0);
    EXPECT_TRUE(Exists(In(u"a")));
    EXPECT_TRUE(FailsWith(CopyFileW(P(In(u"a")), P(In(u"dir")), 0), ERROR_ACCESS_DENIED));
    EXPECT_EQ(CopyFileW(P(In(u"dir")), P(In(u"c")), 0), 0);
    EXPECT_TRUE(
        FailsWith(CopyFileW(P(In(u"none")), P(In(u"c")), 0), platform::ERROR_FILE_NOT_FOUND));
    // The copy carries the read-only attribute.
    ASSERT_NE(SetFileAttributesW(P(In(u"a")), FILE_ATTRIBUTE_READONLY), 0);
    ASSERT_NE(CopyFileW(P(In(u"a")), P(In(u"c")), 0), 0);
    EXPECT_EQ(Attributes(In(u"c")) & 1u, 1u);
#if !defined(_WIN32)
    // A read-only target is not replaced. (Wine running as root replaces it.)
    EXPECT_TRUE(FailsWith(CopyFileW(P(In(u"b")), P(In(u"c")), 0), ERROR_ACCESS_DENIED));
#endif
    ASSERT_NE(SetFileAttributesW(P(In(u"a")), FILE_ATTRIBUTE_NORMAL), 0);
    ASSERT_NE(SetFileAttributesW(P(In(u"c")), FILE_ATTRIBUTE_NORMAL), 0);

    // Moving: an existing target only with leave to replace it, and never by a directory.
    EXPECT_TRUE(FailsWith(MoveFileExW(P(In(u"a")), P(In(u"b")), platform::MOVEFILE_COPY_ALLOWED),
                          platform::ERROR_ALREADY_EXISTS));
    EXPECT_EQ(MoveFileW(P(In(u"a")), P(In(u"b"))), 0);
    EXPECT_NE(MoveFileExW(P(In(u"a")), P(In(u"b")), 11), 0);
    EXPECT_FALSE(Exists(In(u"a")));
    EXPECT_TRUE(FailsWith(MoveFileExW(P(In(u"b")), P(In(u"dir")), 11), ERROR_ACCESS_DENIED));
    EXPECT_TRUE(FailsWith(MoveFileW(P(In(u"b")), P(In(u"none\\b"))), ERROR_PATH_NOT_FOUND));
    // A rename, also of a directory and of the letter case alone.
    EXPECT_NE(MoveFileW(P(In(u"dir")), P(In(u"moved"))), 0);
    EXPECT_NE(MoveFileW(P(In(u"b")), P(In(u"B"))), 0);
#if !defined(_WIN32)
    // (Wine on a host file system that tells letter cases apart keeps the old spelling.)
    EXPECT_EQ(List(In(u"B")), std::vector<std::u16string>{u"B"});
#endif
    // A file held open without the delete share stays where it is.
    ScopedFileHandle held = Open(In(u"B"), GENERIC_READ);
    EXPECT_TRUE(FailsWith(MoveFileW(P(In(u"B")), P(In(u"elsewhere"))), ERROR_SHARING_VIOLATION));
}

TEST_F(PlatformTest, VolumesAndLongNames) {
    const std::u16string root = fRoot.substr(0, 3);
    EXPECT_EQ(GetDriveTypeW(P(root)), platform::DRIVE_FIXED);
    std::uint64_t available = 0;
    std::uint64_t total = 0;
    ASSERT_NE(platform::GetDiskFreeSpaceExW(P(fRoot + u"\\"), &available, &total, nullptr), 0);
    EXPECT_GT(total, 0u);
    EXPECT_LE(available, total);
    EXPECT_NE(PathIsNetworkPathW(P(u"\\\\server\\share\\x")), 0);
    EXPECT_EQ(PathIsNetworkPathW(P(fRoot)), 0);

    // No short names are made here: the long form of an existing entry is its own text, also
    // when source and target are one buffer.
    std::vector<unsigned short> buffer(fRoot.begin(), fRoot.end());
    buffer.resize(32767);
    const DWORD length = platform::GetLongPathNameW(buffer.data(), buffer.data(), 32767);
    EXPECT_EQ(length, fRoot.size());
    EXPECT_EQ(platform::_wcsicmp(buffer.data(), P(fRoot)), 0);
    EXPECT_EQ(platform::GetLongPathNameW(P(In(u"none")), buffer.data(), 32767), 0u);

    EXPECT_NE(platform::GetCurrentThreadId(), 0u);
}

TEST(PlatformText, CaseInsensitiveComparison) {
    EXPECT_EQ(platform::_wcsicmp(P(u"Hello.TXT"), P(u"hello.txt")), 0);
    EXPECT_LT(platform::_wcsicmp(P(u"abc"), P(u"ABD")), 0);
    EXPECT_GT(platform::_wcsicmp(P(u"abcd"), P(u"ABC")), 0);
}

#if !defined(_WIN32)
// The POSIX stand-in's own machinery: name mapping, the drive table and symbolic links. Windows
// keeps names as UTF-16 and has drives of its own, so none of this applies there.

struct NameRow {
    const char* what;
    std::string bytes;
    std::u16string units;
};

TEST(PosixNames, BytesAndUnitsMapBothWaysWithoutLoss) {
    namespace host = platform::host;
    const NameRow rows[] = {
        {"ascii", "plain.txt", u"plain.txt"},
        {"two-byte", "caf\xC3\xA9", u"caf\u00E9"},
        {"four-byte pair", "\xF0\x9F\x98\x80", u"\U0001F600"},
        {"invalid byte", "a\xFFz", u"a\xDCFFz"},
        {"lone continuation", "\x80", u"\xDC80"},
        {"truncated sequence", "\xC3", u"\xDCC3"},
        {"overlong slash", "\xC0\xAF", u"\xDCC0\xDCAF"},
        {"lone high surrogate, generalised", "\xED\xA0\x80x", u"\xD800x"},
        {"lone low surrogate, generalised", "\xED\xB0\x80", u"\xDC00"},
        {"generalised escape-range surrogate stays bytes", "\xED\xB2\x80", u"\xDCED\xDCB2\xDC80"},
        {"generalised pair stays bytes", "\xED\xA0\x80\xED\xB0\x80", u"\xDCED\xDCA0\xDC80\xDC00"},
        {"generalised high before an invalid byte", "\xED\xA0\x80\xFF",
         u"\xDCED\xDCA0\xDC80\xDCFF"},
    };
    for (const NameRow& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(host::FromHostBytes(row.bytes), row.units);
        EXPECT_EQ(host::ToHostBytes(row.units), row.bytes);
    }
    // Every pair of bytes comes back unchanged.
    for (int first = 0x01; first <= 0xFF; ++first) {
        for (int second = 0x01; second <= 0xFF; second += 7) {
            const std::string bytes{static_cast<char>(first), static_cast<char>(second)};
            ASSERT_EQ(host::ToHostBytes(host::FromHostBytes(bytes)), bytes)
                << first << " " << second;
        }
    }
}

TEST_F(PlatformTest, ListedNamesCanBeUsedAgain) {
    // A lone surrogate of each kind, and an escaped byte, as names on the host.
    const std::u16string names[] = {u"bad\xDCFF", u"high\xD800", u"low\xDC00", u"caf\u00E9"};
    for (const std::u16string& name : names) {
        ASSERT_TRUE(MakeFile(In(name)));
    }
    std::vector<std::u16string> listed = List(In(u"*"));
    listed.erase(listed.begin(), listed.begin() + 2);
    std::sort(listed.begin(), listed.end());
    std::vector<std::u16string> expected(std::begin(names), std::end(names));
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(listed, expected);
    for (const std::u16string& name : listed) {
        SCOPED_TRACE(Narrow(name));
        EXPECT_NE(DeleteFileW(P(In(name))), 0);
    }
}

std::string HostPathOf(const std::u16string& driveForm) {
    // Z: is the host root by default.
    std::string host;
    for (char16_t unit : driveForm.substr(2)) {
        host += unit == u'\\' ? '/' : static_cast<char>(unit);
    }
    return host;
}

TEST_F(PlatformTest, DriveTableAndPerDriveDirectories) {
    ASSERT_EQ(fRoot.substr(0, 2), u"Z:");
    const std::string hostRoot = HostPathOf(fRoot);
    ASSERT_TRUE(MakeDir(In(u"sub")));
    ASSERT_TRUE(MakeFile(In(u"sub\\f")));

    EXPECT_FALSE(vorlan::zelk::posixhost::MapDrive('1', hostRoot.c_str()));
    EXPECT_FALSE(vorlan::zelk::posixhost::MapDrive('Q', "relative"));
    EXPECT_FALSE(vorlan::zelk::posixhost::MapDrive('Q', hostRoot.c_str(), "\\\\server"));
    ASSERT_TRUE(vorlan::zelk::posixhost::MapDrive('q', hostRoot.c_str(), "//srv/Share"));
    EXPECT_EQ(Attributes(u"Q:\\sub\\f") & 0x10u, 0u);
    EXPECT_TRUE(Exists(u"\\\\SRV\\share\\sub\\f"));
    EXPECT_TRUE(Exists(u"\\\\?\\UNC\\srv\\share\\sub"));
    EXPECT_TRUE(FailsWith(Exists(u"\\\\other\\share\\sub"), platform::ERROR_BAD_NETPATH));

    // Each drive keeps its own directory.
    ASSERT_NE(SetCurrentDirectoryW(P(u"Q:\\sub")), 0);
    EXPECT_EQ(CurrentDirectory(), u"Q:\\sub");
    EXPECT_EQ(platform::_getdrive(), 17);
    ASSERT_NE(SetCurrentDirectoryW(P(fRoot)), 0);
    EXPECT_EQ(platform::_getdrive(), 26);
    EXPECT_TRUE(Exists(u"Q:f"));
    EXPECT_TRUE(Exists(u"Q:..\\sub\\f"));
    EXPECT_EQ(platform::_chdrive(17), 0);
    EXPECT_EQ(CurrentDirectory(), u"Q:\\sub");
    EXPECT_EQ(platform::_chdrive(26), 0);
    EXPECT_EQ(CurrentDirectory(), fRoot);

    // Through the share name the current directory has no drive.
    ASSERT_NE(SetCurrentDirectoryW(P(u"\\\\srv\\share\\sub")), 0);
    EXPECT_EQ(platform::_getdrive(), 0);
    EXPECT_EQ(CurrentDirectory(), u"\\\\srv\\Share\\sub");
    ASSERT_NE(SetCurrentDirectoryW(P(fRoot)), 0);

    // The share's name is the drive's connection, and makes it a network drive.
    EXPECT_EQ(GetDriveTypeW(P(u"q:\\")), platform::DRIVE_REMOTE);
    EXPECT_EQ(GetDriveTypeW(P(u"\\\\srv\\share\\")), platform::DRIVE_REMOTE);
    EXPECT_NE(PathIsNetworkPathW(P(u"Q:\\sub")), 0);
    unsigned short remote[32] = {};
    DWORD remoteLength = 5;
    EXPECT_EQ(WNetGetConnectionW(P(u"Q:"), remote, &remoteLength), platform::ERROR_MORE_DATA);
    EXPECT_EQ(remoteLength, 12u);
    EXPECT_EQ(WNetGetConnectionW(P(u"Q:"), remote, &remoteLength), platform::NO_ERROR);
    EXPECT_EQ(FromUnits(remote), u"\\\\srv\\Share");
    EXPECT_EQ(WNetGetConnectionW(P(u"Z:"), remote, &remoteLength), platform::ERROR_NOT_CONNECTED);

    ASSERT_TRUE(vorlan::zelk::posixhost::UnmapDrive('Q'));
    EXPECT_EQ(GetDriveTypeW(P(u"Q:\\")), platform::DRIVE_NO_ROOT_DIR);
    EXPECT_FALSE(vorlan::zelk::posixhost::UnmapDrive('Q'));
    EXPECT_TRUE(FailsWith(Exists(u"Q:\\sub\\f"), ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(platform::_chdrive(17), -1);
    EXPECT_EQ(platform::_getdrive(), 26);
}

TEST_F(PlatformTest, SymbolicLinksAreReparsePointsAndGoAlone) {
    ASSERT_TRUE(MakeDir(In(u"target")));
    ASSERT_TRUE(MakeFile(In(u"target\\f")));
    const std::string hostRoot = HostPathOf(fRoot);
    ASSERT_EQ(::symlink((hostRoot + "/target").c_str(), (hostRoot + "/dirlink").c_str()), 0);
    ASSERT_EQ(::symlink((hostRoot + "/target/f").c_str(), (hostRoot + "/filelink").c_str()), 0);
    ASSERT_EQ(::symlink((hostRoot + "/gone").c_str(), (hostRoot + "/dangling").c_str()), 0);

    EXPECT_EQ(Attributes(In(u"dirlink")) & 0x410u, 0x410u);
    EXPECT_EQ(Attributes(In(u"filelink")) & 0x410u, 0x400u);
    EXPECT_EQ(Attributes(In(u"dangling")) & 0x410u, 0x400u);
    EXPECT_EQ(platform::_waccess(P(In(u"dangling")), 0), 0);

    // The current directory keeps the name it was given, link and all, until the host's working
    // directory moves elsewhere.
    ASSERT_NE(SetCurrentDirectoryW(P(In(u"dirlink"))), 0);
    EXPECT_EQ(CurrentDirectory(), In(u"dirlink"));
    EXPECT_TRUE(Exists(u"f"));
    ASSERT_EQ(::chdir(hostRoot.c_str()), 0);
    EXPECT_EQ(CurrentDirectory(), fRoot);
    ASSERT_NE(SetCurrentDirectoryW(P(fSavedDirectory)), 0);

    EXPECT_TRUE(FailsWith(RemoveDirectoryW(P(In(u"filelink"))), ERROR_DIRECTORY));
    EXPECT_NE(RemoveDirectoryW(P(In(u"dirlink"))), 0);
    EXPECT_NE(DeleteFileW(P(In(u"filelink"))), 0);
    EXPECT_NE(DeleteFileW(P(In(u"dangling"))), 0);
    EXPECT_TRUE(Exists(In(u"target\\f")));
}

TEST_F(PlatformTest, DotNamesAreHidden) {
    ASSERT_TRUE(MakeFile(In(u".profile")));
    EXPECT_EQ(Attributes(In(u".profile")) & 2u, 2u);
    // A dot name can't lose its hidden bit, but the read-only bit beside it still changes.
    EXPECT_EQ(SetFileAttributesW(P(In(u".profile")), 1u), 0);
    EXPECT_EQ(Attributes(In(u".profile")) & 3u, 3u);
    EXPECT_NE(SetFileAttributesW(P(In(u".profile")), 2u), 0);
    EXPECT_EQ(Attributes(In(u".profile")) & 3u, 2u);
}
#endif

} // namespace
