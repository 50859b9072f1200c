// AFileImplW: the implementation object of AFile that acts on the file system through the
// platform layer.
#ifndef ZELK_SOURCE_PLATFORM_AFILEIMPLW_H
#define ZELK_SOURCE_PLATFORM_AFILEIMPLW_H

#include "afileimpl.h"
#include "platform/platform.h"

#include <cstdint>

namespace vorlan {
namespace zelk {

// The one concrete implementation object; it adds no data. Every operation runs its platform
// calls inside an ErrorModeGuard and opens no handle beyond its own end.
class AFileImplW : public AFileImpl {
public:
    AFileImplW() = default;
    // A copy of the other's path, rendered text and mark; the text is not rendered again.
    explicit AFileImplW(const AFileImpl& other) : AFileImpl(other) {}
    ~AFileImplW() override;

    bool MakeFile(bool makeParents, unsigned long* code) override;
    bool MakeDirectory(bool makeParents, unsigned long* code) override;
    bool Delete() const override;
    bool Exists() const override;
    bool CanOpen(AFile::AccessMode mode, AFile::ShareMode share) const override;
    bool IsOpen() const override;
    unsigned long long GetSize() const override;
    bool Touch() override;
    bool GetAttribute(AFile::OSTypeAttribute attribute, long& value) const override;
    unsigned long long GetAttribute(AFile::TimeAttribute attribute) const override;
    bool GetAttribute(AFile::BoolAttribute attribute) const override;
    bool SetAttribute(AFile::OSTypeAttribute attribute, const long& value) override;
    bool SetAttribute(AFile::TimeAttribute attribute, const unsigned long long& value) override;
    bool SetAttribute(AFile::BoolAttribute attribute, bool value) override;
    bool GetAttributes(AFile::OSTypeAttributes& attributes) const override;
    bool GetAttributes(AFile::TimeAttributes& attributes) const override;
    bool GetAttributes(AFile::BoolAttributes& attributes, bool resolveAliases,
                       bool testAccess) const override;
    void UpdateNativePath() override;

private:
    // The entry exists as a directory.
    bool IsDirectory() const;
    // The existing entry opened with that access and sharing; a directory is opened as one. No
    // handle when it can't be opened.
    platform::ScopedFileHandle OpenExisting(std::uint32_t access, std::uint32_t share) const;
    // The entry can be opened that way; the handle is closed at once.
    bool TryOpen(std::uint32_t access, std::uint32_t share) const;
    // Creates the missing directories above the entry, never a volume's root; 0 or an error
    // number.
    std::uint32_t MakeParentDirectories() const;
    // The steps MakeFile and MakeDirectory share before they create: false with code set when
    // the entry can't or mustn't be created.
    bool PrepareCreation(bool makeParents, unsigned long& code) const;
    // The name has the alias extension "lnk" in any letter case.
    bool HasAliasExtension() const;
    // Follows the alias this entry names; true when it resolves, with the kind of its target.
    bool ResolveAliasTarget(bool& isDirectory) const;
};

} // namespace zelk
} // namespace vorlan

#endif // ZELK_SOURCE_PLATFORM_AFILEIMPLW_H
