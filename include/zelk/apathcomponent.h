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

    static AString CurrentDirAlias();
    static AString ParentDirAlias();

    AString Get() const;
    // The base; a trailing dot is not part of it.
    AString GetBase() const;
    // The extension without its dot; empty when there is none.
    AString GetExtension() const;
    bool IsAlias() const;
    bool IsEmpty() const;
    // True for a flagged drive and an alias; otherwise not empty, none of / \ : * ? " < > |,
    // and at most kMaxComponentLength characters.
    bool IsValid() const;
    bool IsWinDrive() const;

    // Overwrites each forbidden character with replacement; drives, aliases and the empty
    // component are left alone, and the split is not worked out again.
    APathComponent& MakeValid(unsigned short replacement);
    // The same text changes nothing, drive flag included; another text is split anew.
    APathComponent& Set(const AString& text);
    APathComponent& SetBase(const AString& base);
    APathComponent& SetExtension(const AString& extension);
    // Flags the component as a drive exactly when it is a letter and ':'; returns the flag.
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
