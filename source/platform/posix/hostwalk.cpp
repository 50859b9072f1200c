// Directory walks on a POSIX host: each directory held as a descriptor, its entries listed and
// removed relative to it, and mount points taken for mount-point reparse points.
#include "platform/posix/hostapi.h"
#include "platform/posix/hostfaults.h"

#include <cstring>
#include <new>

#include <sys/sysmacros.h>

namespace vorlan {
namespace zelk {
namespace platform {

namespace host {
namespace {

// Bytes of listing read at once. A walk holds one such buffer for each level it is deep.
constexpr std::size_t kListingBytes = 8192;

// The kernel's attribute of a mount's root; older kernels don't report it, and a change of mount
// or of device tells the same.
#if defined(STATX_ATTR_MOUNT_ROOT)
constexpr std::uint64_t kMountRootAttribute = STATX_ATTR_MOUNT_ROOT;
#else
constexpr std::uint64_t kMountRootAttribute = 0x2000;
#endif
#if defined(STATX_MNT_ID)
constexpr unsigned int kMountIdMask = STATX_MNT_ID;
#else
constexpr unsigned int kMountIdMask = 0x1000;
#endif

// What a walk keeps of the directory it holds.
struct Identity {
    dev_t device = 0;
    ino_t inode = 0;
    mode_t mode = 0;
    std::uint64_t mountId = 0;
    bool hasMountId = false;
    bool mountRoot = false; // the kernel says it is the root of a mount
    bool knowsMountRoot = false;
};

struct WalkRecord {
    int fd = -1;                        // the held directory
    int parentFd = -1;                  // the directory that holds it, to remove it by name
    bool ownsParent = false;            // the named directory's parent, opened for the walk alone
    WalkRecord* parentRecord = nullptr; // the walk's record of that parent, when it holds it
    std::string name;                   // its name in the parent (host bytes)
    Identity identity;
    bool lentWrite = false; // write permission granted so that it can be emptied
    std::size_t filled = 0; // bytes of listing in the buffer
    std::size_t offset = 0; // where the next record starts
    bool ended = false;     // the listing ran out
    alignas(8) char listing[kListingBytes];
};

WalkRecord* RecordOf(HANDLE handle) {
    if (handle == nullptr || handle == INVALID_HANDLE_VALUE) {
        return nullptr;
    }
    return reinterpret_cast<WalkRecord*>(handle);
}

bool ReadIdentity(int fd, Identity& identity) {
    struct statx info {};
    if (::statx(fd, "", AT_EMPTY_PATH, STATX_TYPE | STATX_MODE | STATX_INO | kMountIdMask, &info) !=
        0) {
        return false;
    }
    identity.device = makedev(info.stx_dev_major, info.stx_dev_minor);
    identity.inode = static_cast<ino_t>(info.stx_ino);
    identity.mode = info.stx_mode;
    identity.hasMountId = (info.stx_mask & kMountIdMask) != 0;
    identity.mountId = info.stx_mnt_id;
    identity.knowsMountRoot = (info.stx_attributes_mask & kMountRootAttribute) != 0;
    identity.mountRoot = (info.stx_attributes & kMountRootAttribute) != 0;
    return true;
}

// Another file system, or another mount of the same one, starts at the directory.
bool IsMountPoint(const Identity& directory, const Identity& parent) {
    if (directory.knowsMountRoot) {
        return directory.mountRoot;
    }
    if (directory.hasMountId && parent.hasMountId) {
        return directory.mountId != parent.mountId;
    }
    return directory.device != parent.device;
}

void CloseRecord(WalkRecord* record) {
    if (record->lentWrite) {
        ::fchmod(record->fd, record->identity.mode & 07777);
    }
    ::close(record->fd);
    if (record->ownsParent) {
        ::close(record->parentFd);
    }
    delete record;
}

// Grants the owner write permission on a read-only directory, so that its entries can be
// removed; given back when the directory stays. False when there is nothing to grant or the
// host refuses.
bool LendWrite(WalkRecord* record) {
    if (record == nullptr || record->lentWrite || (record->identity.mode & S_IWUSR) != 0) {
        return false;
    }
    if (HostCallFails(HostCall::kChangeMode) ||
        ::fchmod(record->fd, (record->identity.mode & 07777) | S_IWUSR) != 0) {
        return false;
    }
    record->lentWrite = true;
    return true;
}

// unlinkat in the held directory, lending it write permission once when the host asks for it.
// Sets the last error on failure.
bool RemoveName(WalkRecord* directory, int fd, const std::string& name, int flags) {
    const HostCall kind = flags != 0 ? HostCall::kRemoveDirectory : HostCall::kUnlink;
    for (;;) {
        if (!HostCallFails(kind) && ::unlinkat(fd, name.c_str(), flags) == 0) {
            SetError(ERROR_SUCCESS);
            return true;
        }
        const int error = errno;
        if ((error == EACCES || error == EPERM) && LendWrite(directory)) {
            continue;
        }
        switch (error) {
        case ENOENT:
            return Fail(ERROR_FILE_NOT_FOUND);
        case ENOTEMPTY:
        case EEXIST:
            return Fail(ERROR_DIR_NOT_EMPTY);
        case ENOTDIR:
            return Fail(ERROR_DIRECTORY);
        default:
            return Fail(ErrorFromErrno(error));
        }
    }
}

// Marks an entry as the reparse point it turned out to be.
void MarkReparsePoint(WALK_ENTRY& entry, DWORD tag) {
    entry.dwFileAttributes |= FILE_ATTRIBUTE_REPARSE_POINT;
    entry.dwReparseTag = tag;
}

// Opens name in the directory parentFd as a held directory: never through a link, never into
// another mount. Gives the record, or null with the last error set and, for a link or mount
// point, entry marked as such.
WalkRecord* OpenHeld(int parentFd, const Identity& parent, const std::string& name,
                     WALK_ENTRY* entry) {
    if (HostCallFails(HostCall::kOpen)) {
        FailWithErrno();
        return nullptr;
    }
    const int fd =
        ::openat(parentFd, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) {
        const int error = errno;
        if (error == ELOOP && entry != nullptr) {
            MarkReparsePoint(*entry, IO_REPARSE_TAG_SYMLINK);
        }
        Fail(error == ELOOP || error == ENOTDIR ? ERROR_DIRECTORY
             : error == ENOENT                  ? ERROR_FILE_NOT_FOUND
                                                : ErrorFromErrno(error));
        return nullptr;
    }
    Identity identity;
    if (!ReadIdentity(fd, identity)) {
        FailWithErrno();
        ::close(fd);
        return nullptr;
    }
    if (IsMountPoint(identity, parent)) {
        if (entry != nullptr) {
            MarkReparsePoint(*entry, IO_REPARSE_TAG_MOUNT_POINT);
        }
        ::close(fd);
        Fail(ERROR_DIRECTORY);
        return nullptr;
    }
    auto* record = new (std::nothrow) WalkRecord();
    if (record == nullptr) {
        ::close(fd);
        Fail(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    record->fd = fd;
    record->parentFd = parentFd;
    record->name = name;
    record->identity = identity;
    SetError(ERROR_SUCCESS);
    return record;
}

// The attributes that a listed type tells, without asking the host about the entry.
DWORD AttributesOfType(unsigned char type, DWORD& tag) {
    tag = 0;
    switch (type) {
    case DT_DIR:
        return FILE_ATTRIBUTE_DIRECTORY;
    case DT_LNK:
        tag = IO_REPARSE_TAG_SYMLINK;
        return FILE_ATTRIBUTE_REPARSE_POINT;
    default:
        return FILE_ATTRIBUTE_NORMAL;
    }
}

unsigned char TypeOfMode(mode_t mode) {
    return S_ISDIR(mode) ? DT_DIR : S_ISLNK(mode) ? DT_LNK : DT_REG;
}

} // namespace
} // namespace host

HANDLE OpenWalkDirectoryW(const unsigned short* path) {
    host::HostPath resolved;
    const DWORD error = host::ResolvePath(path, resolved);
    if (error != ERROR_SUCCESS) {
        host::SetError(error);
        return INVALID_HANDLE_VALUE;
    }
    // A drive's root has no parent to be removed from; the walk empties it and no more.
    const bool isRoot = resolved.components.empty();
    const std::size_t slash = resolved.host.find_last_of('/');
    const std::string parentPath =
        isRoot ? resolved.host : (slash == 0 ? std::string("/") : resolved.host.substr(0, slash));
    const int parentFd = ::open(parentPath.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    host::Identity parent;
    if (parentFd < 0 || !host::ReadIdentity(parentFd, parent)) {
        const int failure = errno;
        if (parentFd >= 0) {
            ::close(parentFd);
        }
        host::SetError(failure == ENOENT || failure == ENOTDIR ? ERROR_PATH_NOT_FOUND
                                                               : host::ErrorFromErrno(failure));
        return INVALID_HANDLE_VALUE;
    }
    host::WalkRecord* record = nullptr;
    if (isRoot) {
        // The volume itself, not a mount on it: held as it is.
        record = new (std::nothrow) host::WalkRecord();
        if (record == nullptr) {
            ::close(parentFd);
            host::SetError(ERROR_NOT_ENOUGH_MEMORY);
            return INVALID_HANDLE_VALUE;
        }
        record->fd = ::open(parentPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ::close(parentFd);
        if (record->fd < 0 || !host::ReadIdentity(record->fd, record->identity)) {
            const int failure = errno;
            if (record->fd >= 0) {
                ::close(record->fd);
            }
            delete record;
            host::SetError(host::ErrorFromErrno(failure));
            return INVALID_HANDLE_VALUE;
        }
        host::SetError(ERROR_SUCCESS);
        return reinterpret_cast<HANDLE>(record);
    }
    record = host::OpenHeld(parentFd, parent, host::LastName(resolved), nullptr);
    if (record == nullptr) {
        LastErrorSaver keep;
        ::close(parentFd);
        return INVALID_HANDLE_VALUE;
    }
    record->ownsParent = true;
    return reinterpret_cast<HANDLE>(record);
}

HANDLE OpenWalkSubdirectoryW(HANDLE directory, WALK_ENTRY* entry) {
    host::WalkRecord* parent = host::RecordOf(directory);
    if (parent == nullptr || entry == nullptr) {
        host::SetError(parent == nullptr ? ERROR_INVALID_HANDLE : ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }
    const std::string name = host::ToHostBytes(host::FromUnits(entry->cFileName));
    host::WalkRecord* record = host::OpenHeld(parent->fd, parent->identity, name, entry);
    if (record == nullptr) {
        return INVALID_HANDLE_VALUE;
    }
    record->parentRecord = parent;
    return reinterpret_cast<HANDLE>(record);
}

BOOL NextWalkEntryW(HANDLE directory, WALK_ENTRY* entry) {
    host::WalkRecord* record = host::RecordOf(directory);
    if (record == nullptr || entry == nullptr) {
        return host::Fail(record == nullptr ? ERROR_INVALID_HANDLE : ERROR_INVALID_PARAMETER);
    }
    for (;;) {
        if (record->offset >= record->filled) {
            if (record->ended) {
                return host::Fail(ERROR_NO_MORE_FILES);
            }
            if (host::HostCallFails(host::HostCall::kList)) {
                return host::FailWithErrno();
            }
            const ssize_t count =
                ::getdents64(record->fd, record->listing, sizeof(record->listing));
            if (count < 0) {
                return host::FailWithErrno();
            }
            if (count == 0) {
                record->ended = true;
                return host::Fail(ERROR_NO_MORE_FILES);
            }
            record->filled = static_cast<std::size_t>(count);
            record->offset = 0;
        }
        const auto* found =
            reinterpret_cast<const struct dirent64*>(record->listing + record->offset);
        record->offset += found->d_reclen;
        const char* name = found->d_name;
        if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0))) {
            continue;
        }
        unsigned char type = found->d_type;
        if (type == DT_UNKNOWN) {
            // Some file systems don't tell the type in the listing.
            struct stat info {};
            if (::fstatat(record->fd, name, &info, AT_SYMLINK_NOFOLLOW) != 0) {
                continue; // gone since the listing was read
            }
            type = host::TypeOfMode(info.st_mode);
        }
        const host::Text wide = host::FromHostBytes(name, std::strlen(name));
        if (wide.size() >= MAX_PATH) {
            continue; // no host name is that long; what stays keeps its directory
        }
        entry->dwFileAttributes = host::AttributesOfType(type, entry->dwReparseTag);
        std::memcpy(entry->cFileName, wide.data(), wide.size() * sizeof(char16_t));
        entry->cFileName[wide.size()] = 0;
        host::SetError(ERROR_SUCCESS);
        return 1;
    }
}

BOOL DeleteWalkEntryW(HANDLE directory, const WALK_ENTRY* entry, BOOL force) {
    host::WalkRecord* record = host::RecordOf(directory);
    if (record == nullptr || entry == nullptr) {
        return host::Fail(record == nullptr ? ERROR_INVALID_HANDLE : ERROR_INVALID_PARAMETER);
    }
    const std::string name = host::ToHostBytes(host::FromUnits(entry->cFileName));
    if ((entry->dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        // A mount point goes only as an empty directory would, which the host refuses while it is
        // mounted; a link goes as itself.
        const bool mountPoint = entry->dwReparseTag == IO_REPARSE_TAG_MOUNT_POINT;
        return host::RemoveName(record, record->fd, name, mountPoint ? AT_REMOVEDIR : 0);
    }
    // Windows refuses a read-only file, and one open without the delete share. With force the
    // read-only state doesn't count: the host removes the name without touching the file, so
    // clearing it first would change nothing but what a failure leaves behind.
    if (!force || host::AnyFileHandleOpen()) {
        struct stat info {};
        if (::fstatat(record->fd, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) {
            return host::Fail(errno == ENOENT ? ERROR_FILE_NOT_FOUND : host::ErrorFromErrno(errno));
        }
        const bool isLink = S_ISLNK(info.st_mode);
        if (S_ISDIR(info.st_mode) || (!force && !isLink && (info.st_mode & S_IWUSR) == 0)) {
            return host::Fail(ERROR_ACCESS_DENIED);
        }
        if (!isLink && host::HandlesWithholdDelete(info.st_dev, info.st_ino)) {
            return host::Fail(ERROR_SHARING_VIOLATION);
        }
    }
    return host::RemoveName(record, record->fd, name, 0);
}

BOOL RemoveWalkDirectoryW(HANDLE directory, BOOL force) {
    host::WalkRecord* record = host::RecordOf(directory);
    if (record == nullptr) {
        return host::Fail(ERROR_INVALID_HANDLE);
    }
    const auto finish = [record](bool removed) {
        LastErrorSaver keep;
        if (removed) {
            record->lentWrite = false; // nothing is left to give it back to
        }
        host::CloseRecord(record);
        return removed ? 1 : 0;
    };
    const host::Identity& identity = record->identity;
    // A drive's root can't be removed; a read-only directory only with force.
    if (record->parentFd < 0 || (!force && (identity.mode & S_IWUSR) == 0)) {
        host::SetError(ERROR_ACCESS_DENIED);
        return finish(false);
    }
    // The process's current directory is held open on Windows and can't be removed.
    struct stat current {};
    if (::stat(".", &current) == 0 && current.st_dev == identity.device &&
        current.st_ino == identity.inode) {
        host::SetError(ERROR_SHARING_VIOLATION);
        return finish(false);
    }
    if (host::HandlesWithholdDelete(identity.device, identity.inode)) {
        host::SetError(ERROR_SHARING_VIOLATION);
        return finish(false);
    }
    return finish(
        host::RemoveName(record->parentRecord, record->parentFd, record->name, AT_REMOVEDIR));
}

BOOL CloseWalkHandle(HANDLE directory) {
    host::WalkRecord* record = host::RecordOf(directory);
    if (record == nullptr) {
        return host::Fail(ERROR_INVALID_HANDLE);
    }
    LastErrorSaver keep;
    host::CloseRecord(record);
    return 1;
}

} // namespace platform
} // namespace zelk
} // namespace vorlan
