// The platform calls the library makes, under their Win32 and runtime names, on every host.
//
// The logic in source/ includes this header and nothing else of the platform. On Windows each
// call forwards to the real one (source/platform/win/); elsewhere it is our own stand-in
// (source/platform/posix/), which keeps each call's signature, success convention and error
// numbers. The types are ours and have fixed widths: text is 0-terminated UTF-16 in units of
// unsigned short (the units of AString), DWORD is 32 bits, and the records have the Win32
// layouts and field names. No header of the operating system is included here.
#ifndef ZELK_SOURCE_PLATFORM_PLATFORM_H
#define ZELK_SOURCE_PLATFORM_PLATFORM_H

#include <cstddef>
#include <cstdint>

namespace vorlan {
namespace zelk {
namespace platform {

using DWORD = std::uint32_t;
using BOOL = std::int32_t;
using UINT = std::uint32_t;

// An open file, directory or search. Only the layer looks inside.
struct OpaqueHandle;
using HANDLE = OpaqueHandle*;

struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

struct WIN32_FILE_ATTRIBUTE_DATA {
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
};

constexpr DWORD MAX_PATH = 260;

struct WIN32_FIND_DATAW {
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
    DWORD dwReserved0; // the reparse tag when the entry is a reparse point
    DWORD dwReserved1;
    unsigned short cFileName[MAX_PATH];
    unsigned short cAlternateFileName[14];
};

// A FILETIME as one 64-bit count of 100 ns since 1601-01-01 UTC, and back.
constexpr std::uint64_t FileTimeToUInt64(const FILETIME& time) {
    return (std::uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
}
constexpr FILETIME UInt64ToFileTime(std::uint64_t value) {
    return FILETIME{static_cast<DWORD>(value & 0xFFFFFFFFu), static_cast<DWORD>(value >> 32)};
}

// The value every failed open gives: (HANDLE)-1, as on Windows.
inline HANDLE const INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(~std::uintptr_t{0});

// Desired access.
constexpr DWORD GENERIC_READ = 0x80000000u;
constexpr DWORD GENERIC_WRITE = 0x40000000u;
constexpr DWORD GENERIC_EXECUTE = 0x20000000u;
constexpr DWORD GENERIC_ALL = 0x10000000u;
constexpr DWORD FILE_READ_DATA = 0x0001u;
constexpr DWORD FILE_WRITE_DATA = 0x0002u;
constexpr DWORD FILE_APPEND_DATA = 0x0004u;
constexpr DWORD FILE_READ_ATTRIBUTES = 0x0080u;
constexpr DWORD FILE_WRITE_ATTRIBUTES = 0x0100u;
constexpr DWORD DELETE = 0x00010000u;

// Share mode.
constexpr DWORD FILE_SHARE_READ = 1;
constexpr DWORD FILE_SHARE_WRITE = 2;
constexpr DWORD FILE_SHARE_DELETE = 4;

// Creation disposition.
constexpr DWORD CREATE_NEW = 1;
constexpr DWORD CREATE_ALWAYS = 2;
constexpr DWORD OPEN_EXISTING = 3;
constexpr DWORD OPEN_ALWAYS = 4;
constexpr DWORD TRUNCATE_EXISTING = 5;

// Flags and attributes of CreateFileW.
constexpr DWORD FILE_FLAG_BACKUP_SEMANTICS = 0x02000000u;
constexpr DWORD FILE_FLAG_OPEN_REPARSE_POINT = 0x00200000u;

// Attribute bits.
constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x0001u;
constexpr DWORD FILE_ATTRIBUTE_HIDDEN = 0x0002u;
constexpr DWORD FILE_ATTRIBUTE_SYSTEM = 0x0004u;
constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x0010u;
constexpr DWORD FILE_ATTRIBUTE_ARCHIVE = 0x0020u;
constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x0080u;
constexpr DWORD FILE_ATTRIBUTE_REPARSE_POINT = 0x0400u;
constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFFu;

constexpr DWORD IO_REPARSE_TAG_SYMLINK = 0xA000000Cu;

// The info level of GetFileAttributesExW.
constexpr int GetFileExInfoStandard = 0;

// Error modes.
constexpr UINT SEM_FAILCRITICALERRORS = 0x0001u;

// Error numbers.
constexpr DWORD ERROR_SUCCESS = 0;
constexpr DWORD ERROR_INVALID_FUNCTION = 1;
constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
constexpr DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
constexpr DWORD ERROR_ACCESS_DENIED = 5;
constexpr DWORD ERROR_INVALID_HANDLE = 6;
constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr DWORD ERROR_INVALID_DRIVE = 15;
constexpr DWORD ERROR_NOT_SAME_DEVICE = 17;
constexpr DWORD ERROR_NO_MORE_FILES = 18;
constexpr DWORD ERROR_WRITE_PROTECT = 19;
constexpr DWORD ERROR_GEN_FAILURE = 31;
constexpr DWORD ERROR_SHARING_VIOLATION = 32;
constexpr DWORD ERROR_NOT_SUPPORTED = 50;
constexpr DWORD ERROR_BAD_NETPATH = 53;
constexpr DWORD ERROR_FILE_EXISTS = 80;
constexpr DWORD ERROR_INVALID_PARAMETER = 87;
constexpr DWORD ERROR_DISK_FULL = 112;
constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
constexpr DWORD ERROR_INVALID_NAME = 123;
constexpr DWORD ERROR_DIR_NOT_EMPTY = 145;
constexpr DWORD ERROR_BAD_PATHNAME = 161;
constexpr DWORD ERROR_ALREADY_EXISTS = 183;
constexpr DWORD ERROR_FILENAME_EXCED_RANGE = 206;
constexpr DWORD ERROR_DIRECTORY = 267;
constexpr DWORD ERROR_MORE_DATA = 234;
constexpr DWORD ERROR_NO_SUCH_DEVICE = 433; // not in every SDK's headers
constexpr DWORD ERROR_BAD_DEVICE = 1200;
constexpr DWORD ERROR_NOT_CONNECTED = 2250;
constexpr DWORD NO_ERROR = 0;
constexpr DWORD ERROR_IO_DEVICE = 1117;
constexpr DWORD ERROR_CANT_RESOLVE_FILENAME = 1921;

// The file services.
DWORD GetFileAttributesW(const unsigned short* path);
BOOL GetFileAttributesExW(const unsigned short* path, int infoLevel,
                          WIN32_FILE_ATTRIBUTE_DATA* data);
BOOL SetFileAttributesW(const unsigned short* path, DWORD attributes);
HANDLE CreateFileW(const unsigned short* path, DWORD desiredAccess, DWORD shareMode,
                   void* securityAttributes, DWORD creationDisposition, DWORD flagsAndAttributes,
                   HANDLE templateFile);
BOOL CloseHandle(HANDLE handle);
BOOL CreateDirectoryW(const unsigned short* path, void* securityAttributes);
BOOL DeleteFileW(const unsigned short* path);
BOOL RemoveDirectoryW(const unsigned short* path);
BOOL SetFileTime(HANDLE file, const FILETIME* creationTime, const FILETIME* lastAccessTime,
                 const FILETIME* lastWriteTime);
void GetSystemTimeAsFileTime(FILETIME* time);
HANDLE FindFirstFileW(const unsigned short* pattern, WIN32_FIND_DATAW* data);
BOOL FindNextFileW(HANDLE search, WIN32_FIND_DATAW* data);
BOOL FindClose(HANDLE search);

// Directory walks.
//
// A walk holds every directory on its way open and reaches each entry relative to the directory
// that holds it, never through a path of its own, so nothing renamed, moved or swapped for a link
// while the walk runs can lead it out of the tree it was given, and a tree deeper than the host's
// longest path is walked like any other. On Windows a held directory is open without the delete
// share, so it can be neither renamed nor removed while the walk is inside it, and a reparse
// point is opened as itself. On the POSIX stand-in a held directory is an open descriptor, and a
// mount point counts as a mount-point reparse point: never entered, and never removable, since
// the library does not unmount.
//
// A walk handle is closed by CloseWalkHandle or consumed by RemoveWalkDirectoryW, and never given
// to any other call of the layer.

constexpr DWORD IO_REPARSE_TAG_MOUNT_POINT = 0xA0000003u;

// One entry of a held directory, as its listing tells it.
struct WALK_ENTRY {
    DWORD dwFileAttributes; // FILE_ATTRIBUTE_DIRECTORY and FILE_ATTRIBUTE_REPARSE_POINT are sure;
                            // others only where the listing gives them
    DWORD dwReparseTag;     // the tag when FILE_ATTRIBUTE_REPARSE_POINT is set, else 0
    unsigned short cFileName[MAX_PATH]; // 0-terminated; a name has at most 255 units
};

// Opens the directory at path for a walk. A link or mount point there is neither followed nor
// entered, and gives ERROR_DIRECTORY (267) as a file does. INVALID_HANDLE_VALUE on failure.
HANDLE OpenWalkDirectoryW(const unsigned short* path);
// Opens the subdirectory that entry names in the held directory, relative to it. When what
// stands there now is no longer that directory, or was a reparse point all along (a mount point
// on the stand-in), no handle is given: a reparse point sets FILE_ATTRIBUTE_REPARSE_POINT and
// its tag in entry, so that it can be removed as itself; anything else gives ERROR_DIRECTORY.
HANDLE OpenWalkSubdirectoryW(HANDLE directory, WALK_ENTRY* entry);
// The held directory's next entry, "." and ".." left out. 0 at the end: ERROR_NO_MORE_FILES as
// the last error when the listing ran out, another error when it broke off.
BOOL NextWalkEntryW(HANDLE directory, WALK_ENTRY* entry);
// Removes an entry of the held directory that is not walked into: a file, or a link or mount
// point as itself, never what it leads to. A read-only file is refused unless force is set; with
// force its read-only state is cleared just before and given back when it stays.
BOOL DeleteWalkEntryW(HANDLE directory, const WALK_ENTRY* entry, BOOL force);
// Removes the held directory itself, which the walk has emptied, and closes the handle whatever
// the outcome. With force a read-only directory is removed too; whatever stays keeps its
// attributes.
BOOL RemoveWalkDirectoryW(HANDLE directory, BOOL force);
// Closes a held directory that stays, giving back anything the walk lent it (on the stand-in the
// write permission a read-only directory needs to be emptied).
BOOL CloseWalkHandle(HANDLE directory);

// Copying and moving.
constexpr DWORD MOVEFILE_REPLACE_EXISTING = 0x1;
constexpr DWORD MOVEFILE_COPY_ALLOWED = 0x2;
constexpr DWORD MOVEFILE_WRITE_THROUGH = 0x8;
BOOL CopyFileW(const unsigned short* existingName, const unsigned short* newName,
               BOOL failIfExists);
BOOL MoveFileExW(const unsigned short* existingName, const unsigned short* newName, DWORD flags);
BOOL MoveFileW(const unsigned short* existingName, const unsigned short* newName);

// Volumes, drives and their connections.
constexpr UINT DRIVE_UNKNOWN = 0;
constexpr UINT DRIVE_NO_ROOT_DIR = 1;
constexpr UINT DRIVE_FIXED = 3;
constexpr UINT DRIVE_REMOTE = 4;
UINT GetDriveTypeW(const unsigned short* rootPathName);
DWORD WNetGetConnectionW(const unsigned short* localName, unsigned short* remoteName,
                         DWORD* length);
// The byte counts are ULARGE_INTEGER on Windows, one 64-bit value each; any may be null.
BOOL GetDiskFreeSpaceExW(const unsigned short* directoryName,
                         std::uint64_t* freeBytesAvailableToCaller, std::uint64_t* totalBytes,
                         std::uint64_t* totalFreeBytes);
BOOL PathIsNetworkPathW(const unsigned short* path);
DWORD GetLongPathNameW(const unsigned short* shortPath, unsigned short* longPath, DWORD length);

// The calling thread and the time since start-up, as 32-bit numbers.
DWORD GetCurrentThreadId();
DWORD GetTickCount();

// Errors and the error mode.
DWORD GetLastError();
void SetLastError(DWORD error);
UINT SetErrorMode(UINT mode);

// The runtime library.
int _waccess(const unsigned short* path, int mode);
int _wcsicmp(const unsigned short* left, const unsigned short* right);

// The process's current drive (1 for A, 0 for none) and directory.
int _getdrive();
int _chdrive(int drive);
DWORD GetCurrentDirectoryW(DWORD bufferLength, unsigned short* buffer);
BOOL SetCurrentDirectoryW(const unsigned short* path);
// The full path of a text, resolved against the current directory, or for "X:" and "X:name"
// against drive X's own directory, without changing either; a bare "X:" gives that directory with
// a separator at its end. The units written without the terminator, the units needed with it
// when bufferLength is too small, 0 on failure. filePart, when not null, gets the start of the
// last component in buffer (null when the full path ends in a separator).
DWORD GetFullPathNameW(const unsigned short* fileName, DWORD bufferLength, unsigned short* buffer,
                       unsigned short** filePart);
// The directory for temporary files, with a separator at its end.
DWORD GetTempPathW(DWORD bufferLength, unsigned short* buffer);

// Temporary and unique entries.
// The digits of value in radix (2 to 36, lower-case letters above 9) as terminated text in
// buffer, which must hold 33 units; returns buffer. Another radix gives the empty text.
unsigned short* _ultow(DWORD value, unsigned short* buffer, int radix);

// The Windows directory, and starting a program through the shell.
struct OpaqueWindow;
using HWND = OpaqueWindow*;
// What ShellExecuteW gives: a number above 32 on success, else an error of at most 32.
struct OpaqueInstance;
using HINSTANCE = OpaqueInstance*;
constexpr int SW_SHOWNORMAL = 1;
constexpr DWORD SE_ERR_NOASSOC = 31;
// The Windows directory's text and its length; when size units are too few, the units it needs
// and the buffer untouched; 0 on failure.
UINT GetWindowsDirectoryW(unsigned short* buffer, UINT size);
// Appends source behind the text in destination, a buffer of size units. 0 on success; EINVAL
// (22) or ERANGE (34) otherwise. The caller makes sure of the room first: the Windows runtime
// stops the process on a buffer that is too small.
int wcscat_s(unsigned short* destination, std::size_t size, const unsigned short* source);
HINSTANCE ShellExecuteW(HWND window, const unsigned short* operation, const unsigned short* file,
                        const unsigned short* parameters, const unsigned short* directory,
                        int showCommand);

// Sets SEM_FAILCRITICALERRORS for its scope, so a missing medium fails a call instead of asking
// the user, and restores the previous mode on every way out. Guards nest.
class ErrorModeGuard {
public:
    ErrorModeGuard() : fPreviousMode(SetErrorMode(SEM_FAILCRITICALERRORS)) {}
    ~ErrorModeGuard() { SetErrorMode(fPreviousMode); }
    ErrorModeGuard(const ErrorModeGuard&) = delete;
    ErrorModeGuard& operator=(const ErrorModeGuard&) = delete;

private:
    UINT fPreviousMode;
};

// Keeps the thread's last error across cleanup that may change it.
class LastErrorSaver {
public:
    LastErrorSaver() : fError(GetLastError()) {}
    ~LastErrorSaver() { SetLastError(fError); }
    LastErrorSaver(const LastErrorSaver&) = delete;
    LastErrorSaver& operator=(const LastErrorSaver&) = delete;

private:
    DWORD fError;
};

// Owns one handle and closes it on every way out, keeping the last error of the call before.
// Traits give the close call; both null and INVALID_HANDLE_VALUE count as no handle.
template <typename Traits> class ScopedHandle {
public:
    ScopedHandle() = default;
    explicit ScopedHandle(HANDLE handle) : fHandle(handle) {}
    ~ScopedHandle() { Reset(); }
    ScopedHandle(ScopedHandle&& other) noexcept : fHandle(other.Release()) {}
    ScopedHandle& operator=(ScopedHandle&& other) noexcept {
        if (this != &other) {
            Reset();
            fHandle = other.Release();
        }
        return *this;
    }
    ScopedHandle(const ScopedHandle&) = delete;
    ScopedHandle& operator=(const ScopedHandle&) = delete;

    [[nodiscard]] bool IsValid() const {
        return fHandle != nullptr && fHandle != INVALID_HANDLE_VALUE;
    }
    explicit operator bool() const { return IsValid(); }
    HANDLE Get() const { return fHandle; }
    [[nodiscard]] HANDLE Release() {
        HANDLE handle = fHandle;
        fHandle = nullptr;
        return handle;
    }
    void Reset() {
        if (IsValid()) {
            LastErrorSaver keep;
            Traits::Close(fHandle);
        }
        fHandle = nullptr;
    }

private:
    HANDLE fHandle = nullptr;
};

struct FileHandleTraits {
    static void Close(HANDLE handle) { CloseHandle(handle); }
};
struct FindHandleTraits {
    static void Close(HANDLE handle) { FindClose(handle); }
};
struct WalkHandleTraits {
    static void Close(HANDLE handle) { CloseWalkHandle(handle); }
};
using ScopedFileHandle = ScopedHandle<FileHandleTraits>;
using ScopedFindHandle = ScopedHandle<FindHandleTraits>;
using ScopedWalkHandle = ScopedHandle<WalkHandleTraits>;

// The character-type locale.

// Switches the runtime's character-type locale to that of the user's environment for its scope,
// so that _wcsicmp folds letters as the user expects, and switches back to the previous one on
// every way out. The name of the previous locale is copied, since the runtime's text doesn't
// survive the next switch. When the runtime names no current locale, or the copy can't be made,
// nothing is switched and nothing is restored.
class UserCTypeLocaleGuard {
public:
    UserCTypeLocaleGuard();
    ~UserCTypeLocaleGuard();
    UserCTypeLocaleGuard(const UserCTypeLocaleGuard&) = delete;
    UserCTypeLocaleGuard& operator=(const UserCTypeLocaleGuard&) = delete;

private:
    char* fSavedName = nullptr;
};

} // namespace platform
} // namespace zelk
} // namespace vorlan

#endif // ZELK_SOURCE_PLATFORM_PLATFORM_H
