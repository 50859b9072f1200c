// Directory walks on Windows: each directory held open without the delete share, a reparse point
// opened as itself, and every entry reached relative to the directory that holds it.
#include "platform/win/winapi.h"

#include <winternl.h>

#include <cstddef>
#include <cstring>
#include <new>

namespace vorlan {
namespace zelk {
namespace platform {
namespace {

// Bytes of listing read at once; a walk holds one such buffer for each level it is deep.
constexpr std::size_t kListingBytes = 8192;

// A held directory can be listed, can have its attributes changed and be removed, and is shared
// with readers and writers but with nobody who would rename or delete it. The process's current
// directory, which Windows holds without the delete share, is held with the list rights alone.
constexpr ::ACCESS_MASK kHeldAccess =
    FILE_LIST_DIRECTORY | FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES | DELETE | SYNCHRONIZE;
// Without the rights to change or remove it, a directory can still be emptied.
constexpr ::ACCESS_MASK kListAccess = FILE_LIST_DIRECTORY | FILE_READ_ATTRIBUTES | SYNCHRONIZE;
constexpr ::ULONG kHeldShare = FILE_SHARE_READ | FILE_SHARE_WRITE;
// An entry that goes is shared with everybody, as DeleteFileW opens it.
constexpr ::ACCESS_MASK kDeleteAccess =
    DELETE | FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES | SYNCHRONIZE;
constexpr ::ULONG kDeleteShare = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr ::ULONG kOpenAsItself =
    FILE_OPEN_REPARSE_POINT | FILE_SYNCHRONOUS_IO_NONALERT | FILE_OPEN_FOR_BACKUP_INTENT;

struct WalkRecord {
    ::HANDLE directory = INVALID_HANDLE_VALUE;
    bool removable = true; // opened with the rights to change and remove it
    std::size_t offset = 0;
    bool hasListing = false; // the buffer holds records from offset on
    bool ended = false;
    alignas(8) unsigned char listing[kListingBytes];
};

WalkRecord* RecordOf(HANDLE handle) {
    if (handle == nullptr || handle == INVALID_HANDLE_VALUE) {
        return nullptr;
    }
    return reinterpret_cast<WalkRecord*>(handle);
}

BOOL FailWithStatus(::NTSTATUS status) {
    ::SetLastError(::RtlNtStatusToDosError(status));
    return 0;
}

BOOL Fail(DWORD error) {
    ::SetLastError(error);
    return 0;
}

// The rights asked for were refused, or are held by somebody who doesn't share them: the
// directory is held without the rights to change and remove it, so that it can still be emptied.
bool IsRefusal(::NTSTATUS status) {
    constexpr ::NTSTATUS kAccessDenied = static_cast<::NTSTATUS>(0xC0000022L);
    constexpr ::NTSTATUS kSharingViolation = static_cast<::NTSTATUS>(0xC0000043L);
    return status == kAccessDenied || status == kSharingViolation;
}

std::size_t NameLength(const unsigned short* name) {
    std::size_t length = 0;
    while (name[length] != 0) {
        ++length;
    }
    return length;
}

// Opens name relative to the held directory parent, as itself even when it is a reparse point.
::NTSTATUS OpenRelative(::HANDLE parent, const unsigned short* name, ::ACCESS_MASK access,
                        ::ULONG share, ::ULONG options, ::HANDLE& opened) {
    ::UNICODE_STRING text;
    text.Buffer = const_cast<wchar_t*>(win::Wide(name));
    text.Length = static_cast<::USHORT>(NameLength(name) * sizeof(wchar_t));
    text.MaximumLength = text.Length;
    ::OBJECT_ATTRIBUTES attributes;
    InitializeObjectAttributes(&attributes, &text, OBJ_CASE_INSENSITIVE, parent, nullptr);
    ::IO_STATUS_BLOCK status{};
    opened = INVALID_HANDLE_VALUE;
    return ::NtCreateFile(&opened, access, &attributes, &status, nullptr, 0, share, FILE_OPEN,
                          options, nullptr, 0);
}

bool ReadAttributes(::HANDLE handle, ::FILE_BASIC_INFO& basic) {
    return ::GetFileInformationByHandleEx(handle, ::FileBasicInfo, &basic, sizeof(basic)) != 0;
}

bool WriteAttributes(::HANDLE handle, ::FILE_BASIC_INFO basic, DWORD attributes) {
    basic.FileAttributes = attributes;
    return ::SetFileInformationByHandle(handle, ::FileBasicInfo, &basic, sizeof(basic)) != 0;
}

// Marks the open entry for deletion, with force clearing its read-only state just before and
// giving it back when it stays. The entry goes when its last handle closes.
BOOL DeleteOpened(::HANDLE handle, bool force) {
    ::FILE_BASIC_INFO basic{};
    bool cleared = false;
    if (force && ReadAttributes(handle, basic) &&
        (basic.FileAttributes & FILE_ATTRIBUTE_READONLY) != 0) {
        cleared = WriteAttributes(handle, basic, basic.FileAttributes & ~FILE_ATTRIBUTE_READONLY);
    }
    ::FILE_DISPOSITION_INFO disposition{};
    disposition.DeleteFile = TRUE;
    if (::SetFileInformationByHandle(handle, ::FileDispositionInfo, &disposition,
                                     sizeof(disposition)) != 0) {
        return 1;
    }
    if (cleared) {
        const DWORD error = ::GetLastError();
        (void)WriteAttributes(handle, basic, basic.FileAttributes);
        ::SetLastError(error);
    }
    return 0;
}

// Takes an open directory over as a held one; a reparse point is closed and refused, with its tag
// in entry when there is one.
HANDLE Hold(::HANDLE opened, bool removable, WALK_ENTRY* entry) {
    ::FILE_ATTRIBUTE_TAG_INFO tag{};
    if (::GetFileInformationByHandleEx(opened, ::FileAttributeTagInfo, &tag, sizeof(tag)) == 0) {
        const DWORD error = ::GetLastError();
        ::CloseHandle(opened);
        ::SetLastError(error);
        return INVALID_HANDLE_VALUE;
    }
    if ((tag.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 ||
        (tag.FileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
        if (entry != nullptr && (tag.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
            entry->dwFileAttributes |= FILE_ATTRIBUTE_REPARSE_POINT;
            entry->dwReparseTag = tag.ReparseTag;
        }
        ::CloseHandle(opened);
        ::SetLastError(ERROR_DIRECTORY);
        return INVALID_HANDLE_VALUE;
    }
    auto* record = new (std::nothrow) WalkRecord();
    if (record == nullptr) {
        ::CloseHandle(opened);
        ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return INVALID_HANDLE_VALUE;
    }
    record->directory = opened;
    record->removable = removable;
    return reinterpret_cast<HANDLE>(record);
}

} // namespace

HANDLE OpenWalkDirectoryW(const unsigned short* path) {
    constexpr DWORD kFlags = FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT;
    bool removable = true;
    ::HANDLE opened = ::CreateFileW(win::Wide(path), kHeldAccess, kHeldShare, nullptr,
                                    OPEN_EXISTING, kFlags, nullptr);
    if (opened == INVALID_HANDLE_VALUE &&
        (::GetLastError() == ERROR_ACCESS_DENIED || ::GetLastError() == ERROR_SHARING_VIOLATION)) {
        removable = false;
        opened = ::CreateFileW(win::Wide(path), kListAccess, kHeldShare, nullptr, OPEN_EXISTING,
                               kFlags, nullptr);
    }
    if (opened == INVALID_HANDLE_VALUE) {
        return INVALID_HANDLE_VALUE;
    }
    return Hold(opened, removable, nullptr);
}

HANDLE OpenWalkSubdirectoryW(HANDLE directory, WALK_ENTRY* entry) {
    WalkRecord* parent = RecordOf(directory);
    if (parent == nullptr || entry == nullptr) {
        ::SetLastError(parent == nullptr ? ERROR_INVALID_HANDLE : ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }
    constexpr ::ULONG kOptions = FILE_DIRECTORY_FILE | kOpenAsItself;
    bool removable = true;
    ::HANDLE opened = INVALID_HANDLE_VALUE;
    ::NTSTATUS status = OpenRelative(parent->directory, entry->cFileName, kHeldAccess, kHeldShare,
                                     kOptions, opened);
    if (IsRefusal(status)) {
        removable = false;
        status = OpenRelative(parent->directory, entry->cFileName, kListAccess, kHeldShare,
                              kOptions, opened);
    }
    if (!NT_SUCCESS(status)) {
        FailWithStatus(status);
        return INVALID_HANDLE_VALUE;
    }
    return Hold(opened, removable, entry);
}

BOOL NextWalkEntryW(HANDLE directory, WALK_ENTRY* entry) {
    WalkRecord* record = RecordOf(directory);
    if (record == nullptr || entry == nullptr) {
        return Fail(record == nullptr ? ERROR_INVALID_HANDLE : ERROR_INVALID_PARAMETER);
    }
    for (;;) {
        if (!record->hasListing) {
            if (record->ended) {
                return Fail(ERROR_NO_MORE_FILES);
            }
            if (::GetFileInformationByHandleEx(record->directory, ::FileIdBothDirectoryInfo,
                                               record->listing, sizeof(record->listing)) == 0) {
                record->ended = ::GetLastError() == ERROR_NO_MORE_FILES;
                return 0;
            }
            record->hasListing = true;
            record->offset = 0;
        }
        const auto* found =
            reinterpret_cast<const ::FILE_ID_BOTH_DIR_INFO*>(record->listing + record->offset);
        if (found->NextEntryOffset == 0) {
            record->hasListing = false;
        } else {
            record->offset += found->NextEntryOffset;
        }
        const std::size_t length = found->FileNameLength / sizeof(wchar_t);
        const wchar_t* name = found->FileName;
        if ((length == 1 && name[0] == L'.') ||
            (length == 2 && name[0] == L'.' && name[1] == L'.') || length >= MAX_PATH) {
            continue;
        }
        entry->dwFileAttributes = found->FileAttributes;
        // For a reparse point the listing gives the tag in place of the size of extended
        // attributes.
        entry->dwReparseTag =
            (found->FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 ? found->EaSize : 0;
        std::memcpy(entry->cFileName, name, length * sizeof(wchar_t));
        entry->cFileName[length] = 0;
        ::SetLastError(ERROR_SUCCESS);
        return 1;
    }
}

BOOL DeleteWalkEntryW(HANDLE directory, const WALK_ENTRY* entry, BOOL force) {
    WalkRecord* record = RecordOf(directory);
    if (record == nullptr || entry == nullptr) {
        return Fail(record == nullptr ? ERROR_INVALID_HANDLE : ERROR_INVALID_PARAMETER);
    }
    // A reparse point goes as itself, a directory link or junction included; anything else must
    // still be no directory.
    const bool reparsePoint = (entry->dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    const ::ULONG options = kOpenAsItself | (reparsePoint ? 0 : FILE_NON_DIRECTORY_FILE);
    ::HANDLE opened = INVALID_HANDLE_VALUE;
    ::NTSTATUS status = OpenRelative(record->directory, entry->cFileName, kDeleteAccess,
                                     kDeleteShare, options, opened);
    if (status == static_cast<::NTSTATUS>(0xC0000022L)) { // without the right to its attributes
        status = OpenRelative(record->directory, entry->cFileName,
                              DELETE | FILE_READ_ATTRIBUTES | SYNCHRONIZE, kDeleteShare, options,
                              opened);
    }
    if (!NT_SUCCESS(status)) {
        return FailWithStatus(status);
    }
    const BOOL deleted = DeleteOpened(opened, force != 0);
    const DWORD error = ::GetLastError();
    ::CloseHandle(opened);
    ::SetLastError(deleted != 0 ? ERROR_SUCCESS : error);
    return deleted;
}

BOOL RemoveWalkDirectoryW(HANDLE directory, BOOL force) {
    WalkRecord* record = RecordOf(directory);
    if (record == nullptr) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    const BOOL removed =
        record->removable ? DeleteOpened(record->directory, force != 0) : Fail(ERROR_ACCESS_DENIED);
    const DWORD error = ::GetLastError();
    ::CloseHandle(record->directory);
    delete record;
    ::SetLastError(removed != 0 ? ERROR_SUCCESS : error);
    return removed;
}

BOOL CloseWalkHandle(HANDLE directory) {
    WalkRecord* record = RecordOf(directory);
    if (record == nullptr) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    const DWORD error = ::GetLastError();
    ::CloseHandle(record->directory);
    delete record;
    ::SetLastError(error);
    return 1;
}

} // namespace platform
} // namespace zelk
} // namespace vorlan
