// CorePathUtils: the process's current directory and the tests of a path's shape.
#include <zelk/fileutils.h>

#include <zelk/afile.h>
#include <zelk/apathcomponent.h>
#include <zelk/astring.h>
#include <zelk/astring8.h>

#include "apathimpl.h"
#include "objectalloc.h"
#include "platform/platform.h"

#include <vector>

namespace vorlan {
namespace zelk {

namespace {

bool StartsWithDrive(const APath& path) {
    return path.GetComponent(0).IsWinDrive();
}

} // namespace

APath CorePathUtils::GetCurrentDir() {
    std::vector<unsigned short, HookAllocator<unsigned short>> buffer(APath::kMaxPathLength);
    const auto capacity = static_cast<platform::DWORD>(buffer.size());
    platform::DWORD length = 0;
    {
        platform::ErrorModeGuard guard;
        length = platform::GetCurrentDirectoryW(capacity, buffer.data());
    }
    // A result of the buffer's size or more is the size it would have needed: nothing was
    // written, and that counts as no answer.
    if (length == 0 || length >= capacity) {
        return APath();
    }
    // Memory refused on the way is std::bad_alloc, never an empty answer.
    return APath(TextOfUnits(buffer.data(), length), APath::kWinPath);
}

bool CorePathUtils::SetCurrentDir(const APath& path) {
    if (!path.IsValid()) {
        return false;
    }
    const AString text = path.GetPath(APath::kWinPath, false);
    platform::ErrorModeGuard guard;
    return platform::SetCurrentDirectoryW(text.GrabWString()) != 0;
}

bool CorePathUtils::IsPosixPath(const APath& path) {
    return path.IsValid() && !StartsWithDrive(path);
}

bool CorePathUtils::IsUNCPath(const APath& path) {
    return path.IsValid() && path.IsAbsolute() && path.Size() >= 2 && !StartsWithDrive(path);
}

bool CorePathUtils::IsWinLocalPath(const APath& path) {
    return path.IsValid() && StartsWithDrive(path);
}

// UTF-8 forms of paths and components.

void CorePathUtils::APathToUTF8(const APath& path, AString8& target) {
    AString::AStringToUTF8(path.GetPath(APath::kNativePath, false), target);
}

void CorePathUtils::UTF8ToAPath(const AString8& source, APath& target) {
    AString text;
    AString::UTF8ToAString(source, text);
    (void)target.SetPath(text, APath::kNativePath);
}

void CorePathUtils::APathComponentToUTF8(const APathComponent& component, AString8& target) {
    AString::AStringToUTF8(component.Get(), target);
}

void CorePathUtils::UTF8ToAPathComponent(const AString8& source, APathComponent& target) {
    AString text;
    AString::UTF8ToAString(source, text);
    target.Set(text);
}

void CorePathUtils::APathToFileURL(const APath& path, AString8& target) {
    (void)path;
    (void)target;
}

void CorePathUtils::FileURLToAPath(const AString8& source, APath& target) {
    (void)source;
    (void)target;
}

// Temporary and unique entries.

APath CorePathUtils::GetTempDir() {
    APath result;
    // One fixed buffer on the stack: nothing is allocated before the platform has answered.
    unsigned short buffer[APath::kMaxPathLength];
    constexpr auto capacity = static_cast<platform::DWORD>(APath::kMaxPathLength);
    platform::ErrorModeGuard guard;
    const platform::DWORD length = platform::GetTempPathW(capacity, buffer);
    // A result of the buffer's size or more is the size the text would have needed: nothing was
    // written, and that counts as no answer.
    if (length == 0 || length >= capacity) {
        return result;
    }
    // The long form replaces the text where there is one; otherwise the text stays as it was.
    (void)platform::GetLongPathNameW(buffer, buffer, capacity);
    buffer[capacity - 1] = 0;
    result.SetPath(AString(buffer), APath::kWinPath);
    if (platform::GetFileAttributesW(buffer) == platform::INVALID_FILE_ATTRIBUTES) {
        AFile directory(result);
        (void)directory.MakeDirectory(true, nullptr);
    }
    return result;
}

// Volumes.

unsigned long long CorePathUtils::GetPathFreeSpace(const APath& path) {
    return CoreFileUtils::GetFileFreeSpace(AFile(path));
}

} // namespace zelk
} // namespace vorlan
