// CoreFileUtils, CorePathUtils and WinFileUtils: the static file and path operations.
#ifndef ZELK_FILEUTILS_H
#define ZELK_FILEUTILS_H

#include <zelk/apath.h>
#include <zelk/astring.h>
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

    // Temporary and unique entries.
    // The process's current directory as an entry; no implementation object when the platform
    // gives none.
    static AFile GetCurrentDir();
    // The system's temporary directory as an entry (see CorePathUtils::GetTempDir); no
    // implementation object when the platform gives none.
    static AFile GetTempDir();
    // CorePathUtils::SetCurrentDir on the entry's path.
    static bool SetCurrentDir(const AFile& directory);
    // Creates the entry named name in the temporary directory. result is first given the
    // temporary directory by a move, so whatever it held before is destroyed as a moved-from
    // AFile would be; it names the new entry on success and has an empty path on failure. Fails
    // for an existing entry (left alone) and for a name that can't be made as it stands: empty,
    // over 255 UTF-16 units, not a valid component (a separator, a drive, "." or ".."), or
    // ending in a dot or a blank, which Windows would drop from the name it creates.
    static bool CreateTempDir(const APathComponent& name, AFile& result);
    static bool CreateTempFile(const APathComponent& name, AFile& result);
    // Creates an entry in directory, missing parents included, under a name nothing uses yet:
    // prefix, the calling thread's number, a tick count and suffix, digits in decimal. Up to 1000
    // tick counts are tried, one after another from the current one. result names the new entry
    // on success and has an empty path on failure: all 1000 names taken, the creation refused
    // (no second try), or a name that can't be made as it stands (the rules of CreateTempDir;
    // the routine stops at once rather than make an entry under another name). An empty prefix
    // is allowed: the name then starts with the thread's number, still in directory. An empty
    // directory leaves a path of one component, which creation refuses. PathChanged of result
    // runs for the directory, the prefix and each name tried.
    static bool CreateUniqueDir(const APath& directory, const AString& prefix,
                                const AString& suffix, AFile& result);
    static bool CreateUniqueFile(const APath& directory, const AString& prefix,
                                 const AString& suffix, AFile& result);
    // CreateUniqueDir and CreateUniqueFile in the temporary directory; false with result left
    // alone when there is no temporary directory.
    static bool CreateUniqueTempDir(const AString& prefix, const AString& suffix, AFile& result);
    static bool CreateUniqueTempFile(const AString& prefix, const AString& suffix, AFile& result);

    // Recursive deletion.
    // Deletes the directory with everything in it, depth first; true when all of it is gone.
    // The walk holds each directory it works in and reaches every entry relative to it, so that
    // nothing renamed or swapped for a link meanwhile can lead it out of the named tree, and a
    // tree deeper than the host's longest path goes like any other. With force a read-only entry
    // is removed too: its attributes are cleared only just before its own removal, so whatever
    // stays keeps the attributes it had. An entry that fails is left with the directories that
    // hold it, the walk goes on with the rest, and the result is false. False at once, nothing
    // touched, for a missing entry or a file. A link, junction or mount point (an entry that is a
    // reparse point, a mount point of a POSIX host included) is removed as itself, never entered
    // and never emptied: nothing outside the named tree is changed. A mount point on a POSIX host
    // can't be removed, so it stays and the result is false. When the named directory is itself a
    // link, the link alone is removed. A listing that breaks off with an error leaves its
    // directory in place and gives false. A host name holding a separator (possible on POSIX
    // hosts) is no name any path can give: it is left, and the result is false.
    static bool DeleteDirectory(const AFile& directory, bool force);

    // Copy, move and rename.
    //
    // Source and target equal by AFile::operator== (exact text, so two empty AFiles too) give
    // true at once, without looking at the disk. Otherwise a missing source, a target without a
    // valid path, or an existing target when failIfExists is true give false before the platform
    // is asked. Neither AFile is changed, and there is no recursive copy: a directory as source
    // fails. On POSIX hosts a copy, and the copy of a move to another file system, is made beside
    // the target and takes the target's name only when it is whole, so one that fails at any step
    // (the process dying included) leaves an existing target exactly as it was and nothing beside
    // it; a target that is a link is followed. On Windows a copy or move that fails part-way
    // leaves what the system leaves.

    // Copies the source's content to the target, replacing an existing file there unless
    // failIfExists kept the call from being made. True when the target now holds the content.
    static bool CopyFileW(const AFile& source, const AFile& target, bool failIfExists);
    // The same as CopyFileW.
    static bool FileCopy(const AFile& source, const AFile& target, bool failIfExists);
    // Moves the entry to the target, across volumes by copying where it must. A file replaces an
    // existing file at the target (unless failIfExists kept the call from being made); a
    // directory never replaces anything. The source AFile goes on naming the old path.
    static bool MoveFileW(const AFile& source, const AFile& target, bool failIfExists);
    // The same as MoveFileW.
    static bool FileMove(const AFile& source, const AFile& target, bool failIfExists);
    // Gives the entry the new last component, never replacing an existing entry; on success
    // file names the entry under the new name (PathChanged runs). The current name, exactly as
    // it is, gives true with no change; a change of letter case is a real rename. A file that
    // does not exist takes the name without any change on disk. False, with file unchanged, for
    // an empty name, one of more than 255 UTF-16 units, a name that makes the path invalid (a
    // separator or another reserved character), or when the platform refuses.
    static bool RenameFile(AFile& file, const AString& newName);

    // Volumes.
    //
    // The volume name of a UNC path is its server and share (\\server\share), that of a path
    // with a drive its drive (C:), that of anything else empty; letter case as in the path.

    // Bytes free for the caller on the volume that holds the entry: the entry's own directory
    // when it is one, else its parent's (so the entry need not exist; an empty or one-component
    // relative path asks about the root of the current drive). A shell link asks about where it
    // leads. 0 for no room and for every failure alike, an unresolvable link included.
    static unsigned long long GetFileFreeSpace(const AFile& file);
    // The volume name of the entry's path, worked out from the text alone.
    static AString GetVolumeName(const AFile& file);
    // The two volume names are equal, letter case included; the disk is not asked, so a mapped
    // drive and its UNC share are two volumes, and two paths without a volume share one.
    static bool OnSameVolume(const AFile& first, const AFile& second);
    // The platform calls the path (without long-path prefix) a network path: UNC text, or a drive
    // mapped to a share.
    static bool OnServerVolume(const AFile& file);

    // Path equivalence.

    // The two paths (without long-path prefix) are equal with letter case folded as the user's
    // environment says. With resolveAliases, each shell link is first replaced by where it leads;
    // one that can't be resolved stays as it is. Text only: nothing is made absolute and "." and
    // ".." stay, so a relative and an absolute path are never equivalent. For the time of the
    // call the process's character-type locale is the user's; the previous one is restored on
    // every way out. When the runtime names no current locale, or there is no memory to keep its
    // name, the locale is not switched and the current one folds the letters.
    static bool PathsEquivalent(const AFile& first, const AFile& second, bool resolveAliases);

    // Showing an entry.
    // Starts the system's file browser with the entry selected (on Windows explorer.exe from the
    // Windows directory, with /select,"path", in the entry's parent directory). The entry need not
    // exist; true means only that the browser was started, and nothing waits for it. False, and
    // nothing started, for an empty AFile, for a failed start, and when the Windows directory
    // can't be read or its text leaves no room for "\explorer.exe" in a buffer of 512 units (the
    // buffer is never written past). On hosts without Win32 the desktop's file manager is asked
    // to show the entry (see zelk/posixhost.h).
    static bool ShowFileLocation(const AFile& file);
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
    // gives none (the directory was removed, say). Memory refused on the way is std::bad_alloc,
    // also from a registered allocate procedure that returns null, never an empty answer.
    static APath GetCurrentDir();
    // Makes the valid path the process's current directory, rendered in Windows notation
    // without long-path prefix; false for an invalid (or empty) path, with no change, or when
    // the platform refuses. Memory refused for the text is std::bad_alloc, with no change.
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

    // Temporary and unique entries.
    // The system's temporary directory in its long form, parsed in Windows notation, made with
    // its parents when it is missing (the path is returned even when that fails); empty when
    // the platform gives none or a text too long for a path.
    static APath GetTempDir();

    // Volumes.

    // CoreFileUtils::GetFileFreeSpace of an AFile made from the path.
    static unsigned long long GetPathFreeSpace(const APath& path);
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
