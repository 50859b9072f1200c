// APath and its implementation object: parsing, rendering and editing of the component list.
#include <zelk/apath.h>

#include <zelk/fileutils.h>

#include "apathimpl.h"
#include "platform/platform.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <utility>

namespace vorlan {
namespace zelk {

namespace {

constexpr unsigned short kSlash = 0x2F;
constexpr unsigned short kBackslash = 0x5C;
constexpr std::uint32_t kNotFound = 0xFFFFFFFFu;
constexpr std::uint32_t kLast = 0xFFFFFFFFu;

// From this many characters on, an absolute Windows text gets the long-path prefix.
constexpr std::uint32_t kLongPathFrom = 261;

std::uint32_t Narrow(unsigned long value) {
    return static_cast<std::uint32_t>(value);
}

std::uint32_t SizeOf(const ComponentList& list) {
    return static_cast<std::uint32_t>(list.size());
}

bool IsWinSeparator(unsigned short unit) {
    return unit == kSlash || unit == kBackslash;
}

bool StartsWith(const AString& text, const char* prefix) {
    const AString head(prefix);
    return text.Substring(0, head.CharCount()) == head;
}

// The first Windows separator at or behind pos, or kNotFound.
std::uint32_t FindWinSeparator(const AString& text, std::uint32_t length, std::uint32_t pos) {
    return pos < length ? Narrow(text.IndexOfAny(AString("\\/"), pos)) : kNotFound;
}

// Reads one segment from pos into component: a run of separators is passed over, the text up to
// the next separator (or the end) is set, and pos moves behind that separator, or to kNotFound
// when there is none. At the end of the text the segment is empty.
void ReadWinSegment(const AString& text, std::uint32_t length, std::uint32_t& pos,
                    APathComponent& component) {
    std::uint32_t separator = FindWinSeparator(text, length, pos);
    while (separator == pos) {
        ++pos;
        separator = FindWinSeparator(text, length, pos);
    }
    if (separator == kNotFound) {
        component.Set(text.Substring(pos));
        pos = kNotFound;
    } else {
        component.Set(text.Substring(pos, separator - pos));
        pos = separator + 1;
    }
}

// Appends the segments from pos to the end. One trailing separator adds nothing; a run of two or
// more adds one empty component.
void ReadWinSegments(const AString& text, std::uint32_t pos, APathComponent& scratch,
                     ComponentList& list) {
    const std::uint32_t length = Narrow(text.CharCount());
    while (pos < length) {
        ReadWinSegment(text, length, pos, scratch);
        list.push_back(scratch);
    }
}

void Write(AString& text, const APathComponent& component) {
    text += component.Get();
}

void Write(AString& text, unsigned short separator, const APathComponent& component) {
    text += separator;
    text += component.Get();
}

// What an absolute Windows text of its shape becomes in long form.
void AddLongPathPrefix(AString& text, bool driveShape, bool uncShape) {
    if (driveShape) {
        text.Insert(0, AString("\\\\?\\"));
    } else if (uncShape) {
        // "\\server" becomes "\\?\UNC\server": the prefix takes the place of the two backslashes.
        text.Insert(2, AString("?\\UNC\\"));
    } else {
        // No platform meaning; kept apart from the two real forms.
        text.Insert(0, AString("\\\\?\\UNC\\"));
    }
}

// The index that index stands for in a list of size components: kLastComponentIndex is the last
// one, any other value must be below size. False for a bad index.
bool ResolveIndex(std::uint32_t size, std::uint32_t index, std::uint32_t& resolved) {
    if (size == 0) {
        return false;
    }
    resolved = index == kLast ? size - 1 : index;
    return resolved < size;
}

// The end of a run of count components from a resolved index, held to the size; the sum is
// taken in 64 bits so that no count wraps around.
std::uint32_t RunEnd(std::uint32_t size, std::uint32_t index, std::uint32_t count) {
    if (count == kLast) {
        return size;
    }
    const std::uint64_t end = std::uint64_t{index} + count;
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(end, size));
}

// Puts incoming in the place of the run [first, last) of list. incoming is taken by value, so the
// caller's copies exist before anything changes (incoming may have been list itself), and the room
// is reserved before the run goes: a failure to get memory leaves list as it was.
void Splice(ComponentList& list, std::uint32_t first, std::uint32_t last, ComponentList incoming) {
    list.reserve(list.size() - (last - first) + incoming.size());
    list.erase(list.begin() + first, list.begin() + last);
    list.insert(list.begin() + first, std::make_move_iterator(incoming.begin()),
                std::make_move_iterator(incoming.end()));
}

// A path without an implementation object reads as this one: empty and relative.
const APathImpl& Read(const APathImpl* impl) {
    static const APathImplW kEmpty;
    return impl != nullptr ? *impl : kEmpty;
}

// A new implementation object with a copy of source's state, or null when the allocate procedure
// gives no memory.
APathImpl* CopyRecord(const APathImpl& source) {
    APathImpl* record = NewRecord<APathImplW>();
    if (record != nullptr) {
        try {
            *record = source;
        } catch (...) {
            DeleteRecord(record);
            throw;
        }
    }
    return record;
}

AString Render(const APathImpl& impl, std::uint32_t count, APath::PathType type, bool longPath) {
    if (count == 0) {
        return AString();
    }
    switch (type) {
    case APath::kPosixPath:
        return impl.WritePosixPath(count);
    case APath::kNativePath:
    case APath::kWinPath:
        return impl.WriteWinPath(count, longPath);
    }
    return AString();
}

// Where an iterator stands in a path.
enum class Place { kComponent, kEnd, kForeign };

// The one test of every iterator form: whether the iterator was made over impl's own list, and
// if so whether it stands at end() (forward) or rend() (reverse) or at a component, whose index
// goes to index. A forward iterator shows the element at its position, a reverse iterator the
// one in front of it. A position that is not a whole element within the list can only come from
// a stale iterator and counts as foreign.
template <typename Record>
Place Locate(const APathImpl* impl, const Record* record, bool reverse, std::uint32_t& index) {
    if (impl == nullptr || record == nullptr || record->fpComponents != &impl->fComponents) {
        return Place::kForeign;
    }
    const ComponentList& list = impl->fComponents;
    const auto start = reinterpret_cast<std::uintptr_t>(list.data());
    const auto at = reinterpret_cast<std::uintptr_t>(record->fCurrent);
    if (at < start || (at - start) % sizeof(APathComponent) != 0 ||
        (at - start) / sizeof(APathComponent) > list.size()) {
        return Place::kForeign;
    }
    const auto offset = static_cast<std::uint32_t>((at - start) / sizeof(APathComponent));
    if (reverse ? offset == 0 : offset == SizeOf(list)) {
        return Place::kEnd;
    }
    index = reverse ? offset - 1 : offset;
    return Place::kComponent;
}

Place Locate(const APathImpl* impl, const APathIteratorImpl* record, std::uint32_t& index) {
    return Locate(impl, record, false, index);
}

Place Locate(const APathImpl* impl, const APathReverseIteratorImpl* record, std::uint32_t& index) {
    return Locate(impl, record, true, index);
}

} // namespace

// ---------------------------------------------------------------------------------------------
// APathImpl

APathImpl::~APathImpl() = default;

APathImpl& APathImpl::operator=(APathImpl&& other) {
    if (this != &other) {
        ComponentList taken(std::move(other.fComponents));
        other.fComponents.clear();
        fComponents.swap(taken);
    }
    fForm = other.fForm;
    fIsAbsolute = other.fIsAbsolute;
    return *this;
}

APathImpl& APathImpl::operator=(const APathImpl& other) {
    if (this != &other) {
        // Copies first: a failure to get memory leaves the list as it was.
        ComponentList copies(other.fComponents);
        fComponents.swap(copies);
    }
    fForm = other.fForm;
    fIsAbsolute = other.fIsAbsolute;
    return *this;
}

AString APathImpl::WritePosixPath(std::uint32_t count) const {
    const std::uint32_t size = SizeOf(fComponents);
    if (count == 0 || count > size) {
        return AString();
    }
    AString text;
    text.Preallocate(128);
    std::uint32_t i = 0;
    const bool firstEmpty = fComponents[0].IsEmpty();
    if (fIsAbsolute && firstEmpty) {
        // The root writes "/" only when nothing follows it; otherwise the next separator leads.
        if (size == 1 || count == 1) {
            text += kSlash;
        }
        i = 1;
    } else if (!fIsAbsolute) {
        // A relative list leads with its first written component, no separator in front.
        if (firstEmpty) {
            i = 1;
        }
        if (i >= count) {
            return text;
        }
        Write(text, fComponents[i++]);
    }
    // An absolute list whose first component is not empty (drive, server) gets a leading "/".
    for (; i < count; ++i) {
        Write(text, kSlash, fComponents[i]);
    }
    return text;
}

AString APathImpl::WriteWinPath(std::uint32_t count, bool longPath) const {
    const std::uint32_t size = SizeOf(fComponents);
    if (count == 0 || count > size) {
        return AString();
    }
    const APathComponent& first = fComponents[0];
    const bool driveShape = first.IsWinDrive();
    const bool uncShape = !driveShape && size >= 2 && fIsAbsolute && !first.IsEmpty();
    AString text;
    text.Preallocate(128);
    std::uint32_t i = 1;
    if (driveShape) {
        Write(text, first);
        if (size == 1 || (fIsAbsolute && count == 1)) {
            // A drive alone is written as its root, "C:\", relative or not.
            text += kBackslash;
            i = count;
        } else if (!fIsAbsolute && count > 1) {
            // Drive-relative: the first segment follows the drive directly, as in "C:dir".
            Write(text, fComponents[1]);
            i = 2;
        }
    } else if (uncShape) {
        // A server alone has no text in this notation.
        if (count == 1) {
            return AString();
        }
        text += kBackslash;
        Write(text, kBackslash, first);
        Write(text, kBackslash, fComponents[1]);
        i = 2;
    } else {
        // An empty first component writes a single "\" whether the list is absolute or not.
        i = 0;
        if (first.IsEmpty()) {
            text += kBackslash;
            i = 1;
        }
        if (i < count) {
            Write(text, fComponents[i++]);
        }
    }
    for (; i < count; ++i) {
        Write(text, kBackslash, fComponents[i]);
    }
    if (longPath && fIsAbsolute && Narrow(text.CharCount()) >= kLongPathFrom) {
        AddLongPathPrefix(text, driveShape, uncShape);
    }
    return text;
}

bool APathImpl::ParsePosixPath(const AString& text) {
    fComponents.clear();
    fForm = kFormPosix;
    const std::uint32_t length = Narrow(text.CharCount());
    std::uint32_t pos = 0;
    fIsAbsolute = length > 0 && text.GetChar(0) == kSlash;
    if (fIsAbsolute) {
        pos = 1;
        if (length > 1) {
            fComponents.emplace_back(); // the root
        }
    }
    // Unlike the Windows segments, the text behind a final "/" is always taken, empty or not.
    APathComponent scratch;
    for (;;) {
        const std::uint32_t slash = pos < length ? Narrow(text.IndexOf(kSlash, pos)) : kNotFound;
        if (slash == pos) {
            ++pos;
            continue;
        }
        if (slash == kNotFound) {
            scratch.Set(text.Substring(pos));
            fComponents.push_back(scratch);
            return true;
        }
        scratch.Set(text.Substring(pos, slash - pos));
        fComponents.push_back(scratch);
        pos = slash + 1;
    }
}

bool APathImpl::ParseWinPath(const AString& text) {
    if (ParseWinLocalPath(text) || ParseUNCPath(text)) {
        return true;
    }
    // A rooted text with no drive and no server and share is left to the POSIX parser.
    if (IsWinSeparator(text.GetChar(0))) {
        return false;
    }
    fForm = kFormWinRelative;
    fIsAbsolute = false;
    fComponents.clear();
    APathComponent scratch;
    ReadWinSegments(text, 0, scratch, fComponents);
    return true;
}

bool APathImpl::ParseWinLocalPath(const AString& text) {
    const std::uint32_t start = StartsWith(text, "\\\\?\\") ? 4 : 0;
    if (!IsWinDriveLetter(text.GetChar(start)) || !IsWinDriveDelimiter(text.GetChar(start + 1))) {
        return false;
    }
    fForm = kFormWinLocal;
    // The drive and the segments share one scratch component, and Set with an unchanged text
    // keeps the drive flag: a first segment that repeats the drive's text is flagged too.
    APathComponent scratch(text.Substring(start, 2));
    scratch.SetIsWinDrive();
    fComponents.clear();
    fComponents.push_back(scratch);
    std::uint32_t pos = start + 2;
    const std::uint32_t length = Narrow(text.CharCount());
    if (pos >= length) {
        fIsAbsolute = true;
    } else if (IsWinSeparator(text.GetChar(pos))) {
        fIsAbsolute = true;
        ++pos;
    } else {
        fIsAbsolute = false;
    }
    ReadWinSegments(text, pos, scratch, fComponents);
    return true;
}

bool APathImpl::ParseUNCPath(const AString& text) {
    std::uint32_t pos = 0;
    if (StartsWith(text, "\\\\?\\UNC\\")) {
        pos = 8;
    } else if (IsWinSeparator(text.GetChar(0)) && IsWinSeparator(text.GetChar(1))) {
        pos = 2;
    } else {
        return false;
    }
    // Nothing changes until both server and share are found.
    const std::uint32_t length = Narrow(text.CharCount());
    if (pos >= length) {
        return false;
    }
    APathComponent server;
    ReadWinSegment(text, length, pos, server);
    if (pos >= length) {
        return false;
    }
    APathComponent share;
    ReadWinSegment(text, length, pos, share);
    fForm = kFormUNC;
    fIsAbsolute = true;
    fComponents.clear();
    fComponents.push_back(std::move(server));
    fComponents.push_back(std::move(share));
    APathComponent scratch;
    ReadWinSegments(text, pos, scratch, fComponents);
    return true;
}

APathImplW::~APathImplW() = default;

// ---------------------------------------------------------------------------------------------
// APath: life cycle, parsing and queries

ZELK_DEFINE_CLASS_ALLOCATION(APath)

APath::APath() : fpImpl(NewRecord<APathImplW>()) {}

APath::APath(const AString& path, PathType type) : fpImpl(NewRecord<APathImplW>()) {
    try {
        SetPath(path, type);
    } catch (...) {
        DeleteRecord(fpImpl);
        throw;
    }
}

APath::APath(const APathComponent& component) : fpImpl(NewRecord<APathImplW>()) {
    if (fpImpl != nullptr && !component.IsEmpty()) {
        try {
            fpImpl->fComponents.push_back(component);
        } catch (...) {
            DeleteRecord(fpImpl);
            throw;
        }
    }
}

APath::APath(const APath& other) : fpImpl(CopyRecord(Read(other.fpImpl))) {}

APath::APath(APath&& other) noexcept : fpImpl(other.fpImpl) {
    other.fpImpl = nullptr;
}

APath::~APath() {
    DeleteRecord(fpImpl);
}

APath& APath::operator=(const APath& other) {
    if (this != &other) {
        if (fpImpl == nullptr) {
            fpImpl = CopyRecord(Read(other.fpImpl));
        } else {
            *fpImpl = Read(other.fpImpl);
        }
    }
    return *this;
}

APath& APath::operator=(APath&& other) noexcept {
    std::swap(fpImpl, other.fpImpl);
    return *this;
}

bool APath::operator==(const APath& other) const {
    if (this == &other) {
        return true;
    }
    const APathImpl& mine = Read(fpImpl);
    const APathImpl& theirs = Read(other.fpImpl);
    return mine.fIsAbsolute == theirs.fIsAbsolute && mine.fComponents == theirs.fComponents;
}

bool APath::operator!=(const APath& other) const {
    return !(*this == other);
}

APathComponent APath::operator[](unsigned long index) const {
    return GetComponent(index);
}

APathComponent APath::GetComponent(unsigned long index) const {
    const ComponentList& list = Read(fpImpl).fComponents;
    std::uint32_t resolved = 0;
    if (!ResolveIndex(SizeOf(list), Narrow(index), resolved)) {
        return APathComponent();
    }
    return list[resolved];
}

bool APath::SetPath(const AString& path, PathType type) {
    if (fpImpl == nullptr) {
        return false;
    }
    if (path.IsEmpty()) {
        fpImpl->fComponents.clear();
        fpImpl->fForm = APathImpl::kFormEmpty;
        fpImpl->fIsAbsolute = false;
        return true;
    }
    switch (type) {
    case kPosixPath:
        return fpImpl->ParsePosixPath(path);
    case kNativePath:
    case kWinPath:
        return fpImpl->ParseWinPath(path) || fpImpl->ParsePosixPath(path);
    }
    return false;
}

bool APath::IsValid() const {
    const ComponentList& list = Read(fpImpl).fComponents;
    if (list.empty()) {
        return false;
    }
    for (std::size_t i = 0; i < list.size(); ++i) {
        if (!list[i].IsValid() || (i > 0 && list[i].IsWinDrive())) {
            return false;
        }
    }
    return true;
}

bool APath::IsAbsolute() const {
    return Read(fpImpl).fIsAbsolute;
}

bool APath::IsRelative() const {
    return !IsAbsolute();
}

bool APath::IsEmpty() const {
    return Read(fpImpl).fComponents.empty();
}

unsigned long APath::Size() const {
    return SizeOf(Read(fpImpl).fComponents);
}

void APath::SetAbsolute() {
    if (fpImpl != nullptr) {
        fpImpl->fIsAbsolute = true;
    }
}

void APath::SetRelative() {
    if (fpImpl != nullptr) {
        fpImpl->fIsAbsolute = false;
    }
}

AString APath::GetPath(PathType type, bool longPath) const {
    const APathImpl& impl = Read(fpImpl);
    return Render(impl, SizeOf(impl.fComponents), type, longPath);
}

AString APath::GetParentPath(PathType type, bool longPath) const {
    const APathImpl& impl = Read(fpImpl);
    const std::uint32_t size = SizeOf(impl.fComponents);
    return size == 0 ? AString() : Render(impl, size - 1, type, longPath);
}

// ---------------------------------------------------------------------------------------------
// APath: editing by index

APath APath::GetParent(unsigned long index) const {
    std::uint32_t resolved = 0;
    if (!ResolveIndex(Narrow(Size()), Narrow(index), resolved) || resolved == 0) {
        return APath();
    }
    return Subpath(0, resolved);
}

APath APath::Subpath(unsigned long index, unsigned long count) const {
    APath part;
    const APathImpl& impl = Read(fpImpl);
    const std::uint32_t size = SizeOf(impl.fComponents);
    std::uint32_t first = 0;
    if (part.fpImpl == nullptr || count == 0 || !ResolveIndex(size, Narrow(index), first)) {
        return part;
    }
    const std::uint32_t last = RunEnd(size, first, Narrow(count));
    part.fpImpl->fComponents.assign(impl.fComponents.begin() + first,
                                    impl.fComponents.begin() + last);
    part.fpImpl->fIsAbsolute = first == 0 && impl.fIsAbsolute;
    return part;
}

bool APath::DeleteComponent(unsigned long index) {
    std::uint32_t resolved = 0;
    if (fpImpl == nullptr || !ResolveIndex(Narrow(Size()), Narrow(index), resolved)) {
        return false;
    }
    fpImpl->fComponents.erase(fpImpl->fComponents.begin() + resolved);
    return true;
}

bool APath::SetComponent(unsigned long index, const APathComponent& component) {
    std::uint32_t resolved = 0;
    if (fpImpl == nullptr || component.IsEmpty() ||
        !ResolveIndex(Narrow(Size()), Narrow(index), resolved)) {
        return false;
    }
    // The copy is moved in, which swaps records: nothing is assigned into the old one.
    APathComponent copy(component);
    fpImpl->fComponents[resolved] = std::move(copy);
    return true;
}

bool APath::InsertComponent(unsigned long index, const APathComponent& component,
                            InsertPosition position) {
    if (fpImpl == nullptr) {
        return false;
    }
    ComponentList& list = fpImpl->fComponents;
    const std::uint32_t size = SizeOf(list);
    std::uint32_t at = Narrow(index);
    if (size == 0) {
        // An empty list takes 0 and kLastComponentIndex, and an empty component only as the
        // root of an absolute path; where it goes makes no difference.
        if ((at != 0 && at != kLast) || (component.IsEmpty() && !fpImpl->fIsAbsolute)) {
            return false;
        }
        list.push_back(component);
        return true;
    }
    if (component.IsEmpty() || !ResolveIndex(size, at, at)) {
        return false;
    }
    if (position != kInsertBefore) {
        ++at;
    }
    list.insert(list.begin() + at, APathComponent(component));
    return true;
}

bool APath::Replace(unsigned long index, unsigned long count, const APath& path) {
    if (fpImpl == nullptr || count == 0) {
        return false;
    }
    const ComponentList& incoming = Read(path.fpImpl).fComponents;
    const std::uint32_t size = Narrow(Size());
    if (size == 0) {
        if (Narrow(index) != kLast) {
            return false;
        }
        fpImpl->fComponents = incoming;
        return true;
    }
    std::uint32_t first = 0;
    if (!ResolveIndex(size, Narrow(index), first)) {
        return false;
    }
    Splice(fpImpl->fComponents, first, RunEnd(size, first, Narrow(count)), incoming);
    return true;
}

bool APath::SetParent(unsigned long index, const APath& path) {
    if (fpImpl == nullptr) {
        return false;
    }
    const std::uint32_t size = Narrow(Size());
    if (size == 0) {
        return Replace(index, 1, path);
    }
    std::uint32_t resolved = 0;
    if (!ResolveIndex(size, Narrow(index), resolved)) {
        return false;
    }
    if (resolved > 0) {
        return Replace(0, resolved, path);
    }
    Splice(fpImpl->fComponents, 0, 0, Read(path.fpImpl).fComponents);
    return true;
}

bool APath::SetParentPath(const AString& text, PathType type) {
    if (IsEmpty()) {
        return SetPath(text, type);
    }
    APathComponent last = GetComponent(kLastComponentIndex);
    if (!SetPath(text, type)) {
        return false;
    }
    fpImpl->fComponents.push_back(std::move(last));
    return true;
}

APath& APath::Append(const APath& path) {
    if (fpImpl != nullptr) {
        const std::uint32_t size = Narrow(Size());
        Splice(fpImpl->fComponents, size, size, Read(path.fpImpl).fComponents);
    }
    return *this;
}

APath& APath::Append(const APathComponent& component) {
    InsertComponent(kLastComponentIndex, component, kInsertAfter);
    return *this;
}

APath& APath::operator+=(const APath& path) {
    return Append(path);
}

APath& APath::operator+=(const APathComponent& component) {
    return Append(component);
}

APath APath::operator+(const APath& path) const {
    APath sum(*this);
    sum.Append(path);
    return sum;
}

APath APath::operator+(const APathComponent& component) const {
    APath sum(*this);
    sum.Append(component);
    return sum;
}

// ---------------------------------------------------------------------------------------------
// APath: editing by iterator. Each form turns the iterator into an index through Locate and
// leaves the rest to the index form.

const APathIteratorImpl* APath::RecordOf(const APathIterator& it) {
    return it.fpImpl;
}

const APathReverseIteratorImpl* APath::RecordOf(const APathReverseIterator& it) {
    return it.fpImpl;
}

APath APath::GetParent(const APathIterator& it) const {
    std::uint32_t index = 0;
    return Locate(fpImpl, RecordOf(it), index) == Place::kComponent ? GetParent(index) : APath();
}

APath APath::GetParent(const APathReverseIterator& it) const {
    std::uint32_t index = 0;
    return Locate(fpImpl, RecordOf(it), index) == Place::kComponent ? GetParent(index) : APath();
}

APath APath::Subpath(const APathIterator& it, unsigned long count) const {
    std::uint32_t index = 0;
    return Locate(fpImpl, RecordOf(it), index) == Place::kComponent ? Subpath(index, count)
                                                                    : APath();
}

APath APath::Subpath(const APathReverseIterator& it, unsigned long count) const {
    std::uint32_t index = 0;
    return Locate(fpImpl, RecordOf(it), index) == Place::kComponent ? Subpath(index, count)
                                                                    : APath();
}

bool APath::DeleteComponent(const APathIterator& it) {
    std::uint32_t index = 0;
    return Locate(fpImpl, RecordOf(it), index) == Place::kComponent && DeleteComponent(index);
}

bool APath::DeleteComponent(const APathReverseIterator& it) {
    std::uint32_t index = 0;
    return Locate(fpImpl, RecordOf(it), index) == Place::kComponent && DeleteComponent(index);
}

bool APath::SetComponent(const APathIterator& it, const APathComponent& component) {
    std::uint32_t index = 0;
    return Locate(fpImpl, RecordOf(it), index) == Place::kComponent &&
           SetComponent(index, component);
}

bool APath::SetComponent(const APathReverseIterator& it, const APathComponent& component) {
    std::uint32_t index = 0;
    return Locate(fpImpl, RecordOf(it), index) == Place::kComponent &&
           SetComponent(index, component);
}

// At end() an insertion goes behind the last component, at rend() in front of the first,
// whatever position says. An empty component is refused here even as a root.
bool APath::InsertComponent(const APathIterator& it, const APathComponent& component,
                            InsertPosition position) {
    std::uint32_t index = 0;
    const Place place = Locate(fpImpl, RecordOf(it), index);
    if (place == Place::kForeign || component.IsEmpty()) {
        return false;
    }
    return place == Place::kEnd ? InsertComponent(kLastComponentIndex, component, kInsertAfter)
                                : InsertComponent(index, component, position);
}

bool APath::InsertComponent(const APathReverseIterator& it, const APathComponent& component,
                            InsertPosition position) {
    std::uint32_t index = 0;
    const Place place = Locate(fpImpl, RecordOf(it), index);
    if (place == Place::kForeign || component.IsEmpty()) {
        return false;
    }
    return place == Place::kEnd ? InsertComponent(0, component, kInsertBefore)
                                : InsertComponent(index, component, position);
}

bool APath::Replace(const APathIterator& it, unsigned long count, const APath& path) {
    std::uint32_t index = 0;
    return Locate(fpImpl, RecordOf(it), index) == Place::kComponent && Replace(index, count, path);
}

bool APath::Replace(const APathReverseIterator& it, unsigned long count, const APath& path) {
    std::uint32_t index = 0;
    return Locate(fpImpl, RecordOf(it), index) == Place::kComponent && Replace(index, count, path);
}

bool APath::SetParent(const APathIterator& it, const APath& path) {
    std::uint32_t index = 0;
    return Locate(fpImpl, RecordOf(it), index) == Place::kComponent && SetParent(index, path);
}

bool APath::SetParent(const APathReverseIterator& it, const APath& path) {
    std::uint32_t index = 0;
    return Locate(fpImpl, RecordOf(it), index) == Place::kComponent && SetParent(index, path);
}

// ---------------------------------------------------------------------------------------------
// APath: iterators. A path without an implementation object gives iterators over no list.

APathIterator APath::begin() const {
    const ComponentList* list = fpImpl != nullptr ? &fpImpl->fComponents : nullptr;
    const APathComponent* start = list != nullptr ? list->data() : nullptr;
    return APathIterator(NewRecord<APathIteratorImpl>(APathIteratorImpl{start, list}));
}

APathIterator APath::end() const {
    const ComponentList* list = fpImpl != nullptr ? &fpImpl->fComponents : nullptr;
    const APathComponent* stop = list != nullptr ? list->data() + list->size() : nullptr;
    return APathIterator(NewRecord<APathIteratorImpl>(APathIteratorImpl{stop, list}));
}

APathReverseIterator APath::rbegin() const {
    const ComponentList* list = fpImpl != nullptr ? &fpImpl->fComponents : nullptr;
    const APathComponent* stop = list != nullptr ? list->data() + list->size() : nullptr;
    return APathReverseIterator(
        NewRecord<APathReverseIteratorImpl>(APathReverseIteratorImpl{stop, list}));
}

APathReverseIterator APath::rend() const {
    const ComponentList* list = fpImpl != nullptr ? &fpImpl->fComponents : nullptr;
    const APathComponent* start = list != nullptr ? list->data() : nullptr;
    return APathReverseIterator(
        NewRecord<APathReverseIteratorImpl>(APathReverseIteratorImpl{start, list}));
}

// ---------------------------------------------------------------------------------------------
// APath: resolution against the current directory, and collapse of the alias components.

namespace {

// The drive number of a drive component's letter: 1 for A or a, 26 for Z or z.
int DriveNumberOf(const APathComponent& drive) {
    const unsigned short letter = drive.Get().GetChar(0);
    return letter >= 97 ? letter - 96 : letter - 64;
}

// Switches the process to another drive for its scope and puts the current drive back on every
// way out. When the current directory has no drive (a UNC directory), its text is kept instead
// and made current again, so that the process ends where it started either way.
class DriveSwitch {
public:
    DriveSwitch() : fSavedDrive(platform::_getdrive()) {
        if (fSavedDrive == 0) {
            std::vector<unsigned short, HookAllocator<unsigned short>> buffer(
                APath::kMaxPathLength);
            const auto capacity = static_cast<platform::DWORD>(buffer.size());
            const platform::DWORD length = platform::GetCurrentDirectoryW(capacity, buffer.data());
            if (length > 0 && length < capacity) {
                fSavedDirectory = AString(buffer.data(), length);
            }
        }
    }
    ~DriveSwitch() {
        if (!fSwitched) {
            return;
        }
        platform::LastErrorSaver keep;
        if (fSavedDrive != 0) {
            platform::_chdrive(fSavedDrive);
        } else {
            platform::SetCurrentDirectoryW(fSavedDirectory.GrabWString());
        }
    }
    DriveSwitch(const DriveSwitch&) = delete;
    DriveSwitch& operator=(const DriveSwitch&) = delete;

    // False when there is nothing to come back to, or the drive can't be made current; the
    // process is then where it was.
    bool SwitchTo(int drive) {
        if (fSavedDrive == 0 && fSavedDirectory.IsEmpty()) {
            return false;
        }
        fSwitched = platform::_chdrive(drive) != -1;
        return fSwitched;
    }

private:
    int fSavedDrive;
    AString fSavedDirectory;
    bool fSwitched = false;
};

} // namespace

bool APath::MakeAbsolute(const APath* base, bool resolve) {
    if (!IsValid() || fpImpl->fIsAbsolute) {
        return false;
    }
    if (base != nullptr) {
        if (!base->IsValid() || !base->IsAbsolute()) {
            return false;
        }
        SetParent(0, *base);
    } else if (GetComponent(0).IsWinDrive()) {
        // Drive-relative: against the directory that drive has as its own current one.
        platform::ErrorModeGuard guard;
        DriveSwitch drive;
        if (!drive.SwitchTo(DriveNumberOf(GetComponent(0)))) {
            return false;
        }
        const APath directory = CorePathUtils::GetCurrentDir();
        if (Size() > 1) {
            SetParent(1, directory);
        }
    } else {
        const APath directory = CorePathUtils::GetCurrentDir();
        if (!directory.IsEmpty()) {
            SetParent(0, directory);
        }
    }
    if (resolve) {
        ResolveAliases();
    }
    fpImpl->fIsAbsolute = true;
    return true;
}

bool APath::ResolveAliases() {
    if (fpImpl == nullptr) {
        return false;
    }
    ComponentList& list = fpImpl->fComponents;
    const AString current = APathComponent::CurrentDirAlias();
    const AString parent = APathComponent::ParentDirAlias();
    bool removed = false;
    const auto dots = std::remove_if(list.begin(), list.end(),
                                     [&](const APathComponent& c) { return c.Get() == current; });
    if (dots != list.end()) {
        list.erase(dots, list.end());
        removed = true;
    }
    // Each ".." goes with whatever stands in front of it; one at the start goes alone.
    std::size_t position = 0;
    while (position < list.size()) {
        if (!(list[position].Get() == parent)) {
            ++position;
            continue;
        }
        list.erase(list.begin() + static_cast<std::ptrdiff_t>(position));
        removed = true;
        if (position > 0) {
            --position;
            list.erase(list.begin() + static_cast<std::ptrdiff_t>(position));
        }
    }
    return removed;
}

} // namespace zelk
} // namespace vorlan
