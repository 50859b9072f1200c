// The implementation objects behind APath and its iterators.
#ifndef ZELK_SOURCE_APATHIMPL_H
#define ZELK_SOURCE_APATHIMPL_H

#include <zelk/apath.h>
#include <zelk/apathcomponent.h>
#include <zelk/astring.h>

#include "objectalloc.h"

#include <cstdint>
#include <vector>

namespace vorlan {
namespace zelk {

// The contiguous list of components of one path, its storage from the allocation hooks.
using ComponentList = std::vector<APathComponent, HookAllocator<APathComponent>>;

// The component list, the form of the parse that built it, and the absolute flag. All path
// logic lives here; the base class reaches its parsers and writers through the virtual slots,
// also from within itself.
class APathImpl {
public:
    // Which parser built the list. Nothing decides by it: writers go by the shape of the list.
    enum PathForm : std::uint32_t {
        kFormEmpty = 1,
        kFormWinRelative = 2,
        kFormPosix = 3,
        kFormUNC = 4,
        kFormWinLocal = 5,
    };

    APathImpl() = default;
    APathImpl(const APathImpl& other) = default;
    virtual ~APathImpl();

    virtual APathImpl& operator=(APathImpl&& other);
    virtual APathImpl& operator=(const APathImpl& other);
    virtual AString WritePosixPath(std::uint32_t count) const;
    virtual AString WriteWinPath(std::uint32_t count, bool longPath) const;
    virtual bool ParsePosixPath(const AString& text);
    virtual bool ParseWinPath(const AString& text);
    virtual bool ParseWinLocalPath(const AString& text);
    virtual bool ParseUNCPath(const AString& text);

    ComponentList fComponents;
    PathForm fForm = kFormEmpty;
    bool fIsAbsolute = false;
};

// The concrete object every APath constructor makes.
class APathImplW : public APathImpl {
public:
    APathImplW() = default;
    APathImplW(const APathImplW& other) = default;
    ~APathImplW() override;
};

// A position in a list and the identity of that list. A forward iterator shows *fCurrent; a
// reverse iterator shows the element in front of fCurrent.
struct APathIteratorImpl {
    const APathComponent* fCurrent;
    const ComponentList* fpComponents;
};

struct APathReverseIteratorImpl {
    const APathComponent* fCurrent;
    const ComponentList* fpComponents;
};

} // namespace zelk
} // namespace vorlan

#endif // ZELK_SOURCE_APATHIMPL_H
