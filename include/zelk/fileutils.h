// CoreFileUtils, CorePathUtils and WinFileUtils: the static file and path operations.
#ifndef ZELK_FILEUTILS_H
#define ZELK_FILEUTILS_H

#include <zelk/apath.h>
#include <zelk/export.h>

namespace vorlan {
namespace zelk {

class AFile;
class AString8;

// Operations on entries through AFile. No fields and no state between calls; assigning one
// object to another does nothing.
class ZELK_API CoreFileUtils {
public:
    CoreFileUtils() = default;
    CoreFileUtils(const CoreFileUtils&) = default;
    CoreFileUtils& operator=(const CoreFileUtils&) = default;
    CoreFileUtils& operator=(CoreFileUtils&&) = default;

    // Puts into target the entry that source leads to: the target of a shell link (an entry
    // whose name has the extension "lnk"), or source itself for any other entry. Returns 0 on
    // success, 1 when the link could not be read, 2 when source is missing or the link leads
    // nowhere. isDirectory (the entry in target is a directory) and wasAlias (source was a link)
    // may be null and are written only on success; on failure target is left as it was. Source
    // and target may be one object. noUI keeps the platform from asking the user anything. The
    // calling thread must have initialised the object system, or every link gives 1. One link is
    // followed once: a link to a link gives the second link. After a link is followed target
    // never carries the delete-on-destroy mark, so no entry is deleted that the caller did not
    // name; source keeps its mark unless it is target as well.
    static unsigned long ResolveAlias(const AFile& source, AFile& target, bool* isDirectory,
                                      bool* wasAlias, bool noUI);

    // UTF-8 forms of an entry's path.
    // target's former bytes are gone; it becomes the UTF-8 form of the plain path text
    // (GetPath(false): no long-path prefix, whatever the length). Empty for an empty AFile.
    static void AFileToUTF8(const AFile& file, AString8& target);
    // Decodes source and gives the text to target.SetPath (native notation), PathChanged
    // included. An empty source on an AFile with no implementation object makes none.
    static void UTF8ToAFile(const AString8& source, AFile& target);
};

// Operations on paths that touch no entry: the process's current directory, and tests of a
// path's shape. No fields and no state between calls; assigning one object to another does
// nothing.
class ZELK_API CorePathUtils {
public:
    CorePathUtils() = default;
    CorePathUtils(const CorePathUtils&) = default;
    CorePathUtils& operator=(const CorePathUtils&) = default;
    CorePathUtils& operator=(CorePathUtils&&) = default;

    // The process's current directory, parsed in Windows notation; empty when the platform
    // gives none.
    static APath GetCurrentDir();
    // Makes the valid path the process's current directory, rendered in Windows notation
    // without long-path prefix; false for an invalid (or empty) path, with no change, or when
    // the platform refuses.
    static bool SetCurrentDir(const APath& path);
    // Valid, and the first component is no drive: true of UNC and of relative paths as well. An
    // absolute POSIX path is not valid and so fails this and the two tests below.
    static bool IsPosixPath(const APath& path);
    // Valid, absolute, at least two components, and the first is no drive.
    static bool IsUNCPath(const APath& path);
    // Valid, and the first component is a drive, absolute or drive-relative.
    static bool IsWinLocalPath(const APath& path);

    // UTF-8 forms of paths and components. Each conversion replaces the output's former text and
    // reports no failure: text that parses badly shows later in IsValid, and malformed UTF-8 is
    // decoded as AString::UTF8ToAString does.
    // The path in native (Windows) notation, never with a long-path prefix.
    static void APathToUTF8(const APath& path, AString8& target);
    // Parses the decoded text in native notation; an empty text gives the empty relative path.
    static void UTF8ToAPath(const AString8& source, APath& target);
    static void APathComponentToUTF8(const APathComponent& component, AString8& target);
    // Stores the decoded text unchanged, separators included (IsValid then says false).
    static void UTF8ToAPathComponent(const AString8& source, APathComponent& target);
    // This platform has no file URL form: both do nothing, and the output keeps what it held.
    static void APathToFileURL(const APath& path, AString8& target);
    static void FileURLToAPath(const AString8& source, APath& target);
};

// The Windows side of the utilities. No fields and no state between calls; assigning one object
// to another does nothing.
class ZELK_API WinFileUtils {
public:
    WinFileUtils() = default;
    WinFileUtils(const WinFileUtils&) = default;
    WinFileUtils& operator=(const WinFileUtils&) = default;
    WinFileUtils& operator=(WinFileUtils&&) = default;

    // The entry's path in Windows notation, never with a long-path prefix; empty for an empty
    // AFile. C:/a gives C:\a.
    static AString GetLocalPath(const AFile& file);
    // The entry's path in POSIX notation (C:\a gives /C:/a); empty for an empty AFile.
    static AString GetPosixPath(const AFile& file);
    // The entry's path in Windows notation with a network drive replaced by the server and share
    // it is connected to: X:\a\b on a drive connected to \\server\share gives
    // \\server\share\a\b, and X:\ alone gives \\server\share. A drive-relative path is
    // made absolute against its drive's current directory first. Never fails: a UNC path, a path
    // without a drive, a local drive, a drive whose connection can't be read (also one whose
    // remote name is longer than 509 units) and a drive-relative path that can't be made
    // absolute all come back unchanged in Windows notation; only paths on a drive ask the
    // platform anything. Never with a long-path prefix.
    static AString GetUNCPath(const AFile& file);
};

} // namespace zelk
} // namespace vorlan

#endif // ZELK_FILEUTILS_H
