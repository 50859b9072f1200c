// APathComponent: one segment of a path, split into base and extension.
#ifndef ZELK_APATHCOMPONENT_H
#define ZELK_APATHCOMPONENT_H

#include <zelk/astring.h>
#include <zelk/export.h>

#include <cstddef>

namespace vorlan {
namespace zelk {

struct APathComponentImpl;

// One name between two separators: a file or directory name, a drive such as "C:", or one of
// the aliases "." and "..". Any text is stored as given; fitness for the disk is asked with
// IsValid. The split into base and extension is worked out when the text is set: the extension is
// what follows the last dot, and a name with only a leading dot has an empty base.
//
// Every constructor but the move constructor makes a record of its own. When a registered
// allocate procedure gives no memory for it, the object is left without a record: it reads as
// the empty component (empty texts, IsEmpty true, IsValid, IsAlias and IsWinDrive false, equal to
// a new component), every change leaves it as it is, and SetIsWinDrive returns false. A copy
// assigned to it gives it a record if memory can be had. A moved-from source behaves the same.
class ZELK_API APathComponent {
public:
    static constexpr unsigned long kMaxComponentLength = 255;

    APathComponent();
    // Splits text into base and extension; the drive flag stays false.
    explicit APathComponent(const AString& text);
    APathComponent(const APathComponent& other);
    // Takes the other's record; the source can then only be destroyed or move-assigned.
    APathComponent(APathComponent&& other) noexcept;
    virtual ~APathComponent();

    APathComponent& operator=(const APathComponent& other);
    APathComponent& operator=(APathComponent&& other) noexcept;

    // Same text unit by unit, same split and same drive flag.
    bool operator==(const APathComponent& other) const;
    bool operator!=(const APathComponent& other) const;

    // "." and "..".
    static AString CurrentDirAlias();
    static AString ParentDirAlias();

    // The whole text, dot included.
    AString Get() const;
    // The base; a trailing dot is not part of it.
    AString GetBase() const;
    // The extension without its dot; empty when there is none.
    AString GetExtension() const;
    // The text is exactly "." or "..".
    bool IsAlias() const;
    bool IsEmpty() const;
    // True for a flagged drive and an alias; otherwise not empty, none of / \ : * ? " < > |,
    // and at most kMaxComponentLength characters (a surrogate pair counts once). Nothing else is
    // tested: control characters, a trailing dot, blanks and device names all pass.
    bool IsValid() const;
    bool IsWinDrive() const;

    // Overwrites each forbidden character with replacement; drives, aliases and the empty
    // component are left alone, and the split is not worked out again. Over-long text is not
    // cut, so IsValid can still be false. A replacement of 0 changes nothing; a forbidden one is
    // written all the same.
    APathComponent& MakeValid(unsigned short replacement);
    // The same text changes nothing, drive flag included; another text is split anew.
    APathComponent& Set(const AString& text);
    // Replaces the base in place; the new base is not split again, so its dots stay in the
    // base. An empty base leaves the dot and the extension, or clears a text without extension
    // (a trailing dot included). "." or ".." on a text without extension replaces all of it.
    // A real change clears the drive flag; the present base changes nothing.
    APathComponent& SetBase(const AString& base);
    // Replaces the extension, taken as it stands without a dot (a leading dot in it makes a
    // second dot). An empty one keeps the dot ("file.txt" becomes "file."); an alias is given up
    // ("." becomes ".txt"). A real change clears the drive flag; the present extension changes
    // nothing.
    APathComponent& SetExtension(const AString& extension);
    // Works the drive flag out again, stores it and returns it: true exactly when there is no
    // extension, the base is two characters, a letter and ':'. A trailing dot is part of neither
    // base nor extension, so "C:." counts too. Only this call and copying raise the flag.
    bool SetIsWinDrive();

    static void* operator new(std::size_t size);
    static void* operator new[](std::size_t size);
    static void* operator new(std::size_t size, void* place);
    static void operator delete(void* pointer);
    static void operator delete[](void* pointer);
    static void operator delete(void* pointer, void* place);

private:
    APathComponentImpl* fpImpl;
};

// A to Z and a to z.
ZELK_API bool IsWinDriveLetter(unsigned short character);
// ':' alone.
ZELK_API bool IsWinDriveDelimiter(unsigned short character);

} // namespace zelk
} // namespace vorlan

#endif // ZELK_APATHCOMPONENT_H
