// CoreFileUtils: static operations on entries, written against AFile.
#include <zelk/fileutils.h>

#include <zelk/afile.h>
#include <zelk/apath.h>
#include <zelk/apathcomponent.h>
#include <zelk/astring.h>
#include <zelk/astring8.h>

#include "objectalloc.h"
#include "platform/objects.h"
#include "platform/platform.h"

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

const unsigned short kListAllSuffix[] = {'\\', '*', 0};
// The working text of a level starts with room for this many units.
constexpr unsigned long kWorkingTextUnits = 128;

// One directory of the walk: its platform text, its open listing with the record at hand, and
// the working text (the directory, a separator, then the name of the entry at hand). The walk
// keeps its levels on the heap, not on the stack, so a tree as deep as the longest path is fine.
struct DeleteLevel {
    AString directory;
    AString working;
    unsigned long baseLength = 0;
    platform::ScopedFindHandle search;
    platform::WIN32_FIND_DATAW found{};
    bool hasEntry = false;                    // found holds an entry not dealt with yet
    DWORD endError = platform::ERROR_SUCCESS; // the last error when the listing ended
    bool complete = true;                     // nothing inside has failed so far
};
using DeleteLevels = std::vector<DeleteLevel, HookAllocator<DeleteLevel>>;

enum class Entered { kListing, kRemovedLink, kFailed };

// Exactly "." or "..", unit by unit.
bool IsDotOrDotDot(const unsigned short* name) {
    return name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0));
}

// A name with a separator in it would address some other entry.
bool HoldsSeparator(const unsigned short* name) {
    for (; *name != 0; ++name) {
        if (*name == '\\' || *name == '/') {
            return true;
        }
    }
    return false;
}

bool IsReparsePoint(DWORD attributes) {
    return attributes != platform::INVALID_FILE_ATTRIBUTES &&
           (attributes & platform::FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

// Removes a link, junction or mount point itself, never what it leads to. Its attributes stay:
// setting them may act on the target.
bool RemoveLink(const unsigned short* text, DWORD attributes) {
    const bool directory = (attributes & platform::FILE_ATTRIBUTE_DIRECTORY) != 0;
    return (directory ? platform::RemoveDirectoryW(text) : platform::DeleteFileW(text)) != 0;
}

// Starts on one directory, given by its platform text: adds a level with its listing, or
// removes the directory as a link when it is one. A file, a link that leads to no directory and
// a directory that can't be listed give kFailed with nothing touched. With force the directory
// loses its attributes before its content goes, not only before its own removal, so that hosts
// where a read-only directory keeps its entries can empty it too.
Entered EnterDirectory(AString directory, bool force, DeleteLevels& levels) {
    const DWORD attributes = platform::GetFileAttributesW(directory.GrabWString());
    if (IsReparsePoint(attributes)) {
        if ((attributes & platform::FILE_ATTRIBUTE_DIRECTORY) == 0) {
            return Entered::kFailed;
        }
        return RemoveLink(directory.GrabWString(), attributes) ? Entered::kRemovedLink
                                                               : Entered::kFailed;
    }
    const bool known = attributes != platform::INVALID_FILE_ATTRIBUTES;
    if (known && (attributes & platform::FILE_ATTRIBUTE_DIRECTORY) == 0) {
        return Entered::kFailed; // a file is no tree, and stays as it is
    }
    if (force && known) {
        (void)platform::SetFileAttributesW(directory.GrabWString(),
                                           platform::FILE_ATTRIBUTE_NORMAL);
    }
    DeleteLevel level;
    level.working.Preallocate(kWorkingTextUnits);
    level.working.SetString(directory);
    level.working.Append(kListAllSuffix);
    level.search = platform::ScopedFindHandle(
        platform::FindFirstFileW(level.working.GrabWString(), &level.found));
    if (!level.search) {
        return Entered::kFailed;
    }
    level.working.Truncate(1); // keeps the separator in front of the pattern's "*"
    level.baseLength = level.working.CharCount();
    level.hasEntry = true;
    level.directory = std::move(directory);
    levels.push_back(std::move(level));
    return Entered::kListing;
}

void Advance(DeleteLevel& level) {
    level.hasEntry = platform::FindNextFileW(level.search.Get(), &level.found) != 0;
    if (!level.hasEntry) {
        level.endError = platform::GetLastError();
    }
}

// The text the platform is given for the entry at hand: the working text, or, when that is too
// long to be given without the long-path prefix, the entry's own rendering, which adds it.
AString EntryText(const DeleteLevel& level) {
    if (level.working.UTF16Count() < platform::MAX_PATH) {
        return level.working;
    }
    return AFile(level.working).GetPath(true);
}

// Deals with the entry at hand. True when it is a directory whose level now heads the walk (the
// reference to level is then no longer valid); false when the walk goes on in level.
bool VisitEntry(DeleteLevel& level, bool force, DeleteLevels& levels) {
    const unsigned short* name = level.found.cFileName;
    if (IsDotOrDotDot(name)) {
        return false;
    }
    if (HoldsSeparator(name)) {
        level.complete = false;
        return false;
    }
    level.working.Truncate(level.working.CharCount() - level.baseLength);
    level.working.Append(name);
    const DWORD attributes = level.found.dwFileAttributes;
    if (IsReparsePoint(attributes)) {
        if (!RemoveLink(EntryText(level).GrabWString(), attributes)) {
            level.complete = false;
        }
        return false;
    }
    if ((attributes & platform::FILE_ATTRIBUTE_DIRECTORY) != 0) {
        // Gone since the listing counts as a failure, as it would for the directory named.
        const AFile child(level.working);
        switch (child.Exists() ? EnterDirectory(child.GetPath(true), force, levels)
                               : Entered::kFailed) {
        case Entered::kListing:
            return true;
        case Entered::kRemovedLink:
            return false;
        case Entered::kFailed:
            level.complete = false;
            return false;
        }
        return false;
    }
    const AString text = EntryText(level);
    if (force) {
        (void)platform::SetFileAttributesW(text.GrabWString(), platform::FILE_ATTRIBUTE_NORMAL);
    }
    if (platform::DeleteFileW(text.GrabWString()) == 0) {
        level.complete = false;
    }
    return false;
}

// Closes the level's listing and removes its directory when all of it went and the listing ran
// to its end; a listing that broke off may have left entries unseen, and the directory stays.
bool FinishLevel(DeleteLevel& level, bool force) {
    level.search.Reset();
    if (!level.complete || level.endError != platform::ERROR_NO_MORE_FILES) {
        return false;
    }
    if (force) {
        (void)platform::SetFileAttributesW(level.directory.GrabWString(),
                                           platform::FILE_ATTRIBUTE_NORMAL);
    }
    return platform::RemoveDirectoryW(level.directory.GrabWString()) != 0;
}

} // namespace

bool CoreFileUtils::DeleteDirectory(const AFile& directory, bool force) {
    if (!directory.Exists()) {
        return false;
    }
    platform::ErrorModeGuard guard;
    DeleteLevels levels;
    switch (EnterDirectory(directory.GetPath(true), force, levels)) {
    case Entered::kListing:
        break;
    case Entered::kRemovedLink:
        return true;
    case Entered::kFailed:
        return false;
    }
    for (;;) {
        DeleteLevel& level = levels.back();
        if (level.hasEntry) {
            if (!VisitEntry(level, force, levels)) {
                Advance(level);
            }
            continue;
        }
        const bool removed = FinishLevel(level, force);
        levels.pop_back();
        if (levels.empty()) {
            return removed;
        }
        DeleteLevel& parent = levels.back();
        if (!removed) {
            parent.complete = false;
        }
        Advance(parent);
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
    if (!renamed.SetName(newName) || !renamed.HasValidPath()) {
        return false;
    }
    const AString from = file.GetPath(true);
    const AString to = renamed.GetPath(true);
    platform::ErrorModeGuard guard;
    if (platform::MoveFileW(from.GrabWString(), to.GrabWString()) == 0) {
        return false;
    }
    file.SetPath(renamed.GetPath());
    return true;
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
