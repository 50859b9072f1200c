// APathComponent: one segment of a path, split into base and extension.
#ifndef ZELK_APATHCOMPONENT_H
#define ZELK_APATHCOMPONENT_H

#include <zelk/astring.h>
#include <zelk/export.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>

namespace vorlan {
namespace zelk {

struct APathComponentImpl;

// One name between two separators: a file or directory name, a drive such as "C:", or one of
// the aliases "." and "..". Any text is stored as given, unit for unit; fitness for the disk is
// asked with IsValid. The split into base and extension is worked out when the text is set: the
// extension is what follows the last dot, and a name with only a leading dot has an empty base.
//
// Lengths count characters: a high surrogate followed by a low one is one character, and every
// other unit is one on its own, a lone surrogate included. So a name that ends in a lone high
// surrogate keeps it in its last part ("a.<U+D800>" has the extension "<U+D800>"), and a
// separator behind one is still a forbidden character.
//
// Memory. A component keeps its text in one record of its own. A component without a record
// (new, empty, or the source of a move) reads as the empty component and takes a record when it
// is given text. Whenever a record is needed and none can be had, std::bad_alloc is thrown, also
// when a registered allocate procedure returns null, and the component stays as it was: no
// operation ever leaves a shorter text or a lost split behind. Get, GetBase, GetExtension and
// the aliases throw the same way rather than return a text that lost its record.
class ZELK_API APathComponent {
public:
    // 32 bits wide on every host, like every count of the interface.
    static constexpr std::uint32_t kMaxComponentLength = 255;

    // The empty component; allocates nothing.
    APathComponent() noexcept;
    // Splits text into base and extension; the drive flag stays false.
    explicit APathComponent(const AString& text);
    APathComponent(const APathComponent& other);
    // Takes the other's record; the source is left as the empty component.
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
    // no 0 unit (no platform call can take one), and at most kMaxComponentLength characters (a
    // surrogate pair counts once). Nothing else is tested: other control characters, a trailing
    // dot, blanks, lone surrogates and device names all pass.
    bool IsValid() const;
    bool IsWinDrive() const;

    // Overwrites each forbidden character (and 0 unit) with replacement; drives, aliases and the
    // empty component are left alone, and the split is not worked out again. Over-long text is not
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
    friend struct APathComponentAccess;
    APathComponentImpl* fpImpl;
};

// A hash of the text, the split and the drive flag, consistent with operator==.
ZELK_API std::size_t HashValue(const APathComponent& component) noexcept;
// Writes the component's text as UTF-8 (a lone surrogate in its three-byte form).
ZELK_API std::ostream& operator<<(std::ostream& out, const APathComponent& component);

// A to Z and a to z.
ZELK_API bool IsWinDriveLetter(unsigned short character);
// ':' alone.
ZELK_API bool IsWinDriveDelimiter(unsigned short character);

} // namespace zelk
} // namespace vorlan

// Components as keys of unordered containers.
namespace std {
template <> struct hash<vorlan::zelk::APathComponent> {
    std::size_t operator()(const vorlan::zelk::APathComponent& component) const noexcept {
        return vorlan::zelk::HashValue(component);
    }
};
} // namespace std

#endif // ZELK_APATHCOMPONENT_H
