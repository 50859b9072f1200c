// The shell link file format, as the POSIX face's shell link object reads and writes it.
#ifndef ZELK_SOURCE_PLATFORM_POSIX_HOSTLINK_H
#define ZELK_SOURCE_PLATFORM_POSIX_HOSTLINK_H

#include "platform/posix/hostapi.h"

#include <cstddef>
#include <string>

namespace vorlan {
namespace zelk {
namespace platform {
namespace host {

// What a link file says about its target. A link names its target in up to three ways: the
// local path of its link information (a base path and a suffix), the network form of the same
// (a share \\server\share and the suffix), and the shell's item id list.
struct LinkTarget {
    Text localBasePath;
    Text netName;
    Text pathSuffix;
    bool hasLocal = false;
    bool hasNetwork = false;
    // Decoded from the item id list; empty when the list holds items other than a computer, a
    // drive, folders and files.
    Text itemPath;
    // What was recorded of the target when the link was made.
    DWORD attributes = 0;
    FILETIME creationTime = {0, 0};
    FILETIME accessTime = {0, 0};
    FILETIME writeTime = {0, 0};
    DWORD fileSize = 0;

    // The base path and the suffix together; empty without a local form.
    Text LocalPath() const;
    // The share and the suffix, joined by a separator; empty without a network form.
    Text NetworkPath() const;
};

// Reads a link file's bytes into target. False for anything that is no well-formed link: a wrong
// header size or class, and any structure whose length or offset passes the end of the data or
// of the structure that holds it. Text that is no valid UTF-16 is kept as it is; 8-bit text is
// read as Latin-1, which agrees with the Windows code pages on ASCII.
bool ParseShellLink(const unsigned char* data, std::size_t size, LinkTarget& target);

// A link file for target: the header with the recorded attributes, times and size, and the
// link information in the local form (base path and suffix), with both 8-bit (non-ASCII as '?')
// and UTF-16 text. No network form, no item id list and no string data.
std::string FormatShellLink(const LinkTarget& target);

} // namespace host
} // namespace platform
} // namespace zelk
} // namespace vorlan

#endif // ZELK_SOURCE_PLATFORM_POSIX_HOSTLINK_H
