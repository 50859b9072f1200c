// The Win32 file services on a POSIX host: attributes, opening with share modes, creation,
// deletion, times and directory listings, with the Windows rules that callers rely on.
#include "platform/posix/hostapi.h"
#include "platform/posix/hostfaults.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <clocale>
#include <cstring>
#include <cwctype>
#include <locale.h>
#include <mutex>
#include <unordered_set>

namespace vorlan {
namespace zelk {
namespace platform {

namespace host {
namespace {

// FILETIME of the Unix epoch, 1970-01-01 UTC.
constexpr std::int64_t kUnixEpochAsFileTime = 116444736000000000LL;
constexpr std::int64_t kTicksPerSecond = 10000000;
// A time read back further than this from the one asked for was not stored.
constexpr std::int64_t kStoredTimeTolerance = 2 * kTicksPerSecond;

constexpr char kDosAttributeName[] = "user.DOSATTRIB";

std::uint64_t ToFileTime(std::int64_t seconds, long nanoseconds) {
    const std::int64_t ticks = seconds * kTicksPerSecond + nanoseconds / 100 + kUnixEpochAsFileTime;
    return ticks < 0 ? 0 : static_cast<std::uint64_t>(ticks);
}

struct timespec ToTimespec(std::uint64_t fileTime) {
    const std::int64_t ticks = static_cast<std::int64_t>(fileTime) - kUnixEpochAsFileTime;
    std::int64_t seconds = ticks / kTicksPerSecond;
    std::int64_t rest = ticks % kTicksPerSecond;
    if (rest < 0) {
        rest += kTicksPerSecond;
        --seconds;
    }
    struct timespec result {};
    result.tv_sec = static_cast<time_t>(seconds);
    result.tv_nsec = static_cast<long>(rest * 100);
    return result;
}

// What lstat and statx tell of one entry, in Win32 terms.
struct EntryInfo {
    struct stat status {};
    bool isLink = false;
    bool leadsToDirectory = false; // a link whose target is a directory
    std::uint64_t creation = 0;
    std::uint64_t access = 0;
    std::uint64_t write = 0;
};

bool IsDotName(const std::string& name) {
    return name.size() > 1 && name[0] == '.' && name != "..";
}

// The DOS attributes that Unix servers of Windows files keep in an extended attribute: text of
// the form 0xNN at the start of the value. 0 when there is none.
DWORD ReadDosAttributes(const char* hostPath) {
    char value[64] = {};
    const ssize_t length = ::lgetxattr(hostPath, kDosAttributeName, value, sizeof(value) - 1);
    if (length < 3 || value[0] != '0' || (value[1] != 'x' && value[1] != 'X')) {
        return 0;
    }
    return static_cast<DWORD>(std::strtoul(value + 2, nullptr, 16));
}

bool WriteDosAttributes(const char* hostPath, DWORD attributes) {
    if (attributes == 0) {
        if (::lremovexattr(hostPath, kDosAttributeName) == 0 || errno == ENODATA) {
            return true;
        }
        return FailWithErrno();
    }
    char value[16];
    const int length = std::snprintf(value, sizeof(value), "0x%x", attributes);
    if (::lsetxattr(hostPath, kDosAttributeName, value, static_cast<std::size_t>(length) + 1, 0) !=
        0) {
        return FailWithErrno();
    }
    return true;
}

// lstat with times, the birth time where the file system keeps one. Sets the last error on
// failure.
bool ReadEntry(const std::string& hostPath, EntryInfo& info) {
    if (::lstat(hostPath.c_str(), &info.status) != 0) {
        const int error = errno;
        return Fail(error == ENOENT ? MissingEntryError(hostPath) : ErrorFromErrno(error));
    }
    info.isLink = S_ISLNK(info.status.st_mode);
    if (info.isLink) {
        struct stat target {};
        info.leadsToDirectory = ::stat(hostPath.c_str(), &target) == 0 && S_ISDIR(target.st_mode);
    }
    info.access = ToFileTime(info.status.st_atim.tv_sec, info.status.st_atim.tv_nsec);
    info.write = ToFileTime(info.status.st_mtim.tv_sec, info.status.st_mtim.tv_nsec);
    // Without a birth time the earlier of the change and the modification time stands in.
    info.creation =
        std::min(info.write, ToFileTime(info.status.st_ctim.tv_sec, info.status.st_ctim.tv_nsec));
#if defined(STATX_BTIME)
    struct statx extended {};
    if (::statx(AT_FDCWD, hostPath.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BTIME, &extended) == 0 &&
        (extended.stx_mask & STATX_BTIME) != 0) {
        info.creation = ToFileTime(extended.stx_btime.tv_sec, extended.stx_btime.tv_nsec);
    }
#endif
    return true;
}

bool IsReadOnly(const EntryInfo& info) {
    return !info.isLink && (info.status.st_mode & S_IWUSR) == 0;
}

DWORD AttributesOf(const std::string& hostPath, const std::string& name, const EntryInfo& info) {
    DWORD attributes = 0;
    if (info.isLink) {
        attributes |= FILE_ATTRIBUTE_REPARSE_POINT;
        if (info.leadsToDirectory) {
            attributes |= FILE_ATTRIBUTE_DIRECTORY;
        }
    } else if (S_ISDIR(info.status.st_mode)) {
        attributes |= FILE_ATTRIBUTE_DIRECTORY;
    }
    if (IsReadOnly(info)) {
        attributes |= FILE_ATTRIBUTE_READONLY;
    }
    if (IsDotName(name) || (ReadDosAttributes(hostPath.c_str()) & FILE_ATTRIBUTE_HIDDEN) != 0) {
        attributes |= FILE_ATTRIBUTE_HIDDEN;
    }
    return attributes == 0 ? FILE_ATTRIBUTE_NORMAL : attributes;
}

std::uint64_t SizeOf(const EntryInfo& info) {
    return S_ISREG(info.status.st_mode) ? static_cast<std::uint64_t>(info.status.st_size) : 0;
}

// Resolves the text and reads the entry; sets the last error on failure.
bool ResolveAndRead(const unsigned short* text, HostPath& path, EntryInfo& info) {
    const DWORD error = ResolvePath(text, path);
    if (error != ERROR_SUCCESS) {
        return Fail(error);
    }
    return ReadEntry(path.host, info);
}

// ---- Handles ----

enum class HandleKind { kFile, kSearch };

// What one open handle holds. Files keep their identity and rights for the share checks.
struct HandleRecord {
    HandleKind kind = HandleKind::kFile;
    int fd = -1;
    bool pathOnly = false; // opened without data access (O_PATH)
    dev_t device = 0;
    ino_t inode = 0;
    DWORD access = 0;
    DWORD share = 0;
    bool readsData = false;
    bool writesData = false;
    bool deletes = false;
    std::string host;
    // A search: its directory, the names in listing order, and the next one to give.
    std::string directory;
    std::vector<std::string> names;
    Text pattern;
    std::size_t next = 0;
};

struct HandleTable {
    std::mutex mutex;
    std::unordered_set<HandleRecord*> live;
};

HandleTable& Handles() {
    static HandleTable* table = new HandleTable(); // never destroyed, as the drive table
    return *table;
}

HANDLE ToHandle(HandleRecord* record) {
    return reinterpret_cast<HANDLE>(record);
}

// The record behind a live handle of that kind, or null; the table's mutex must be held.
HandleRecord* FindLive(HandleTable& table, HANDLE handle, HandleKind kind) {
    auto* record = reinterpret_cast<HandleRecord*>(handle);
    const auto found = table.live.find(record);
    if (found == table.live.end() || (*found)->kind != kind) {
        return nullptr;
    }
    return record;
}

bool WantsRead(DWORD access) {
    return (access & (GENERIC_READ | GENERIC_ALL | GENERIC_EXECUTE | FILE_READ_DATA)) != 0;
}
bool WantsWrite(DWORD access) {
    return (access & (GENERIC_WRITE | GENERIC_ALL | FILE_WRITE_DATA | FILE_APPEND_DATA)) != 0;
}
bool WantsDelete(DWORD access) {
    return (access & (DELETE | GENERIC_ALL)) != 0;
}
bool WritesAttributes(DWORD access) {
    return (access & (FILE_WRITE_ATTRIBUTES | GENERIC_WRITE | GENERIC_ALL)) != 0;
}

// Windows refuses an open when its rights are not shared by a handle already open on the entry,
// or when it does not share the rights such a handle holds. Only data and delete rights count,
// and an open that asks for none of them is never checked.
bool ShareConflict(const HandleTable& table, dev_t device, ino_t inode, bool reads, bool writes,
                   bool deletes, DWORD share) {
    if (!reads && !writes && !deletes) {
        return false;
    }
    for (const HandleRecord* other : table.live) {
        if (other->kind != HandleKind::kFile || other->device != device || other->inode != inode) {
            continue;
        }
        if ((reads && (other->share & FILE_SHARE_READ) == 0) ||
            (writes && (other->share & FILE_SHARE_WRITE) == 0) ||
            (deletes && (other->share & FILE_SHARE_DELETE) == 0) ||
            (other->readsData && (share & FILE_SHARE_READ) == 0) ||
            (other->writesData && (share & FILE_SHARE_WRITE) == 0) ||
            (other->deletes && (share & FILE_SHARE_DELETE) == 0)) {
            return true;
        }
    }
    return false;
}

// Deleting or removing an entry asks for delete rights shared with every open handle.
bool DeleteWouldConflict(const EntryInfo& info) {
    HandleTable& table = Handles();
    std::lock_guard<std::mutex> lock(table.mutex);
    return ShareConflict(table, info.status.st_dev, info.status.st_ino, false, false, true,
                         FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);
}

// Other processes: every data handle of the layer holds a shared flock, a handle that shares
// nothing an exclusive one, so layer handles of different processes see each other. Other
// programs' descriptors are found through the write lease, which the kernel grants only while no
// other descriptor of the file is open; it is given back at once.
bool OtherProcessConflict(int fd, DWORD share) {
    const int lockMode = share == 0 ? LOCK_EX : LOCK_SH;
    if (::flock(fd, lockMode | LOCK_NB) != 0) {
        return errno == EWOULDBLOCK;
    }
#if defined(F_SETLEASE)
    if (share == 0) {
        if (::fcntl(fd, F_SETLEASE, F_WRLCK) == 0) {
            ::fcntl(fd, F_SETLEASE, F_UNLCK);
        } else if (errno == EAGAIN || errno == EBUSY) {
            return true;
        }
        // Any other answer (no right to a lease, a file system without them) leaves it unknown.
    }
#endif
    return false;
}

// Whether a pipe, socket or device may be "opened" for the data rights asked: never for real,
// since a pipe's open waits for its other end and a device's may act, but as Wine opens them, a
// pipe or device when the caller's rights allow it, and a socket never (ERROR_NO_SUCH_DEVICE, 433).
// Sets the last error when not.
bool MayOpenSpecial(const std::string& hostPath, const struct stat& info, bool reads, bool writes) {
    if (S_ISSOCK(info.st_mode)) {
        return Fail(ERROR_NO_SUCH_DEVICE);
    }
    const int wanted = (reads ? R_OK : 0) | (writes ? W_OK : 0);
    if (wanted != 0 && ::faccessat(AT_FDCWD, hostPath.c_str(), wanted, AT_EACCESS) != 0) {
        return Fail(errno == ENOENT ? ERROR_FILE_NOT_FOUND : ERROR_ACCESS_DENIED);
    }
    return true;
}

struct timespec NowAsTimespec() {
    struct timespec now {};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return now;
}

// The procfs name of an open descriptor, through which a descriptor without data access can
// still have its times set.
std::string DescriptorPath(int fd) {
    return "/proc/self/fd/" + std::to_string(fd);
}

bool SetTimes(const HandleRecord& record, const struct timespec times[2]) {
    if (!record.pathOnly) {
        return ::futimens(record.fd, times) == 0;
    }
    if (::utimensat(AT_FDCWD, DescriptorPath(record.fd).c_str(), times, 0) == 0) {
        return true;
    }
    return errno == ENOENT && ::utimensat(AT_FDCWD, record.host.c_str(), times, 0) == 0;
}

bool ReadTimes(const HandleRecord& record, EntryInfo& info) {
    const std::string path = record.pathOnly ? DescriptorPath(record.fd) : record.host;
    if (record.pathOnly || ::fstat(record.fd, &info.status) != 0) {
        if (::stat(path.c_str(), &info.status) != 0) {
            return false;
        }
    }
    info.access = ToFileTime(info.status.st_atim.tv_sec, info.status.st_atim.tv_nsec);
    info.write = ToFileTime(info.status.st_mtim.tv_sec, info.status.st_mtim.tv_nsec);
    info.creation = 0;
#if defined(STATX_BTIME)
    struct statx extended {};
    const bool haveExtended =
        record.pathOnly ? ::statx(AT_FDCWD, path.c_str(), 0, STATX_BTIME, &extended) == 0
                        : ::statx(record.fd, "", AT_EMPTY_PATH, STATX_BTIME, &extended) == 0;
    if (haveExtended && (extended.stx_mask & STATX_BTIME) != 0) {
        info.creation = ToFileTime(extended.stx_btime.tv_sec, extended.stx_btime.tv_nsec);
    }
#endif
    return true;
}

// A FILETIME that asks for no change: null, 0 and all ones, as Windows reads them.
bool LeavesAlone(const FILETIME* time) {
    if (time == nullptr) {
        return true;
    }
    const std::uint64_t value = FileTimeToUInt64(*time);
    return value == 0 || value == ~std::uint64_t{0};
}

std::int64_t Distance(std::uint64_t left, std::uint64_t right) {
    return left > right ? static_cast<std::int64_t>(left - right)
                        : static_cast<std::int64_t>(right - left);
}

// ---- Searches ----

char32_t FoldCase(char32_t unit) {
    if (unit < 0x80) {
        return (unit >= 'A' && unit <= 'Z') ? unit + 32 : unit;
    }
    static const locale_t kUnicode = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    if (kUnicode == nullptr || (unit >= 0xD800 && unit <= 0xDFFF)) {
        return unit;
    }
    return static_cast<char32_t>(::towlower_l(static_cast<wint_t>(unit), kUnicode));
}

// Win32 wildcards: * any run of units, ? exactly one, letter case ignored; *.* is everything.
bool MatchesPattern(const Text& pattern, const Text& name) {
    if (pattern == u"*" || pattern == u"*.*") {
        return true;
    }
    std::size_t p = 0;
    std::size_t n = 0;
    std::size_t starP = Text::npos;
    std::size_t starN = 0;
    while (n < name.size()) {
        if (p < pattern.size() && pattern[p] == u'*') {
            starP = p++;
            starN = n;
        } else if (p < pattern.size() &&
                   (pattern[p] == u'?' || FoldCase(pattern[p]) == FoldCase(name[n]))) {
            ++p;
            ++n;
        } else if (starP != Text::npos) {
            p = starP + 1;
            n = ++starN;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == u'*') {
        ++p;
    }
    return p == pattern.size();
}

// Fills the record of the search's next entry that matches and still exists; false at the end.
bool FillNextFound(HandleRecord& search, WIN32_FIND_DATAW& data) {
    while (search.next < search.names.size()) {
        const std::string& name = search.names[search.next++];
        const Text wide = FromHostBytes(name);
        if (!MatchesPattern(search.pattern, wide) || wide.size() >= MAX_PATH) {
            continue;
        }
        std::string hostPath = search.directory;
        if (name != ".") {
            hostPath += (hostPath == "/" ? "" : "/") + name;
        }
        EntryInfo info;
        if (!ReadEntry(hostPath, info)) {
            continue; // gone since the listing was read
        }
        data = WIN32_FIND_DATAW{};
        data.dwFileAttributes =
            AttributesOf(hostPath, (name == "." || name == "..") ? std::string() : name, info);
        data.ftCreationTime = UInt64ToFileTime(info.creation);
        data.ftLastAccessTime = UInt64ToFileTime(info.access);
        data.ftLastWriteTime = UInt64ToFileTime(info.write);
        const std::uint64_t size = SizeOf(info);
        data.nFileSizeHigh = static_cast<DWORD>(size >> 32);
        data.nFileSizeLow = static_cast<DWORD>(size & 0xFFFFFFFFu);
        data.dwReserved0 = info.isLink ? IO_REPARSE_TAG_SYMLINK : 0;
        for (std::size_t i = 0; i < wide.size(); ++i) {
            data.cFileName[i] = wide[i];
        }
        return true;
    }
    return false;
}

// ---- Copying ----

// Bytes the kernel is asked to copy in one call, and the buffer of the read/write loop that
// stands in where it can't.
constexpr std::size_t kKernelCopyBytes = std::size_t{1} << 30;
constexpr std::size_t kCopyBufferBytes = std::size_t{1} << 18;
// Names of staged files, hidden like every dot name: this prefix and 12 hexadecimal digits.
constexpr char kStagedPrefix[] = ".zelk-copy-";
constexpr int kStagedNameTries = 100;

bool WriteAll(int fd, const char* data, std::size_t size) {
    while (size > 0) {
        if (HostCallFails(HostCall::kWrite)) {
            return false;
        }
        const ssize_t written = ::write(fd, data, size);
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        data += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

// Copies the rest of in to out with read and write. Sets errno on failure.
bool CopyByReading(int in, int out) {
    std::vector<char> buffer(kCopyBufferBytes);
    for (;;) {
        if (HostCallFails(HostCall::kRead)) {
            return false;
        }
        const ssize_t count = ::read(in, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return count == 0;
        }
        if (!WriteAll(out, buffer.data(), static_cast<std::size_t>(count))) {
            return false;
        }
    }
}

// Copies every byte of in to out, from where both stand: in the kernel where it can copy
// between the two, by reading and writing otherwise. Sets errno on failure.
bool CopyBytes(int in, int out) {
    std::uint64_t copied = 0;
    for (;;) {
        const ssize_t count =
            HostCallFails(HostCall::kWrite)
                ? -1
                : ::copy_file_range(in, nullptr, out, nullptr, kKernelCopyBytes, 0);
        if (count > 0) {
            copied += static_cast<std::uint64_t>(count);
            continue;
        }
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count == 0 && copied > 0) {
            return true;
        }
        // The kernel can't copy between these two, or found nothing to copy: a file that tells
        // no size (as those of /proc) may still have content. Reading finds out.
        if (count == 0 || (copied == 0 && (errno == EXDEV || errno == EINVAL || errno == ENOSYS ||
                                           errno == EOPNOTSUPP || errno == EBADF))) {
            return CopyByReading(in, out);
        }
        return false;
    }
}

// A fresh name for a staged file: this process, a count and the clock, tried until one is free.
std::string StagedName(int attempt) {
    static std::atomic<unsigned> counter{0};
    struct timespec now {};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    const std::uint64_t mixed = (static_cast<std::uint64_t>(::getpid()) << 40) ^
                                (static_cast<std::uint64_t>(counter.fetch_add(1)) << 20) ^
                                static_cast<std::uint64_t>(now.tv_nsec) ^
                                static_cast<std::uint64_t>(attempt);
    char name[sizeof(kStagedPrefix) + 16];
    std::snprintf(name, sizeof(name), "%s%012llx", kStagedPrefix,
                  static_cast<unsigned long long>(mixed & 0xFFFFFFFFFFFFull));
    return name;
}

// A copy made beside its target: filled while it has no name (or a hidden one where the file
// system can't make a file without a name), and removed again unless it takes the target's name.
// So a copy that fails at any step leaves the target as it was and nothing beside it.
class StagedCopy {
public:
    StagedCopy() = default;
    StagedCopy(const StagedCopy&) = delete;
    StagedCopy& operator=(const StagedCopy&) = delete;
    ~StagedCopy() {
        LastErrorSaver keep;
        if (fFd >= 0) {
            ::close(fFd);
        }
        if (!fName.empty()) {
            ::unlinkat(fDirectory, fName.c_str(), 0);
        }
        if (fDirectory >= 0) {
            ::close(fDirectory);
        }
    }

    // Fills a new file in directory with the bytes of the open source, then gives it the
    // source's permissions and times, and with writeThrough puts it on the disk. Sets the last
    // error on failure.
    bool Fill(const std::string& directory, int source, const struct stat& sourceInfo,
              bool writeThrough) {
        fDirectory = ::open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        if (fDirectory < 0) {
            return Fail(errno == ENOENT || errno == ENOTDIR ? ERROR_PATH_NOT_FOUND
                                                            : ErrorFromErrno(errno));
        }
        if (!Create()) {
            return false;
        }
        if (!CopyBytes(source, fFd)) {
            return FailWithErrno();
        }
        // The copy takes the source's read-only state and its times, as on Windows.
        const struct timespec times[2] = {sourceInfo.st_atim, sourceInfo.st_mtim};
        if (HostCallFails(HostCall::kSetTimes) || ::futimens(fFd, times) != 0 ||
            HostCallFails(HostCall::kChangeMode) ||
            ::fchmod(fFd, sourceInfo.st_mode & 07777) != 0) {
            return FailWithErrno();
        }
        if (writeThrough && (HostCallFails(HostCall::kSync) || ::fsync(fFd) != 0)) {
            return FailWithErrno();
        }
        return true;
    }

    // Gives the filled copy the name target in the directory, replacing what stands there only
    // when mayReplace says so. Sets the last error on failure.
    bool Place(const std::string& target, bool mayReplace) {
        if (fName.empty() && !Link()) {
            return false;
        }
        if (HostCallFails(HostCall::kRename) || !RenameAt(fDirectory, fName, target, mayReplace)) {
            const int error = errno;
            return Fail(error == EEXIST ? ERROR_ALREADY_EXISTS : ErrorFromErrno(error));
        }
        fName.clear();
        return true;
    }

private:
    static bool RenameAt(int directory, const std::string& from, const std::string& to,
                         bool mayReplace) {
#if defined(RENAME_NOREPLACE)
        if (!mayReplace) {
            return ::renameat2(directory, from.c_str(), directory, to.c_str(), RENAME_NOREPLACE) ==
                   0;
        }
#else
        (void)mayReplace;
#endif
        return ::renameat(directory, from.c_str(), directory, to.c_str()) == 0;
    }

    // A file without a name where the file system makes one, else one with a hidden fresh name.
    bool Create() {
        fFd = HostCallFails(HostCall::kCreate)
                  ? -1
                  : ::openat(fDirectory, ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
        if (fFd >= 0) {
            return true;
        }
        if (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL && errno != ENOENT) {
            return FailWithErrno();
        }
        for (int attempt = 0; attempt < kStagedNameTries; ++attempt) {
            const std::string name = StagedName(attempt);
            fFd = HostCallFails(HostCall::kCreate)
                      ? -1
                      : ::openat(fDirectory, name.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC,
                                 0600);
            if (fFd >= 0) {
                fName = name;
                return true;
            }
            if (errno != EEXIST) {
                return FailWithErrno();
            }
        }
        return Fail(ERROR_FILE_EXISTS);
    }

    // Names the nameless file: through its descriptor, or through /proc where linking a
    // descriptor takes a privilege the caller lacks.
    bool Link() {
        const std::string viaProc = "/proc/self/fd/" + std::to_string(fFd);
        for (int attempt = 0; attempt < kStagedNameTries; ++attempt) {
            const std::string name = StagedName(attempt);
            if (HostCallFails(HostCall::kLink)) {
                return FailWithErrno();
            }
            if (::linkat(fFd, "", fDirectory, name.c_str(), AT_EMPTY_PATH) == 0 ||
                ((errno == ENOENT || errno == EPERM) &&
                 ::linkat(AT_FDCWD, viaProc.c_str(), fDirectory, name.c_str(), AT_SYMLINK_FOLLOW) ==
                     0)) {
                fName = name;
                return true;
            }
            if (errno != EEXIST) {
                return FailWithErrno();
            }
        }
        return Fail(ERROR_FILE_EXISTS);
    }

    int fDirectory = -1;
    int fFd = -1;
    std::string fName; // the hidden name the copy bears, empty while it has none
};

// The open source of a copy: a regular file, opened so that nothing that stands in its place
// meanwhile (a pipe, a device) can make the open wait. Sets the last error on failure.
int OpenCopySource(const std::string& path, struct stat& info) {
    if (HostCallFails(HostCall::kOpen)) {
        FailWithErrno();
        return -1;
    }
    const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        Fail(errno == ENOENT ? MissingEntryError(path) : ErrorFromErrno(errno));
        return -1;
    }
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        ::close(fd);
        Fail(ERROR_ACCESS_DENIED);
        return -1;
    }
    return fd;
}

// Where the file at path really is: links followed as opening it would follow them, a dangling
// one to where its file would be made.
std::string FollowLinks(std::string path) {
    for (int hops = 0; hops < 40; ++hops) {
        struct stat info {};
        if (::lstat(path.c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) {
            return path;
        }
        std::string target(PATH_MAX, '\0');
        const ssize_t length = ::readlink(path.c_str(), &target[0], target.size());
        if (length <= 0 || static_cast<std::size_t>(length) >= target.size()) {
            return path;
        }
        target.resize(static_cast<std::size_t>(length));
        path = target[0] == '/' ? target : path.substr(0, path.rfind('/') + 1) + target;
    }
    return path;
}

std::string DirectoryOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == 0 ? std::string("/") : path.substr(0, slash);
}

std::string NameOf(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

// Whether an entry may be replaced: not a directory, not read-only, and open by nobody who
// withholds the delete share. Sets the last error when not.
bool MayReplace(const EntryInfo& target) {
    if ((S_ISDIR(target.status.st_mode) && !target.isLink) || target.leadsToDirectory ||
        IsReadOnly(target)) {
        return Fail(ERROR_ACCESS_DENIED);
    }
    if (DeleteWouldConflict(target)) {
        return Fail(ERROR_SHARING_VIOLATION);
    }
    return true;
}

bool SameEntry(const struct stat& left, const struct stat& right) {
    return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

// Renames from to to; an entry at to is replaced only when mayReplace says so.
bool RenameEntry(const std::string& from, const std::string& to, bool mayReplace) {
    if (HostCallFails(HostCall::kRename)) {
        return false;
    }
#if defined(RENAME_NOREPLACE)
    if (!mayReplace) {
        return ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0;
    }
#else
    (void)mayReplace;
#endif
    return ::rename(from.c_str(), to.c_str()) == 0;
}

// A fresh hidden name beside path, for setting an entry aside; empty when none is free.
std::string FreeSiblingName(const std::string& path) {
    const std::string directory = path.substr(0, path.rfind('/') + 1);
    for (int attempt = 0; attempt < kStagedNameTries; ++attempt) {
        const std::string candidate = directory + StagedName(attempt);
        struct stat info {};
        if (::lstat(candidate.c_str(), &info) != 0 && errno == ENOENT) {
            return candidate;
        }
    }
    return std::string();
}

// Moves a regular file to another file system as Windows does with MOVEFILE_COPY_ALLOWED, so that
// a failure at any step loses nothing: the content goes to a new file beside the target, an
// existing target is set aside, the new file takes the target's name, and only then is the source
// removed. On failure the source is whole, the target is what it was and no partial copy stays.
// With writeThrough the copy reaches the disk before the source goes. Sets the last error on
// failure.
bool MoveAcrossFileSystems(const std::string& source, const std::string& target, bool targetExists,
                           bool mayReplace, bool writeThrough) {
    struct stat sourceInfo {};
    const int in = OpenCopySource(source, sourceInfo);
    if (in < 0) {
        return false;
    }
    StagedCopy copy;
    const bool filled = copy.Fill(DirectoryOf(target), in, sourceInfo, writeThrough);
    ::close(in);
    if (!filled) {
        return false;
    }
    std::string aside;
    if (targetExists) {
        aside = FreeSiblingName(target);
        if (aside.empty()) {
            return Fail(ERROR_FILE_EXISTS);
        }
        if (!RenameEntry(target, aside, false)) {
            return FailWithErrno();
        }
    }
    const auto undo = [&](DWORD error) {
        if (!aside.empty()) {
            ::rename(aside.c_str(), target.c_str());
        }
        return Fail(error);
    };
    if (!copy.Place(NameOf(target), mayReplace)) {
        return undo(GetLastError());
    }
    if (HostCallFails(HostCall::kUnlink) || ::unlink(source.c_str()) != 0) {
        const int error = errno;
        ::unlink(target.c_str());
        return undo(ErrorFromErrno(error));
    }
    if (!aside.empty()) {
        ::unlink(aside.c_str());
    }
    return true;
}

bool IsSeparatorUnit(unsigned short unit) {
    return unit == '\\' || unit == '/';
}

} // namespace

bool AnyFileHandleOpen() {
    HandleTable& table = Handles();
    std::lock_guard<std::mutex> lock(table.mutex);
    for (const HandleRecord* record : table.live) {
        if (record->kind == HandleKind::kFile) {
            return true;
        }
    }
    return false;
}

bool HandlesWithholdDelete(dev_t device, ino_t inode) {
    HandleTable& table = Handles();
    std::lock_guard<std::mutex> lock(table.mutex);
    return ShareConflict(table, device, inode, false, false, true,
                         FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);
}

} // namespace host

DWORD GetFileAttributesW(const unsigned short* path) {
    host::HostPath resolved;
    host::EntryInfo info;
    if (!host::ResolveAndRead(path, resolved, info)) {
        return INVALID_FILE_ATTRIBUTES;
    }
    host::SetError(ERROR_SUCCESS);
    return host::AttributesOf(resolved.host, host::LastName(resolved), info);
}

BOOL GetFileAttributesExW(const unsigned short* path, int infoLevel,
                          WIN32_FILE_ATTRIBUTE_DATA* data) {
    if (infoLevel != GetFileExInfoStandard || data == nullptr) {
        return host::Fail(ERROR_INVALID_PARAMETER);
    }
    host::HostPath resolved;
    host::EntryInfo info;
    if (!host::ResolveAndRead(path, resolved, info)) {
        return 0;
    }
    data->dwFileAttributes = host::AttributesOf(resolved.host, host::LastName(resolved), info);
    data->ftCreationTime = UInt64ToFileTime(info.creation);
    data->ftLastAccessTime = UInt64ToFileTime(info.access);
    data->ftLastWriteTime = UInt64ToFileTime(info.write);
    const std::uint64_t size = host::SizeOf(info);
    data->nFileSizeHigh = static_cast<DWORD>(size >> 32);
    data->nFileSizeLow = static_cast<DWORD>(size & 0xFFFFFFFFu);
    host::SetError(ERROR_SUCCESS);
    return 1;
}

BOOL SetFileAttributesW(const unsigned short* path, DWORD attributes) {
    host::HostPath resolved;
    host::EntryInfo info;
    if (!host::ResolveAndRead(path, resolved, info)) {
        return 0;
    }
    const char* hostPath = resolved.host.c_str();
    // Read-only is the owner's write permission: setting it takes every write bit away,
    // clearing it gives the owner's back. A link has no permissions of its own.
    const bool wantReadOnly = (attributes & FILE_ATTRIBUTE_READONLY) != 0;
    if (!info.isLink && wantReadOnly != host::IsReadOnly(info)) {
        const mode_t mode = info.status.st_mode & 07777;
        const mode_t changed = wantReadOnly ? (mode & ~mode_t{0222}) : (mode | S_IWUSR);
        if (::chmod(hostPath, changed) != 0) {
            return host::FailWithErrno();
        }
    }
    // Hidden is a leading dot or the DOS attributes kept beside the entry. A dot name stays
    // hidden whatever is asked.
    const bool wantHidden = (attributes & FILE_ATTRIBUTE_HIDDEN) != 0;
    const bool dotName = host::IsDotName(host::LastName(resolved));
    const DWORD stored = host::ReadDosAttributes(hostPath);
    const bool storedHidden = (stored & FILE_ATTRIBUTE_HIDDEN) != 0;
    if (wantHidden && !dotName && !storedHidden) {
        if (!host::WriteDosAttributes(hostPath, stored | FILE_ATTRIBUTE_HIDDEN)) {
            return 0;
        }
    } else if (!wantHidden && storedHidden) {
        if (!host::WriteDosAttributes(hostPath, stored & ~FILE_ATTRIBUTE_HIDDEN)) {
            return 0;
        }
    }
    if (!wantHidden && dotName) {
        return host::Fail(ERROR_ACCESS_DENIED);
    }
    host::SetError(ERROR_SUCCESS);
    return 1;
}

HANDLE CreateFileW(const unsigned short* path, DWORD desiredAccess, DWORD shareMode,
                   void* /*securityAttributes*/, DWORD creationDisposition,
                   DWORD flagsAndAttributes, HANDLE /*templateFile*/) {
    if (creationDisposition < CREATE_NEW || creationDisposition > TRUNCATE_EXISTING) {
        host::SetError(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }
    host::HostPath resolved;
    const DWORD resolveError = host::ResolvePath(path, resolved);
    if (resolveError != ERROR_SUCCESS) {
        host::SetError(resolveError);
        return INVALID_HANDLE_VALUE;
    }
    const bool reads = host::WantsRead(desiredAccess);
    const bool writes = host::WantsWrite(desiredAccess);
    struct stat existing {};
    const bool exists = ::stat(resolved.host.c_str(), &existing) == 0;
    const int statError = exists ? 0 : errno;
    const bool isDirectory = exists && S_ISDIR(existing.st_mode);
    const bool truncates = exists && (creationDisposition == CREATE_ALWAYS ||
                                      creationDisposition == TRUNCATE_EXISTING);
    if (exists && creationDisposition == CREATE_NEW) {
        host::SetError(ERROR_FILE_EXISTS);
        return INVALID_HANDLE_VALUE;
    }
    if (!exists &&
        (creationDisposition == OPEN_EXISTING || creationDisposition == TRUNCATE_EXISTING)) {
        host::SetError(statError == ENOENT ? host::MissingEntryError(resolved.host)
                                           : host::ErrorFromErrno(statError));
        return INVALID_HANDLE_VALUE;
    }
    // A directory opens only for backup semantics, and is never created or truncated here.
    if (isDirectory && ((flagsAndAttributes & FILE_FLAG_BACKUP_SEMANTICS) == 0 || truncates)) {
        host::SetError(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
    }
    // Windows keeps even the owner from writing a read-only file; root included.
    if (exists && !isDirectory && (existing.st_mode & S_IWUSR) == 0 && (writes || truncates)) {
        host::SetError(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
    }
    // Windows has no pipes, sockets or devices among its files, and opening one here could wait
    // for a partner or set a device going: such an entry is never opened for its data.
    const bool special = exists && !isDirectory && !S_ISREG(existing.st_mode);
    if (special && !host::MayOpenSpecial(resolved.host, existing, reads, writes)) {
        return INVALID_HANDLE_VALUE;
    }

    auto* record = new host::HandleRecord();
    record->access = desiredAccess;
    record->share = shareMode;
    record->readsData = reads;
    record->writesData = writes;
    record->deletes = host::WantsDelete(desiredAccess);
    record->host = resolved.host;

    host::HandleTable& table = host::Handles();
    std::lock_guard<std::mutex> lock(table.mutex);
    if (exists && host::ShareConflict(table, existing.st_dev, existing.st_ino, reads, writes,
                                      record->deletes, shareMode)) {
        delete record;
        host::SetError(ERROR_SHARING_VIOLATION);
        return INVALID_HANDLE_VALUE;
    }
    int flags = O_CLOEXEC;
    if (isDirectory) {
        // A directory's data can't be written on this host; the rights still count for sharing.
        flags |= O_DIRECTORY | ((reads || writes) ? O_RDONLY : O_PATH);
        record->pathOnly = !reads && !writes;
    } else if ((!reads && !writes && !truncates && exists) || special) {
        flags |= O_PATH;
        record->pathOnly = true;
    } else {
        flags |= (writes || truncates) ? (reads ? O_RDWR : O_WRONLY) : O_RDONLY;
    }
    if (truncates && !isDirectory) {
        flags |= O_TRUNC;
    }
    switch (creationDisposition) {
    case CREATE_NEW:
        flags |= O_CREAT | O_EXCL;
        break;
    case CREATE_ALWAYS:
    case OPEN_ALWAYS:
        flags |= O_CREAT;
        break;
    default:
        break;
    }
    const mode_t mode = (flagsAndAttributes & FILE_ATTRIBUTE_READONLY) != 0 ? 0444 : 0666;
    record->fd = host::HostCallFails((flags & O_CREAT) != 0 ? host::HostCall::kCreate
                                                            : host::HostCall::kOpen)
                     ? -1
                     : ::open(resolved.host.c_str(), flags, mode);
    if (record->fd < 0) {
        const int error = errno;
        delete record;
        if (error == EEXIST) {
            host::SetError(ERROR_FILE_EXISTS);
        } else if (error == ENOENT) {
            host::SetError(host::MissingEntryError(resolved.host));
        } else {
            host::SetError(host::ErrorFromErrno(error));
        }
        return INVALID_HANDLE_VALUE;
    }
    struct stat opened {};
    if (::fstat(record->fd, &opened) == 0) {
        record->device = opened.st_dev;
        record->inode = opened.st_ino;
    }
    if (!record->pathOnly && S_ISREG(opened.st_mode) && (reads || writes) &&
        host::OtherProcessConflict(record->fd, shareMode)) {
        ::close(record->fd);
        delete record;
        host::SetError(ERROR_SHARING_VIOLATION);
        return INVALID_HANDLE_VALUE;
    }
    // A new file asked to be hidden is marked so where its name doesn't say it already.
    if (!exists && (flagsAndAttributes & FILE_ATTRIBUTE_HIDDEN) != 0 &&
        !host::IsDotName(host::LastName(resolved))) {
        host::WriteDosAttributes(resolved.host.c_str(), FILE_ATTRIBUTE_HIDDEN);
    }
    table.live.insert(record);
    // Opening over an entry that was there says so, as Windows does.
    host::SetError(
        exists && (creationDisposition == CREATE_ALWAYS || creationDisposition == OPEN_ALWAYS)
            ? ERROR_ALREADY_EXISTS
            : ERROR_SUCCESS);
    return host::ToHandle(record);
}

BOOL CloseHandle(HANDLE handle) {
    host::HandleTable& table = host::Handles();
    host::HandleRecord* record = nullptr;
    {
        std::lock_guard<std::mutex> lock(table.mutex);
        record = host::FindLive(table, handle, host::HandleKind::kFile);
        if (record == nullptr) {
            return host::Fail(ERROR_INVALID_HANDLE);
        }
        table.live.erase(record);
    }
    ::close(record->fd);
    delete record;
    return 1;
}

BOOL CreateDirectoryW(const unsigned short* path, void* /*securityAttributes*/) {
    host::HostPath resolved;
    const DWORD error = host::ResolvePath(path, resolved);
    if (error != ERROR_SUCCESS) {
        return host::Fail(error);
    }
    if (host::HostCallFails(host::HostCall::kMakeDirectory) ||
        ::mkdir(resolved.host.c_str(), 0777) != 0) {
        const int failure = errno;
        return host::Fail(failure == ENOENT ? ERROR_PATH_NOT_FOUND : host::ErrorFromErrno(failure));
    }
    host::SetError(ERROR_SUCCESS);
    return 1;
}

BOOL DeleteFileW(const unsigned short* path) {
    host::HostPath resolved;
    host::EntryInfo info;
    if (!host::ResolveAndRead(path, resolved, info)) {
        return 0;
    }
    // A directory, or a link that leads to one, is removed with RemoveDirectoryW; a read-only
    // file is refused even where the host would let its owner or root unlink it.
    if (S_ISDIR(info.status.st_mode) || info.leadsToDirectory || host::IsReadOnly(info)) {
        return host::Fail(ERROR_ACCESS_DENIED);
    }
    if (!info.isLink && host::DeleteWouldConflict(info)) {
        return host::Fail(ERROR_SHARING_VIOLATION);
    }
    if (host::HostCallFails(host::HostCall::kUnlink) || ::unlink(resolved.host.c_str()) != 0) {
        return host::FailWithErrno();
    }
    host::SetError(ERROR_SUCCESS);
    return 1;
}

BOOL RemoveDirectoryW(const unsigned short* path) {
    host::HostPath resolved;
    host::EntryInfo info;
    if (!host::ResolveAndRead(path, resolved, info)) {
        return 0;
    }
    if (info.isLink) {
        // The link goes, never what it leads to.
        if (!info.leadsToDirectory) {
            return host::Fail(ERROR_DIRECTORY);
        }
        if (host::HostCallFails(host::HostCall::kUnlink) || ::unlink(resolved.host.c_str()) != 0) {
            return host::FailWithErrno();
        }
        host::SetError(ERROR_SUCCESS);
        return 1;
    }
    if (!S_ISDIR(info.status.st_mode)) {
        return host::Fail(ERROR_DIRECTORY);
    }
    if (host::IsReadOnly(info)) {
        return host::Fail(ERROR_ACCESS_DENIED);
    }
    // The process's current directory is held open on Windows and can't be removed.
    struct stat current {};
    if (::stat(".", &current) == 0 && current.st_dev == info.status.st_dev &&
        current.st_ino == info.status.st_ino) {
        return host::Fail(ERROR_SHARING_VIOLATION);
    }
    if (host::DeleteWouldConflict(info)) {
        return host::Fail(ERROR_SHARING_VIOLATION);
    }
    if (host::HostCallFails(host::HostCall::kRemoveDirectory) ||
        ::rmdir(resolved.host.c_str()) != 0) {
        const int failure = errno;
        return host::Fail(failure == ENOTEMPTY || failure == EEXIST
                              ? ERROR_DIR_NOT_EMPTY
                              : host::ErrorFromErrno(failure));
    }
    host::SetError(ERROR_SUCCESS);
    return 1;
}

BOOL SetFileTime(HANDLE file, const FILETIME* creationTime, const FILETIME* lastAccessTime,
                 const FILETIME* lastWriteTime) {
    host::HandleTable& table = host::Handles();
    std::lock_guard<std::mutex> lock(table.mutex);
    const host::HandleRecord* record = host::FindLive(table, file, host::HandleKind::kFile);
    if (record == nullptr) {
        return host::Fail(ERROR_INVALID_HANDLE);
    }
    if (!host::WritesAttributes(record->access)) {
        return host::Fail(ERROR_ACCESS_DENIED);
    }
    host::EntryInfo before;
    if (!host::ReadTimes(*record, before)) {
        return host::FailWithErrno();
    }
    // The host can't set a birth time: asking for the one there is accepted, any other refused.
    if (!host::LeavesAlone(creationTime) && FileTimeToUInt64(*creationTime) != before.creation) {
        return host::Fail(ERROR_NOT_SUPPORTED);
    }
    struct timespec times[2];
    times[0].tv_nsec = UTIME_OMIT;
    times[1].tv_nsec = UTIME_OMIT;
    if (!host::LeavesAlone(lastAccessTime)) {
        times[0] = host::ToTimespec(FileTimeToUInt64(*lastAccessTime));
    }
    if (!host::LeavesAlone(lastWriteTime)) {
        times[1] = host::ToTimespec(FileTimeToUInt64(*lastWriteTime));
    }
    if (times[0].tv_nsec == UTIME_OMIT && times[1].tv_nsec == UTIME_OMIT) {
        host::SetError(ERROR_SUCCESS);
        return 1;
    }
    if (!host::SetTimes(*record, times)) {
        return host::FailWithErrno();
    }
    // A file system stores times in a range of its own and may clamp silently: a time that
    // doesn't read back is undone and refused.
    host::EntryInfo after;
    const bool stored = host::ReadTimes(*record, after) &&
                        (host::LeavesAlone(lastAccessTime) ||
                         host::Distance(after.access, FileTimeToUInt64(*lastAccessTime)) <
                             host::kStoredTimeTolerance) &&
                        (host::LeavesAlone(lastWriteTime) ||
                         host::Distance(after.write, FileTimeToUInt64(*lastWriteTime)) <
                             host::kStoredTimeTolerance);
    if (!stored) {
        struct timespec restore[2] = {before.status.st_atim, before.status.st_mtim};
        host::SetTimes(*record, restore);
        return host::Fail(ERROR_INVALID_PARAMETER);
    }
    host::SetError(ERROR_SUCCESS);
    return 1;
}

void GetSystemTimeAsFileTime(FILETIME* time) {
    if (time == nullptr) {
        return;
    }
    const struct timespec now = host::NowAsTimespec();
    *time = UInt64ToFileTime(host::ToFileTime(now.tv_sec, now.tv_nsec));
}

HANDLE FindFirstFileW(const unsigned short* pattern, WIN32_FIND_DATAW* data) {
    if (pattern == nullptr || data == nullptr) {
        host::SetError(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }
    // The directory is the text up to the last separator (kept, so C:\* stays at the root), or
    // the drive of X:name, or the current directory.
    host::Text text = host::FromUnits(pattern);
    std::size_t split = host::Text::npos;
    for (std::size_t i = text.size(); i-- > 0;) {
        if (host::IsSeparatorUnit(text[i])) {
            split = i;
            break;
        }
    }
    std::size_t nameStart = 0;
    if (split != host::Text::npos) {
        nameStart = split + 1;
    } else if (text.size() >= 2 && text[1] == u':') {
        nameStart = 2;
    }
    const host::Text directoryText =
        nameStart > 0 ? text.substr(0, nameStart) : host::Text(1, u'.');
    const host::Text namePattern = text.substr(nameStart);
    if (namePattern.empty()) {
        host::SetError(ERROR_FILE_NOT_FOUND);
        return INVALID_HANDLE_VALUE;
    }
    std::vector<unsigned short> directoryUnits(directoryText.begin(), directoryText.end());
    directoryUnits.push_back(0);
    host::HostPath directory;
    const DWORD error = host::ResolvePath(directoryUnits.data(), directory);
    if (error != ERROR_SUCCESS) {
        host::SetError(error);
        return INVALID_HANDLE_VALUE;
    }
    struct stat info {};
    if (::stat(directory.host.c_str(), &info) != 0) {
        host::SetError(ERROR_PATH_NOT_FOUND);
        return INVALID_HANDLE_VALUE;
    }
    if (!S_ISDIR(info.st_mode)) {
        host::SetError(ERROR_INVALID_NAME);
        return INVALID_HANDLE_VALUE;
    }
    DIR* stream = ::opendir(directory.host.c_str());
    if (stream == nullptr) {
        host::FailWithErrno();
        return INVALID_HANDLE_VALUE;
    }
    auto* record = new host::HandleRecord();
    record->kind = host::HandleKind::kSearch;
    record->directory = directory.host;
    record->pattern = namePattern;
    // "." and ".." come first, as NTFS gives them; a drive's root has neither.
    if (!directory.components.empty()) {
        record->names.push_back(".");
        record->names.push_back("..");
    }
    while (const struct dirent* entry = ::readdir(stream)) {
        const std::string name(entry->d_name);
        if (name != "." && name != "..") {
            record->names.push_back(name);
        }
    }
    ::closedir(stream);
    if (!host::FillNextFound(*record, *data)) {
        delete record;
        host::SetError(ERROR_FILE_NOT_FOUND);
        return INVALID_HANDLE_VALUE;
    }
    host::HandleTable& table = host::Handles();
    std::lock_guard<std::mutex> lock(table.mutex);
    table.live.insert(record);
    host::SetError(ERROR_SUCCESS);
    return host::ToHandle(record);
}

BOOL FindNextFileW(HANDLE search, WIN32_FIND_DATAW* data) {
    host::HandleTable& table = host::Handles();
    std::lock_guard<std::mutex> lock(table.mutex);
    host::HandleRecord* record = host::FindLive(table, search, host::HandleKind::kSearch);
    if (record == nullptr || data == nullptr) {
        return host::Fail(record == nullptr ? ERROR_INVALID_HANDLE : ERROR_INVALID_PARAMETER);
    }
    if (!host::FillNextFound(*record, *data)) {
        return host::Fail(ERROR_NO_MORE_FILES);
    }
    host::SetError(ERROR_SUCCESS);
    return 1;
}

BOOL FindClose(HANDLE search) {
    host::HandleTable& table = host::Handles();
    host::HandleRecord* record = nullptr;
    {
        std::lock_guard<std::mutex> lock(table.mutex);
        record = host::FindLive(table, search, host::HandleKind::kSearch);
        if (record == nullptr) {
            return host::Fail(ERROR_INVALID_HANDLE);
        }
        table.live.erase(record);
    }
    delete record; // the last error stays as it stood
    return 1;
}

BOOL CopyFileW(const unsigned short* existingName, const unsigned short* newName,
               BOOL failIfExists) {
    host::HostPath source;
    host::HostPath target;
    DWORD error = host::ResolvePath(existingName, source);
    if (error == ERROR_SUCCESS) {
        error = host::ResolvePath(newName, target);
    }
    if (error != ERROR_SUCCESS) {
        return host::Fail(error);
    }
    // The source is read through any link; a directory can't be copied.
    struct stat sourceInfo {};
    if (::stat(source.host.c_str(), &sourceInfo) != 0) {
        return host::Fail(errno == ENOENT ? host::MissingEntryError(source.host)
                                          : host::ErrorFromErrno(errno));
    }
    if (!S_ISREG(sourceInfo.st_mode)) {
        return host::Fail(ERROR_ACCESS_DENIED);
    }
    {
        host::HandleTable& table = host::Handles();
        std::lock_guard<std::mutex> lock(table.mutex);
        if (host::ShareConflict(table, sourceInfo.st_dev, sourceInfo.st_ino, true, false, false,
                                FILE_SHARE_READ)) {
            return host::Fail(ERROR_SHARING_VIOLATION);
        }
    }
    // A link as the target is followed, as opening it for writing would follow it: the copy
    // replaces the file it leads to.
    const std::string destination = host::FollowLinks(target.host);
    host::EntryInfo targetInfo;
    const bool targetExists = ::lstat(destination.c_str(), &targetInfo.status) == 0;
    if (targetExists) {
        if (failIfExists != 0) {
            return host::Fail(ERROR_FILE_EXISTS);
        }
        targetInfo.isLink = S_ISLNK(targetInfo.status.st_mode);
        // Copying a file onto itself would lose it: Windows finds it in use.
        if (host::SameEntry(targetInfo.status, sourceInfo)) {
            return host::Fail(ERROR_SHARING_VIOLATION);
        }
        if (!host::MayReplace(targetInfo)) {
            return 0;
        }
    }
    // The copy is made beside the target and takes its name only when it is whole, so a copy
    // that fails leaves an existing target exactly as it was.
    struct stat opened {};
    const int in = host::OpenCopySource(source.host, opened);
    if (in < 0) {
        return 0;
    }
    host::StagedCopy copy;
    const bool copied = copy.Fill(host::DirectoryOf(destination), in, opened, false) &&
                        copy.Place(host::NameOf(destination), failIfExists == 0);
    {
        LastErrorSaver keep;
        ::close(in);
    }
    if (!copied) {
        return 0;
    }
    host::SetError(ERROR_SUCCESS);
    return 1;
}

BOOL MoveFileExW(const unsigned short* existingName, const unsigned short* newName, DWORD flags) {
    host::HostPath source;
    host::HostPath target;
    DWORD error = host::ResolvePath(existingName, source);
    if (error == ERROR_SUCCESS) {
        error = host::ResolvePath(newName, target);
    }
    if (error != ERROR_SUCCESS) {
        return host::Fail(error);
    }
    host::EntryInfo sourceInfo;
    if (!host::ReadEntry(source.host, sourceInfo)) {
        return 0;
    }
    // Moving takes delete rights on the source.
    if (!sourceInfo.isLink && host::DeleteWouldConflict(sourceInfo)) {
        return host::Fail(ERROR_SHARING_VIOLATION);
    }
    const bool sourceIsDirectory = S_ISDIR(sourceInfo.status.st_mode);
    const bool mayReplace = (flags & MOVEFILE_REPLACE_EXISTING) != 0;
    host::EntryInfo targetInfo;
    const bool targetExists = ::lstat(target.host.c_str(), &targetInfo.status) == 0;
    // Two hard links of one file are two entries to Windows: the target is replaced, which leaves
    // the file under the target's name alone. (rename would succeed and do nothing.) One entry
    // reached under two spellings has a single link and is renamed as usual.
    const bool sameEntry = targetExists && host::SameEntry(targetInfo.status, sourceInfo.status);
    const bool hardLinks =
        sameEntry && sourceInfo.status.st_nlink > 1 && source.host != target.host;
    if (targetExists && (!sameEntry || hardLinks)) {
        if (!mayReplace) {
            return host::Fail(ERROR_ALREADY_EXISTS);
        }
        if (!host::ReadEntry(target.host, targetInfo)) {
            return 0;
        }
        if (sourceIsDirectory) {
            return host::Fail(ERROR_ACCESS_DENIED);
        }
        if (!host::MayReplace(targetInfo)) {
            return 0;
        }
    }
    if (hardLinks) {
        if (host::HostCallFails(host::HostCall::kUnlink) || ::unlink(source.host.c_str()) != 0) {
            return host::FailWithErrno();
        }
        host::SetError(ERROR_SUCCESS);
        return 1;
    }
    if (host::RenameEntry(source.host, target.host, mayReplace || targetExists)) {
        host::SetError(ERROR_SUCCESS);
        return 1;
    }
    const int failure = errno;
    if (failure == EEXIST) {
        return host::Fail(ERROR_ALREADY_EXISTS);
    }
    if (failure == ENOENT) {
        return host::Fail(ERROR_PATH_NOT_FOUND);
    }
    if (failure != EXDEV) {
        return host::Fail(host::ErrorFromErrno(failure));
    }
    // Another file system: a file is copied and then removed when copying is allowed; a
    // directory never goes across.
    if ((flags & MOVEFILE_COPY_ALLOWED) == 0 || !S_ISREG(sourceInfo.status.st_mode)) {
        return host::Fail(ERROR_NOT_SAME_DEVICE);
    }
    if (!host::MoveAcrossFileSystems(source.host, target.host, targetExists, mayReplace,
                                     (flags & MOVEFILE_WRITE_THROUGH) != 0)) {
        return 0;
    }
    host::SetError(ERROR_SUCCESS);
    return 1;
}

BOOL MoveFileW(const unsigned short* existingName, const unsigned short* newName) {
    return MoveFileExW(existingName, newName, MOVEFILE_COPY_ALLOWED);
}

int _waccess(const unsigned short* path, int mode) {
    if (mode != 0 && mode != 2 && mode != 4 && mode != 6) {
        errno = EINVAL;
        return -1;
    }
    host::HostPath resolved;
    host::EntryInfo info;
    if (!host::ResolveAndRead(path, resolved, info)) {
        errno = ENOENT;
        return -1;
    }
    // Like the runtime, only the read-only attribute denies: write access to a read-only file.
    if ((mode & 2) != 0 && host::IsReadOnly(info) && !S_ISDIR(info.status.st_mode)) {
        errno = EACCES;
        return -1;
    }
    return 0;
}

int _wcsicmp(const unsigned short* left, const unsigned short* right) {
    if (left == nullptr || right == nullptr) {
        errno = EINVAL;
        return 0x7FFFFFFF; // _NLSCMPERROR
    }
    // Letters fold as the current character-type locale says: ASCII only in the "C" locale.
    const char* name = std::setlocale(LC_CTYPE, nullptr);
    const bool asciiOnly =
        name == nullptr || std::strcmp(name, "C") == 0 || std::strcmp(name, "POSIX") == 0;
    for (;; ++left, ++right) {
        char32_t a = *left;
        char32_t b = *right;
        if (asciiOnly || a < 0x80) {
            a = (a >= 'A' && a <= 'Z') ? a + 32 : a;
        } else {
            a = host::FoldCase(a);
        }
        if (asciiOnly || b < 0x80) {
            b = (b >= 'A' && b <= 'Z') ? b + 32 : b;
        } else {
            b = host::FoldCase(b);
        }
        if (a != b || a == 0) {
            return static_cast<int>(a) - static_cast<int>(b);
        }
    }
}

} // namespace platform
} // namespace zelk
} // namespace vorlan
