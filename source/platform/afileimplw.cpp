// AFileImplW: existence, creation with parents, deletion, opening tests, sizes, attributes and
// times of one entry, through the platform layer.
#include "platform/afileimplw.h"

#include <zelk/afile.h>
#include <zelk/apath.h>
#include <zelk/apathcomponent.h>
#include <zelk/astring.h>
#include <zelk/fileutils.h>

#include "platform/platform.h"

namespace vorlan {
namespace zelk {

namespace {

using platform::DWORD;

// The error numbers that creation reports on every host.
constexpr DWORD kBadPathName = 161;
constexpr DWORD kAlreadyExists = 183;

// The share mode that lets others read and write.
constexpr DWORD kShareReadWrite = platform::FILE_SHARE_READ | platform::FILE_SHARE_WRITE;

const unsigned short kAliasExtension[] = {'l', 'n', 'k', 0};
const unsigned short kAllEntries[] = {'\\', '*', 0};

// The entry at path exists, file or directory.
bool ExistsAt(const unsigned short* path) {
    return platform::_waccess(path, 0) == 0;
}

// The entry at path exists and is a directory.
bool IsDirectoryAt(const unsigned short* path) {
    const DWORD attributes = platform::GetFileAttributesW(path);
    return attributes != platform::INVALID_FILE_ATTRIBUTES &&
           (attributes & platform::FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// The text the platform is given for path.
AString PlatformText(const APath& path) {
    return path.GetPath(APath::kWinPath, true);
}

// The desired access of an access mode; 0 for a value outside the enumeration.
DWORD AccessMask(AFile::AccessMode mode) {
    switch (mode) {
    case AFile::kAccessRead:
        return platform::GENERIC_READ;
    case AFile::kAccessWrite:
        return platform::GENERIC_WRITE;
    case AFile::kAccessReadWrite:
        return platform::GENERIC_READ | platform::GENERIC_WRITE;
    }
    return 0;
}

// The platform's share mode of a share mode, or false for a value outside the enumeration.
bool ShareMask(AFile::ShareMode share, DWORD& mask) {
    switch (share) {
    case AFile::kShareRead:
        mask = platform::FILE_SHARE_READ;
        return true;
    case AFile::kShareWrite:
        mask = platform::FILE_SHARE_WRITE;
        return true;
    case AFile::kShareReadWrite:
        mask = kShareReadWrite;
        return true;
    case AFile::kShareNone:
        mask = 0;
        return true;
    }
    return false;
}

// The attribute bit of a settable boolean attribute; 0 for any other.
DWORD SettableBit(AFile::BoolAttribute attribute) {
    switch (attribute) {
    case AFile::kIsReadOnly:
        return platform::FILE_ATTRIBUTE_READONLY;
    case AFile::kIsHidden:
        return platform::FILE_ATTRIBUTE_HIDDEN;
    default:
        return 0;
    }
}

bool IsTimeAttribute(AFile::TimeAttribute attribute) {
    return attribute >= AFile::kCreationTime && attribute <= AFile::kAccessTime;
}

// The chosen time of an attribute record.
unsigned long long PickTime(const platform::WIN32_FILE_ATTRIBUTE_DATA& data,
                            AFile::TimeAttribute attribute) {
    switch (attribute) {
    case AFile::kCreationTime:
        return platform::FileTimeToUInt64(data.ftCreationTime);
    case AFile::kModificationTime:
        return platform::FileTimeToUInt64(data.ftLastWriteTime);
    case AFile::kAccessTime:
        return platform::FileTimeToUInt64(data.ftLastAccessTime);
    }
    return 0;
}

// The name is exactly "." or "..".
bool IsDotOrDotDot(const unsigned short* name) {
    return name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0));
}

} // namespace

AFileImplW::~AFileImplW() = default;

void AFileImplW::UpdateNativePath() {
    if (fPath.IsEmpty()) {
        fNativePath.Clear();
        return;
    }
    fNativePath = fPath.GetPath(APath::kWinPath, true);
}

bool AFileImplW::IsDirectory() const {
    return IsDirectoryAt(fNativePath.GrabWString());
}

platform::ScopedFileHandle AFileImplW::OpenExisting(std::uint32_t access,
                                                    std::uint32_t share) const {
    const DWORD flags = IsDirectory() ? platform::FILE_FLAG_BACKUP_SEMANTICS : 0;
    return platform::ScopedFileHandle(platform::CreateFileW(fNativePath.GrabWString(), access,
                                                            share, nullptr, platform::OPEN_EXISTING,
                                                            flags, nullptr));
}

bool AFileImplW::TryOpen(std::uint32_t access, std::uint32_t share) const {
    return OpenExisting(access, share).IsValid();
}

bool AFileImplW::Exists() const {
    if (fNativePath.IsEmpty()) {
        return false;
    }
    platform::ErrorModeGuard guard;
    return ExistsAt(fNativePath.GrabWString());
}

bool AFileImplW::Delete() const {
    platform::ErrorModeGuard guard;
    if (!Exists()) {
        return false;
    }
    const unsigned short* path = fNativePath.GrabWString();
    const platform::BOOL done =
        IsDirectory() ? platform::RemoveDirectoryW(path) : platform::DeleteFileW(path);
    return done == 1;
}

bool AFileImplW::CanOpen(AFile::AccessMode mode, AFile::ShareMode share) const {
    platform::ErrorModeGuard guard;
    if (!Exists()) {
        return false;
    }
    const DWORD access = AccessMask(mode);
    DWORD shareMask = 0;
    if (access == 0 || !ShareMask(share, shareMask)) {
        return false;
    }
    return TryOpen(access, shareMask);
}

bool AFileImplW::IsOpen() const {
    platform::ErrorModeGuard guard;
    if (!Exists()) {
        return false;
    }
    // Find an access that the caller's rights allow, then ask for sole use with it.
    DWORD access = 0;
    if (TryOpen(platform::GENERIC_READ, kShareReadWrite)) {
        access = platform::GENERIC_READ;
    } else if (TryOpen(platform::GENERIC_WRITE, kShareReadWrite)) {
        access = platform::GENERIC_WRITE;
    }
    return !TryOpen(access, 0);
}

bool AFileImplW::PrepareCreation(bool makeParents, unsigned long& code) const {
    code = 0;
    if (fPath.IsEmpty()) {
        code = kBadPathName;
        return false;
    }
    if (Exists()) {
        code = kAlreadyExists;
        return false;
    }
    if (makeParents) {
        code = MakeParentDirectories();
        if (code != 0) {
            return false;
        }
    }
    return true;
}

bool AFileImplW::MakeFile(bool makeParents, unsigned long* code) {
    unsigned long ownCode = 0;
    unsigned long& result = code != nullptr ? *code : ownCode;
    platform::ErrorModeGuard guard;
    if (!PrepareCreation(makeParents, result)) {
        return false;
    }
    platform::ScopedFileHandle file(platform::CreateFileW(
        fNativePath.GrabWString(), platform::GENERIC_WRITE, platform::FILE_SHARE_READ, nullptr,
        platform::CREATE_NEW, platform::FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file.IsValid()) {
        result = platform::GetLastError();
        return false;
    }
    return true;
}

bool AFileImplW::MakeDirectory(bool makeParents, unsigned long* code) {
    unsigned long ownCode = 0;
    unsigned long& result = code != nullptr ? *code : ownCode;
    platform::ErrorModeGuard guard;
    if (!PrepareCreation(makeParents, result)) {
        return false;
    }
    if (platform::CreateDirectoryW(fNativePath.GrabWString(), nullptr) == 0) {
        result = platform::GetLastError();
        return false;
    }
    return true;
}

std::uint32_t AFileImplW::MakeParentDirectories() const {
    const APath parent = fPath.GetParent(APath::kLastComponentIndex);
    if (parent.IsEmpty()) {
        return kBadPathName;
    }
    const AString parentText = PlatformText(parent);
    if (ExistsAt(parentText.GrabWString())) {
        return IsDirectoryAt(parentText.GrabWString()) ? 0 : kBadPathName;
    }
    // Start below a volume's root: after the drive on a local path, after server and share on a
    // network path.
    const std::uint32_t count = static_cast<std::uint32_t>(parent.Size());
    std::uint32_t index = CorePathUtils::IsWinLocalPath(parent) ? 2 : 3;
    for (; index <= count; ++index) {
        const APath ancestor = parent.Subpath(0, index);
        const AString text = PlatformText(ancestor);
        if (ExistsAt(text.GrabWString())) {
            if (!IsDirectoryAt(text.GrabWString())) {
                return kBadPathName;
            }
            continue;
        }
        unsigned long code = 0;
        AFile directory(ancestor);
        if (!directory.MakeDirectory(false, &code)) {
            if (code != kAlreadyExists) {
                return static_cast<std::uint32_t>(code);
            }
            // Somebody else made it meanwhile; it will do if it is a directory.
            if (!IsDirectoryAt(text.GrabWString())) {
                return kBadPathName;
            }
        }
    }
    return 0;
}

bool AFileImplW::Touch() {
    platform::ErrorModeGuard guard;
    if (!Exists()) {
        return false;
    }
    platform::FILETIME now{};
    platform::GetSystemTimeAsFileTime(&now);
    platform::ScopedFileHandle file =
        OpenExisting(platform::FILE_WRITE_ATTRIBUTES, kShareReadWrite);
    if (!file.IsValid()) {
        return false;
    }
    return platform::SetFileTime(file.Get(), nullptr, nullptr, &now) == 1;
}

unsigned long long AFileImplW::GetSize() const {
    if (fNativePath.IsEmpty()) {
        return 0;
    }
    platform::ErrorModeGuard guard;
    platform::WIN32_FILE_ATTRIBUTE_DATA data{};
    if (platform::GetFileAttributesExW(fNativePath.GrabWString(), platform::GetFileExInfoStandard,
                                       &data) == 0) {
        return 0;
    }
    if ((data.dwFileAttributes & platform::FILE_ATTRIBUTE_DIRECTORY) == 0) {
        return (static_cast<unsigned long long>(data.nFileSizeHigh) << 32) + data.nFileSizeLow;
    }
    // A directory's size is its number of entries, files and directories alike.
    AString pattern(fNativePath);
    pattern.Append(kAllEntries);
    platform::WIN32_FIND_DATAW entry{};
    platform::ScopedFindHandle search(platform::FindFirstFileW(pattern.GrabWString(), &entry));
    if (!search.IsValid()) {
        return 0;
    }
    unsigned long long count = 0;
    do {
        if (!IsDotOrDotDot(entry.cFileName)) {
            ++count;
        }
    } while (platform::FindNextFileW(search.Get(), &entry) != 0);
    return count;
}

bool AFileImplW::HasAliasExtension() const {
    const AString extension =
        fPath.IsEmpty() ? AString() : fPath.GetComponent(APath::kLastComponentIndex).GetExtension();
    const AString alias(kAliasExtension);
    return extension.CharCount() == alias.CharCount() &&
           platform::_wcsicmp(extension.GrabWString(), alias.GrabWString()) == 0;
}

bool AFileImplW::ResolveAliasTarget(bool& isDirectory) const {
    const AFile source(fPath);
    AFile target;
    bool targetIsDirectory = false;
    if (CoreFileUtils::ResolveAlias(source, target, &targetIsDirectory, nullptr, true) != 0) {
        return false;
    }
    isDirectory = targetIsDirectory;
    return true;
}

bool AFileImplW::GetAttribute(AFile::BoolAttribute attribute) const {
    if (attribute == AFile::kIsUnsupported || fNativePath.IsEmpty()) {
        return false;
    }
    platform::ErrorModeGuard guard;
    const unsigned short* path = fNativePath.GrabWString();
    bool isDirectory = false;
    switch (attribute) {
    case AFile::kIsFile: {
        const DWORD attributes = platform::GetFileAttributesW(path);
        return attributes != platform::INVALID_FILE_ATTRIBUTES &&
               (attributes & platform::FILE_ATTRIBUTE_DIRECTORY) == 0 && !HasAliasExtension();
    }
    case AFile::kIsDirectory:
        return IsDirectory();
    case AFile::kIsAlias:
        return HasAliasExtension();
    case AFile::kIsAliasToFile:
        return HasAliasExtension() && ResolveAliasTarget(isDirectory) && !isDirectory;
    case AFile::kIsAliasToDirectory:
        return HasAliasExtension() && ResolveAliasTarget(isDirectory) && isDirectory;
    case AFile::kIsReadable:
        return TryOpen(platform::GENERIC_READ, kShareReadWrite);
    case AFile::kIsWritable:
        return TryOpen(platform::GENERIC_WRITE, kShareReadWrite);
    case AFile::kIsReadOnly:
    case AFile::kIsHidden: {
        const DWORD attributes = platform::GetFileAttributesW(path);
        return attributes != platform::INVALID_FILE_ATTRIBUTES &&
               (attributes & SettableBit(attribute)) != 0;
    }
    default:
        return false;
    }
}

bool AFileImplW::SetAttribute(AFile::BoolAttribute attribute, bool value) {
    const DWORD bit = SettableBit(attribute);
    if (bit == 0 || fNativePath.IsEmpty()) {
        return false;
    }
    platform::ErrorModeGuard guard;
    const unsigned short* path = fNativePath.GrabWString();
    const DWORD attributes = platform::GetFileAttributesW(path);
    if (attributes == platform::INVALID_FILE_ATTRIBUTES) {
        return false;
    }
    if (((attributes & bit) != 0) == value) {
        return true;
    }
    const DWORD wanted = value ? (attributes | bit) : (attributes & ~bit);
    return platform::SetFileAttributesW(path, wanted) != 0;
}

unsigned long long AFileImplW::GetAttribute(AFile::TimeAttribute attribute) const {
    if (fNativePath.IsEmpty() || !IsTimeAttribute(attribute)) {
        return 0;
    }
    platform::ErrorModeGuard guard;
    platform::WIN32_FILE_ATTRIBUTE_DATA data{};
    if (platform::GetFileAttributesExW(fNativePath.GrabWString(), platform::GetFileExInfoStandard,
                                       &data) == 0) {
        return 0;
    }
    return PickTime(data, attribute);
}

bool AFileImplW::SetAttribute(AFile::TimeAttribute attribute, const unsigned long long& value) {
    if (fNativePath.IsEmpty() || !IsTimeAttribute(attribute)) {
        return false;
    }
    platform::ErrorModeGuard guard;
    platform::ScopedFileHandle file =
        OpenExisting(platform::FILE_WRITE_ATTRIBUTES, kShareReadWrite);
    if (!file.IsValid()) {
        return false;
    }
    const platform::FILETIME time = platform::UInt64ToFileTime(value);
    const platform::FILETIME* creation = attribute == AFile::kCreationTime ? &time : nullptr;
    const platform::FILETIME* access = attribute == AFile::kAccessTime ? &time : nullptr;
    const platform::FILETIME* write = attribute == AFile::kModificationTime ? &time : nullptr;
    return platform::SetFileTime(file.Get(), creation, access, write) == 1;
}

bool AFileImplW::GetAttributes(AFile::TimeAttributes& attributes) const {
    attributes = AFile::TimeAttributes{0, 0, 0};
    if (fNativePath.IsEmpty()) {
        return false;
    }
    platform::ErrorModeGuard guard;
    platform::WIN32_FILE_ATTRIBUTE_DATA data{};
    if (platform::GetFileAttributesExW(fNativePath.GrabWString(), platform::GetFileExInfoStandard,
                                       &data) == 0) {
        return false;
    }
    attributes.fCreationTime = platform::FileTimeToUInt64(data.ftCreationTime);
    attributes.fModificationTime = platform::FileTimeToUInt64(data.ftLastWriteTime);
    attributes.fAccessTime = platform::FileTimeToUInt64(data.ftLastAccessTime);
    return true;
}

bool AFileImplW::GetAttributes(AFile::BoolAttributes& attributes, bool resolveAliases,
                               bool testAccess) const {
    attributes =
        AFile::BoolAttributes{false, false, false, false, false, false, false, false, false, false};
    if (fNativePath.IsEmpty()) {
        return false;
    }
    platform::ErrorModeGuard guard;
    platform::WIN32_FILE_ATTRIBUTE_DATA data{};
    if (platform::GetFileAttributesExW(fNativePath.GrabWString(), platform::GetFileExInfoStandard,
                                       &data) == 0) {
        return false;
    }
    const DWORD bits = data.dwFileAttributes;
    attributes.fIsAlias = HasAliasExtension();
    attributes.fIsDirectory = (bits & platform::FILE_ATTRIBUTE_DIRECTORY) != 0;
    attributes.fIsFile = !attributes.fIsAlias && !attributes.fIsDirectory;
    attributes.fIsReadOnly = (bits & platform::FILE_ATTRIBUTE_READONLY) != 0;
    attributes.fIsHidden = (bits & platform::FILE_ATTRIBUTE_HIDDEN) != 0;
    bool isDirectory = false;
    if (resolveAliases && attributes.fIsAlias && ResolveAliasTarget(isDirectory)) {
        attributes.fIsAliasToFile = !isDirectory;
        attributes.fIsAliasToDirectory = isDirectory;
    }
    if (testAccess) {
        attributes.fIsReadable = TryOpen(platform::GENERIC_READ, kShareReadWrite);
        attributes.fIsWritable = TryOpen(platform::GENERIC_WRITE, kShareReadWrite);
    }
    return true;
}

// This platform keeps no type and creator codes: the three operations touch nothing.
bool AFileImplW::GetAttribute(AFile::OSTypeAttribute, long&) const {
    return false;
}

bool AFileImplW::SetAttribute(AFile::OSTypeAttribute, const long&) {
    return false;
}

bool AFileImplW::GetAttributes(AFile::OSTypeAttributes&) const {
    return false;
}

} // namespace zelk
} // namespace vorlan
