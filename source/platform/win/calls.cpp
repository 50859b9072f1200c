// The Windows face: each call of the layer forwards to the Win32 or runtime call of that name.
#include "platform/win/winapi.h"

#include <cstddef>
#include <cstdint>

namespace vorlan {
namespace zelk {
namespace platform {

// Our records stand for the SDK's and are passed through as they are.
static_assert(sizeof(FILETIME) == sizeof(::FILETIME), "FILETIME layout");
static_assert(offsetof(FILETIME, dwHighDateTime) == offsetof(::FILETIME, dwHighDateTime),
              "FILETIME layout");
static_assert(sizeof(WIN32_FILE_ATTRIBUTE_DATA) == sizeof(::WIN32_FILE_ATTRIBUTE_DATA),
              "WIN32_FILE_ATTRIBUTE_DATA layout");
static_assert(offsetof(WIN32_FILE_ATTRIBUTE_DATA, ftLastWriteTime) ==
                  offsetof(::WIN32_FILE_ATTRIBUTE_DATA, ftLastWriteTime),
              "WIN32_FILE_ATTRIBUTE_DATA layout");
static_assert(offsetof(WIN32_FILE_ATTRIBUTE_DATA, nFileSizeLow) ==
                  offsetof(::WIN32_FILE_ATTRIBUTE_DATA, nFileSizeLow),
              "WIN32_FILE_ATTRIBUTE_DATA layout");
static_assert(sizeof(WIN32_FIND_DATAW) == sizeof(::WIN32_FIND_DATAW), "WIN32_FIND_DATAW layout");
static_assert(offsetof(WIN32_FIND_DATAW, dwReserved0) == offsetof(::WIN32_FIND_DATAW, dwReserved0),
              "WIN32_FIND_DATAW layout");
static_assert(offsetof(WIN32_FIND_DATAW, cFileName) == offsetof(::WIN32_FIND_DATAW, cFileName),
              "WIN32_FIND_DATAW layout");
static_assert(offsetof(WIN32_FIND_DATAW, cAlternateFileName) ==
                  offsetof(::WIN32_FIND_DATAW, cAlternateFileName),
              "WIN32_FIND_DATAW layout");
static_assert(sizeof(DWORD) == sizeof(::DWORD) && sizeof(BOOL) == sizeof(::BOOL) &&
                  sizeof(UINT) == sizeof(::UINT) && sizeof(HANDLE) == sizeof(::HANDLE),
              "scalar widths");

DWORD GetFileAttributesW(const unsigned short* path) {
    return ::GetFileAttributesW(win::Wide(path));
}

BOOL GetFileAttributesExW(const unsigned short* path, int infoLevel,
                          WIN32_FILE_ATTRIBUTE_DATA* data) {
    return ::GetFileAttributesExW(win::Wide(path), static_cast<::GET_FILEEX_INFO_LEVELS>(infoLevel),
                                  data);
}

BOOL SetFileAttributesW(const unsigned short* path, DWORD attributes) {
    return ::SetFileAttributesW(win::Wide(path), attributes);
}

HANDLE CreateFileW(const unsigned short* path, DWORD desiredAccess, DWORD shareMode,
                   void* securityAttributes, DWORD creationDisposition, DWORD flagsAndAttributes,
                   HANDLE templateFile) {
    return win::Ours(::CreateFileW(win::Wide(path), desiredAccess, shareMode,
                                   static_cast<::LPSECURITY_ATTRIBUTES>(securityAttributes),
                                   creationDisposition, flagsAndAttributes,
                                   win::Native(templateFile)));
}

BOOL CloseHandle(HANDLE handle) {
    return ::CloseHandle(win::Native(handle));
}

BOOL CreateDirectoryW(const unsigned short* path, void* securityAttributes) {
    return ::CreateDirectoryW(win::Wide(path),
                              static_cast<::LPSECURITY_ATTRIBUTES>(securityAttributes));
}

BOOL DeleteFileW(const unsigned short* path) {
    return ::DeleteFileW(win::Wide(path));
}

BOOL RemoveDirectoryW(const unsigned short* path) {
    return ::RemoveDirectoryW(win::Wide(path));
}

BOOL SetFileTime(HANDLE file, const FILETIME* creationTime, const FILETIME* lastAccessTime,
                 const FILETIME* lastWriteTime) {
    return ::SetFileTime(win::Native(file), reinterpret_cast<const ::FILETIME*>(creationTime),
                         reinterpret_cast<const ::FILETIME*>(lastAccessTime),
                         reinterpret_cast<const ::FILETIME*>(lastWriteTime));
}

void GetSystemTimeAsFileTime(FILETIME* time) {
    ::GetSystemTimeAsFileTime(reinterpret_cast<::FILETIME*>(time));
}

HANDLE FindFirstFileW(const unsigned short* pattern, WIN32_FIND_DATAW* data) {
    return win::Ours(
        ::FindFirstFileW(win::Wide(pattern), reinterpret_cast<::WIN32_FIND_DATAW*>(data)));
}

BOOL FindNextFileW(HANDLE search, WIN32_FIND_DATAW* data) {
    return ::FindNextFileW(win::Native(search), reinterpret_cast<::WIN32_FIND_DATAW*>(data));
}

BOOL FindClose(HANDLE search) {
    return ::FindClose(win::Native(search));
}

BOOL CopyFileW(const unsigned short* existingName, const unsigned short* newName,
               BOOL failIfExists) {
    return ::CopyFileW(win::Wide(existingName), win::Wide(newName), failIfExists);
}

BOOL MoveFileExW(const unsigned short* existingName, const unsigned short* newName, DWORD flags) {
    return ::MoveFileExW(win::Wide(existingName), win::Wide(newName), flags);
}

BOOL MoveFileW(const unsigned short* existingName, const unsigned short* newName) {
    return ::MoveFileW(win::Wide(existingName), win::Wide(newName));
}

UINT GetDriveTypeW(const unsigned short* rootPathName) {
    return ::GetDriveTypeW(win::Wide(rootPathName));
}

DWORD WNetGetConnectionW(const unsigned short* localName, unsigned short* remoteName,
                         DWORD* length) {
    return ::WNetGetConnectionW(win::Wide(localName), win::Wide(remoteName),
                                reinterpret_cast<::DWORD*>(length));
}

static_assert(sizeof(::ULARGE_INTEGER) == sizeof(std::uint64_t), "ULARGE_INTEGER width");

BOOL GetDiskFreeSpaceExW(const unsigned short* directoryName,
                         std::uint64_t* freeBytesAvailableToCaller, std::uint64_t* totalBytes,
                         std::uint64_t* totalFreeBytes) {
    return ::GetDiskFreeSpaceExW(win::Wide(directoryName),
                                 reinterpret_cast<::PULARGE_INTEGER>(freeBytesAvailableToCaller),
                                 reinterpret_cast<::PULARGE_INTEGER>(totalBytes),
                                 reinterpret_cast<::PULARGE_INTEGER>(totalFreeBytes));
}

BOOL PathIsNetworkPathW(const unsigned short* path) {
    return ::PathIsNetworkPathW(win::Wide(path));
}

DWORD GetLongPathNameW(const unsigned short* shortPath, unsigned short* longPath, DWORD length) {
    return ::GetLongPathNameW(win::Wide(shortPath), win::Wide(longPath), length);
}

DWORD GetCurrentThreadId() {
    return ::GetCurrentThreadId();
}

DWORD GetTickCount() {
    return ::GetTickCount();
}

DWORD GetLastError() {
    return ::GetLastError();
}

void SetLastError(DWORD error) {
    ::SetLastError(error);
}

UINT SetErrorMode(UINT mode) {
    return ::SetErrorMode(mode);
}

int _waccess(const unsigned short* path, int mode) {
    return ::_waccess(win::Wide(path), mode);
}

int _wcsicmp(const unsigned short* left, const unsigned short* right) {
    return ::_wcsicmp(win::Wide(left), win::Wide(right));
}

int _getdrive() {
    return ::_getdrive();
}

int _chdrive(int drive) {
    return ::_chdrive(drive);
}

DWORD GetCurrentDirectoryW(DWORD bufferLength, unsigned short* buffer) {
    return ::GetCurrentDirectoryW(bufferLength, win::Wide(buffer));
}

BOOL SetCurrentDirectoryW(const unsigned short* path) {
    return ::SetCurrentDirectoryW(win::Wide(path));
}

DWORD GetFullPathNameW(const unsigned short* fileName, DWORD bufferLength, unsigned short* buffer,
                       unsigned short** filePart) {
    return ::GetFullPathNameW(win::Wide(fileName), bufferLength, win::Wide(buffer),
                              reinterpret_cast<wchar_t**>(filePart));
}

DWORD GetTempPathW(DWORD bufferLength, unsigned short* buffer) {
    return ::GetTempPathW(bufferLength, win::Wide(buffer));
}

} // namespace platform
} // namespace zelk
} // namespace vorlan
