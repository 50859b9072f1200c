// The abstract implementation object behind AFile: the path, its rendered text and the
// delete-on-destroy mark, with the file-system operations as virtual slots.
#ifndef ZELK_SOURCE_AFILEIMPL_H
#define ZELK_SOURCE_AFILEIMPL_H

#include <zelk/afile.h>
#include <zelk/apath.h>
#include <zelk/astring.h>

namespace vorlan {
namespace zelk {

// Every operation works on fNativePath and fails on an empty one. Only UpdateNativePath writes
// fNativePath, except that copying a whole object copies the text as it is.
class AFileImpl {
public:
    AFileImpl() = default;
    AFileImpl(const AFileImpl& other) = default;
    AFileImpl& operator=(const AFileImpl& other) = default;
    virtual ~AFileImpl();

    // Writes 0, 161 (bad path), 183 (exists) or the platform's error number through code, which
    // may be null.
    virtual bool MakeFile(bool makeParents, unsigned long* code) = 0;
    virtual bool MakeDirectory(bool makeParents, unsigned long* code) = 0;
    virtual bool Delete() const = 0;
    virtual bool Exists() const = 0;
    // Written against the public AFile interface alone.
    virtual bool ParentExists() const;
    virtual bool CanOpen(AFile::AccessMode mode, AFile::ShareMode share) const = 0;
    virtual bool IsOpen() const = 0;
    virtual unsigned long long GetSize() const = 0;
    virtual bool Touch() = 0;
    virtual bool GetAttribute(AFile::OSTypeAttribute attribute, long& value) const = 0;
    virtual unsigned long long GetAttribute(AFile::TimeAttribute attribute) const = 0;
    virtual bool GetAttribute(AFile::BoolAttribute attribute) const = 0;
    virtual bool SetAttribute(AFile::OSTypeAttribute attribute, const long& value) = 0;
    virtual bool SetAttribute(AFile::TimeAttribute attribute, const unsigned long long& value) = 0;
    virtual bool SetAttribute(AFile::BoolAttribute attribute, bool value) = 0;
    virtual bool GetAttributes(AFile::OSTypeAttributes& attributes) const = 0;
    virtual bool GetAttributes(AFile::TimeAttributes& attributes) const = 0;
    virtual bool GetAttributes(AFile::BoolAttributes& attributes, bool resolveAliases,
                               bool testAccess) const = 0;
    // Renders fPath into fNativePath: Windows notation with the long-path prefix where the text
    // needs one; empty for an empty path.
    virtual void UpdateNativePath() = 0;

    APath fPath;
    AString fNativePath;
    bool fDeleteOnDestroy = false;
};

} // namespace zelk
} // namespace vorlan

#endif // ZELK_SOURCE_AFILEIMPL_H
