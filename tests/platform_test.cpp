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
using platform::DWORD;

namespace {

const unsigned short* P(const std::u16string& text) {
    return reinterpret_cast<const unsigned short*>(text.c_str());
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
    platform::ScopedFileHandle file(platform::CreateFileW(
        P(path), platform::GENERIC_WRITE, 0, nullptr, platform::CREATE_NEW, 0x80, nullptr));
    return file.IsValid();
}

// Every name of a listing, "." and ".." included, in the order given.
std::vector<std::u16string> List(const std::u16string& pattern, DWORD* endError = nullptr) {
    std::vector<std::u16string> names;
    platform::WIN32_FIND_DATAW data{};
    platform::ScopedFindHandle search(platform::FindFirstFileW(P(pattern), &data));
    if (!search) {
        return names;
    }
    do {
        names.push_back(FromUnits(data.cFileName));
    } while (platform::FindNextFileW(search.Get(), &data) != 0);
    if (endError != nullptr) {
        *endError = platform::GetLastError();
    }
    return names;
}

void RemoveTree(const std::u16string& directory) {
    for (const std::u16string& name : List(directory + u"\\*")) {
        if (name == u"." || name == u"..") {
            continue;
        }
        const std::u16string path = directory + u"\\" + name;
        const DWORD attributes = platform::GetFileAttributesW(P(path));
        platform::SetFileAttributesW(P(path), platform::FILE_ATTRIBUTE_NORMAL);
        if ((attributes & platform::FILE_ATTRIBUTE_DIRECTORY) != 0 &&
            (attributes & platform::FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
            RemoveTree(path);
        } else if ((attributes & platform::FILE_ATTRIBUTE_DIRECTORY) != 0) {
            platform::RemoveDirectoryW(P(path));
        } else {
            platform::DeleteFileW(P(path));
        }
    }
    platform::SetFileAttributesW(P(directory), platform::FILE_ATTRIBUTE_NORMAL);
    platform::RemoveDirectoryW(P(directory));
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
        platform::FILETIME now{};
        platform::GetSystemTimeAsFileTime(&now);
        static int counter = 0;
        fRoot = temp + u"zelk-platform-" + Ascii(std::to_string(platform::FileTimeToUInt64(now))) +
                u"-" + Ascii(std::to_string(++counter));
        ASSERT_NE(platform::CreateDirectoryW(P(fRoot), nullptr), 0);
    }
    void TearDown() override {
        platform::SetCurrentDirectoryW(P(fSavedDirectory));
        RemoveTree(fRoot);
    }
    std::u16string In(const std::u16string& name) const { return fRoot + u"\\" + name; }

    std::u16string fRoot;
    std::u16string fSavedDirectory;
};

TEST_F(PlatformTest, ErrorNumbersOfCommonFailures) {
    ASSERT_TRUE(MakeFile(In(u"file")));
    ASSERT_NE(platform::CreateDirectoryW(P(In(u"dir")), nullptr), 0);
    struct Case {
        const char* what;
        bool (*call)(const std::u16string& root);
        DWORD error;
    };
    const Case cases[] = {
        {"missing entry",
         [](const std::u16string& r) {
             return platform::GetFileAttributesW(P(r + u"\\none")) ==
                    platform::INVALID_FILE_ATTRIBUTES;
         },
         2},
        {"missing directory on the way",
         [](const std::u16string& r) {
             return platform::GetFileAttributesW(P(r + u"\\none\\x")) ==
                    platform::INVALID_FILE_ATTRIBUTES;
         },
         3},
        {"directory there",
         [](const std::u16string& r) {
             return platform::CreateDirectoryW(P(r + u"\\dir"), nullptr) == 0;
         },
         183},
        {"directory under a missing one",
         [](const std::u16string& r) {
             return platform::CreateDirectoryW(P(r + u"\\none\\dir"), nullptr) == 0;
         },
         3},
        {"create new over a file", [](const std::u16string& r) { return !MakeFile(r + u"\\file"); },
         80},
        {"create new over a directory",
         [](const std::u16string& r) { return !MakeFile(r + u"\\dir"); }, 80},
        {"open a missing file",
         [](const std::u16string& r) {
             platform::ScopedFileHandle file(
                 platform::CreateFileW(P(r + u"\\none"), platform::GENERIC_READ, 3, nullptr,
                                       platform::OPEN_EXISTING, 0, nullptr));
             return !file.IsValid();
         },
         2},
        {"open a directory without backup semantics",
         [](const std::u16string& r) {
             platform::ScopedFileHandle file(
                 platform::CreateFileW(P(r + u"\\dir"), platform::GENERIC_READ, 3, nullptr,
                                       platform::OPEN_EXISTING, 0, nullptr));
             return !file.IsValid();
         },
         5},
        {"delete a directory as a file",
         [](const std::u16string& r) { return platform::DeleteFileW(P(r + u"\\dir")) == 0; }, 5},
        {"remove a file as a directory",
         [](const std::u16string& r) { return platform::RemoveDirectoryW(P(r + u"\\file")) == 0; },
         267},
        {"delete a missing file",
         [](const std::u16string& r) { return platform::DeleteFileW(P(r + u"\\none")) == 0; }, 2},
        {"remove a non-empty directory",
         [](const std::u16string& r) { return platform::RemoveDirectoryW(P(r)) == 0; }, 145},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        platform::SetLastError(0);
        EXPECT_TRUE(c.call(fRoot));
        EXPECT_EQ(platform::GetLastError(), c.error);
    }
    // A directory opens with backup semantics, and then even for reading.
    platform::ScopedFileHandle directory(platform::CreateFileW(
        P(In(u"dir")), platform::GENERIC_READ, 3, nullptr, platform::OPEN_EXISTING,
        platform::FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    EXPECT_TRUE(directory.IsValid());
}

TEST_F(PlatformTest, AttributesOfFilesAndDirectories) {
    ASSERT_TRUE(MakeFile(In(u"file")));
    ASSERT_NE(platform::CreateDirectoryW(P(In(u"dir")), nullptr), 0);
    // A plain file has nothing but the archive or the normal bit (hosts differ in which).
    const DWORD file = platform::GetFileAttributesW(P(In(u"file")));
    EXPECT_EQ(file & ~(platform::FILE_ATTRIBUTE_ARCHIVE | platform::FILE_ATTRIBUTE_NORMAL), 0u);
    EXPECT_NE(file, 0u);
    EXPECT_EQ(platform::GetFileAttributesW(P(In(u"dir"))) & 0x17u, 0x10u);

    // Hidden is set and cleared, and leaves the other bits.
    ASSERT_NE(platform::SetFileAttributesW(P(In(u"file")), platform::FILE_ATTRIBUTE_HIDDEN), 0)
        << platform::GetLastError();
    EXPECT_EQ(platform::GetFileAttributesW(P(In(u"file"))) & 0x13u, 0x02u);
    ASSERT_NE(platform::SetFileAttributesW(P(In(u"file")), platform::FILE_ATTRIBUTE_NORMAL), 0);
    EXPECT_EQ(platform::GetFileAttributesW(P(In(u"file"))) & 0x13u, 0x00u);

    platform::WIN32_FILE_ATTRIBUTE_DATA data{};
    EXPECT_EQ(platform::GetFileAttributesExW(P(In(u"file")), 1, &data), 0);
    EXPECT_EQ(platform::GetLastError(), platform::ERROR_INVALID_PARAMETER);
    ASSERT_NE(
        platform::GetFileAttributesExW(P(In(u"file")), platform::GetFileExInfoStandard, &data), 0);
    EXPECT_EQ(data.nFileSizeLow, 0u);
    EXPECT_NE(platform::FileTimeToUInt64(data.ftCreationTime), 0u);
    EXPECT_NE(platform::FileTimeToUInt64(data.ftLastWriteTime), 0u);
}

TEST_F(PlatformTest, ReadOnlyFileRefusesWritingAndDeletion) {
    const std::u16string path = In(u"locked");
    ASSERT_TRUE(MakeFile(path));
    ASSERT_NE(platform::SetFileAttributesW(P(path), platform::FILE_ATTRIBUTE_READONLY), 0);
    EXPECT_EQ(platform::GetFileAttributesW(P(path)) & platform::FILE_ATTRIBUTE_READONLY, 1u);
    EXPECT_EQ(platform::_waccess(P(path), 0), 0);
    EXPECT_EQ(platform::_waccess(P(path), 2), -1);

    // Also for an administrator or root, who could write it otherwise.
    EXPECT_EQ(platform::DeleteFileW(P(path)), 0);
    EXPECT_EQ(platform::GetLastError(), platform::ERROR_ACCESS_DENIED);
#if !defined(_WIN32)
    // Windows refuses to open it for writing; Wine running as root lets that through, so this is
    // asked of the stand-in alone.
    platform::ScopedFileHandle writer(platform::CreateFileW(
        P(path), platform::GENERIC_WRITE, 3, nullptr, platform::OPEN_EXISTING, 0, nullptr));
    EXPECT_FALSE(writer.IsValid());
    EXPECT_EQ(platform::GetLastError(), platform::ERROR_ACCESS_DENIED);
#endif
    platform::ScopedFileHandle reader(platform::CreateFileW(
        P(path), platform::GENERIC_READ, 3, nullptr, platform::OPEN_EXISTING, 0, nullptr));
    EXPECT_TRUE(reader.IsValid());
    reader.Reset();

    ASSERT_NE(platform::SetFileAttributesW(P(path), platform::FILE_ATTRIBUTE_NORMAL), 0);
    EXPECT_NE(platform::DeleteFileW(P(path)), 0);
    EXPECT_NE(platform::_waccess(P(path), 0), 0);
}

TEST_F(PlatformTest, ListingGivesDotsFirstAndEndsWithNoMoreFiles) {
    ASSERT_NE(platform::CreateDirectoryW(P(In(u"d")), nullptr), 0);
    for (const char16_t* name : {u"b.txt", u"a.txt", u"c.dat"}) {
        ASSERT_TRUE(MakeFile(In(u"d\\") + name));
    }
    ASSERT_NE(platform::CreateDirectoryW(P(In(u"d\\sub")), nullptr), 0);

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
    EXPECT_EQ(platform::FindFirstFileW(P(In(u"d\\*.none")), &data), platform::INVALID_HANDLE_VALUE);
    EXPECT_EQ(platform::GetLastError(), platform::ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(platform::FindFirstFileW(P(In(u"none\\*")), &data), platform::INVALID_HANDLE_VALUE);
    EXPECT_EQ(platform::GetLastError(), platform::ERROR_PATH_NOT_FOUND);
    // A pattern under a file finds nothing. Windows reports 267 or 123 by file system and
    // version; the stand-in says 123.
    EXPECT_EQ(platform::FindFirstFileW(P(In(u"d\\a.txt\\*")), &data),
              platform::INVALID_HANDLE_VALUE);
    const DWORD underFile = platform::GetLastError();
    EXPECT_TRUE(underFile == platform::ERROR_INVALID_NAME ||
                underFile == platform::ERROR_DIRECTORY ||
                underFile == platform::ERROR_PATH_NOT_FOUND)
        << underFile;

    // FindClose leaves the last error as it stood.
    platform::HANDLE search = platform::FindFirstFileW(P(In(u"d\\*")), &data);
    ASSERT_NE(search, platform::INVALID_HANDLE_VALUE);
    platform::SetLastError(1234);
    EXPECT_NE(platform::FindClose(search), 0);
    EXPECT_EQ(platform::GetLastError(), 1234u);
}

TEST_F(PlatformTest, ShareModesBetweenHandlesOfThisProcess) {
    const std::u16string path = In(u"shared");
    ASSERT_TRUE(MakeFile(path));
    const auto open = [&](DWORD access, DWORD share) {
        return platform::ScopedFileHandle(platform::CreateFileW(
            P(path), access, share, nullptr, platform::OPEN_EXISTING, 0, nullptr));
    };
    platform::ScopedFileHandle reader = open(platform::GENERIC_READ, platform::FILE_SHARE_READ);
    ASSERT_TRUE(reader.IsValid());
    EXPECT_TRUE(open(platform::GENERIC_READ, 3).IsValid());
    EXPECT_FALSE(open(platform::GENERIC_WRITE, 3).IsValid());
    EXPECT_EQ(platform::GetLastError(), platform::ERROR_SHARING_VIOLATION);
    // Sole use is refused while another handle reads; without data access it is not.
    EXPECT_FALSE(open(platform::GENERIC_READ, 0).IsValid());
    EXPECT_EQ(platform::GetLastError(), platform::ERROR_SHARING_VIOLATION);
    EXPECT_TRUE(open(0, 0).IsValid());
    EXPECT_TRUE(open(platform::FILE_WRITE_ATTRIBUTES, 3).IsValid());
    // Deleting needs the delete share of every open handle.
    EXPECT_EQ(platform::DeleteFileW(P(path)), 0);
    EXPECT_EQ(platform::GetLastError(), platform::ERROR_SHARING_VIOLATION);
    reader.Reset();
    EXPECT_TRUE(open(platform::GENERIC_READ | platform::GENERIC_WRITE, 0).IsValid());
    EXPECT_NE(platform::DeleteFileW(P(path)), 0);

    // (HANDLE)-1 is the process itself to Windows, so null stands for a handle that isn't open.
    EXPECT_EQ(platform::CloseHandle(nullptr), 0);
    EXPECT_EQ(platform::GetLastError(), platform::ERROR_INVALID_HANDLE);
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
    platform::ScopedFileHandle file(platform::CreateFileW(
        P(Ascii(path)), platform::GENERIC_READ, 0, nullptr, platform::OPEN_EXISTING, 0, nullptr));
    const DWORD error = file.IsValid() ? 0 : platform::GetLastError();
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
        platform::ScopedFileHandle held(platform::CreateFileW(
            P(path), platform::GENERIC_READ, 7, nullptr, platform::OPEN_EXISTING, 0, nullptr));
        ASSERT_TRUE(held.IsValid());
        EXPECT_EQ(child("32"), 0) << "sole use granted while another process reads the file";
    }
    EXPECT_EQ(child("0"), 0) << "sole use refused after the other process let go";
}

TEST_F(PlatformTest, TimesAreFileTimesAndUnstorableOnesAreRefused) {
    const std::u16string path = In(u"timed");
    ASSERT_TRUE(MakeFile(path));
    const auto setWriteTime = [&](std::uint64_t value) {
        platform::ScopedFileHandle file(
            platform::CreateFileW(P(path), platform::FILE_WRITE_ATTRIBUTES, 3, nullptr,
                                  platform::OPEN_EXISTING, 0, nullptr));
        const platform::FILETIME time = platform::UInt64ToFileTime(value);
        return file.IsValid() && platform::SetFileTime(file.Get(), nullptr, nullptr, &time) == 1;
    };
    const auto writeTime = [&] {
        platform::WIN32_FILE_ATTRIBUTE_DATA data{};
        platform::GetFileAttributesExW(P(path), 0, &data);
        return platform::FileTimeToUInt64(data.ftLastWriteTime);
    };
    platform::WIN32_FILE_ATTRIBUTE_DATA before{};
    ASSERT_NE(platform::GetFileAttributesExW(P(path), 0, &before), 0);

    // 2001-09-09 01:46:40.1234567 UTC, in 100 ns since 1601.
    const std::uint64_t when = 126444672001234567ull;
    ASSERT_TRUE(setWriteTime(when));
    EXPECT_EQ(writeTime(), when);

#if !defined(_WIN32)
    // The creation time is the host's birth time and stays. (Wine derives one from the other
    // times, so there it follows the write time back.)
    platform::WIN32_FILE_ATTRIBUTE_DATA after{};
    ASSERT_NE(platform::GetFileAttributesExW(P(path), 0, &after), 0);
    EXPECT_EQ(platform::FileTimeToUInt64(after.ftCreationTime),
              platform::FileTimeToUInt64(before.ftCreationTime));

    // Year 30828 is beyond what the host's file system keeps: refused, and nothing changed.
    // (NTFS keeps it; Wine passes on whatever its host file system made of it.)
    EXPECT_FALSE(setWriteTime(0x7FFF000000000000ull));
    EXPECT_EQ(platform::GetLastError(), platform::ERROR_INVALID_PARAMETER);
    EXPECT_EQ(writeTime(), when);
#endif

    platform::FILETIME now{};
    platform::GetSystemTimeAsFileTime(&now);
    EXPECT_GT(platform::FileTimeToUInt64(now), 133000000000000000ull); // after 2022
}

TEST(PlatformGuards, ErrorModeIsRestoredOnEveryWayOut) {
    const platform::UINT original = platform::SetErrorMode(0);
    try {
        platform::ErrorModeGuard outer;
        EXPECT_EQ(platform::SetErrorMode(platform::SEM_FAILCRITICALERRORS) &
                      platform::SEM_FAILCRITICALERRORS,
                  platform::SEM_FAILCRITICALERRORS);
        { platform::ErrorModeGuard inner; }
        throw std::runtime_error("leave");
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(platform::SetErrorMode(original) & platform::SEM_FAILCRITICALERRORS, 0u);
}

TEST(PlatformGuards, LastErrorIsPerThread) {
    // Each side sets its own value while the other holds one, and reads it back before making
    // any further call (starting and joining a thread may change the last error).
    std::atomic<int> step{0};
    DWORD seenByOther = 0;
    std::thread other([&] {
        platform::SetLastError(5);
        step = 1;
        while (step != 2) {
            std::this_thread::yield();
        }
        seenByOther = platform::GetLastError();
        step = 3;
    });
    while (step != 1) {
        std::this_thread::yield();
    }
    platform::SetLastError(77);
    step = 2;
    while (step != 3) {
        std::this_thread::yield();
    }
    const DWORD seenHere = platform::GetLastError();
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

    ASSERT_NE(platform::SetCurrentDirectoryW(P(fRoot)), 0);
    EXPECT_EQ(platform::_wcsicmp(P(CurrentDirectory()), P(fRoot)), 0);
    const int drive = platform::_getdrive();
    ASSERT_GE(drive, 1);
    EXPECT_EQ(fRoot[0] - u'A' + 1, drive);

    // Relative, rooted-relative and drive-relative texts resolve against it.
    ASSERT_NE(platform::CreateDirectoryW(P(u"sub"), nullptr), 0);
    const std::u16string driveRelative = fRoot.substr(0, 2) + u"sub\\.\\x";
    ASSERT_TRUE(MakeFile(driveRelative));
    EXPECT_NE(platform::GetFileAttributesW(P(In(u"sub\\x"))), platform::INVALID_FILE_ATTRIBUTES);
    EXPECT_NE(platform::GetFileAttributesW(P(u"sub\\..\\sub\\x")),
              platform::INVALID_FILE_ATTRIBUTES);
    EXPECT_NE(platform::GetFileAttributesW(P(fRoot.substr(2) + u"\\sub/x")),
              platform::INVALID_FILE_ATTRIBUTES);
    // The long-path prefix reaches the same entry.
    EXPECT_NE(platform::GetFileAttributesW(P(u"\\\\?\\" + In(u"sub\\x"))),
              platform::INVALID_FILE_ATTRIBUTES);

    // Changing to the current drive keeps the directory; a drive that isn't there fails and
    // changes nothing.
    EXPECT_EQ(platform::_chdrive(drive), 0);
    EXPECT_EQ(platform::_wcsicmp(P(CurrentDirectory()), P(fRoot)), 0);
    int missing = 0;
    for (int candidate = 1; candidate <= 26 && missing == 0; ++candidate) {
        const std::u16string root =
            std::u16string(1, static_cast<char16_t>(u'A' + candidate - 1)) + u":\\";
        if (platform::GetFileAttributesW(P(root)) == platform::INVALID_FILE_ATTRIBUTES) {
            missing = candidate;
        }
    }
    ASSERT_NE(missing, 0);
    EXPECT_EQ(platform::_chdrive(missing), -1);
    EXPECT_EQ(platform::_getdrive(), drive);
    EXPECT_EQ(platform::_wcsicmp(P(CurrentDirectory()), P(fRoot)), 0);

    // The current directory can't be removed while it is current.
    ASSERT_NE(platform::SetCurrentDirectoryW(P(u"sub")), 0);
    EXPECT_EQ(platform::RemoveDirectoryW(P(In(u"sub"))), 0);
    EXPECT_EQ(platform::GetLastError(), platform::ERROR_SHARING_VIOLATION);
    EXPECT_EQ(platform::SetCurrentDirectoryW(P(In(u"sub\\x"))), 0);
    EXPECT_EQ(platform::GetLastError(), platform::ERROR_DIRECTORY);
}

TEST_F(PlatformTest, CopyAndMoveFollowWindowsRules) {
    ASSERT_TRUE(MakeFile(In(u"a")));
    ASSERT_TRUE(MakeFile(In(u"b")));
    ASSERT_NE(platform::CreateDirectoryW(P(In(u"dir")), nullptr), 0);

    // Copying: over an existing file unless told not to; never onto itself or over a directory.
    EXPECT_EQ(platform::CopyFileW(P(In(u"a")), P(In(u"b")), 1), 0);
    EXPECT_EQ(platform::GetLastError(), platform::ERROR_FILE_EXISTS);
    EXPECT_NE(platform::CopyFileW(P(In(u"a")), P(In(u"b")), 0), 0);
    EXPECT_EQ(platform::CopyFileW(P(In(u"a")), P(In(u"a")), 0), 0);
    EXPECT_NE(platform::GetFileAttributesW(P(In(u"a"))), platform::INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(platform::CopyFileW(P(In(u"a")), P(In(u"dir")), 0), 0);
    EXPECT_EQ(platform::GetLastError(), platform::ERROR_ACCESS_DENIED);
    EXPECT_EQ(platform::CopyFileW(P(In(u"dir")), P(In(u"c")), 0), 0);
    EXPECT_EQ(platform::CopyFileW(P(In(u"none")), P(In(u"c")), 0), 0);
    EXPECT_EQ(platform::GetLastError(), platform::ERROR_FILE_NOT_FOUND);
    // The copy carries the read-only attribute.
    ASSERT_NE(platform::SetFileAttributesW(P(In(u"a")), platform::FILE_ATTRIBUTE_READONLY), 0);
    ASSERT_NE(platform::CopyFileW(P(In(u"a")), P(In(u"c")), 0), 0);
    EXPECT_EQ(platform::GetFileAttributesW(P(In(u"c"))) & 1u, 1u);
#if !defined(_WIN32)
    // A read-only target is not replaced. (Wine running as root replaces it.)
    EXPECT_EQ(platform::CopyFileW(P(In(u"b")), P(In(u"c")), 0), 0);
    EXPECT_EQ(platform::GetLastError(), platform::ERROR_ACCESS_DENIED);
#endif
    ASSERT_NE(platform::SetFileAttributesW(P(In(u"a")), platform::FILE_ATTRIBUTE_NORMAL), 0);
    ASSERT_NE(platform::SetFileAttributesW(P(In(u"c")), platform::FILE_ATTRIBUTE_NORMAL), 0);

    // Moving: an existing target only with leave to replace it, and never by a directory.
    EXPECT_EQ(platform::MoveFileExW(P(In(u"a")), P(In(u"b")), platform::MOVEFILE_COPY_ALLOWED), 0);
    EXPECT_EQ(platform::GetLastError(), platform::ERROR_ALREADY_EXISTS);
    EXPECT_EQ(platform::MoveFileW(P(In(u"a")), P(In(u"b"))), 0);
    EXPECT_NE(platform::MoveFileExW(P(In(u"a")), P(In(u"b")), 11), 0);
    EXPECT_EQ(platform::GetFileAttributesW(P(In(u"a"))), platform::INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(platform::MoveFileExW(P(In(u"b")), P(In(u"dir")), 11), 0);
    EXPECT_EQ(platform::GetLastError(), platform::ERROR_ACCESS_DENIED);
    EXPECT_EQ(platform::MoveFileW(P(In(u"b")), P(In(u"none\\b"))), 0);
    EXPECT_EQ(platform::GetLastError(), platform::ERROR_PATH_NOT_FOUND);
    // A rename, also of a directory and of the letter case alone.
    EXPECT_NE(platform::MoveFileW(P(In(u"dir")), P(In(u"moved"))), 0);
    EXPECT_NE(platform::MoveFileW(P(In(u"b")), P(In(u"B"))), 0);
#if !defined(_WIN32)
    // (Wine on a host file system that tells letter cases apart keeps the old spelling.)
    EXPECT_EQ(List(In(u"B")), std::vector<std::u16string>{u"B"});
#endif
    // A file held open without the delete share stays where it is.
    platform::ScopedFileHandle held(platform::CreateFileW(
        P(In(u"B")), platform::GENERIC_READ, 3, nullptr, platform::OPEN_EXISTING, 0, nullptr));
    EXPECT_EQ(platform::MoveFileW(P(In(u"B")), P(In(u"elsewhere"))), 0);
    EXPECT_EQ(platform::GetLastError(), platform::ERROR_SHARING_VIOLATION);
}

TEST_F(PlatformTest, VolumesAndLongNames) {
    const std::u16string root = fRoot.substr(0, 3);
    EXPECT_EQ(platform::GetDriveTypeW(P(root)), platform::DRIVE_FIXED);
    std::uint64_t available = 0;
    std::uint64_t total = 0;
    ASSERT_NE(platform::GetDiskFreeSpaceExW(P(fRoot + u"\\"), &available, &total, nullptr), 0);
    EXPECT_GT(total, 0u);
    EXPECT_LE(available, total);
    EXPECT_NE(platform::PathIsNetworkPathW(P(u"\\\\server\\share\\x")), 0);
    EXPECT_EQ(platform::PathIsNetworkPathW(P(fRoot)), 0);

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
        {"invalid byte",
         "a\xFF"
         "b",
         u"a\xDCFF"
         u"b"},
        {"lone continuation", "\x80", u"\xDC80"},
        {"truncated sequence", "\xC3", u"\xDCC3"},
        {"overlong slash", "\xC0\xAF", u"\xDCC0\xDCAF"},
        {"lone high surrogate, generalised",
         "\xED\xA0\x80"
         "x",
         u"\xD800x"},
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
        EXPECT_NE(platform::DeleteFileW(P(In(name))), 0);
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
    ASSERT_NE(platform::CreateDirectoryW(P(In(u"sub")), nullptr), 0);
    ASSERT_TRUE(MakeFile(In(u"sub\\f")));

    EXPECT_FALSE(vorlan::zelk::posixhost::MapDrive('1', hostRoot.c_str()));
    EXPECT_FALSE(vorlan::zelk::posixhost::MapDrive('Q', "relative"));
    EXPECT_FALSE(vorlan::zelk::posixhost::MapDrive('Q', hostRoot.c_str(), "\\\\server"));
    ASSERT_TRUE(vorlan::zelk::posixhost::MapDrive('q', hostRoot.c_str(), "//srv/Share"));
    EXPECT_EQ(platform::GetFileAttributesW(P(u"Q:\\sub\\f")) & 0x10u, 0u);
    EXPECT_NE(platform::GetFileAttributesW(P(u"\\\\SRV\\share\\sub\\f")),
              platform::INVALID_FILE_ATTRIBUTES);
    EXPECT_NE(platform::GetFileAttributesW(P(u"\\\\?\\UNC\\srv\\share\\sub")),
              platform::INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(platform::GetFileAttributesW(P(u"\\\\other\\share\\sub")),
              platform::INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(platform::GetLastError(), platform::ERROR_BAD_NETPATH);

    // Each drive keeps its own directory.
    ASSERT_NE(platform::SetCurrentDirectoryW(P(u"Q:\\sub")), 0);
    EXPECT_EQ(CurrentDirectory(), u"Q:\\sub");
    EXPECT_EQ(platform::_getdrive(), 17);
    ASSERT_NE(platform::SetCurrentDirectoryW(P(fRoot)), 0);
    EXPECT_EQ(platform::_getdrive(), 26);
    EXPECT_NE(platform::GetFileAttributesW(P(u"Q:f")), platform::INVALID_FILE_ATTRIBUTES);
    EXPECT_NE(platform::GetFileAttributesW(P(u"Q:..\\sub\\f")), platform::INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(platform::_chdrive(17), 0);
    EXPECT_EQ(CurrentDirectory(), u"Q:\\sub");
    EXPECT_EQ(platform::_chdrive(26), 0);
    EXPECT_EQ(CurrentDirectory(), fRoot);

    // Through the share name the current directory has no drive.
    ASSERT_NE(platform::SetCurrentDirectoryW(P(u"\\\\srv\\share\\sub")), 0);
    EXPECT_EQ(platform::_getdrive(), 0);
    EXPECT_EQ(CurrentDirectory(), u"\\\\srv\\Share\\sub");
    ASSERT_NE(platform::SetCurrentDirectoryW(P(fRoot)), 0);

    // The share's name is the drive's connection, and makes it a network drive.
    EXPECT_EQ(platform::GetDriveTypeW(P(u"q:\\")), platform::DRIVE_REMOTE);
    EXPECT_EQ(platform::GetDriveTypeW(P(u"\\\\srv\\share\\")), platform::DRIVE_REMOTE);
    EXPECT_NE(platform::PathIsNetworkPathW(P(u"Q:\\sub")), 0);
    unsigned short remote[32] = {};
    DWORD remoteLength = 5;
    EXPECT_EQ(platform::WNetGetConnectionW(P(u"Q:"), remote, &remoteLength),
              platform::ERROR_MORE_DATA);
    EXPECT_EQ(remoteLength, 12u);
    EXPECT_EQ(platform::WNetGetConnectionW(P(u"Q:"), remote, &remoteLength), platform::NO_ERROR);
    EXPECT_EQ(FromUnits(remote), u"\\\\srv\\Share");
    EXPECT_EQ(platform::WNetGetConnectionW(P(u"Z:"), remote, &remoteLength),
              platform::ERROR_NOT_CONNECTED);

    ASSERT_TRUE(vorlan::zelk::posixhost::UnmapDrive('Q'));
    EXPECT_EQ(platform::GetDriveTypeW(P(u"Q:\\")), platform::DRIVE_NO_ROOT_DIR);
    EXPECT_FALSE(vorlan::zelk::posixhost::UnmapDrive('Q'));
    EXPECT_EQ(platform::GetFileAttributesW(P(u"Q:\\sub\\f")), platform::INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(platform::GetLastError(), platform::ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(platform::_chdrive(17), -1);
    EXPECT_EQ(platform::_getdrive(), 26);
}

TEST_F(PlatformTest, SymbolicLinksAreReparsePointsAndGoAlone) {
    ASSERT_NE(platform::CreateDirectoryW(P(In(u"target")), nullptr), 0);
    ASSERT_TRUE(MakeFile(In(u"target\\f")));
    const std::string hostRoot = HostPathOf(fRoot);
    ASSERT_EQ(::symlink((hostRoot + "/target").c_str(), (hostRoot + "/dirlink").c_str()), 0);
    ASSERT_EQ(::symlink((hostRoot + "/target/f").c_str(), (hostRoot + "/filelink").c_str()), 0);
    ASSERT_EQ(::symlink((hostRoot + "/gone").c_str(), (hostRoot + "/dangling").c_str()), 0);

    EXPECT_EQ(platform::GetFileAttributesW(P(In(u"dirlink"))) & 0x410u, 0x410u);
    EXPECT_EQ(platform::GetFileAttributesW(P(In(u"filelink"))) & 0x410u, 0x400u);
    EXPECT_EQ(platform::GetFileAttributesW(P(In(u"dangling"))) & 0x410u, 0x400u);
    EXPECT_EQ(platform::_waccess(P(In(u"dangling")), 0), 0);

    // The current directory keeps the name it was given, link and all, until the host's working
    // directory moves elsewhere.
    ASSERT_NE(platform::SetCurrentDirectoryW(P(In(u"dirlink"))), 0);
    EXPECT_EQ(CurrentDirectory(), In(u"dirlink"));
    EXPECT_NE(platform::GetFileAttributesW(P(u"f")), platform::INVALID_FILE_ATTRIBUTES);
    ASSERT_EQ(::chdir(hostRoot.c_str()), 0);
    EXPECT_EQ(CurrentDirectory(), fRoot);
    ASSERT_NE(platform::SetCurrentDirectoryW(P(fSavedDirectory)), 0);

    EXPECT_EQ(platform::RemoveDirectoryW(P(In(u"filelink"))), 0);
    EXPECT_EQ(platform::GetLastError(), platform::ERROR_DIRECTORY);
    EXPECT_NE(platform::RemoveDirectoryW(P(In(u"dirlink"))), 0);
    EXPECT_NE(platform::DeleteFileW(P(In(u"filelink"))), 0);
    EXPECT_NE(platform::DeleteFileW(P(In(u"dangling"))), 0);
    EXPECT_NE(platform::GetFileAttributesW(P(In(u"target\\f"))), platform::INVALID_FILE_ATTRIBUTES);
}

TEST_F(PlatformTest, DotNamesAreHidden) {
    ASSERT_TRUE(MakeFile(In(u".profile")));
    EXPECT_EQ(platform::GetFileAttributesW(P(In(u".profile"))) & 2u, 2u);
    // A dot name can't lose its hidden bit, but the read-only bit beside it still changes.
    EXPECT_EQ(platform::SetFileAttributesW(P(In(u".profile")), 1u), 0);
    EXPECT_EQ(platform::GetFileAttributesW(P(In(u".profile"))) & 3u, 3u);
    EXPECT_NE(platform::SetFileAttributesW(P(In(u".profile")), 2u), 0);
    EXPECT_EQ(platform::GetFileAttributesW(P(In(u".profile"))) & 3u, 2u);
}
#endif

} // namespace
