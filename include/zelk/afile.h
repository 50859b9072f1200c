// AFile: a value object that names one file-system entry, a file or a directory, by its path.
#ifndef ZELK_AFILE_H
#define ZELK_AFILE_H

#include <zelk/aallocator.h>
#include <zelk/apath.h>
#include <zelk/apathcomponent.h>
#include <zelk/astring.h>
#include <zelk/export.h>

#include <cstddef>

namespace vorlan {
namespace zelk {

class AFileImpl;

// An entry named by a path; the entry need not exist. The object holds the parsed path and, beside
// it, the path rendered in Windows notation with the long-path prefix where one is needed: that
// text is what the file system is given and what PathChanged reports. The path is never read back
// from the disk: an AFile names what it was told until it is told otherwise.
//
// An AFile is in one of three states: no implementation object (AFile(), an empty path or text,
// a move's source), an implementation object with an empty path, or one with a path. The first
// two answer nearly every question alike; an object is made only when there is something to store
// (a non-empty path, text or component, or a true DeleteOnDestroy) and stays until the AFile dies
// or is moved from. Copies never share the object.
//
// Every change of the path (AppendName, SetName, RemoveName, SetPath, SetParentPath,
// ResolvePathAliases, copy assignment) ends by calling PathChanged with the new rendered text.
// Constructors, moves, the destructor, DeleteOnDestroy and the file-system operations never do.
//
// When a registered allocate procedure gives no memory for the implementation object, the
// operation that wanted one acts as if it had no object and nothing to store: AppendName and
// SetName return false, the other naming operations and DeleteOnDestroy change nothing, a copy
// has no object; no PathChanged follows in any of these cases.
class ZELK_API AFile {
public:
    // Desired access of CanOpen.
    enum AccessMode : unsigned int { kAccessRead = 1, kAccessWrite = 2, kAccessReadWrite = 3 };
    // What CanOpen lets others do with the entry while it is open.
    enum ShareMode : unsigned int {
        kShareRead = 1,
        kShareWrite = 2,
        kShareReadWrite = 3,
        kShareNone = 4
    };

    // One yes-or-no question about the entry. An alias is a shell link, known by the extension
    // "lnk" of the name in any letter case.
    enum BoolAttribute : unsigned int {
        kIsFile = 1,             // exists, no directory, no alias
        kIsDirectory = 2,        // exists as a directory
        kIsAlias = 3,            // the name alone: the file system is not asked
        kIsAliasToFile = 4,      // an alias that resolves to something that is no directory
        kIsAliasToDirectory = 5, // an alias that resolves to a directory
        kIsReadable = 6,         // can be opened for reading
        kIsWritable = 7,         // can be opened for writing
        kIsReadOnly = 8,         // has the read-only bit
        kIsHidden = 9,           // has the hidden bit
        kIsUnsupported = 10      // an attribute this platform lacks: never true, never set
    };

    // The boolean attributes at once; the order differs from that of BoolAttribute. The last
    // four are filled only on request and are false otherwise.
    struct BoolAttributes {
        bool fIsFile;
        bool fIsDirectory;
        bool fIsAlias;
        bool fIsReadOnly;
        bool fIsHidden;
        bool fIsUnsupported;
        bool fIsAliasToFile;
        bool fIsAliasToDirectory;
        bool fIsReadable;
        bool fIsWritable;
    };

    // A time is the platform's FILETIME unchanged: 100-nanosecond intervals since 1 January 1601,
    // UTC, the low 32 bits in dwLowDateTime. 0 stands for failure.
    enum TimeAttribute : unsigned int { kCreationTime = 1, kModificationTime = 2, kAccessTime = 3 };

    struct TimeAttributes {
        unsigned long long fCreationTime;
        unsigned long long fModificationTime;
        unsigned long long fAccessTime;
    };

    // Type and creator codes of a file system that keeps them. This platform has none: every
    // operation on them returns false and touches nothing.
    enum OSTypeAttribute : unsigned int { kFileType = 1, kFileCreator = 2 };

    struct OSTypeAttributes {
        long fFileType;
        long fFileCreator;
    };

    // No implementation object.
    AFile();
    // An empty path or text gives no implementation object. Text is parsed in native notation.
    explicit AFile(const APath& path);
    explicit AFile(const AString& path);
    // A copy has its own object with the path, rendered text and delete-on-destroy mark of the
    // other, or none when the other has neither a path nor the mark.
    AFile(const AFile& other);
    // Takes the other's object; the other then has none, and so deletes nothing when it dies.
    AFile(AFile&& other) noexcept;
    // Deletes the entry named at that moment if DeleteOnDestroy(true) was told; a failure of the
    // deletion goes unnoticed.
    virtual ~AFile();

    // Takes the other's path, text and mark, then calls PathChanged. An other without an object
    // empties this path (PathChanged twice, both with empty text, when there was a path) and
    // clears the mark. Assigning an object to itself, or between two objects that have none,
    // does nothing.
    AFile& operator=(const AFile& other);
    // Swaps the two objects, marks included; no PathChanged.
    AFile& operator=(AFile&& other) noexcept;

    // Equal when both render to the same text, unit by unit (letter case counts; the disk is not
    // asked; the mark plays no part). No object and an empty path are equal.
    bool operator==(const AFile& other) const;
    bool operator!=(const AFile& other) const;

    // The last component; empty for an empty path.
    APathComponent GetName() const;
    AString GetNameStr() const;
    // Appends one component. An empty component returns true and changes nothing. A component of
    // more than 255 UTF-16 units returns false and changes nothing (an object made for it stays,
    // with an empty path).
    bool AppendName(const APathComponent& name);
    bool AppendName(const AString& name);
    // Replaces the last component; into an empty path the component is appended, and an empty
    // component removes the last one. Over-long components fail as in AppendName. An empty
    // component with no object returns true and makes none.
    bool SetName(const APathComponent& name);
    bool SetName(const AString& name);
    // Removes the last component; true for an empty path, with no PathChanged.
    bool RemoveName();

    APath GetPath() const;
    // The rendered text with true. With false, the same text while it is at most 260 characters;
    // a longer one is written anew in native notation without the long-path prefix.
    AString GetPath(bool longPath) const;
    // All but the last component; empty for an empty path.
    APath GetParentPath() const;
    // The text of all but the last component in native notation, with the long-path prefix
    // where longPath asks for it and the text is long enough.
    AString GetParentPath(bool longPath) const;
    // Each form replaces the path and calls PathChanged, also when the new path is empty; only an
    // empty argument on an AFile with no object does nothing. The rvalue form swaps: the argument
    // holds the old path afterwards. Text is parsed in native notation.
    void SetPath(const APath& path);
    void SetPath(APath&& path);
    void SetPath(const AString& path);
    // Replaces everything in front of the last component; for an empty path the argument becomes
    // the whole path. Calls PathChanged as SetPath does.
    void SetParentPath(const APath& path);
    void SetParentPath(const AString& path);
    bool HasPath() const;
    // The path has more than one component.
    bool HasParentPath() const;
    bool HasValidPath() const;
    // Marks the entry for deletion when this AFile dies, on the path of that moment. Delete is not
    // recursive, so a directory with entries stays. True on an AFile with no object makes one.
    void DeleteOnDestroy(bool deleteOnDestroy);
    // Removes "." components and each ".." with the component in front of it; PathChanged only
    // when something was removed.
    void ResolvePathAliases();
    // Makes this object name what it leads to: the target of a shell link, or itself for any
    // other existing entry (CoreFileUtils::ResolveAlias with this object as source and target,
    // asking the user nothing). True on success, when PathChanged has run if a link was followed;
    // a link's target never carries the delete-on-destroy mark, so the mark is dropped then.
    // False, with nothing changed, with no object, for a missing entry, and for a link that can't
    // be read or leads nowhere.
    bool ResolveAlias();

    // Creates an empty file or a directory. code, when not null, receives 0 on success, 161
    // (bad path name) for an empty path or where a parent is no directory, 183 (already exists)
    // for an existing entry of either kind, or the platform's error number otherwise. With
    // makeParents the missing directories above the entry are created first (never a volume's
    // root); those made before a failure stay.
    bool MakeFile(bool makeParents, unsigned long* code);
    bool MakeDirectory(bool makeParents, unsigned long* code);
    // Deletes a file or an empty directory; false when the entry is missing or the deletion fails.
    bool Delete() const;
    bool Exists() const;
    // True when something else holds the entry open, asked by trying to open it for sole use.
    bool IsOpen() const;
    // Whether the entry could be opened now with that access and sharing; false for a value
    // outside the enumerations.
    bool CanOpen(AccessMode mode, ShareMode share) const;
    // Sets the modification time of an existing file or directory to now; creates nothing.
    bool Touch();

    // The parent exists and is a directory, or an alias that resolves to one; false for a path of
    // one component.
    bool ParentExists() const;
    // A file's length in bytes; a directory's number of entries (without "." and ".."); 0 on
    // failure.
    unsigned long long GetSize() const;
    // GetSize is 0: true for an empty file, an empty directory, a missing entry and no object.
    bool IsEmpty() const;

    // 0 on failure or for a value outside the enumeration.
    unsigned long long GetAttribute(TimeAttribute attribute) const;
    // False on failure or for a value outside the enumeration.
    bool GetAttribute(BoolAttribute attribute) const;
    // Always false; value is not touched.
    bool GetAttribute(OSTypeAttribute attribute, long& value) const;
    // Only kIsReadOnly and kIsHidden can be set; the other attribute bits stay as they are.
    bool SetAttribute(BoolAttribute attribute, bool value);
    // Sets one time and leaves the other two alone; the file system keeps it at its own
    // precision.
    bool SetAttribute(TimeAttribute attribute, const unsigned long long& value);
    // Always false.
    bool SetAttribute(OSTypeAttribute attribute, const long& value);
    // Clears the structure, then fills it; false for a missing entry, the structure cleared.
    // resolveAliases asks for fIsAliasToFile and fIsAliasToDirectory, testAccess for fIsReadable
    // and fIsWritable. With no object the structure is left as it was.
    bool GetAttributes(BoolAttributes& attributes, bool resolveAliases, bool testAccess) const;
    bool GetAttributes(TimeAttributes& attributes) const;
    // Always false; the structure is not touched.
    bool GetAttributes(OSTypeAttributes& attributes) const;

    static void* operator new(std::size_t size);
    static void* operator new[](std::size_t size);
    static void* operator new(std::size_t size, void* place);
    static void operator delete(void* pointer);
    static void operator delete[](void* pointer);
    static void operator delete(void* pointer, void* place);

protected:
    // Called as the last step of every change of the path, with the new rendered text (Windows
    // notation, long-path prefix included; empty for an empty path). Does nothing here.
    virtual void PathChanged(const AString& nativePath);

private:
    // Makes the implementation object if there is none; false when no memory was given for it.
    bool EnsureImpl();
    // Renders the changed path, then tells PathChanged.
    void FinishPathChange();

    AFileImpl* fpImpl;
};

} // namespace zelk
} // namespace vorlan

#endif // ZELK_AFILE_H
