// APath: a path held as a list of components and an absolute flag, in Windows or POSIX notation.
#ifndef ZELK_APATH_H
#define ZELK_APATH_H

#include <zelk/aallocator.h>
#include <zelk/apathcomponent.h>
#include <zelk/apathiterator.h>
#include <zelk/apathreverseiterator.h>
#include <zelk/astring.h>
#include <zelk/export.h>

#include <cstddef>
#include <functional>
#include <iosfwd>

namespace vorlan {
namespace zelk {

class APathImpl;

// A path as a list of APathComponent values and an absolute flag. Text is parsed into the list
// by SetPath and written back by GetPath, in either notation whatever it was parsed from:
//
//   notation  separators  root     drive             UNC                 long-path prefix
//   Windows   \ and /     (none)   C:\dir, C:dir     \\server\share\dir  \\?\C:\..., \\?\UNC\...
//   POSIX     / only      /        (none)            (none)              (none)
//
// The shape of the list says what a path is: a first component flagged as a drive is a Windows
// drive path (absolute for C:\dir, drive-relative for C:dir); an absolute list of two or more
// components whose first is neither empty nor a drive is a UNC path (server, share, ...); an
// absolute list whose first component is empty is a POSIX absolute path (the empty component
// is the root). Every text is accepted under the three notations; IsValid says whether the
// result is fit for the disk. Positional operations take an index, an APathIterator or an
// APathReverseIterator; a bad position is answered by false or an empty value, never by an
// exception of the library's own, and leaves the path unchanged. Any change of the list makes
// every iterator over the path stale. A count that reaches past the end, also one whose sum with
// the index passes 32 bits, runs to the last component.
//
// Texts are taken unit for unit: separators and prefixes are found among the units, and every
// other unit goes into the component it stands in. A lone high surrogate at the end of a text, or
// in front of a separator, stays at the end of its component (see APathComponent), so no parse
// drops a unit and a path always names the entry its text names.
//
// Memory. Whenever a path needs memory and none can be had, std::bad_alloc is thrown, also when a
// registered allocate procedure returns null, and the path stays as it was: a parse, an edit or a
// copy is complete or has not happened, and no text or path comes back shorter than asked for.
// Only the default constructor may leave a path without its implementation object when the
// registered procedure gives none; such a path reads as the empty relative path and takes an
// object as soon as it is changed. Iterators are the exception (see APathIterator).
class ZELK_API APath {
public:
    enum PathType : unsigned int { kNativePath = 1, kPosixPath = 2, kWinPath = 3 };
    enum InsertPosition : unsigned int { kInsertAfter = 1, kInsertBefore = 2 };

    // The longest path the library provides for, in UTF-16 units. Nothing in the path class
    // tests it.
    static constexpr unsigned long kMaxPathLength = 32767;
    // As an index: the last component.
    static constexpr unsigned long kLastComponentIndex = 0xFFFFFFFFul;
    // As a count: through the last component.
    static constexpr unsigned long kToLast = 0xFFFFFFFFul;

    APath();
    // Parses path as SetPath does; a type outside the enumeration leaves the path empty.
    APath(const AString& path, PathType type);
    // A relative path of that one component, or an empty path for an empty component.
    explicit APath(const APathComponent& component);
    APath(const APath& other);
    // Takes the other's list; the source can then only be destroyed or move-assigned.
    APath(APath&& other) noexcept;
    virtual ~APath();

    APath& operator=(const APath& other);
    APath& operator=(APath&& other) noexcept;

    // Same components pair by pair and the same absolute flag; exact, case included.
    bool operator==(const APath& other) const;
    bool operator!=(const APath& other) const;

    // A copy of the component at index (kLastComponentIndex: the last); an empty component for
    // an index at or beyond the size.
    APathComponent operator[](unsigned long index) const;
    APathComponent GetComponent(unsigned long index) const;

    // Replaces the whole path with the parse of path and returns true; an empty text gives the
    // empty path. kNativePath reads as kWinPath; a Windows text that begins with a separator but
    // names no server and share is parsed as POSIX. A type outside the enumeration with a
    // non-empty text returns false and changes nothing.
    bool SetPath(const AString& path, PathType type);
    // Not empty, every component valid, and no drive but possibly the first.
    bool IsValid() const;
    bool IsAbsolute() const;
    bool IsRelative() const;
    bool IsEmpty() const;
    unsigned long Size() const;
    // Set or clear the absolute flag alone; the list is not touched.
    void SetAbsolute();
    void SetRelative();

    // The text of all components, or of all but the last. kNativePath writes as kWinPath; a type
    // outside the enumeration gives the empty text. With longPath, an absolute Windows drive or
    // UNC text of 261 characters or more gets the \\?\ or \\?\UNC\ prefix; an absolute list of
    // neither shape gets \\?\UNC\ in front of its whole text, a form that names nothing on disk.
    AString GetPath(PathType type, bool longPath) const;
    AString GetParentPath(PathType type, bool longPath) const;

    // Editing by position. An index is below Size(), or kLastComponentIndex for the last
    // component. An iterator must come from this path's own begin()/end() or rbegin()/rend(),
    // not from an equal path; end() and rend() address nothing (only InsertComponent takes them).
    // A count runs forward from the addressed component, in the reverse forms too. A bad position
    // gives false or an empty value and leaves the path as it was. Only SetParentPath changes the
    // absolute flag.

    // All components in front of the addressed one, with this path's absolute flag; empty at
    // index 0.
    APath GetParent(unsigned long index) const;
    APath GetParent(const APathIterator& it) const;
    APath GetParent(const APathReverseIterator& it) const;
    // count components from the addressed one; absolute only when it starts at an absolute
    // path's first component.
    APath Subpath(unsigned long index, unsigned long count) const;
    APath Subpath(const APathIterator& it, unsigned long count) const;
    APath Subpath(const APathReverseIterator& it, unsigned long count) const;
    // Those behind move up; deleting the last component leaves an empty path.
    bool DeleteComponent(unsigned long index);
    bool DeleteComponent(const APathIterator& it);
    bool DeleteComponent(const APathReverseIterator& it);
    // The addressed component takes all of component's state, drive flag included. Refuses an
    // empty component.
    bool SetComponent(unsigned long index, const APathComponent& component);
    bool SetComponent(const APathIterator& it, const APathComponent& component);
    bool SetComponent(const APathReverseIterator& it, const APathComponent& component);
    // Inserts in front of the addressed component for kInsertBefore, behind it for any other
    // position. An empty path takes index 0 or kLastComponentIndex. Refuses an empty component,
    // except the root of an empty absolute path (index form only). At end() the iterator form
    // appends and at rend() it puts the component first, whatever position says.
    bool InsertComponent(unsigned long index, const APathComponent& component,
                         InsertPosition position);
    bool InsertComponent(const APathIterator& it, const APathComponent& component,
                         InsertPosition position);
    bool InsertComponent(const APathReverseIterator& it, const APathComponent& component,
                         InsertPosition position);
    // Replaces count components (0 is refused) from the addressed one with copies of path's
    // components; an empty path makes it a removal. On an empty path, kLastComponentIndex takes
    // a copy of path's list. Given this same path, it works on a copy of it.
    bool Replace(unsigned long index, unsigned long count, const APath& path);
    bool Replace(const APathIterator& it, unsigned long count, const APath& path);
    bool Replace(const APathReverseIterator& it, unsigned long count, const APath& path);
    // The components in front of the addressed one give way to copies of path's. On an empty
    // path, kLastComponentIndex takes a copy of path's list. Given this same path, it works on a
    // copy of it.
    bool SetParent(unsigned long index, const APath& path);
    bool SetParent(const APathIterator& it, const APath& path);
    bool SetParent(const APathReverseIterator& it, const APath& path);
    // Parses text as SetPath does, flags included, and puts the former last component behind it.
    // On an empty path it is SetPath alone. A type SetPath refuses gives false and no change.
    bool SetParentPath(const AString& text, PathType type);
    // Appends all of path's components with no test (this same path appends a copy of itself),
    // or one component as InsertComponent(kLastComponentIndex, component, kInsertAfter) does: an
    // empty one is dropped silently, unless it becomes the root of an empty absolute path.
    APath& Append(const APath& path);
    APath& Append(const APathComponent& component);
    APath& operator+=(const APath& path);
    APath& operator+=(const APathComponent& component);
    APath operator+(const APath& path) const;
    APath operator+(const APathComponent& component) const;

    // Makes a valid relative path absolute against base, or the current directory (of its own
    // drive for a drive-relative path); true only if it did. resolve collapses "." and "..".
    // False, with the path unchanged, for an absolute or invalid path, a base that is relative or
    // invalid, a current directory that can't be read (removed, say), and a drive-relative path
    // whose drive has no existing current directory (a missing drive). The process's current
    // drive and directory are only read, never changed: the drive's own directory comes from the
    // full-path query of the bare drive ("D:"), so no other thread ever sees them move.
    bool MakeAbsolute(const APath* base, bool resolve);
    // Removes "." components and each ".." with the component in front of it; true when
    // anything was removed.
    bool ResolveAliases();

    APathIterator begin() const;
    APathIterator end() const;
    APathReverseIterator rbegin() const;
    APathReverseIterator rend() const;

    static void* operator new(std::size_t size);
    static void* operator new[](std::size_t size);
    static void* operator new(std::size_t size, void* place);
    static void operator delete(void* pointer);
    static void operator delete[](void* pointer);
    static void operator delete(void* pointer, void* place);

private:
    friend struct APathAccess;
    // The implementation object, made first where there is none (std::bad_alloc if it can't be).
    APathImpl& Own();
    // The records behind an iterator, for the iterator forms of the editing operations.
    static const APathIteratorImpl* RecordOf(const APathIterator& it);
    static const APathReverseIteratorImpl* RecordOf(const APathReverseIterator& it);

    APathImpl* fpImpl;
};

// A hash of the components and the absolute flag, consistent with operator== (so the form of the
// parse doesn't count).
ZELK_API std::size_t HashValue(const APath& path) noexcept;
// Writes the path as UTF-8 in the notation it was parsed from: POSIX for a POSIX parse (also of a
// rooted text that Windows notation handed on), Windows otherwise, also for a path built by
// editing alone; never with a long-path prefix.
ZELK_API std::ostream& operator<<(std::ostream& out, const APath& path);

} // namespace zelk
} // namespace vorlan

// Paths as keys of unordered containers.
namespace std {
template <> struct hash<vorlan::zelk::APath> {
    std::size_t operator()(const vorlan::zelk::APath& path) const noexcept {
        return vorlan::zelk::HashValue(path);
    }
};
} // namespace std

#endif // ZELK_APATH_H
