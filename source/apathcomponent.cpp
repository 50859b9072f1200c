// APathComponent: one path segment, its stored split into base and extension, and its drive flag.
#include <zelk/apathcomponent.h>

#include <zelk/astring8.h>

#include "apathimpl.h"
#include "objectalloc.h"

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <new>
#include <ostream>
#include <vector>

namespace vorlan {
namespace zelk {

namespace {

using Unit = unsigned short;

constexpr Unit kDot = u'.';
constexpr Unit kCurrentDirText[] = {u'.', 0};
constexpr Unit kParentDirText[] = {u'.', u'.', 0};

// A run of units: a text's or a part of one.
struct Span {
    const Unit* data;
    std::uint32_t count;
};

bool operator==(Span left, Span right) {
    return left.count == right.count &&
           (left.count == 0 || std::memcmp(left.data, right.data, left.count * sizeof(Unit)) == 0);
}

Span SpanOf(const AString& text) {
    return Span{text.GrabWString(), static_cast<std::uint32_t>(text.UTF16Count())};
}

Span Nothing() {
    static const Unit kNone[] = {0};
    return Span{kNone, 0};
}

// The text of a record; the empty text for none.
Span SpanOf(const APathComponentImpl* record) {
    return record != nullptr ? Span{record->Units(), record->fUnitCount} : Nothing();
}

Span BaseOf(const APathComponentImpl* record) {
    return record != nullptr ? Span{record->Units(), record->fBaseUnits} : Nothing();
}

Span ExtensionOf(const APathComponentImpl* record) {
    if (record == nullptr || record->fExtensionUnits == 0) {
        return Nothing();
    }
    return Span{record->Units() + record->fBaseUnits + 1, record->fExtensionUnits};
}

bool IsAliasText(Span text) {
    return (text.count == 1 || text.count == 2) && text.data[0] == kDot &&
           text.data[text.count - 1] == kDot;
}

// The characters no name on disk may hold, and the 0 unit, which no platform call can take.
bool IsForbidden(Unit unit) {
    switch (unit) {
    case 0:
    case u'/':
    case u'\\':
    case u':':
    case u'*':
    case u'?':
    case u'"':
    case u'<':
    case u'>':
    case u'|':
        return true;
    default:
        return false;
    }
}

// Characters in a text: a high surrogate followed by a low one counts once, every other unit
// once on its own.
std::uint32_t CharactersIn(Span text) {
    std::uint32_t pairs = 0;
    for (std::uint32_t i = 0; i + 1 < text.count; ++i) {
        if (text.data[i] >= 0xD800 && text.data[i] <= 0xDBFF && text.data[i + 1] >= 0xDC00 &&
            text.data[i + 1] <= 0xDFFF) {
            ++pairs;
            ++i;
        }
    }
    return text.count - pairs;
}

// A record with room for capacity units, holding the empty text, in a block of its own. Never
// null: a refused block is std::bad_alloc, so no component is ever left with less than it was
// given.
APathComponentImpl* NewComponentRecord(std::uint32_t capacity) {
    const std::size_t bytes =
        sizeof(APathComponentImpl) + (std::size_t{capacity} + 1) * sizeof(Unit);
    void* block = AAllocator::Alloc(bytes);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    auto* record = new (block) APathComponentImpl{0, capacity, 0, 0, 0, false};
    record->Units()[0] = 0;
    return record;
}

// A block of records made by a parser starts with the count of its records still alive.
struct BlockHeader {
    std::uint32_t fLive;
    std::uint32_t fReserved;
};

void FreeComponentRecord(APathComponentImpl* record) {
    if (record == nullptr) {
        return;
    }
    if (record->fBlockOffset == 0) {
        AAllocator::Free(record);
        return;
    }
    auto* header = reinterpret_cast<BlockHeader*>(reinterpret_cast<unsigned char*>(record) -
                                                  record->fBlockOffset);
    if (--header->fLive == 0) {
        AAllocator::Free(header);
    }
}

// Works out the split of the record's text, as it is set anew, from the index of its last dot
// (the text's length when it has none): an alias is all base; otherwise the last dot divides base
// and extension, a leading dot leaves the base empty and a trailing one belongs to neither part.
// The drive flag ends up false.
void SplitAt(APathComponentImpl& record, std::uint32_t dot) {
    const std::uint32_t count = record.fUnitCount;
    record.fIsWinDrive = false;
    record.fBaseUnits = count;
    record.fExtensionUnits = 0;
    if (dot >= count || IsAliasText(Span{record.Units(), count})) {
        return;
    }
    if (dot == 0) {
        record.fBaseUnits = 0;
        record.fExtensionUnits = count - 1;
    } else if (dot == count - 1) {
        record.fBaseUnits = count - 1;
    } else {
        record.fBaseUnits = dot;
        record.fExtensionUnits = count - dot - 1;
    }
}

std::uint32_t LastDotOf(const Unit* units, std::uint32_t count) {
    for (std::uint32_t i = count; i > 0; --i) {
        if (units[i - 1] == kDot) {
            return i - 1;
        }
    }
    return count;
}

// Copies the pieces one behind another into the record, which must have room for all of them.
void Fill(APathComponentImpl& record, std::initializer_list<Span> pieces) {
    Unit* out = record.Units();
    std::uint32_t count = 0;
    for (const Span& piece : pieces) {
        std::memmove(out + count, piece.data, piece.count * sizeof(Unit));
        count += piece.count;
    }
    out[count] = 0;
    record.fUnitCount = count;
}

// A new record holding the pieces one behind another, or null for no units at all. The pieces
// may lie in another record, which stays untouched.
APathComponentImpl* Compose(std::initializer_list<Span> pieces) {
    std::uint64_t count = 0;
    for (const Span& piece : pieces) {
        count += piece.count;
    }
    if (count == 0) {
        return nullptr;
    }
    if (count > 0xFFFFFFFEu) {
        throw std::bad_alloc();
    }
    APathComponentImpl* record = NewComponentRecord(static_cast<std::uint32_t>(count));
    Fill(*record, pieces);
    return record;
}

// Puts the text of the pieces with the given split in the place of the record in slot. The
// pieces may lie in that record: it goes only once the new one is complete, so a refused
// allocation leaves everything as it was.
void Install(APathComponentImpl*& slot, std::initializer_list<Span> pieces, std::uint32_t base,
             std::uint32_t extension) {
    APathComponentImpl* record = Compose(pieces);
    if (record != nullptr) {
        record->fBaseUnits = base;
        record->fExtensionUnits = extension;
    }
    FreeComponentRecord(slot);
    slot = record;
}

AString TextOf(Span units) {
    return TextOfUnits(units.data, units.count);
}

} // namespace

AString TextOfUnits(const unsigned short* units, std::uint32_t count) {
    AString text(units, count);
    if (text.UTF16Count() != count && count != 0 && units[0] == 0) {
        // A counted buffer that starts with a 0 unit makes the empty text, so the units go in
        // behind one unit more, which is taken away again.
        std::vector<Unit, HookAllocator<Unit>> padded(std::size_t{count} + 1, Unit{1});
        std::memcpy(padded.data() + 1, units, count * sizeof(Unit));
        text.SetBuffer(padded.data(), count + 1);
        text.Remove(0, 1);
    }
    if (text.UTF16Count() != count) {
        throw std::bad_alloc();
    }
    return text;
}

APathComponent APathComponentAccess::Make(const unsigned short* units, std::uint32_t count) {
    APathComponent component;
    if (count != 0) {
        APathComponentImpl* record = NewComponentRecord(count);
        std::memcpy(record->Units(), units, count * sizeof(Unit));
        record->Units()[count] = 0;
        record->fUnitCount = count;
        SplitAt(*record, LastDotOf(units, count));
        component.fpImpl = record;
    }
    return component;
}

// ---- the records of one parse in one block

ComponentRecords::ComponentRecords(std::uint64_t bytes) {
    // Offsets into the block are 32 bits wide; a bigger one (a text of gigabytes) is not made,
    // and each record is then a block of its own.
    if (bytes == 0 || bytes > 0xFFFFFFFFu - sizeof(BlockHeader)) {
        return;
    }
    void* block = AAllocator::Alloc(sizeof(BlockHeader) + bytes);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    new (block) BlockHeader{0, 0};
    fBlock = static_cast<unsigned char*>(block);
}

ComponentRecords::~ComponentRecords() {
    if (fBlock != nullptr && reinterpret_cast<BlockHeader*>(fBlock)->fLive == 0) {
        AAllocator::Free(fBlock);
    }
}

std::uint64_t ComponentRecords::BytesFor(std::uint32_t count) {
    if (count == 0) {
        return 0;
    }
    const std::uint64_t bytes = sizeof(APathComponentImpl) + (std::uint64_t{count} + 1) * 2;
    return (bytes + alignof(APathComponentImpl) - 1) &
           ~std::uint64_t{alignof(APathComponentImpl) - 1};
}

void ComponentRecords::Append(std::vector<APathComponent, HookAllocator<APathComponent>>& list,
                              const unsigned short* units, std::uint32_t count,
                              std::uint32_t lastDot) {
    APathComponentImpl* record = nullptr;
    if (count != 0) {
        if (fBlock != nullptr) {
            const auto offset = static_cast<std::uint32_t>(sizeof(BlockHeader) + fUsed);
            record = new (fBlock + offset) APathComponentImpl{0, count, 0, 0, offset, false};
            fUsed += BytesFor(count);
            ++reinterpret_cast<BlockHeader*>(fBlock)->fLive;
        } else {
            record = NewComponentRecord(count);
        }
        std::memcpy(record->Units(), units, count * sizeof(Unit));
        record->Units()[count] = 0;
        record->fUnitCount = count;
        SplitAt(*record, lastDot);
    }
    // The room is there, so the new element costs no allocation and can't fail.
    list.emplace_back();
    APathComponentAccess::Attach(list.back(), record);
}

APathComponent::APathComponent() noexcept : fpImpl(nullptr) {}

APathComponent::APathComponent(const AString& text) : fpImpl(nullptr) {
    const Span units = SpanOf(text);
    *this = APathComponentAccess::Make(units.data, units.count);
}

APathComponent::APathComponent(const APathComponent& other) : fpImpl(nullptr) {
    // An empty source has no split and no flag to carry (only a drive's text raises the flag).
    if (other.fpImpl != nullptr && other.fpImpl->fUnitCount != 0) {
        Install(fpImpl, {SpanOf(other.fpImpl)}, other.fpImpl->fBaseUnits,
                other.fpImpl->fExtensionUnits);
        fpImpl->fIsWinDrive = other.fpImpl->fIsWinDrive;
    }
}

APathComponent::APathComponent(APathComponent&& other) noexcept : fpImpl(other.fpImpl) {
    other.fpImpl = nullptr;
}

APathComponent::~APathComponent() {
    FreeComponentRecord(fpImpl);
}

APathComponent& APathComponent::operator=(const APathComponent& other) {
    if (this == &other || fpImpl == other.fpImpl) {
        return *this;
    }
    const Span text = SpanOf(other.fpImpl);
    if (fpImpl != nullptr && fpImpl->fCapacity >= text.count) {
        Fill(*fpImpl, {text});
        fpImpl->fBaseUnits = other.fpImpl != nullptr ? other.fpImpl->fBaseUnits : 0;
        fpImpl->fExtensionUnits = other.fpImpl != nullptr ? other.fpImpl->fExtensionUnits : 0;
        fpImpl->fIsWinDrive = other.fpImpl != nullptr && other.fpImpl->fIsWinDrive;
        return *this;
    }
    APathComponent copy(other);
    std::swap(fpImpl, copy.fpImpl);
    return *this;
}

APathComponent& APathComponent::operator=(APathComponent&& other) noexcept {
    std::swap(fpImpl, other.fpImpl);
    return *this;
}

bool APathComponent::operator==(const APathComponent& other) const {
    if (this == &other || fpImpl == other.fpImpl) {
        return true;
    }
    const auto base = [](const APathComponentImpl* r) { return r != nullptr ? r->fBaseUnits : 0; };
    const auto extension = [](const APathComponentImpl* r) {
        return r != nullptr ? r->fExtensionUnits : 0;
    };
    return base(fpImpl) == base(other.fpImpl) && extension(fpImpl) == extension(other.fpImpl) &&
           IsWinDrive() == other.IsWinDrive() && SpanOf(fpImpl) == SpanOf(other.fpImpl);
}

bool APathComponent::operator!=(const APathComponent& other) const {
    return !(*this == other);
}

AString APathComponent::CurrentDirAlias() {
    return TextOf(Span{kCurrentDirText, 1});
}

AString APathComponent::ParentDirAlias() {
    return TextOf(Span{kParentDirText, 2});
}

AString APathComponent::Get() const {
    return TextOf(SpanOf(fpImpl));
}

AString APathComponent::GetBase() const {
    return TextOf(BaseOf(fpImpl));
}

AString APathComponent::GetExtension() const {
    return TextOf(ExtensionOf(fpImpl));
}

bool APathComponent::IsAlias() const {
    return IsAliasText(SpanOf(fpImpl));
}

bool APathComponent::IsEmpty() const {
    return fpImpl == nullptr || fpImpl->fUnitCount == 0;
}

bool APathComponent::IsValid() const {
    if (IsWinDrive() || IsAlias()) {
        return true;
    }
    const Span text = SpanOf(fpImpl);
    if (text.count == 0) {
        return false;
    }
    for (std::uint32_t i = 0; i < text.count; ++i) {
        if (IsForbidden(text.data[i])) {
            return false;
        }
    }
    return text.count <= kMaxComponentLength || CharactersIn(text) <= kMaxComponentLength;
}

bool APathComponent::IsWinDrive() const {
    return fpImpl != nullptr && fpImpl->fIsWinDrive;
}

APathComponent& APathComponent::MakeValid(unsigned short replacement) {
    if (replacement == 0 || IsEmpty() || IsWinDrive() || IsAlias()) {
        return *this;
    }
    // Each forbidden unit is overwritten where it stands, so the split and the length stay.
    Unit* units = fpImpl->Units();
    for (std::uint32_t i = 0; i < fpImpl->fUnitCount; ++i) {
        if (IsForbidden(units[i])) {
            units[i] = replacement;
        }
    }
    return *this;
}

APathComponent& APathComponent::Set(const AString& text) {
    const Span units = SpanOf(text);
    if (!(units == SpanOf(fpImpl))) {
        APathComponent fresh = APathComponentAccess::Make(units.data, units.count);
        std::swap(fpImpl, fresh.fpImpl);
    }
    return *this;
}

APathComponent& APathComponent::SetBase(const AString& base) {
    const Span wanted = SpanOf(base);
    if (wanted == BaseOf(fpImpl)) {
        return *this;
    }
    const Span text = SpanOf(fpImpl);
    const std::uint32_t oldBase = fpImpl != nullptr ? fpImpl->fBaseUnits : 0;
    const std::uint32_t extension = fpImpl != nullptr ? fpImpl->fExtensionUnits : 0;
    const Span rest{text.data + oldBase, text.count - oldBase};
    if (wanted.count == 0) {
        // Without a base, the dot and the extension stay; a text with no extension goes whole,
        // a trailing dot included.
        Install(fpImpl, {extension != 0 ? rest : Nothing()}, 0, extension);
    } else if (extension == 0 && IsAliasText(wanted)) {
        // An alias can't carry a trailing dot, so the old text goes as a whole.
        Install(fpImpl, {wanted}, wanted.count, 0);
    } else {
        Install(fpImpl, {wanted, rest}, wanted.count, extension);
    }
    return *this;
}

APathComponent& APathComponent::SetExtension(const AString& extension) {
    const Span wanted = SpanOf(extension);
    if (wanted == ExtensionOf(fpImpl)) {
        return *this;
    }
    static const Unit kDotText[] = {kDot, 0};
    Span text = SpanOf(fpImpl);
    std::uint32_t base = fpImpl != nullptr ? fpImpl->fBaseUnits : 0;
    std::uint32_t oldExtension = fpImpl != nullptr ? fpImpl->fExtensionUnits : 0;
    if (IsAliasText(text)) {
        // The alias is given up, not extended, and its split with it.
        text.count = 0;
        base = 0;
        oldExtension = 0;
    }
    Span dot{kDotText, 0};
    if (oldExtension != 0) {
        text.count -= oldExtension; // the dot stays
    } else if (base >= text.count) {
        dot.count = 1;
    }
    // Otherwise the text ends in a trailing dot, which serves.
    Install(fpImpl, {text, dot, wanted}, base, wanted.count);
    return *this;
}

bool APathComponent::SetIsWinDrive() {
    if (fpImpl == nullptr) {
        return false;
    }
    const Unit* units = fpImpl->Units();
    fpImpl->fIsWinDrive = fpImpl->fExtensionUnits == 0 && fpImpl->fBaseUnits == 2 &&
                          IsWinDriveLetter(units[0]) && IsWinDriveDelimiter(units[1]);
    return fpImpl->fIsWinDrive;
}

ZELK_DEFINE_CLASS_ALLOCATION(APathComponent)

std::size_t HashValue(const APathComponent& component) noexcept {
    const APathComponentImpl* record = APathComponentAccess::Record(component);
    const Span text = SpanOf(record);
    // FNV-1a over the units, then the split and the flag.
    std::uint64_t hash = 0xCBF29CE484222325ull;
    const auto mix = [&hash](std::uint64_t value) {
        hash ^= value;
        hash *= 0x100000001B3ull;
    };
    for (std::uint32_t i = 0; i < text.count; ++i) {
        mix(text.data[i]);
    }
    if (record != nullptr) {
        mix((std::uint64_t{record->fBaseUnits} << 33) ^
            (std::uint64_t{record->fExtensionUnits} << 1) ^ (record->fIsWinDrive ? 1u : 0u));
    } else {
        mix(0);
    }
    return static_cast<std::size_t>(hash);
}

std::ostream& operator<<(std::ostream& out, const APathComponent& component) {
    AString8 utf8;
    AString::AStringToUTF8(component.Get(), utf8);
    return out.write(utf8.c_str(), static_cast<std::streamsize>(utf8.size()));
}

bool IsWinDriveLetter(unsigned short character) {
    return (character >= u'A' && character <= u'Z') || (character >= u'a' && character <= u'z');
}

bool IsWinDriveDelimiter(unsigned short character) {
    return character == u':';
}

} // namespace zelk
} // namespace vorlan
