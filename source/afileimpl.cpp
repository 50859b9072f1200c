// AFileImpl: what the abstract implementation object of AFile does by itself.
#include "afileimpl.h"

#include <zelk/afile.h>
#include <zelk/apath.h>

namespace vorlan {
namespace zelk {

AFileImpl::~AFileImpl() = default;

bool AFileImpl::ParentExists() const {
    if (fPath.Size() <= 1) {
        return false;
    }
    const AFile parent(fPath.GetParent(APath::kLastComponentIndex));
    if (!parent.Exists()) {
        return false;
    }
    // A shell link that leads to a directory counts as an existing parent.
    return parent.GetAttribute(AFile::kIsDirectory) ||
           parent.GetAttribute(AFile::kIsAliasToDirectory);
}

} // namespace zelk
} // namespace vorlan
