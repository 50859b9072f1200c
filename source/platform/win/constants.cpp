// Compile-time proof that the layer's constants are the SDK's.
#include "platform/platform.h"

namespace {
namespace ours = vorlan::zelk::platform;
// Taken before the SDK's macros of the same names exist.
struct Constant {
    unsigned long long value;
};
constexpr Constant kOurs[] = {
    {ours::GENERIC_READ},
    {ours::GENERIC_WRITE},
    {ours::GENERIC_EXECUTE},
    {ours::GENERIC_ALL},
    {ours::FILE_READ_DATA},
    {ours::FILE_WRITE_DATA},
    {ours::FILE_APPEND_DATA},
    {ours::FILE_READ_ATTRIBUTES},
    {ours::FILE_WRITE_ATTRIBUTES},
    {ours::DELETE},
    {ours::FILE_SHARE_READ},
    {ours::FILE_SHARE_WRITE},
    {ours::FILE_SHARE_DELETE},
    {ours::CREATE_NEW},
    {ours::CREATE_ALWAYS},
    {ours::OPEN_EXISTING},
    {ours::OPEN_ALWAYS},
    {ours::TRUNCATE_EXISTING},
    {ours::FILE_FLAG_BACKUP_SEMANTICS},
    {ours::FILE_FLAG_OPEN_REPARSE_POINT},
    {ours::FILE_ATTRIBUTE_READONLY},
    {ours::FILE_ATTRIBUTE_HIDDEN},
    {ours::FILE_ATTRIBUTE_SYSTEM},
    {ours::FILE_ATTRIBUTE_DIRECTORY},
    {ours::FILE_ATTRIBUTE_ARCHIVE},
    {ours::FILE_ATTRIBUTE_NORMAL},
    {ours::FILE_ATTRIBUTE_REPARSE_POINT},
    {ours::INVALID_FILE_ATTRIBUTES},
    {ours::IO_REPARSE_TAG_SYMLINK},
    {ours::IO_REPARSE_TAG_MOUNT_POINT},
    {ours::SEM_FAILCRITICALERRORS},
    {ours::MAX_PATH},
    {ours::ERROR_FILE_NOT_FOUND},
    {ours::ERROR_PATH_NOT_FOUND},
    {ours::ERROR_ACCESS_DENIED},
    {ours::ERROR_INVALID_HANDLE},
    {ours::ERROR_INVALID_DRIVE},
    {ours::ERROR_NO_MORE_FILES},
    {ours::ERROR_SHARING_VIOLATION},
    {ours::ERROR_NOT_SUPPORTED},
    {ours::ERROR_BAD_NETPATH},
    {ours::ERROR_FILE_EXISTS},
    {ours::ERROR_INVALID_PARAMETER},
    {ours::ERROR_DISK_FULL},
    {ours::ERROR_INVALID_NAME},
    {ours::ERROR_DIR_NOT_EMPTY},
    {ours::ERROR_BAD_PATHNAME},
    {ours::ERROR_ALREADY_EXISTS},
    {ours::ERROR_FILENAME_EXCED_RANGE},
    {ours::ERROR_DIRECTORY},
    {ours::ERROR_MORE_DATA},
    {ours::ERROR_BAD_DEVICE},
    {ours::ERROR_NOT_CONNECTED},
    {ours::NO_ERROR},
    {ours::MOVEFILE_REPLACE_EXISTING},
    {ours::MOVEFILE_COPY_ALLOWED},
    {ours::MOVEFILE_WRITE_THROUGH},
    {ours::DRIVE_UNKNOWN},
    {ours::DRIVE_NO_ROOT_DIR},
    {ours::DRIVE_FIXED},
    {ours::DRIVE_REMOTE},
};
} // namespace

#include "platform/win/winapi.h"

namespace {
constexpr unsigned long long kTheirs[] = {
    GENERIC_READ,
    GENERIC_WRITE,
    GENERIC_EXECUTE,
    GENERIC_ALL,
    FILE_READ_DATA,
    FILE_WRITE_DATA,
    FILE_APPEND_DATA,
    FILE_READ_ATTRIBUTES,
    FILE_WRITE_ATTRIBUTES,
    DELETE,
    FILE_SHARE_READ,
    FILE_SHARE_WRITE,
    FILE_SHARE_DELETE,
    CREATE_NEW,
    CREATE_ALWAYS,
    OPEN_EXISTING,
    OPEN_ALWAYS,
    TRUNCATE_EXISTING,
    FILE_FLAG_BACKUP_SEMANTICS,
    FILE_FLAG_OPEN_REPARSE_POINT,
    FILE_ATTRIBUTE_READONLY,
    FILE_ATTRIBUTE_HIDDEN,
    FILE_ATTRIBUTE_SYSTEM,
    FILE_ATTRIBUTE_DIRECTORY,
    FILE_ATTRIBUTE_ARCHIVE,
    FILE_ATTRIBUTE_NORMAL,
    FILE_ATTRIBUTE_REPARSE_POINT,
    INVALID_FILE_ATTRIBUTES,
    IO_REPARSE_TAG_SYMLINK,
    IO_REPARSE_TAG_MOUNT_POINT,
    SEM_FAILCRITICALERRORS,
    MAX_PATH,
    ERROR_FILE_NOT_FOUND,
    ERROR_PATH_NOT_FOUND,
    ERROR_ACCESS_DENIED,
    ERROR_INVALID_HANDLE,
    ERROR_INVALID_DRIVE,
    ERROR_NO_MORE_FILES,
    ERROR_SHARING_VIOLATION,
    ERROR_NOT_SUPPORTED,
    ERROR_BAD_NETPATH,
    ERROR_FILE_EXISTS,
    ERROR_INVALID_PARAMETER,
    ERROR_DISK_FULL,
    ERROR_INVALID_NAME,
    ERROR_DIR_NOT_EMPTY,
    ERROR_BAD_PATHNAME,
    ERROR_ALREADY_EXISTS,
    ERROR_FILENAME_EXCED_RANGE,
    ERROR_DIRECTORY,
    ERROR_MORE_DATA,
    ERROR_BAD_DEVICE,
    ERROR_NOT_CONNECTED,
    NO_ERROR,
    MOVEFILE_REPLACE_EXISTING,
    MOVEFILE_COPY_ALLOWED,
    MOVEFILE_WRITE_THROUGH,
    DRIVE_UNKNOWN,
    DRIVE_NO_ROOT_DIR,
    DRIVE_FIXED,
    DRIVE_REMOTE,
};

static_assert(sizeof(kOurs) / sizeof(kOurs[0]) == sizeof(kTheirs) / sizeof(kTheirs[0]),
              "one SDK value for each of ours");

constexpr bool AllEqual() {
    for (unsigned i = 0; i < sizeof(kTheirs) / sizeof(kTheirs[0]); ++i) {
        if (kOurs[i].value != static_cast<unsigned long long>(
                                  static_cast<vorlan::zelk::platform::DWORD>(kTheirs[i]))) {
            return false;
        }
    }
    return true;
}
static_assert(AllEqual(), "a constant of the layer differs from the SDK's");
} // namespace
