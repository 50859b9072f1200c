// Tests of the platform layer's own rules, on the real Win32 calls and on the POSIX stand-in.
#include "platform/platform.h"

#include "testsupport.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#if !defined(_WIN32)
#include "platform/posix/hostapi.h"
#include <zelk/posixhost.h>

#include <atomic>
#include <chrono>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#endif

using namespace vorlan::zelk::platform;
using zelktest::Narrow;

namespace {

// The runtime's headers declare these too.
using vorlan::zelk::platform::_chdrive;
using vorlan::zelk::platform::_getdrive;
using Names = std::vector<std::u16string>;

const unsigned short* P(const std::u16string& text) {
    return reinterpret_cast<const unsigned short*>(text.c_str());
}

std::u16string U(const unsigned short* units) {
    return reinterpret_cast<const char16_t*>(units);
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

bool MakeFile(const std::u16string& path) {
    return ScopedFileHandle(
               CreateFileW(P(path), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0x80, nullptr))
        .IsValid();
}

// Opens an existing entry with the given access, share (every one unless told) and flags.
ScopedFileHandle Open(const std::u16string& path, DWORD access, DWORD share = 3, DWORD flags = 0) {
    return ScopedFileHandle(
        CreateFileW(P(path), access, share, nullptr, OPEN_EXISTING, flags, nullptr));
}

std::u16string CurrentDirectory() {
    std::vector<unsigned short> buffer(32767);
    return GetCurrentDirectoryW(32767, buffer.data()) == 0 ? std::u16string() : U(buffer.data());
}

// The current directory is this one, letter case aside.
bool IsCurrent(const std::u16string& directory) {
    return _wcsicmp(P(CurrentDirectory()), P(directory)) == 0;
}

// The call failed (gave 0, false or nothing) and left this last error.
template <typename Result>::testing::AssertionResult FailsWith(Result result, DWORD expected) {
    const DWORD error = GetLastError();
    if (result == Result{} && error == expected) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "result " << result << ", last error " << error;
}

// Every name of a listing, "." and ".." included, in the order given; the last error is that of
// the call that ended it.
Names List(const std::u16string& pattern) {
    Names names;
    WIN32_FIND_DATAW data{};
    ScopedFindHandle search(FindFirstFileW(P(pattern), &data));
    for (bool more = search.IsValid(); more; more = FindNextFileW(search.Get(), &data) != 0) {
        names.push_back(U(data.cFileName));
    }
    return names;
}

// Each test works in a fresh scratch directory, and leaves the current directory as it found it.
class PlatformTest : public zelktest::ScratchTest {
protected:
    void SetUp() override {
        ScratchTest::SetUp();
        fRoot = U(Root().GetPath(false).GrabWString());
    }
    void TearDown() override { SetCurrentDirectoryW(P(fSavedDirectory)); }
    std::u16string In(const std::u16string& name) const { return fRoot + u"\\" + name; }

    std::u16string fRoot;
    const std::u16string fSavedDirectory = CurrentDirectory();
};

TEST_F(PlatformTest, ErrorNumbersOfCommonFailures) {
    ASSERT_TRUE(MakeFile(In(u"file")) && MakeDir(In(u"dir")) && MakeFile(In(u"locked")));
    ASSERT_NE(SetFileAttributesW(P(In(u"locked")), FILE_ATTRIBUTE_READONLY), 0);
    enum Call { kAttributes, kMakeDir, kCreateNew, kOpen, kOpenToWrite, kDelete, kRemoveDir };
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
        {"open a missing file", kOpen, u"none", 2},
        {"open a directory without backup semantics", kOpen, u"dir", 5},
        {"delete a directory as a file", kDelete, u"dir", 5},
        {"remove a file as a directory", kRemoveDir, u"file", 267},
        {"remove a non-empty directory", kRemoveDir, u"", 145},
        // Also for an administrator or root, who could write it otherwise.
        {"delete a read-only file", kDelete, u"locked", 5},
#if !defined(_WIN32)
        // (Wine running as root lets an open for writing through.)
        {"open a read-only file for writing", kOpenToWrite, u"locked", 5},
#endif
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const std::u16string path = *c.name == 0 ? fRoot : In(c.name);
        SetLastError(0);
        const bool done = c.call == kAttributes    ? Exists(path)
                          : c.call == kMakeDir     ? MakeDir(path)
                          : c.call == kCreateNew   ? MakeFile(path)
                          : c.call == kOpen        ? Open(path, GENERIC_READ).IsValid()
                          : c.call == kOpenToWrite ? Open(path, GENERIC_WRITE).IsValid()
                          : c.call == kDelete      ? DeleteFileW(P(path)) != 0
                                                   : RemoveDirectoryW(P(path)) != 0;
        EXPECT_TRUE(FailsWith(done, c.error));
    }
    // A directory opens with backup semantics, and then even for reading.
    EXPECT_TRUE(Open(In(u"dir"), GENERIC_READ, 3, FILE_FLAG_BACKUP_SEMANTICS).IsValid());
}

TEST_F(PlatformTest, AttributeBits) {
    ASSERT_TRUE(MakeFile(In(u"file")));
    ASSERT_TRUE(MakeDir(In(u"dir")));
    // A plain file has nothing but the archive or the normal bit (hosts differ in which).
    const DWORD file = Attributes(In(u"file"));
    EXPECT_TRUE(file != 0 && (file & ~(FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_NORMAL)) == 0);
    EXPECT_EQ(Attributes(In(u"dir")) & 0x17u, 0x10u);
    WIN32_FILE_ATTRIBUTE_DATA data{};
    EXPECT_TRUE(FailsWith(GetFileAttributesExW(P(In(u"file")), 1, &data), ERROR_INVALID_PARAMETER));
#if !defined(_WIN32)
    // On the stand-in a dot name stays hidden, and the read-only bit beside it still changes.
    ASSERT_TRUE(MakeFile(In(u".profile")));
    EXPECT_EQ(SetFileAttributesW(P(In(u".profile")), 1u), 0);
    EXPECT_EQ(Attributes(In(u".profile")) & 3u, 3u);
    EXPECT_NE(SetFileAttributesW(P(In(u".profile")), 2u), 0);
    EXPECT_EQ(Attributes(In(u".profile")) & 3u, 2u);
#endif
}

TEST_F(PlatformTest, ListingGivesDotsFirstAndEndsWithNoMoreFiles) {
    ASSERT_TRUE(MakeDir(In(u"d")) && MakeDir(In(u"d\\sub")));
    for (const char16_t* name : {u"b.txt", u"a.txt", u"c.dat"}) {
        ASSERT_TRUE(MakeFile(In(u"d\\") + name));
    }
    Names names = List(In(u"d\\*"));
    EXPECT_EQ(GetLastError(), ERROR_NO_MORE_FILES);
    ASSERT_EQ(names.size(), 6u);
    std::sort(names.begin() + 2, names.end());
    EXPECT_EQ(names, (Names{u".", u"..", u"a.txt", u"b.txt", u"c.dat", u"sub"}));
    // Patterns match without regard to letter case; a name alone finds that entry.
    names = List(In(u"d\\*.TXT"));
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (Names{u"a.txt", u"b.txt"}));
    EXPECT_EQ(List(In(u"d\\?.dat")), Names{u"c.dat"});
    EXPECT_EQ(List(In(u"d\\sub")), Names{u"sub"});
    EXPECT_TRUE(FailsWith(List(In(u"d\\*.none")).size(), ERROR_FILE_NOT_FOUND));
    EXPECT_TRUE(FailsWith(List(In(u"none\\*")).size(), ERROR_PATH_NOT_FOUND));
}

TEST_F(PlatformTest, ShareModesBetweenHandlesOfThisProcess) {
    const std::u16string path = In(u"shared");
    ASSERT_TRUE(MakeFile(path));
    ScopedFileHandle reader = Open(path, GENERIC_READ, FILE_SHARE_READ);
    ASSERT_TRUE(reader.IsValid());
    EXPECT_TRUE(Open(path, GENERIC_READ, 3).IsValid());
    EXPECT_TRUE(FailsWith(Open(path, GENERIC_WRITE, 3).IsValid(), ERROR_SHARING_VIOLATION));
    // Sole use is refused while another handle reads; without data access it is not.
    EXPECT_TRUE(FailsWith(Open(path, GENERIC_READ, 0).IsValid(), ERROR_SHARING_VIOLATION));
    EXPECT_TRUE(Open(path, 0, 0).IsValid());
    EXPECT_TRUE(Open(path, FILE_WRITE_ATTRIBUTES, 3).IsValid());
    // Deleting needs the delete share of every open handle.
    EXPECT_TRUE(FailsWith(DeleteFileW(P(path)), ERROR_SHARING_VIOLATION));
    reader.Reset();
    EXPECT_TRUE(Open(path, GENERIC_READ | GENERIC_WRITE, 0).IsValid());
    EXPECT_NE(DeleteFileW(P(path)), 0);
    // (HANDLE)-1 is the process itself to Windows, so null stands for a handle that isn't open.
    EXPECT_TRUE(FailsWith(CloseHandle(nullptr), ERROR_INVALID_HANDLE));
}

// The child half of the test below, run as a process of its own: asks for sole use of the file
// and expects the given error.
TEST(PlatformChildProcess, OpenForSoleUse) {
    const std::vector<std::string> arguments = ::testing::internal::GetArgvs();
    if (arguments.size() < 4 || arguments[2].rfind("--zelk-path=", 0) != 0) {
        GTEST_SKIP() << "runs only as the child of ShareNoneAgainstAnotherProcess";
    }
    const std::string path = arguments[2].substr(12);
    ScopedFileHandle file = Open(std::u16string(path.begin(), path.end()), GENERIC_READ, 0);
    EXPECT_EQ(file.IsValid() ? "0" : std::to_string(GetLastError()), arguments[3]);
}

TEST_F(PlatformTest, ShareNoneAgainstAnotherProcess) {
    const std::u16string path = In(u"held");
    ASSERT_TRUE(MakeFile(path));
    const auto child = [&](const char* expected) {
        const std::string command = "\"" + ::testing::internal::GetArgvs().front() +
                                    "\" --gtest_filter=PlatformChildProcess.OpenForSoleUse "
                                    "\"--zelk-path=" +
                                    Narrow(path) + "\" " + expected;
#if defined(_WIN32)
        return std::system(("\"" + command + "\"").c_str()); // cmd drops the outer quotes
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
        ScopedFileHandle file = Open(path, FILE_WRITE_ATTRIBUTES);
        const FILETIME time = UInt64ToFileTime(value);
        return file.IsValid() && SetFileTime(file.Get(), nullptr, nullptr, &time) == 1;
    };
    const auto times = [&] {
        WIN32_FILE_ATTRIBUTE_DATA data{};
        GetFileAttributesExW(P(path), 0, &data);
        return data;
    };
    [[maybe_unused]] const WIN32_FILE_ATTRIBUTE_DATA before = times();
    // 2001-09-09 01:46:40.1234567 UTC, in 100 ns since 1601.
    const std::uint64_t when = 126444672001234567ull;
    ASSERT_TRUE(setWriteTime(when));
    EXPECT_EQ(FileTimeToUInt64(times().ftLastWriteTime), when);
#if !defined(_WIN32)
    // The creation time is the host's birth time and stays. (Wine derives one from the other
    // times, so there it follows the write time back.)
    EXPECT_EQ(FileTimeToUInt64(times().ftCreationTime), FileTimeToUInt64(before.ftCreationTime));
    // Year 30828 is beyond what the host's file system keeps: refused, and nothing changed.
    // (NTFS keeps it; Wine passes on whatever its host file system made of it.)
    EXPECT_TRUE(FailsWith(setWriteTime(0x7FFF000000000000ull), ERROR_INVALID_PARAMETER));
    EXPECT_EQ(FileTimeToUInt64(times().ftLastWriteTime), when);
#endif
}

TEST_F(PlatformTest, CurrentDirectoryAndDrive) {
    // Too small a buffer gives the size needed, terminator included, and is left alone.
    unsigned short tiny[2] = {0x55, 0x55};
    EXPECT_EQ(GetCurrentDirectoryW(2, tiny), fSavedDirectory.size() + 1);
    EXPECT_EQ(tiny[0], 0x55);

    ASSERT_NE(SetCurrentDirectoryW(P(fRoot)), 0);
    EXPECT_TRUE(IsCurrent(fRoot));
    const int drive = _getdrive();
    EXPECT_EQ(fRoot[0] - u'A' + 1, drive);

    // A full path is read without changing anything: the bare drive gives its directory; a
    // separator at the end stays; too small a buffer gives the size needed and is left alone.
    std::vector<unsigned short> full(1024, 0x55);
    unsigned short* part = nullptr;
    EXPECT_EQ(GetFullPathNameW(P(fRoot.substr(0, 2)), 1024, full.data(), &part), fRoot.size() + 1);
    EXPECT_EQ(U(full.data()), fRoot + u"\\");
    EXPECT_EQ(part, nullptr);
    EXPECT_EQ(GetFullPathNameW(P(u"x.txt"), 1024, full.data(), &part), fRoot.size() + 6);
    ASSERT_NE(part, nullptr);
    EXPECT_EQ(U(part), u"x.txt");
    EXPECT_EQ(GetFullPathNameW(P(u"a\\..\\x\\"), 1024, full.data(), &part), fRoot.size() + 3);
    EXPECT_EQ(U(full.data()), fRoot + u"\\x\\");
    EXPECT_EQ(part, nullptr);
    full[0] = 0x55;
    EXPECT_EQ(GetFullPathNameW(P(u"x"), 3, full.data(), nullptr), fRoot.size() + 3);
    EXPECT_EQ(full[0], 0x55);
    EXPECT_TRUE(IsCurrent(fRoot));
    // Relative, rooted-relative, drive-relative and prefixed texts resolve against it.
    ASSERT_TRUE(MakeDir(u"sub"));
    ASSERT_TRUE(MakeFile(fRoot.substr(0, 2) + u"sub\\.\\x"));
    EXPECT_TRUE(Exists(In(u"sub\\x")));
    EXPECT_TRUE(Exists(u"sub\\..\\sub\\x"));
    EXPECT_TRUE(Exists(fRoot.substr(2) + u"\\sub/x"));
    EXPECT_TRUE(Exists(u"\\\\?\\" + In(u"sub\\x")));

    // Changing to the current drive keeps the directory; a drive that isn't there fails and
    // changes nothing.
    EXPECT_EQ(_chdrive(drive), 0);
    EXPECT_TRUE(IsCurrent(fRoot));
    const char missing = zelktest::MissingDrive();
    ASSERT_NE(missing, 0);
    EXPECT_EQ(_chdrive(missing - 'A' + 1), -1);
    EXPECT_EQ(_getdrive(), drive);
    EXPECT_TRUE(IsCurrent(fRoot));

    // The current directory can't be removed while it is current.
    ASSERT_NE(SetCurrentDirectoryW(P(u"sub")), 0);
    EXPECT_TRUE(FailsWith(RemoveDirectoryW(P(In(u"sub"))), ERROR_SHARING_VIOLATION));
    EXPECT_TRUE(FailsWith(SetCurrentDirectoryW(P(In(u"sub\\x"))), ERROR_DIRECTORY));
}

TEST_F(PlatformTest, CopyAndMoveFollowWindowsRules) {
    ASSERT_TRUE(MakeFile(In(u"a")) && MakeFile(In(u"b")) && MakeDir(In(u"dir")));
    const auto copy = [&](const char16_t* from, const char16_t* to, int failIfExists = 0) {
        return CopyFileW(P(In(from)), P(In(to)), failIfExists);
    };
    const auto moveEx = [&](const char16_t* from, const char16_t* to, DWORD flags) {
        return MoveFileExW(P(In(from)), P(In(to)), flags);
    };
    // Copying and moving at large are checked through the file utilities; here the error numbers
    // and what those don't see. A file is never copied onto itself.
    EXPECT_TRUE(FailsWith(copy(u"a", u"b", 1), ERROR_FILE_EXISTS));
    EXPECT_EQ(copy(u"a", u"a"), 0);
    EXPECT_TRUE(Exists(In(u"a")));
    EXPECT_TRUE(FailsWith(copy(u"a", u"dir"), ERROR_ACCESS_DENIED));
    // The copy carries the read-only attribute.
    ASSERT_NE(SetFileAttributesW(P(In(u"a")), FILE_ATTRIBUTE_READONLY), 0);
    ASSERT_NE(copy(u"a", u"c"), 0);
    EXPECT_EQ(Attributes(In(u"c")) & 1u, 1u);
#if !defined(_WIN32)
    // A read-only target is not replaced. (Wine running as root replaces it.)
    EXPECT_TRUE(FailsWith(copy(u"b", u"c"), ERROR_ACCESS_DENIED));
#endif
    ASSERT_NE(SetFileAttributesW(P(In(u"a")), FILE_ATTRIBUTE_NORMAL), 0);

    // Moving: an existing target only with leave to replace it, and never by a directory.
    EXPECT_TRUE(FailsWith(moveEx(u"a", u"b", MOVEFILE_COPY_ALLOWED), ERROR_ALREADY_EXISTS));
    EXPECT_NE(moveEx(u"a", u"b", 11), 0);
    EXPECT_TRUE(FailsWith(moveEx(u"b", u"dir", 11), ERROR_ACCESS_DENIED));
    EXPECT_TRUE(FailsWith(MoveFileW(P(In(u"b")), P(In(u"none\\b"))), ERROR_PATH_NOT_FOUND));
    // A file held open without the delete share stays where it is.
    ScopedFileHandle held = Open(In(u"b"), GENERIC_READ);
    EXPECT_TRUE(FailsWith(MoveFileW(P(In(u"b")), P(In(u"elsewhere"))), ERROR_SHARING_VIOLATION));
}

#if !defined(_WIN32)
// The POSIX stand-in's own machinery: name mapping, the drive table and symbolic links. Windows
// keeps names as UTF-16 and has drives of its own, so none of this applies there.

TEST(PosixNames, BytesAndUnitsMapBothWaysWithoutLoss) {
    const struct {
        const char* what;
        std::string bytes;
        std::u16string units;
    } rows[] = {
        {"two-byte", "caf\xC3\xA9", u"caf\u00E9"},
        {"four-byte pair", "\xF0\x9F\x98\x80", u"\U0001F600"},
        {"invalid byte", "a\xFFz", u"a\xDCFFz"},
        {"truncated sequence", "\xC3", u"\xDCC3"},
        {"overlong slash", "\xC0\xAF", u"\xDCC0\xDCAF"},
        {"lone high surrogate, generalised", "\xED\xA0\x80x", u"\xD800x"},
        {"lone low surrogate, generalised", "\xED\xB0\x80", u"\xDC00"},
        {"generalised escape-range surrogate stays bytes", "\xED\xB2\x80", u"\xDCED\xDCB2\xDC80"},
        {"generalised pair stays bytes", "\xED\xA0\x80\xED\xB0\x80", u"\xDCED\xDCA0\xDC80\xDC00"},
        {"generalised high before an invalid byte", "\xED\xA0\x80\xFF",
         u"\xDCED\xDCA0\xDC80\xDCFF"},
    };
    for (const auto& row : rows) {
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
    Names names = {u"bad\xDCFF", u"caf\u00E9", u"high\xD800", u"low\xDC00"};
    for (const std::u16string& name : names) {
        ASSERT_TRUE(MakeFile(In(name)));
    }
    Names listed = List(In(u"*"));
    std::sort(listed.begin() + 2, listed.end());
    names.insert(names.begin(), {u".", u".."});
    EXPECT_EQ(listed, names);
    for (const std::u16string& name : listed) {
        EXPECT_TRUE(name[0] == u'.' || DeleteFileW(P(In(name))) != 0) << Narrow(name);
    }
}

// Z: is the host root by default.
std::string HostPathOf(const std::u16string& driveForm) {
    std::string host = Narrow(driveForm.substr(2));
    std::replace(host.begin(), host.end(), '\\', '/');
    return host;
}

// Runs call on a thread of its own and waits for it two seconds at most. A call still waiting
// then is set free by opening the pipe's other end, so the test ends either way. True when the
// call answered in time.
template <typename Call> bool AnswersAtOnce(Call call, const std::string& pipe) {
    std::atomic<bool> done{false};
    std::thread caller([&] {
        vorlan::zelk::posixhost::InitializeObjects();
        call();
        vorlan::zelk::posixhost::UninitializeObjects();
        done = true;
    });
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (!done && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    const bool inTime = done;
    while (!done) {
        const int other = ::open(pipe.c_str(), O_RDWR | O_NONBLOCK);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        if (other >= 0) {
            ::close(other);
        }
    }
    caller.join();
    return inTime;
}

// Windows has no pipes, sockets or devices among its files: the questions that open an entry
// answer at once on them, as Wine's do (a pipe or device opens, a socket doesn't), and a link
// by such a name is simply unreadable.
TEST_F(PlatformTest, PipesAndSocketsAnswerAtOnce) {
    using vorlan::zelk::AFile;
    const std::string hostRoot = HostPathOf(fRoot);
    ASSERT_EQ(::mkfifo((hostRoot + "/pipe").c_str(), 0666), 0);
    ASSERT_EQ(::mkfifo((hostRoot + "/x.lnk").c_str(), 0666), 0);
    const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
    struct sockaddr_un address {};
    address.sun_family = AF_UNIX;
    const std::string socketPath = hostRoot + "/sock";
    ASSERT_LT(socketPath.size(), sizeof(address.sun_path));
    socketPath.copy(address.sun_path, socketPath.size());
    ASSERT_EQ(::bind(listener, reinterpret_cast<const struct sockaddr*>(&address), sizeof(address)),
              0);
    const struct {
        const char16_t* name;
        bool opens;             // CanOpen, readable and writable
        unsigned long resolved; // ResolveAlias: 0 itself, 1 an unreadable link
    } rows[] = {
        {u"pipe", true, 0},
        {u"x.lnk", true, 1},
        {u"sock", false, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(Narrow(std::u16string(row.name)));
        const AFile entry{vorlan::zelk::AString(P(In(row.name)))};
        const AFile inside{vorlan::zelk::AString(P(In(row.name) + u"\\child"))};
        const std::string pipe = hostRoot + "/" + Narrow(std::u16string(row.name));
        bool readable = false;
        bool writable = false;
        bool canRead = false;
        bool open = true;
        bool parent = true;
        unsigned long resolved = 99;
        AFile::BoolAttributes attributes{};
        bool tested = false;
        EXPECT_TRUE(AnswersAtOnce(
            [&] {
                canRead = entry.CanOpen(AFile::kAccessRead, AFile::kShareReadWrite);
                open = entry.IsOpen();
                readable = entry.GetAttribute(AFile::kIsReadable);
                writable = entry.GetAttribute(AFile::kIsWritable);
                tested = entry.GetAttributes(attributes, true, true);
                AFile target;
                resolved = vorlan::zelk::CoreFileUtils::ResolveAlias(entry, target, nullptr,
                                                                     nullptr, true);
                parent = inside.ParentExists();
            },
            pipe));
        EXPECT_EQ(canRead, row.opens);
        EXPECT_EQ(readable, row.opens);
        EXPECT_EQ(writable, row.opens);
        // Asked for sole use, an entry that opens in no way at all counts as open.
        EXPECT_EQ(open, !row.opens);
        EXPECT_TRUE(tested);
        EXPECT_EQ(attributes.fIsReadable, row.opens);
        EXPECT_EQ(resolved, row.resolved);
        EXPECT_FALSE(parent);
    }
    // The socket is refused as Wine refuses it.
    EXPECT_TRUE(FailsWith(Open(In(u"sock"), GENERIC_READ).IsValid(), ERROR_NO_SUCH_DEVICE));
    ::close(listener);
}

TEST_F(PlatformTest, DriveTableAndPerDriveDirectories) {
    ASSERT_EQ(fRoot.substr(0, 2), u"Z:");
    const std::string hostRoot = HostPathOf(fRoot);
    ASSERT_TRUE(MakeDir(In(u"sub")) && MakeFile(In(u"sub\\f")));
    namespace posixhost = vorlan::zelk::posixhost;
    EXPECT_FALSE(posixhost::MapDrive('1', hostRoot.c_str()));
    EXPECT_FALSE(posixhost::MapDrive('Q', "relative"));
    EXPECT_FALSE(posixhost::MapDrive('Q', hostRoot.c_str(), "\\\\server"));
    ASSERT_TRUE(posixhost::MapDrive('q', hostRoot.c_str(), "//srv/Share"));
    EXPECT_EQ(Attributes(u"Q:\\sub\\f") & 0x10u, 0u);
    EXPECT_TRUE(Exists(u"\\\\SRV\\share\\sub\\f"));
    EXPECT_TRUE(Exists(u"\\\\?\\UNC\\srv\\share\\sub"));
    EXPECT_TRUE(FailsWith(Exists(u"\\\\other\\share\\sub"), ERROR_BAD_NETPATH));
    // An empty server or share names no share at all: a bad path, not a missing one.
    for (const char16_t* text : {u"\\\\srv\\\\sub\\f", u"\\\\\\share\\sub", u"\\\\srv\\",
                                 u"\\\\?\\UNC\\\\share\\sub", u"\\\\?\\UNC\\srv\\\\sub"}) {
        EXPECT_TRUE(FailsWith(Exists(text), ERROR_BAD_PATHNAME)) << Narrow(text);
    }

    // Each drive keeps its own directory.
    ASSERT_NE(SetCurrentDirectoryW(P(u"Q:\\sub")), 0);
    EXPECT_EQ(CurrentDirectory(), u"Q:\\sub");
    EXPECT_EQ(_getdrive(), 17);
    ASSERT_NE(SetCurrentDirectoryW(P(fRoot)), 0);
    EXPECT_EQ(_getdrive(), 26);
    EXPECT_TRUE(Exists(u"Q:f"));
    EXPECT_TRUE(Exists(u"Q:..\\sub\\f"));
    EXPECT_EQ(_chdrive(17), 0);
    EXPECT_EQ(CurrentDirectory(), u"Q:\\sub");

    // Through the share name the current directory has no drive.
    ASSERT_NE(SetCurrentDirectoryW(P(u"\\\\srv\\share\\sub")), 0);
    EXPECT_EQ(_getdrive(), 0);
    EXPECT_EQ(CurrentDirectory(), u"\\\\srv\\Share\\sub");
    ASSERT_NE(SetCurrentDirectoryW(P(fRoot)), 0);

    // A server's share is a network drive, also by its UNC name.
    EXPECT_EQ(GetDriveTypeW(P(u"\\\\srv\\share\\")), DRIVE_REMOTE);

    ASSERT_TRUE(posixhost::UnmapDrive('Q'));
    EXPECT_FALSE(posixhost::UnmapDrive('Q'));
    EXPECT_TRUE(FailsWith(Exists(u"Q:\\sub\\f"), ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(_chdrive(17), -1);
    EXPECT_EQ(_getdrive(), 26);
}

TEST_F(PlatformTest, SymbolicLinksAreReparsePointsAndGoAlone) {
    ASSERT_TRUE(MakeDir(In(u"target")) && MakeFile(In(u"target\\f")));
    const std::string hostRoot = HostPathOf(fRoot);
    ASSERT_EQ(::symlink((hostRoot + "/target").c_str(), (hostRoot + "/dirlink").c_str()), 0);
    ASSERT_EQ(::symlink((hostRoot + "/target/f").c_str(), (hostRoot + "/filelink").c_str()), 0);
    ASSERT_EQ(::symlink((hostRoot + "/gone").c_str(), (hostRoot + "/dangling").c_str()), 0);
    EXPECT_EQ(Attributes(In(u"dirlink")) & 0x410u, 0x410u);
    EXPECT_EQ(Attributes(In(u"filelink")) & 0x410u, 0x400u);
    EXPECT_EQ(Attributes(In(u"dangling")) & 0x410u, 0x400u);
    EXPECT_EQ(_waccess(P(In(u"dangling")), 0), 0);

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
#endif

} // namespace
