// CoreFileUtils: static operations on entries, written against AFile.
#include <zelk/fileutils.h>

#include <zelk/aallocator.h>
#include <zelk/afile.h>
#include <zelk/apath.h>
#include <zelk/apathcomponent.h>
#include <zelk/astring.h>
#include <zelk/astring8.h>

#include "objectalloc.h"
#include "platform/objects.h"
#include "platform/platform.h"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace vorlan {
namespace zelk {

// Shell link resolution.
namespace {

// Results of ResolveAlias.
constexpr unsigned long kResolved = 0;
constexpr unsigned long kUnreadableLink = 1;
constexpr unsigned long kNothingToResolve = 2;

} // namespace

unsigned long CoreFileUtils::ResolveAlias(const AFile& source, AFile& target, bool* isDirectory,
                                          bool* wasAlias, bool noUI) {
    using namespace platform;
    if (!source.Exists()) {
        return kNothingToResolve;
    }
    if (!source.GetAttribute(AFile::kIsAlias)) {
        // Any other entry is its own answer. Equal objects are left alone, so no PathChanged
        // runs when source and target already name the same entry.
        if (target != source) {
            target = source;
        }
        if (isDirectory != nullptr) {
            *isDirectory = source.GetAttribute(AFile::kIsDirectory);
        }
        if (wasAlias != nullptr) {
            *wasAlias = false;
        }
        return kResolved;
    }

    // Declared in this order so that the interfaces go first, the persist side before the link,
    // and the error mode is restored last, on every way out.
    ErrorModeGuard errorMode;
    ScopedInterface<IShellLinkW> link;
    ScopedInterface<IPersistFile> file;
    if (CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW,
                         link.Receive()) != S_OK ||
        !link) {
        return kUnreadableLink;
    }
    if (link->QueryInterface(IID_IPersistFile, file.Receive()) != S_OK || !file) {
        return kUnreadableLink;
    }
    const AString linkPath = source.GetPath(false);
    if (file->Load(linkPath.GrabWString(), STGM_READ) != S_OK) {
        return kUnreadableLink;
    }
    if (link->Resolve(nullptr, noUI ? SLR_NO_UI : 0) != S_OK) {
        return kNothingToResolve;
    }
    unsigned short buffer[APath::kMaxPathLength];
    WIN32_FIND_DATAW data{};
    // S_FALSE, a link without a path, is as much a failure here as an error.
    if (link->GetPath(buffer, static_cast<int>(APath::kMaxPathLength), &data, SLGP_UNCPRIORITY) !=
        S_OK) {
        return kNothingToResolve;
    }
    APath targetPath(AString(buffer), APath::kNativePath);

    // Nothing above wrote to the caller's objects; from here on nothing fails. The target takes
    // the source's state and then the link's target, but never the delete-on-destroy mark: that
    // stays with the caller's object for the link, and the entry the link names is never marked
    // for deletion by resolving. With one object as source and target the mark is dropped, since
    // the object no longer names the link.
    target = source;
    target.SetPath(std::move(targetPath));
    target.DeleteOnDestroy(false);
    if (isDirectory != nullptr) {
        *isDirectory = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    }
    if (wasAlias != nullptr) {
        *wasAlias = true;
    }
    return kResolved;
}

// UTF-8 forms of an entry's path.

void CoreFileUtils::AFileToUTF8(const AFile& file, AString8& target) {
    AString::AStringToUTF8(file.GetPath(false), target);
}

void CoreFileUtils::UTF8ToAFile(const AString8& source, AFile& target) {
    AString text;
    AString::UTF8ToAString(source, text);
    target.SetPath(text);
}

// Temporary and unique entries.

namespace {

// Names a unique routine tries in one call.
constexpr unsigned int kUniqueNameTries = 1000;
// Room for a 32-bit number in any radix the runtime formats, and the terminator.
constexpr int kNumberUnits = 33;

// The name can be created as it stands: a valid component that is no drive, "." or "..", and
// doesn't end in a dot or a blank, which Windows drops from a name it creates. Anything else
// could leave an entry under a name nobody asked for.
bool IsMakeableName(const APathComponent& name) {
    if (!name.IsValid() || name.IsWinDrive() || name.IsAlias()) {
        return false;
    }
    const AString text = name.Get();
    const unsigned short last = text.GetChar(text.CharCount() - 1);
    return last != '.' && last != ' ';
}

bool MakeEntry(AFile& entry, bool makeDirectory) {
    return makeDirectory ? entry.MakeDirectory(true, nullptr) : entry.MakeFile(true, nullptr);
}

// Every failure of the creating operations ends with an empty path in the result.
bool FailWithEmptyPath(AFile& result) {
    result.SetPath(APath());
    return false;
}

bool CreateTempEntry(const APathComponent& name, AFile& result, bool makeDirectory) {
    result = AFile(CorePathUtils::GetTempDir());
    if (!result.HasPath()) {
        return false;
    }
    if (!IsMakeableName(name) || !result.AppendName(name) || result.Exists() ||
        !MakeEntry(result, makeDirectory)) {
        return FailWithEmptyPath(result);
    }
    return true;
}

bool CreateUniqueEntry(const APath& directory, const AString& prefix, const AString& suffix,
                       AFile& result, bool makeDirectory) {
    result.SetPath(directory);
    // The prefix stands in as the component that each try renames. Without one there is nothing
    // to rename yet, and the first name is appended instead, so the entry still comes to stand
    // in the directory rather than in place of its last component.
    bool named = false;
    if (!prefix.IsEmpty()) {
        if (!result.AppendName(prefix)) {
            return FailWithEmptyPath(result);
        }
        named = true;
    }
    unsigned short threadDigits[kNumberUnits];
    platform::_ultow(platform::GetCurrentThreadId(), threadDigits, 10);
    std::uint32_t tick = platform::GetTickCount();
    for (unsigned int tries = 0; tries < kUniqueNameTries; ++tries) {
        unsigned short tickDigits[kNumberUnits];
        AString text(prefix);
        text.Append(threadDigits);
        text.Append(platform::_ultow(tick, tickDigits, 10));
        text.Append(suffix);
        const APathComponent name(text);
        // A name that doesn't fit or can't be made as it stands ends the routine: going on would
        // work with whatever the result holds, which is not a generated name.
        if (!IsMakeableName(name) || !(named ? result.SetName(name) : result.AppendName(name))) {
            return FailWithEmptyPath(result);
        }
        named = true;
        ++tick; // 32 bits wide: it wraps
        if (!result.Exists()) {
            return MakeEntry(result, makeDirectory) || FailWithEmptyPath(result);
        }
    }
    return FailWithEmptyPath(result);
}

bool CreateUniqueTempEntry(const AString& prefix, const AString& suffix, AFile& result,
                           bool makeDirectory) {
    const APath temp = CorePathUtils::GetTempDir();
    if (temp.IsEmpty()) {
        return false;
    }
    return CreateUniqueEntry(temp, prefix, suffix, result, makeDirectory);
}

} // namespace

AFile CoreFileUtils::GetCurrentDir() {
    return AFile(CorePathUtils::GetCurrentDir());
}

AFile CoreFileUtils::GetTempDir() {
    return AFile(CorePathUtils::GetTempDir());
}

bool CoreFileUtils::SetCurrentDir(const AFile& directory) {
    return CorePathUtils::SetCurrentDir(directory.GetPath());
}

bool CoreFileUtils::CreateTempDir(const APathComponent& name, AFile& result) {
    return CreateTempEntry(name, result, true);
}

bool CoreFileUtils::CreateTempFile(const APathComponent& name, AFile& result) {
    return CreateTempEntry(name, result, false);
}

bool CoreFileUtils::CreateUniqueDir(const APath& directory, const AString& prefix,
                                    const AString& suffix, AFile& result) {
    return CreateUniqueEntry(directory, prefix, suffix, result, true);
}

bool CoreFileUtils::CreateUniqueFile(const APath& directory, const AString& prefix,
                                     const AString& suffix, AFile& result) {
    return CreateUniqueEntry(directory, prefix, suffix, result, false);
}

bool CoreFileUtils::CreateUniqueTempDir(const AString& prefix, const AString& suffix,
                                        AFile& result) {
    return CreateUniqueTempEntry(prefix, suffix, result, true);
}

bool CoreFileUtils::CreateUniqueTempFile(const AString& prefix, const AString& suffix,
                                         AFile& result) {
    return CreateUniqueTempEntry(prefix, suffix, result, false);
}

// Recursive deletion.

namespace {

using platform::DWORD;
using platform::HANDLE;

// The directories the walk holds, from the one named down to the one it is in, each with
// whether everything in it has gone so far. Kept on the heap through the allocation hooks, so a
// tree as deep as the longest path is fine; the handles are closed, innermost first, on every
// way out.
class WalkLevels {
public:
    WalkLevels() = default;
    WalkLevels(const WalkLevels&) = delete;
    WalkLevels& operator=(const WalkLevels&) = delete;
    ~WalkLevels() {
        while (fSize > 0) {
            (void)platform::CloseWalkHandle(fLevels[--fSize].directory);
        }
        AAllocator::Free(fLevels);
    }

    // Takes the held directory over as the innermost level. False when the hooks give no memory;
    // the handle then stays with the caller.
    bool Push(platform::ScopedWalkHandle& directory) {
        if (fSize == fCapacity && !Grow()) {
            return false;
        }
        fLevels[fSize++] = Level{directory.Release(), true};
        return true;
    }
    bool IsEmpty() const { return fSize == 0; }
    HANDLE Innermost() const { return fLevels[fSize - 1].directory; }
    // Something in the innermost directory stays.
    void MarkIncomplete() { fLevels[fSize - 1].complete = false; }
    bool InnermostComplete() const { return fLevels[fSize - 1].complete; }
    // Hands the innermost directory's handle over and leaves its level.
    HANDLE Pop() { return fLevels[--fSize].directory; }

private:
    struct Level {
        HANDLE directory;
        bool complete;
    };

    bool Grow() {
        const std::size_t capacity = fCapacity == 0 ? 16 : fCapacity * 2;
        auto* levels = static_cast<Level*>(AAllocator::Alloc(capacity * sizeof(Level)));
        if (levels == nullptr) {
            return false;
        }
        for (std::size_t i = 0; i < fSize; ++i) {
            levels[i] = fLevels[i];
        }
        AAllocator::Free(fLevels);
        fLevels = levels;
        fCapacity = capacity;
        return true;
    }

    Level* fLevels = nullptr;
    std::size_t fSize = 0;
    std::size_t fCapacity = 0;
};

bool IsReparsePoint(DWORD attributes) {
    return attributes != platform::INVALID_FILE_ATTRIBUTES &&
           (attributes & platform::FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

bool IsDirectory(DWORD attributes) {
    return attributes != platform::INVALID_FILE_ATTRIBUTES &&
           (attributes & platform::FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// A name with a separator in it is no name any path of the library can give; such an entry is
// left where it is.
bool HoldsSeparator(const unsigned short* name) {
    for (; *name != 0; ++name) {
        if (*name == '\\' || *name == '/') {
            return true;
        }
    }
    return false;
}

// Deals with one entry of the innermost directory: walks into a subdirectory (true), or removes
// anything else as itself, a link or mount point never followed (false). A failure marks the
// level incomplete and the walk goes on.
bool VisitEntry(WalkLevels& levels, platform::WALK_ENTRY& entry, bool force) {
    if (HoldsSeparator(entry.cFileName)) {
        levels.MarkIncomplete();
        return false;
    }
    const HANDLE directory = levels.Innermost();
    if (IsDirectory(entry.dwFileAttributes) && !IsReparsePoint(entry.dwFileAttributes)) {
        platform::ScopedWalkHandle child(platform::OpenWalkSubdirectoryW(directory, &entry));
        if (child.IsValid()) {
            if (levels.Push(child)) {
                return true;
            }
            levels.MarkIncomplete(); // no memory for another level: the subtree stays whole
            return false;
        }
        // What stands there now is a link or mount point (removed as itself below), or gone, or
        // no directory any more.
        if (!IsReparsePoint(entry.dwFileAttributes)) {
            levels.MarkIncomplete();
            return false;
        }
    }
    if (platform::DeleteWalkEntryW(directory, &entry, force ? 1 : 0) == 0) {
        levels.MarkIncomplete();
    }
    return false;
}

// Removes a link, junction or mount point named by the caller as itself, never what it leads to.
bool RemoveNamedLink(const AString& text, DWORD attributes) {
    const unsigned short* path = text.GrabWString();
    return (IsDirectory(attributes) ? platform::RemoveDirectoryW(path)
                                    : platform::DeleteFileW(path)) != 0;
}

} // namespace

bool CoreFileUtils::DeleteDirectory(const AFile& directory, bool force) {
    if (!directory.Exists()) {
        return false;
    }
    const AString text = directory.GetPath(true);
    platform::ErrorModeGuard guard;
    // A link named as the directory goes as itself; a file is no tree and stays as it is.
    const DWORD attributes = platform::GetFileAttributesW(text.GrabWString());
    if (IsReparsePoint(attributes)) {
        return IsDirectory(attributes) && RemoveNamedLink(text, attributes);
    }
    if (!IsDirectory(attributes)) {
        return false;
    }
    WalkLevels levels;
    platform::ScopedWalkHandle root(platform::OpenWalkDirectoryW(text.GrabWString()));
    if (!root.IsValid() || !levels.Push(root)) {
        return false;
    }
    platform::WALK_ENTRY entry{};
    for (;;) {
        if (platform::NextWalkEntryW(levels.Innermost(), &entry) != 0) {
            (void)VisitEntry(levels, entry, force);
            continue;
        }
        // The directory goes when everything in it went and its listing ran to the end; a
        // listing that broke off may have left entries unseen, and the directory stays.
        const bool listedAll = platform::GetLastError() == platform::ERROR_NO_MORE_FILES;
        const bool complete = levels.InnermostComplete();
        const HANDLE held = levels.Pop();
        const bool removed = complete && listedAll
                                 ? platform::RemoveWalkDirectoryW(held, force ? 1 : 0) != 0
                                 : (platform::CloseWalkHandle(held), false);
        if (levels.IsEmpty()) {
            return removed;
        }
        if (!removed) {
            levels.MarkIncomplete();
        }
    }
}

// Copy, move and rename.

namespace {

// Flags of a move: a file replaces what stands at the target, a directory never does; both may
// cross volumes by copying, and the call returns only once the data is on the disk.
constexpr platform::DWORD kMoveFileFlags = platform::MOVEFILE_REPLACE_EXISTING |
                                           platform::MOVEFILE_COPY_ALLOWED |
                                           platform::MOVEFILE_WRITE_THROUGH;
constexpr platform::DWORD kMoveDirectoryFlags =
    platform::MOVEFILE_COPY_ALLOWED | platform::MOVEFILE_WRITE_THROUGH;

// An AFile as it was, delete-on-destroy mark included, to be put back by a move, which takes no
// allocation. It never deletes anything itself when it dies.
class SavedFile : public AFile {
public:
    explicit SavedFile(const AFile& file) : AFile(file) {}
    SavedFile(const SavedFile&) = delete;
    SavedFile& operator=(const SavedFile&) = delete;
    ~SavedFile() override { DeleteOnDestroy(false); }
};

// What copy and move share: equal AFiles give true at once; a missing source, a target without a
// valid path, or an existing target when failIfExists is true give false before the platform is
// asked; otherwise call gets both paths in platform form.
template <typename Call>
bool Transfer(const AFile& source, const AFile& target, bool failIfExists, Call call) {
    if (source == target) {
        return true;
    }
    if (!source.Exists() || !target.HasValidPath() || (failIfExists && target.Exists())) {
        return false;
    }
    const AString from = source.GetPath(true);
    const AString to = target.GetPath(true);
    platform::ErrorModeGuard guard;
    return call(from.GrabWString(), to.GrabWString());
}

} // namespace

bool CoreFileUtils::CopyFileW(const AFile& source, const AFile& target, bool failIfExists) {
    // failIfExists has acted before the call; the platform always replaces, so a target that
    // appeared since is replaced as well.
    return Transfer(source, target, failIfExists,
                    [](const unsigned short* from, const unsigned short* to) {
                        return platform::CopyFileW(from, to, 0) != 0;
                    });
}

bool CoreFileUtils::FileCopy(const AFile& source, const AFile& target, bool failIfExists) {
    return CopyFileW(source, target, failIfExists);
}

bool CoreFileUtils::MoveFileW(const AFile& source, const AFile& target, bool failIfExists) {
    return Transfer(source, target, failIfExists,
                    [&source](const unsigned short* from, const unsigned short* to) {
                        const platform::DWORD flags = source.GetAttribute(AFile::kIsDirectory)
                                                          ? kMoveDirectoryFlags
                                                          : kMoveFileFlags;
                        return platform::MoveFileExW(from, to, flags) != 0;
                    });
}

bool CoreFileUtils::FileMove(const AFile& source, const AFile& target, bool failIfExists) {
    return MoveFileW(source, target, failIfExists);
}

bool CoreFileUtils::RenameFile(AFile& file, const AString& newName) {
    if (newName.IsEmpty()) {
        return false;
    }
    if (newName == file.GetNameStr()) {
        return true;
    }
    if (!file.Exists()) {
        return file.SetName(newName);
    }
    // Built from the path alone, the renamed value bears no delete-on-destroy mark.
    AFile renamed(file.GetPath());
    SavedFile saved(file);
    if (!renamed.SetName(newName) || !renamed.HasValidPath() || saved != file) {
        return false;
    }
    // The new name stands in the old one's directory, or nothing moves: a value that came out
    // otherwise, as a refused allocation can make it, would send the entry elsewhere.
    if (renamed.GetNameStr() != newName ||
        renamed.GetParentPath(false) != file.GetParentPath(false)) {
        return false;
    }
    const AString from = file.GetPath(true);
    const AString to = renamed.GetPath(true);
    platform::ErrorModeGuard guard;
    if (platform::MoveFileW(from.GrabWString(), to.GrabWString()) == 0) {
        return false;
    }
    file.SetPath(renamed.GetPath());
    if (file == renamed) {
        return true;
    }
    // file could not take its new path: the entry goes back under its old name and file, without
    // an allocation, to what it was, so that true always means that file names the renamed entry.
    (void)platform::MoveFileW(to.GrabWString(), from.GrabWString());
    file = std::move(saved);
    return false;
}

// Volumes.

namespace {

// A working AFile that never deletes its entry when it dies, even when a copy or an assignment
// gave it the delete-on-destroy mark of the AFile it came from.
class ScratchFile : public AFile {
public:
    ScratchFile() = default;
    explicit ScratchFile(const AFile& other) : AFile(other) { DeleteOnDestroy(false); }
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;
    ~ScratchFile() override { DeleteOnDestroy(false); }
};

// The directory whose volume GetFileFreeSpace asks about, in plain form; false when the entry is
// a link that leads nowhere.
bool FreeSpaceDirectory(const AFile& file, AString& directory) {
    if (file.GetAttribute(AFile::kIsAlias)) {
        ScratchFile target;
        bool isDirectory = false;
        if (CoreFileUtils::ResolveAlias(file, target, &isDirectory, nullptr, true) != 0) {
            return false;
        }
        directory = isDirectory ? target.GetPath(false) : target.GetParentPath(false);
        return true;
    }
    directory =
        file.GetAttribute(AFile::kIsDirectory) ? file.GetPath(false) : file.GetParentPath(false);
    return true;
}

} // namespace

unsigned long long CoreFileUtils::GetFileFreeSpace(const AFile& file) {
    AString directory;
    if (!FreeSpaceDirectory(file, directory)) {
        return 0;
    }
    // One separator more, whatever the text ends in: an empty text becomes the root of the
    // current drive, and a root such as C:\ keeps its meaning with two.
    directory += static_cast<unsigned short>(u'\\');
    std::uint64_t available = 0;
    platform::ErrorModeGuard guard;
    if (platform::GetDiskFreeSpaceExW(directory.GrabWString(), &available, nullptr, nullptr) == 0) {
        return 0;
    }
    return available;
}

AString CoreFileUtils::GetVolumeName(const AFile& file) {
    const APath path = file.GetPath();
    if (CorePathUtils::IsUNCPath(path)) {
        return path.Subpath(0, 2).GetPath(APath::kNativePath, false);
    }
    if (CorePathUtils::IsWinLocalPath(path)) {
        // The drive renders with its separator (C:\); the name is the drive alone.
        AString drive = path.Subpath(0, 1).GetPath(APath::kNativePath, false);
        drive.Truncate(1);
        return drive;
    }
    return AString();
}

bool CoreFileUtils::OnSameVolume(const AFile& first, const AFile& second) {
    return GetVolumeName(first) == GetVolumeName(second);
}

bool CoreFileUtils::OnServerVolume(const AFile& file) {
    platform::ErrorModeGuard guard;
    const AString path = file.GetPath(false);
    return platform::PathIsNetworkPathW(path.GrabWString()) != 0;
}

// Path equivalence.

bool CoreFileUtils::PathsEquivalent(const AFile& first, const AFile& second, bool resolveAliases) {
    platform::UserCTypeLocaleGuard locale;
    ScratchFile left(first);
    ScratchFile right(second);
    if (resolveAliases) {
        // A link that can't be resolved keeps its own path, so the results don't matter.
        (void)ResolveAlias(left, left, nullptr, nullptr, true);
        (void)ResolveAlias(right, right, nullptr, nullptr, true);
    }
    const AString leftText = left.GetPath(false);
    const AString rightText = right.GetPath(false);
    return platform::_wcsicmp(leftText.GrabWString(), rightText.GrabWString()) == 0;
}

// Showing an entry.

namespace {

// The browser's full path: the Windows directory and "\explorer.exe", in a buffer of 512 units.
constexpr std::size_t kBrowserBufferUnits = 512;
constexpr unsigned short kBrowserName[] = {'\\', 'e', 'x', 'p', 'l', 'o', 'r',
                                           'e',  'r', '.', 'e', 'x', 'e', 0};
constexpr unsigned short kOpen[] = {'o', 'p', 'e', 'n', 0};

// Whether the text in buffer, terminated within it, leaves room for the browser's name and its
// terminator. The runtime's wcscat_s would stop the process on a buffer that is too small, so
// this is asked first.
bool HasRoomForBrowserName(const unsigned short* buffer) {
    std::size_t length = 0;
    while (length < kBrowserBufferUnits && buffer[length] != 0) {
        ++length;
    }
    return length + sizeof(kBrowserName) / sizeof(kBrowserName[0]) <= kBrowserBufferUnits;
}

} // namespace

bool CoreFileUtils::ShowFileLocation(const AFile& file) {
    const AString path = file.GetPath(false);
    if (path.IsEmpty()) {
        return false;
    }
    AString parameters("/select,\"");
    parameters += path;
    parameters += static_cast<unsigned short>('"');

    unsigned short browser[kBrowserBufferUnits] = {};
    (void)platform::GetWindowsDirectoryW(browser, static_cast<platform::UINT>(kBrowserBufferUnits));
    // No Windows directory gives no browser: "\explorer.exe" alone would name whatever the
    // current drive's root holds.
    if (browser[0] == 0 || !HasRoomForBrowserName(browser) ||
        platform::wcscat_s(browser, kBrowserBufferUnits, kBrowserName) != 0) {
        return false;
    }

    const AString directory = file.GetParentPath(false);
    const platform::HINSTANCE result =
        platform::ShellExecuteW(nullptr, kOpen, browser, parameters.GrabWString(),
                                directory.GrabWString(), platform::SW_SHOWNORMAL);
    return reinterpret_cast<std::intptr_t>(result) > 32;
}

} // namespace zelk
} // namespace vorlan
