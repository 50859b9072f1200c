// WinFileUtils: an entry's path in its local, POSIX and UNC forms.
#include <zelk/fileutils.h>

#include <zelk/afile.h>
#include <zelk/apathcomponent.h>
#include <zelk/astring.h>

#include "platform/platform.h"

namespace vorlan {
namespace zelk {

namespace {

// The connection name's buffer, and the length the platform is told: two units short of it, so
// a name that fills the told length still leaves the buffer terminated with room to spare.
constexpr platform::DWORD kConnectionBufferUnits = 512;
constexpr platform::DWORD kConnectionToldUnits = 510;

constexpr unsigned short kBackslash = '\\';

// The path on a drive made absolute against that drive's current directory; false, with the path
// as it was, when it is drive-relative and that fails.
bool EnsureAbsolute(APath& path) {
    if (path.IsAbsolute()) {
        return true;
    }
    return path.MakeAbsolute(nullptr, true);
}

// The drive of the absolute path, asked as X:\ whether it is a network drive.
bool IsNetworkDrive(const AString& drive) {
    AString root(drive);
    root += kBackslash;
    return platform::GetDriveTypeW(root.GrabWString()) == platform::DRIVE_REMOTE;
}

// The server and share the drive (X:, no separator) is connected to; false when the connection
// can't be read, also when its name doesn't fit the buffer (no second try).
bool ReadConnection(const AString& drive, APath& remote) {
    unsigned short buffer[kConnectionBufferUnits] = {};
    platform::DWORD length = kConnectionToldUnits;
    if (platform::WNetGetConnectionW(drive.GrabWString(), buffer, &length) != platform::NO_ERROR) {
        return false;
    }
    // The platform terminates the name within the told length; the last units stay 0 in any case.
    buffer[kConnectionBufferUnits - 1] = 0;
    remote.SetPath(AString(buffer), APath::kNativePath);
    return true;
}

// The drive component gives way to the server and share; the rest of the path stays.
void ReplaceDrive(APath& path, const APath& remote) {
    if (path.Size() >= 2) {
        path.SetParent(1, remote);
    } else {
        path = remote;
    }
}

} // namespace

AString WinFileUtils::GetLocalPath(const AFile& file) {
    return file.GetPath().GetPath(APath::kWinPath, false);
}

AString WinFileUtils::GetPosixPath(const AFile& file) {
    return file.GetPath().GetPath(APath::kPosixPath, false);
}

AString WinFileUtils::GetUNCPath(const AFile& file) {
    APath path = file.GetPath();
    // UNC paths and paths without a drive go through unchanged, with no platform call.
    if (!path.IsEmpty() && path.GetComponent(0).IsWinDrive() && EnsureAbsolute(path)) {
        const AString drive = path.GetComponent(0).Get();
        platform::ErrorModeGuard guard;
        APath remote;
        if (IsNetworkDrive(drive) && ReadConnection(drive, remote)) {
            ReplaceDrive(path, remote);
        }
    }
    return path.GetPath(APath::kWinPath, false);
}

} // namespace zelk
} // namespace vorlan
