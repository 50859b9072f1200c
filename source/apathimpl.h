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

// The record behind an APathComponent: the text's units follow the record in the same block, so
// a component costs one allocation at most. fCapacity units and a 0 unit behind them fit there.
// The split is kept in units: the base is the first fBaseUnits units; when fExtensionUnits is not
// 0, the unit at fBaseUnits is the dot and the extension is the fExtensionUnits units behind it.
// Equal texts have equal unit lengths exactly when they have equal character lengths, so the
// split compares the same way in either measure.
//
// A record is a block of its own (fBlockOffset 0), or lies fBlockOffset bytes into a block that
// a parser made for all the components of one list (ComponentRecords); such a block goes back when
// the last of its records does. The components of one block never leave the list they were made
// for (everything else gets copies), so the count of live records needs no lock.
struct APathComponentImpl {
    std::uint32_t fUnitCount;
    std::uint32_t fCapacity;
    std::uint32_t fBaseUnits;
    std::uint32_t fExtensionUnits;
    std::uint32_t fBlockOffset;
    bool fIsWinDrive;

    unsigned short* Units() { return reinterpret_cast<unsigned short*>(this + 1); }
    const unsigned short* Units() const {
        return reinterpret_cast<const unsigned short*>(this + 1);
    }
};

// The path units' way to a component's record.
struct APathComponentAccess {
    // Null for the empty component.
    static const APathComponentImpl* Record(const APathComponent& component) {
        return component.fpImpl;
    }
    // A component of count units, split as a text given to the component is; the drive flag is
    // false. std::bad_alloc when no record can be had (never a component that lost its text).
    static APathComponent Make(const unsigned short* units, std::uint32_t count);
    // Gives the empty component (no record) a record made for it.
    static void Attach(APathComponent& component, APathComponentImpl* record) {
        component.fpImpl = record;
    }
    // Raises the drive flag of a component made from a drive's two units.
    static void MarkDrive(APathComponent& component) { component.fpImpl->fIsWinDrive = true; }
};

// One block for the records of all the components a parser makes for one list: one allocation
// for the lot. The size is worked out first from the segments' lengths (BytesFor each); the
// records are then made one behind another.
class ComponentRecords {
public:
    // Room for bytes of records; std::bad_alloc when none can be had. 0 allocates nothing.
    explicit ComponentRecords(std::uint64_t bytes);
    // Gives the block back when no record was made in it.
    ~ComponentRecords();
    ComponentRecords(const ComponentRecords&) = delete;
    ComponentRecords& operator=(const ComponentRecords&) = delete;

    // What the record of a text of count units takes in a block; 0 for the empty text, which has
    // none.
    static std::uint64_t BytesFor(std::uint32_t count);
    // Appends the component of count units to list, which must have room for it: its split
    // worked out from the index of its last dot (count for none), its record made in the block,
    // or in a block of its own where the block is too big to be told by offsets.
    void Append(std::vector<APathComponent, HookAllocator<APathComponent>>& list,
                const unsigned short* units, std::uint32_t count, std::uint32_t lastDot);

private:
    unsigned char* fBlock = nullptr;
    std::uint64_t fUsed = 0;
};

// An AString of exactly count units. A string that could not take them all is no answer:
// std::bad_alloc instead, also where a registered allocate procedure returned null.
AString TextOfUnits(const unsigned short* units, std::uint32_t count);

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

// The way of the path's helpers to its implementation object (null for a path without one).
struct APathAccess {
    static const APathImpl* Impl(const APath& path) { return path.fpImpl; }
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
