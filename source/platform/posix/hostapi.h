// The one way into the host for the POSIX face: its system headers and the shared parts of the
// stand-in (host names, Win32 error numbers, the drive table and path resolution).
#ifndef ZELK_SOURCE_PLATFORM_POSIX_HOSTAPI_H
#define ZELK_SOURCE_PLATFORM_POSIX_HOSTAPI_H

#include "platform/platform.h"

#include <cerrno>
#include <cstddef>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <time.h>
#include <unistd.h>

namespace vorlan {
namespace zelk {
namespace platform {
namespace host {

// UTF-16 as the stand-in keeps it between the caller's text and the host's bytes.
using Text = std::u16string;

// Host bytes of one name or path from UTF-16 units, and back. Valid UTF-8 maps to UTF-16; a byte
// that is not part of valid UTF-8 maps to one lone surrogate U+DC80..U+DCFF and back; any other
// lone surrogate is written in the generalised UTF-8 form (three bytes, as if it were a scalar).
// Every byte string survives the way to UTF-16 and back unchanged.
void AppendHostBytes(const char16_t* units, std::size_t count, std::string& out);
std::string ToHostBytes(const Text& text);
Text FromHostBytes(const char* bytes, std::size_t count);
inline Text FromHostBytes(const std::string& bytes) {
    return FromHostBytes(bytes.data(), bytes.size());
}
// The caller's 0-terminated text (null gives the empty text).
Text FromUnits(const unsigned short* text);
// Whether the texts are equal with the letters A-Z and a-z taken as one, as Windows compares
// drive, share and program names.
bool EqualNoCase(const Text& left, const Text& right);
// Copies text and terminator into buffer when bufferLength units are enough for both. Returns the
// units written without the terminator, or the units needed with it when the buffer is too small.
DWORD CopyOut(const Text& text, unsigned short* buffer, DWORD bufferLength);

// The thread's last error, set by each call of the layer.
void SetError(DWORD error);
// The Win32 error number for a host errno.
DWORD ErrorFromErrno(int error);
// ENOENT in Win32 terms: 2 when the entry's directory is there, 3 when a directory on the way
// is missing.
DWORD MissingEntryError(const std::string& hostPath);
// Sets the last error from the host's errno and returns false.
bool FailWithErrno();
bool Fail(DWORD error);

// The share rules between the layer's own handles (kept in hostfiles.cpp).
// Whether any file handle of the layer is open, so that the rules have anything to check.
bool AnyFileHandleOpen();
// Whether an open handle of the layer withholds the delete share from the entry, so that deleting,
// removing or replacing it must fail with ERROR_SHARING_VIOLATION, as on Windows.
bool HandlesWithholdDelete(dev_t device, ino_t inode);

// Where a path text leads on the host.
struct HostPath {
    std::string host;             // the host path, absolute
    int drive = 0;                // the drive it went through, 1 for A
    bool viaUNC = false;          // reached as \\server\share
    std::vector<Text> components; // below the drive's root, aliases collapsed
    Text remote;                  // the \\server\share name when viaUNC
};
// Resolves caller's path text the way Win32 makes a full path: \ and / separate, \\?\ and
// \\?\UNC\ prefixes, X:\ absolute on a drive, X:rel against that drive's current directory,
// \rel at the current drive's root, rel against the current directory, \\server\share through
// the drive table. . and .. are collapsed, never above the root. Gives 0 or an error number.
DWORD ResolvePath(const unsigned short* text, HostPath& out);
// The last component's host bytes (empty at a drive's root).
std::string LastName(const HostPath& path);
// Whether the drive (1 for A) is mapped, and its remote name (empty for none).
bool DriveMapping(int drive, Text& remote);
// The drive number of X: text, 0 for anything else.
int DriveOfText(const Text& text);
// The drive form (X:\a\b) of a canonical absolute host path, through the mapped drive with the
// longest root that holds it; empty when none does.
Text DriveFormOfHostPath(const std::string& hostPath);

} // namespace host
} // namespace platform
} // namespace zelk
} // namespace vorlan

#endif // ZELK_SOURCE_PLATFORM_POSIX_HOSTAPI_H
