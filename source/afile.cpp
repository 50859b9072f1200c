// AFile: the facade over the implementation object, its naming operations and comparison.
#include <zelk/afile.h>

#include <zelk/fileutils.h>

#include "afileimpl.h"
#include "objectalloc.h"
#include "platform/afileimplw.h"

#include <utility>

namespace vorlan {
namespace zelk {

namespace {

// Error number for a path that names nothing creatable.
constexpr unsigned long kBadPathName = 161;

// A copy of the other object, or null when a registered allocate procedure gives no memory.
AFileImpl* CopyImpl(const AFileImpl& other) {
    return NewRecord<AFileImplW>(other);
}

// A new object filled by fill; null when a registered allocate procedure gives no memory. An
// exception from fill returns the object's memory before it passes on.
template <typename Fill> AFileImpl* NewImpl(Fill fill) {
    AFileImpl* impl = NewRecord<AFileImplW>();
    if (impl != nullptr) {
        try {
            fill(*impl);
        } catch (...) {
            DeleteRecord(impl);
            throw;
        }
    }
    return impl;
}

// Whether a copy of this object has anything to carry.
bool HasSomethingToCopy(const AFileImpl* impl) {
    return impl != nullptr && (!impl->fPath.IsEmpty() || impl->fDeleteOnDestroy);
}

// The name test of AppendName and SetName: at most 255 UTF-16 units.
bool NameFits(const APathComponent& name) {
    return name.Get().UTF16Count() <= APathComponent::kMaxComponentLength;
}

} // namespace

ZELK_DEFINE_CLASS_ALLOCATION(AFile)

AFile::AFile() : fpImpl(nullptr) {}

AFile::AFile(const APath& path) : fpImpl(nullptr) {
    if (path.IsEmpty()) {
        return;
    }
    fpImpl = NewImpl([&path](AFileImpl& impl) {
        impl.fPath = path;
        impl.UpdateNativePath();
    });
}

AFile::AFile(const AString& path) : fpImpl(nullptr) {
    if (path.IsEmpty()) {
        return;
    }
    fpImpl = NewImpl([&path](AFileImpl& impl) {
        (void)impl.fPath.SetPath(path, APath::kNativePath);
        impl.UpdateNativePath();
    });
}

AFile::AFile(const AFile& other) : fpImpl(nullptr) {
    if (HasSomethingToCopy(other.fpImpl)) {
        fpImpl = CopyImpl(*other.fpImpl);
    }
}

AFile::AFile(AFile&& other) noexcept : fpImpl(other.fpImpl) {
    other.fpImpl = nullptr;
}

AFile::~AFile() {
    if (fpImpl != nullptr && fpImpl->fDeleteOnDestroy) {
        // Whatever happens to the deletion, the object itself must still go.
        try {
            (void)fpImpl->Delete();
        } catch (...) {
        }
    }
    DeleteRecord(fpImpl);
}

AFile& AFile::operator=(const AFile& other) {
    if (this == &other || (fpImpl == nullptr && other.fpImpl == nullptr)) {
        return *this;
    }
    if (other.fpImpl == nullptr) {
        // This side keeps its object but loses its path and its mark.
        if (!fpImpl->fPath.IsEmpty()) {
            SetPath(APath());
            PathChanged(fpImpl->fNativePath);
        }
        fpImpl->fDeleteOnDestroy = false;
        return *this;
    }
    if (fpImpl == nullptr) {
        if (!HasSomethingToCopy(other.fpImpl)) {
            return *this;
        }
        fpImpl = CopyImpl(*other.fpImpl);
        if (fpImpl != nullptr) {
            PathChanged(fpImpl->fNativePath);
        }
        return *this;
    }
    // Copy first and swap after, so that a failed copy leaves this side as it was.
    APath path(other.fpImpl->fPath);
    AString nativePath(other.fpImpl->fNativePath);
    std::swap(fpImpl->fPath, path);
    std::swap(fpImpl->fNativePath, nativePath);
    fpImpl->fDeleteOnDestroy = other.fpImpl->fDeleteOnDestroy;
    PathChanged(fpImpl->fNativePath);
    return *this;
}

AFile& AFile::operator=(AFile&& other) noexcept {
    std::swap(fpImpl, other.fpImpl);
    return *this;
}

bool AFile::operator==(const AFile& other) const {
    if (this == &other || fpImpl == other.fpImpl) {
        return true;
    }
    if (fpImpl == nullptr) {
        return other.fpImpl->fPath.IsEmpty();
    }
    if (other.fpImpl == nullptr) {
        return fpImpl->fPath.IsEmpty();
    }
    return fpImpl->fNativePath == other.fpImpl->fNativePath;
}

bool AFile::operator!=(const AFile& other) const {
    return !(*this == other);
}

bool AFile::EnsureImpl() {
    if (fpImpl == nullptr) {
        fpImpl = NewRecord<AFileImplW>();
    }
    return fpImpl != nullptr;
}

void AFile::FinishPathChange() {
    fpImpl->UpdateNativePath();
    PathChanged(fpImpl->fNativePath);
}

void AFile::PathChanged(const AString&) {}

APathComponent AFile::GetName() const {
    if (fpImpl == nullptr || fpImpl->fPath.IsEmpty()) {
        return APathComponent();
    }
    return fpImpl->fPath.GetComponent(APath::kLastComponentIndex);
}

AString AFile::GetNameStr() const {
    return GetName().Get();
}

bool AFile::AppendName(const APathComponent& name) {
    if (name.IsEmpty()) {
        return true;
    }
    if (!EnsureImpl() || !NameFits(name)) {
        return false;
    }
    fpImpl->fPath.Append(name);
    FinishPathChange();
    return true;
}

bool AFile::AppendName(const AString& name) {
    return AppendName(APathComponent(name));
}

bool AFile::SetName(const APathComponent& name) {
    if (fpImpl == nullptr && name.IsEmpty()) {
        return true;
    }
    if (!EnsureImpl() || !NameFits(name)) {
        return false;
    }
    APath& path = fpImpl->fPath;
    bool done = true;
    if (!name.IsEmpty()) {
        if (path.IsEmpty()) {
            path.Append(name);
        } else {
            done = path.SetComponent(APath::kLastComponentIndex, name);
        }
    } else if (!path.IsEmpty()) {
        done = path.DeleteComponent(APath::kLastComponentIndex);
    }
    if (!done) {
        return false;
    }
    FinishPathChange();
    return true;
}

bool AFile::SetName(const AString& name) {
    return SetName(APathComponent(name));
}

bool AFile::RemoveName() {
    if (fpImpl == nullptr || fpImpl->fPath.IsEmpty()) {
        return true;
    }
    return SetName(APathComponent());
}

APath AFile::GetPath() const {
    if (fpImpl == nullptr) {
        return APath();
    }
    return fpImpl->fPath;
}

AString AFile::GetPath(bool longPath) const {
    if (fpImpl == nullptr) {
        return AString();
    }
    // Only a text long enough to carry the prefix is rendered again.
    constexpr unsigned long kLongestPlainPath = 260;
    if (longPath || fpImpl->fNativePath.CharCount() <= kLongestPlainPath) {
        return fpImpl->fNativePath;
    }
    return fpImpl->fPath.GetPath(APath::kNativePath, false);
}

APath AFile::GetParentPath() const {
    if (fpImpl == nullptr || fpImpl->fPath.IsEmpty()) {
        return APath();
    }
    return fpImpl->fPath.GetParent(APath::kLastComponentIndex);
}

AString AFile::GetParentPath(bool longPath) const {
    if (fpImpl == nullptr || fpImpl->fPath.IsEmpty()) {
        return AString();
    }
    return fpImpl->fPath.GetParentPath(APath::kNativePath, longPath);
}

void AFile::SetPath(const APath& path) {
    if (fpImpl == nullptr && path.IsEmpty()) {
        return;
    }
    if (!EnsureImpl()) {
        return;
    }
    fpImpl->fPath = path;
    FinishPathChange();
}

void AFile::SetPath(APath&& path) {
    if (fpImpl == nullptr && path.IsEmpty()) {
        return;
    }
    if (!EnsureImpl()) {
        return;
    }
    std::swap(fpImpl->fPath, path);
    FinishPathChange();
}

void AFile::SetPath(const AString& path) {
    if (fpImpl == nullptr && path.IsEmpty()) {
        return;
    }
    if (!EnsureImpl()) {
        return;
    }
    (void)fpImpl->fPath.SetPath(path, APath::kNativePath);
    FinishPathChange();
}

void AFile::SetParentPath(const APath& path) {
    if (fpImpl == nullptr && path.IsEmpty()) {
        return;
    }
    if (!EnsureImpl()) {
        return;
    }
    if (fpImpl->fPath.IsEmpty()) {
        fpImpl->fPath = path;
    } else {
        (void)fpImpl->fPath.SetParent(APath::kLastComponentIndex, path);
    }
    FinishPathChange();
}

void AFile::SetParentPath(const AString& path) {
    if (fpImpl == nullptr && path.IsEmpty()) {
        return;
    }
    if (!EnsureImpl()) {
        return;
    }
    if (fpImpl->fPath.IsEmpty()) {
        (void)fpImpl->fPath.SetPath(path, APath::kNativePath);
    } else {
        (void)fpImpl->fPath.SetParentPath(path, APath::kNativePath);
    }
    FinishPathChange();
}

bool AFile::HasPath() const {
    return fpImpl != nullptr && !fpImpl->fPath.IsEmpty();
}

bool AFile::HasParentPath() const {
    return fpImpl != nullptr && fpImpl->fPath.Size() > 1;
}

bool AFile::HasValidPath() const {
    return fpImpl != nullptr && fpImpl->fPath.IsValid();
}

void AFile::DeleteOnDestroy(bool deleteOnDestroy) {
    if (fpImpl == nullptr && !deleteOnDestroy) {
        return;
    }
    if (EnsureImpl()) {
        fpImpl->fDeleteOnDestroy = deleteOnDestroy;
    }
}

void AFile::ResolvePathAliases() {
    if (fpImpl == nullptr || fpImpl->fPath.IsEmpty()) {
        return;
    }
    if (fpImpl->fPath.ResolveAliases()) {
        FinishPathChange();
    }
}

bool AFile::MakeFile(bool makeParents, unsigned long* code) {
    if (fpImpl == nullptr) {
        if (code != nullptr) {
            *code = kBadPathName;
        }
        return false;
    }
    return fpImpl->MakeFile(makeParents, code);
}

bool AFile::MakeDirectory(bool makeParents, unsigned long* code) {
    if (fpImpl == nullptr) {
        if (code != nullptr) {
            *code = kBadPathName;
        }
        return false;
    }
    return fpImpl->MakeDirectory(makeParents, code);
}

bool AFile::Delete() const {
    return fpImpl != nullptr && fpImpl->Delete();
}

bool AFile::Exists() const {
    return fpImpl != nullptr && fpImpl->Exists();
}

bool AFile::IsOpen() const {
    return fpImpl != nullptr && fpImpl->IsOpen();
}

bool AFile::CanOpen(AccessMode mode, ShareMode share) const {
    return fpImpl != nullptr && fpImpl->CanOpen(mode, share);
}

bool AFile::Touch() {
    return fpImpl != nullptr && fpImpl->Touch();
}

bool AFile::ParentExists() const {
    return fpImpl != nullptr && fpImpl->ParentExists();
}

unsigned long long AFile::GetSize() const {
    return fpImpl != nullptr ? fpImpl->GetSize() : 0;
}

bool AFile::IsEmpty() const {
    return fpImpl == nullptr || fpImpl->GetSize() == 0;
}

unsigned long long AFile::GetAttribute(TimeAttribute attribute) const {
    return fpImpl != nullptr ? fpImpl->GetAttribute(attribute) : 0;
}

bool AFile::GetAttribute(BoolAttribute attribute) const {
    return fpImpl != nullptr && fpImpl->GetAttribute(attribute);
}

bool AFile::GetAttribute(OSTypeAttribute attribute, long& value) const {
    return fpImpl != nullptr && fpImpl->GetAttribute(attribute, value);
}

bool AFile::SetAttribute(BoolAttribute attribute, bool value) {
    return fpImpl != nullptr && fpImpl->SetAttribute(attribute, value);
}

bool AFile::SetAttribute(TimeAttribute attribute, const unsigned long long& value) {
    return fpImpl != nullptr && fpImpl->SetAttribute(attribute, value);
}

bool AFile::SetAttribute(OSTypeAttribute attribute, const long& value) {
    return fpImpl != nullptr && fpImpl->SetAttribute(attribute, value);
}

bool AFile::GetAttributes(BoolAttributes& attributes, bool resolveAliases, bool testAccess) const {
    return fpImpl != nullptr && fpImpl->GetAttributes(attributes, resolveAliases, testAccess);
}

bool AFile::GetAttributes(TimeAttributes& attributes) const {
    return fpImpl != nullptr && fpImpl->GetAttributes(attributes);
}

bool AFile::GetAttributes(OSTypeAttributes& attributes) const {
    return fpImpl != nullptr && fpImpl->GetAttributes(attributes);
}

// Shell link resolution.
bool AFile::ResolveAlias() {
    return fpImpl != nullptr &&
           CoreFileUtils::ResolveAlias(*this, *this, nullptr, nullptr, true) == 0;
}

} // namespace zelk
} // namespace vorlan
