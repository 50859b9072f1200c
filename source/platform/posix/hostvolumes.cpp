// Drives, their connections and free space, long names, and the thread and tick counters.
#include "platform/posix/hostapi.h"

namespace vorlan {
namespace zelk {
namespace platform {

namespace host {
namespace {

bool IsSeparatorUnit(char16_t unit) {
    return unit == u'\\' || unit == u'/';
}

// A drive's root as GetDriveTypeW takes it: X:, X:\ or X:/.
int DriveOfRoot(const Text& text) {
    const int drive = DriveOfText(text);
    if (drive == 0 || text.size() > 3 || (text.size() == 3 && !IsSeparatorUnit(text[2]))) {
        return 0;
    }
    return drive;
}

} // namespace
} // namespace host

UINT GetDriveTypeW(const unsigned short* rootPathName) {
    host::Text root;
    if (rootPathName == nullptr) {
        const int current = _getdrive();
        if (current == 0) {
            return DRIVE_NO_ROOT_DIR;
        }
        root = host::Text(1, static_cast<char16_t>(u'A' + current - 1)) + u":\\";
    } else {
        root = host::FromUnits(rootPathName);
    }
    if (root.size() >= 2 && host::IsSeparatorUnit(root[0]) && host::IsSeparatorUnit(root[1])) {
        // \\server\share\ is a network root when the table knows the share.
        std::vector<unsigned short> units(root.begin(), root.end());
        units.push_back(0);
        host::HostPath resolved;
        return host::ResolvePath(units.data(), resolved) == ERROR_SUCCESS && resolved.viaUNC &&
                       resolved.components.empty()
                   ? DRIVE_REMOTE
                   : DRIVE_NO_ROOT_DIR;
    }
    const int drive = host::DriveOfRoot(root);
    host::Text remote;
    if (drive == 0 || !host::DriveMapping(drive, remote)) {
        return DRIVE_NO_ROOT_DIR;
    }
    return remote.empty() ? DRIVE_FIXED : DRIVE_REMOTE;
}

DWORD WNetGetConnectionW(const unsigned short* localName, unsigned short* remoteName,
                         DWORD* length) {
    if (localName == nullptr || length == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    const host::Text local = host::FromUnits(localName);
    const int drive = host::DriveOfText(local);
    if (drive == 0 || local.size() != 2) {
        return ERROR_BAD_DEVICE;
    }
    host::Text remote;
    if (!host::DriveMapping(drive, remote) || remote.empty()) {
        return ERROR_NOT_CONNECTED;
    }
    if (remoteName == nullptr || *length < remote.size() + 1) {
        *length = static_cast<DWORD>(remote.size() + 1);
        return ERROR_MORE_DATA;
    }
    host::CopyOut(remote, remoteName, *length);
    return NO_ERROR;
}

BOOL GetDiskFreeSpaceExW(const unsigned short* directoryName,
                         std::uint64_t* freeBytesAvailableToCaller, std::uint64_t* totalBytes,
                         std::uint64_t* totalFreeBytes) {
    static const unsigned short kCurrent[] = {'.', 0};
    host::HostPath resolved;
    const DWORD error =
        host::ResolvePath(directoryName != nullptr ? directoryName : kCurrent, resolved);
    if (error != ERROR_SUCCESS) {
        return host::Fail(error);
    }
    struct stat info {};
    if (::stat(resolved.host.c_str(), &info) != 0) {
        return host::Fail(errno == ENOENT ? host::MissingEntryError(resolved.host)
                                          : host::ErrorFromErrno(errno));
    }
    if (!S_ISDIR(info.st_mode)) {
        return host::Fail(ERROR_DIRECTORY);
    }
    struct statvfs volume {};
    if (::statvfs(resolved.host.c_str(), &volume) != 0) {
        return host::FailWithErrno();
    }
    const std::uint64_t unit = volume.f_frsize != 0 ? volume.f_frsize : volume.f_bsize;
    if (freeBytesAvailableToCaller != nullptr) {
        *freeBytesAvailableToCaller = static_cast<std::uint64_t>(volume.f_bavail) * unit;
    }
    if (totalBytes != nullptr) {
        *totalBytes = static_cast<std::uint64_t>(volume.f_blocks) * unit;
    }
    if (totalFreeBytes != nullptr) {
        *totalFreeBytes = static_cast<std::uint64_t>(volume.f_bfree) * unit;
    }
    host::SetError(ERROR_SUCCESS);
    return 1;
}

BOOL PathIsNetworkPathW(const unsigned short* path) {
    if (path == nullptr) {
        return 0;
    }
    const host::Text text = host::FromUnits(path);
    if (text.size() >= 2 && host::IsSeparatorUnit(text[0]) && host::IsSeparatorUnit(text[1])) {
        return 1;
    }
    host::Text remote;
    const int drive = host::DriveOfText(text);
    return drive != 0 && host::DriveMapping(drive, remote) && !remote.empty() ? 1 : 0;
}

DWORD GetLongPathNameW(const unsigned short* shortPath, unsigned short* longPath, DWORD length) {
    // This host has no short names: an existing entry's text is its long form already.
    host::HostPath resolved;
    const DWORD error = host::ResolvePath(shortPath, resolved);
    if (error != ERROR_SUCCESS) {
        host::SetError(error);
        return 0;
    }
    struct stat info {};
    if (::lstat(resolved.host.c_str(), &info) != 0) {
        host::SetError(errno == ENOENT ? host::MissingEntryError(resolved.host)
                                       : host::ErrorFromErrno(errno));
        return 0;
    }
    const host::Text text = host::FromUnits(shortPath); // copied first: the buffers may be one
    host::SetError(ERROR_SUCCESS);
    return host::CopyOut(text, longPath, length);
}

DWORD GetCurrentThreadId() {
#if defined(SYS_gettid)
    return static_cast<DWORD>(::syscall(SYS_gettid));
#else
    return static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(::pthread_self()));
#endif
}

DWORD GetTickCount() {
    struct timespec now {};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    const std::uint64_t milliseconds = static_cast<std::uint64_t>(now.tv_sec) * 1000u +
                                       static_cast<std::uint64_t>(now.tv_nsec) / 1000000u;
    return static_cast<DWORD>(milliseconds & 0xFFFFFFFFu);
}

} // namespace platform
} // namespace zelk
} // namespace vorlan
