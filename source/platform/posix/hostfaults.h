// A seam for tests of the POSIX face: a chosen host call fails with a chosen errno, so that each
// way in which creating, copying, moving or deleting can fail on the host runs in the tests.
//
// Nothing fails unless a test arms a fault; unarmed, the seam costs each guarded call one relaxed
// atomic load. Faults are process-wide and meant for a test that runs one operation at a time.
#ifndef ZELK_SOURCE_PLATFORM_POSIX_HOSTFAULTS_H
#define ZELK_SOURCE_PLATFORM_POSIX_HOSTFAULTS_H

#include <zelk/export.h>

namespace vorlan {
namespace zelk {
namespace platform {
namespace host {

// The host calls a fault can be armed on, each standing for the calls of that kind.
enum class HostCall {
    kOpen,            // opening an existing entry, a directory of a walk included
    kCreate,          // creating a file, a temporary one included
    kMakeDirectory,   // mkdir
    kRead,            // read
    kWrite,           // write, and the kernel's copy (copy_file_range)
    kSync,            // fsync
    kChangeMode,      // chmod, fchmod
    kSetTimes,        // futimens, utimensat
    kLink,            // giving a new file a name (linkat)
    kRename,          // rename, renameat2
    kUnlink,          // unlink and unlinkat of a file or link
    kRemoveDirectory, // rmdir and unlinkat of a directory
    kList,            // reading a directory's entries
};

// Makes the count-th next call of that kind (1: the very next one) fail with the errno error,
// once. Up to four faults of one kind can be armed at once; one armed for the same call again
// replaces the one before.
ZELK_API void FailHostCall(HostCall call, int error, unsigned count = 1);
// Disarms every fault.
ZELK_API void ClearHostFaults();
// Whether the call about to be made fails; when it does, errno holds the armed error.
bool HostCallFails(HostCall call);

} // namespace host
} // namespace platform
} // namespace zelk
} // namespace vorlan

#endif // ZELK_SOURCE_PLATFORM_POSIX_HOSTFAULTS_H
