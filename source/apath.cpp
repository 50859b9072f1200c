// APath and its implementation object: parsing, rendering and editing of the component list.
#include <zelk/apath.h>

#include <zelk/astring8.h>
#include <zelk/fileutils.h>

#include "apathimpl.h"
#include "platform/platform.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <new>
#include <ostream>
#include <utility>
#include <vector>

// The segment scan takes eight units at a time with SSE2, part of every x86-64 target.
#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#if defined(_MSC_VER)
#include <intrin.h>
#endif
#define ZELK_PATH_SSE2 1
#else
#define ZELK_PATH_SSE2 0
#endif

namespace vorlan {
namespace zelk {

namespace {

using Unit = unsigned short;

constexpr Unit kSlash = u'/';
constexpr Unit kBackslash = u'\\';
constexpr Unit kDot = u'.';
constexpr std::uint32_t kNotFound = 0xFFFFFFFFu;
constexpr std::uint32_t kLast = 0xFFFFFFFFu;

// From this many characters on, an absolute Windows text gets the long-path prefix.
constexpr std::uint32_t kLongPathFrom = 261;

constexpr Unit kLocalPrefix[] = {u'\\', u'\\', u'?', u'\\'};
constexpr Unit kUNCPrefix[] = {u'\\', u'\\', u'?', u'\\', u'U', u'N', u'C', u'\\'};

std::uint32_t Narrow(unsigned long value) {
    return static_cast<std::uint32_t>(value);
}

std::uint32_t SizeOf(const ComponentList& list) {
    return static_cast<std::uint32_t>(list.size());
}

// The units of a text as the parsers read them: every unit counts, a lone surrogate included,
// so that no parse ever drops a unit of what it was given.
struct Units {
    const Unit* data;
    std::uint32_t count;

    explicit Units(const AString& text)
        : data(text.GrabWString()), count(static_cast<std::uint32_t>(text.UTF16Count())) {}
    Unit operator[](std::uint32_t index) const { return index < count ? data[index] : 0; }
    template <std::size_t N> bool StartsWith(const Unit (&prefix)[N]) const {
        return count >= N && std::equal(prefix, prefix + N, data);
    }
};

bool IsWinSeparator(Unit unit) {
    return unit == kSlash || unit == kBackslash;
}

// One segment of a text: count units from begin, and where its last dot is (count for none), found
// on the way so that the component's split needs no second look.
struct Segment {
    const Unit* begin;
    std::uint32_t count;
    std::uint32_t dot;
};

#if ZELK_PATH_SSE2
// The index of the lowest and of the highest set bit of a mask that is not 0.
inline unsigned LowestBit(std::uint32_t bits) {
#if defined(_MSC_VER)
    unsigned long index = 0;
    _BitScanForward(&index, bits);
    return static_cast<unsigned>(index);
#else
    return static_cast<unsigned>(__builtin_ctz(bits));
#endif
}

inline unsigned HighestBit(std::uint32_t bits) {
#if defined(_MSC_VER)
    unsigned long index = 0;
    _BitScanReverse(&index, bits);
    return static_cast<unsigned>(index);
#else
    return 31u - static_cast<unsigned>(__builtin_clz(bits));
#endif
}
#endif

// Reads a segment from pos up to the next separator ("/", and with backslash "\" too) or the
// end of the text, noting its last dot on the way. Eight units at a time where SSE2 is there
// (every x86-64 target), one at a time for the rest and on other targets.
template <bool kBackslashToo> Segment ReadUpTo(const Units& text, std::uint32_t pos) {
    std::uint32_t dot = kNotFound;
    std::uint32_t end = pos;
#if ZELK_PATH_SSE2
    const __m128i slash = _mm_set1_epi16(static_cast<short>(kSlash));
    const __m128i backslash = _mm_set1_epi16(static_cast<short>(kBackslash));
    const __m128i dots = _mm_set1_epi16(static_cast<short>(kDot));
    for (; end + 8 <= text.count; end += 8) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data + end));
        __m128i ends = _mm_cmpeq_epi16(block, slash);
        if (kBackslashToo) {
            ends = _mm_or_si128(ends, _mm_cmpeq_epi16(block, backslash));
        }
        // Two mask bits per unit.
        const auto endBits = static_cast<std::uint32_t>(_mm_movemask_epi8(ends));
        auto dotBits = static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi16(block, dots)));
        if (endBits != 0) {
            const unsigned first = LowestBit(endBits);
            dotBits &= (1u << first) - 1u;
            if (dotBits != 0) {
                dot = end + HighestBit(dotBits) / 2;
            }
            end += first / 2;
            return Segment{text.data + pos, end - pos, dot == kNotFound ? end - pos : dot - pos};
        }
        if (dotBits != 0) {
            dot = end + HighestBit(dotBits) / 2;
        }
    }
#endif
    for (; end < text.count; ++end) {
        const Unit unit = text.data[end];
        if (unit == kSlash || (kBackslashToo && unit == kBackslash)) {
            break;
        }
        if (unit == kDot) {
            dot = end;
        }
    }
    return Segment{text.data + pos, end - pos, dot == kNotFound ? end - pos : dot - pos};
}

// Reads one Windows segment from pos: a run of separators is passed over, and the segment runs
// to the next separator or the end. pos moves behind that separator, or to kNotFound when there
// is none. At the end of the text the segment is empty.
Segment ReadWinSegment(const Units& text, std::uint32_t& pos) {
    while (pos < text.count && IsWinSeparator(text.data[pos])) {
        ++pos;
    }
    const Segment segment = ReadUpTo<true>(text, pos);
    const std::uint32_t end = pos + segment.count;
    pos = end < text.count ? end + 1 : kNotFound;
    return segment;
}

// Gives each segment from pos to the end to take. One trailing separator adds nothing; a run of
// two or more adds one empty segment.
template <typename Take> void ForEachWinSegment(const Units& text, std::uint32_t pos, Take take) {
    while (pos < text.count) {
        take(ReadWinSegment(text, pos));
    }
}

// Gives each POSIX segment from pos to take. Unlike the Windows segments, the text behind a final
// "/" is always taken, empty or not; a doubled "/" makes no segment.
template <typename Take> void ForEachPosixSegment(const Units& text, std::uint32_t pos, Take take) {
    for (;;) {
        const Segment segment = ReadUpTo<false>(text, pos);
        const std::uint32_t end = pos + segment.count;
        if (end == text.count) {
            take(segment);
            return;
        }
        if (segment.count != 0) {
            take(segment);
        }
        pos = end + 1;
    }
}

// The segments of a text, gathered in one reading so that the list and the block of records are
// sized once before any component is made. Past kLocal segments only the sizes go on, and the
// text is read again.
class Segments {
public:
    void operator()(const Segment& segment) {
        if (fCount < kLocal) {
            fLocal[fCount] = segment;
        }
        ++fCount;
        fBytes += ComponentRecords::BytesFor(segment.count);
    }
    std::size_t Count() const { return fCount; }
    // The size of the records, with those of more segments.
    std::uint64_t Bytes(std::initializer_list<Segment> more = {}) const {
        std::uint64_t bytes = fBytes;
        for (const Segment& segment : more) {
            bytes += ComponentRecords::BytesFor(segment.count);
        }
        return bytes;
    }
    // Gives each segment to take, read again from the text where they weren't all kept.
    template <typename Read, typename Take> void Replay(Read read, Take take) const {
        if (fCount <= kLocal) {
            std::for_each(fLocal, fLocal + fCount, take);
        } else {
            read(take);
        }
    }

private:
    static constexpr std::size_t kLocal = 64;
    Segment fLocal[kLocal];
    std::size_t fCount = 0;
    std::uint64_t fBytes = 0;
};

// Appends the component of one segment, built once in its place.
void AppendSegment(ComponentList& list, ComponentRecords& records, const Segment& segment) {
    records.Append(list, segment.begin, segment.count, segment.dot);
}

const APathComponentImpl* RecordOf(const APathComponent& component) {
    return APathComponentAccess::Record(component);
}

// The units of a component's text.
struct Run {
    const Unit* begin;
    std::uint32_t count;
};

Run TextOf(const APathComponent& component) {
    const APathComponentImpl* record = RecordOf(component);
    return record != nullptr ? Run{record->Units(), record->fUnitCount} : Run{nullptr, 0};
}

bool IsText(const APathComponent& component, const Unit* text, std::uint32_t count) {
    const Run units = TextOf(component);
    return units.count == count && std::equal(text, text + count, units.begin);
}

// ---- writing

// The place a writer puts a text together: on the stack for ordinary lengths, from the hooks
// beyond them.
class Staging {
public:
    explicit Staging(std::size_t units) {
        if (units > kLocal) {
            fHeap.resize(units);
            fData = fHeap.data();
        }
    }
    Staging(const Staging&) = delete;
    Staging& operator=(const Staging&) = delete;
    Unit* Data() { return fData; }

private:
    static constexpr std::size_t kLocal = 1024;
    Unit fLocal[kLocal];
    Unit* fData = fLocal;
    std::vector<Unit, HookAllocator<Unit>> fHeap;
};

// Measures what a layout writes.
class Measure {
public:
    void Put(Unit) { ++fCount; }
    void Put(const APathComponent& component) { fCount += TextOf(component).count; }
    std::size_t Count() const { return fCount; }

private:
    std::size_t fCount = 0;
};

// Writes a layout's units one behind another.
class Writer {
public:
    explicit Writer(Unit* out) : fOut(out) {}
    void Put(Unit unit) { *fOut++ = unit; }
    void Put(const APathComponent& component) {
        const Run text = TextOf(component);
        fOut = std::copy(text.begin, text.begin + text.count, fOut);
    }

private:
    Unit* fOut;
};

// The POSIX text of the first count components; false for the empty text. The separator is "/".
template <typename Out>
bool LayOutPosix(const ComponentList& list, bool absolute, std::uint32_t count, Out& out) {
    const std::uint32_t size = SizeOf(list);
    std::uint32_t i = 0;
    const bool firstEmpty = list[0].IsEmpty();
    if (absolute && firstEmpty) {
        // The root writes "/" only when nothing follows it; otherwise the next separator leads.
        if (size == 1 || count == 1) {
            out.Put(kSlash);
        }
        i = 1;
    } else if (!absolute) {
        // A relative list leads with its first written component, no separator in front.
        if (firstEmpty) {
            i = 1;
        }
        if (i >= count) {
            return false;
        }
        out.Put(list[i++]);
    }
    // An absolute list whose first component is not empty (drive, server) gets a leading "/".
    for (; i < count; ++i) {
        out.Put(kSlash);
        out.Put(list[i]);
    }
    return true;
}

// What a Windows list is by its shape.
enum class WinShape { kDrive, kUNC, kOther };

WinShape ShapeOf(const ComponentList& list, bool absolute) {
    const APathComponent& first = list[0];
    if (first.IsWinDrive()) {
        return WinShape::kDrive;
    }
    return list.size() >= 2 && absolute && !first.IsEmpty() ? WinShape::kUNC : WinShape::kOther;
}

// The Windows text of the first count components, without any prefix; false for the empty text.
// The separator is "\".
template <typename Out>
bool LayOutWin(const ComponentList& list, bool absolute, std::uint32_t count, Out& out) {
    const std::uint32_t size = SizeOf(list);
    const APathComponent& first = list[0];
    std::uint32_t i = 1;
    switch (ShapeOf(list, absolute)) {
    case WinShape::kDrive:
        out.Put(first);
        if (size == 1 || (absolute && count == 1)) {
            // A drive alone is written as its root, "C:\", relative or not.
            out.Put(kBackslash);
            i = count;
        } else if (!absolute && count > 1) {
            // Drive-relative: the first segment follows the drive directly, as in "C:dir".
            out.Put(list[1]);
            i = 2;
        }
        break;
    case WinShape::kUNC:
        // A server alone has no text in this notation.
        if (count == 1) {
            return false;
        }
        out.Put(kBackslash);
        out.Put(kBackslash);
        out.Put(first);
        out.Put(kBackslash);
        out.Put(list[1]);
        i = 2;
        break;
    case WinShape::kOther:
        // An empty first component writes a single "\" whether the list is absolute or not.
        i = 0;
        if (first.IsEmpty()) {
            out.Put(kBackslash);
            i = 1;
        }
        if (i < count) {
            out.Put(list[i++]);
        }
        break;
    }
    for (; i < count; ++i) {
        out.Put(kBackslash);
        out.Put(list[i]);
    }
    return true;
}

// Characters of a text as AString counts them: a high surrogate takes the unit behind it along,
// and one at the very end is not counted.
std::size_t CountChars(const Unit* units, std::size_t count) {
    std::size_t chars = 0;
    for (std::size_t i = 0; i < count; ++i, ++chars) {
        if (units[i] >= 0xD800 && units[i] <= 0xDBFF && ++i == count) {
            break;
        }
    }
    return chars;
}

// Room in front of a written Windows text for the longest prefix.
constexpr std::size_t kPrefixRoom = std::size(kUNCPrefix);

// Puts the long-path prefix of its shape in front of the text that starts at text, in the room
// kept there, and returns where the long form starts. "\\server" becomes "\\?\UNC\server": the
// prefix takes the place of the two backslashes. An absolute list of neither shape gets
// "\\?\UNC\" in front of its whole text, a form with no platform meaning.
Unit* AddLongPathPrefix(Unit* text, WinShape shape) {
    Unit* start = text - kPrefixRoom;
    switch (shape) {
    case WinShape::kDrive:
        start = text - std::size(kLocalPrefix);
        std::copy(std::begin(kLocalPrefix), std::end(kLocalPrefix), start);
        break;
    case WinShape::kUNC:
        start = text + 2 - std::size(kUNCPrefix);
        std::copy(std::begin(kUNCPrefix), std::end(kUNCPrefix), start);
        break;
    case WinShape::kOther:
        std::copy(std::begin(kUNCPrefix), std::end(kUNCPrefix), start);
        break;
    }
    return start;
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

// Whether a path reads as the empty relative path, which is all a path without an implementation
// object can stand for.
bool ReadsAsNothing(const APathImpl& impl) {
    return impl.fComponents.empty() && !impl.fIsAbsolute;
}

// A new implementation object, never null: a refused one is std::bad_alloc.
APathImpl* NewImpl() {
    APathImpl* impl = NewRecord<APathImplW>();
    if (impl == nullptr) {
        throw std::bad_alloc();
    }
    return impl;
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

// The writers measure the text first, put it together once in a staging area straight from the
// components' units, and make the result from it in one piece.
AString APathImpl::WritePosixPath(std::uint32_t count) const {
    if (count == 0 || count > SizeOf(fComponents)) {
        return AString();
    }
    Measure measure;
    if (!LayOutPosix(fComponents, fIsAbsolute, count, measure)) {
        return AString();
    }
    Staging staging(measure.Count());
    Writer writer(staging.Data());
    LayOutPosix(fComponents, fIsAbsolute, count, writer);
    return TextOfUnits(staging.Data(), static_cast<std::uint32_t>(measure.Count()));
}

AString APathImpl::WriteWinPath(std::uint32_t count, bool longPath) const {
    if (count == 0 || count > SizeOf(fComponents)) {
        return AString();
    }
    Measure measure;
    if (!LayOutWin(fComponents, fIsAbsolute, count, measure)) {
        return AString();
    }
    const std::size_t units = measure.Count();
    Staging staging(kPrefixRoom + units);
    Unit* text = staging.Data() + kPrefixRoom;
    Writer writer(text);
    LayOutWin(fComponents, fIsAbsolute, count, writer);
    // The prefix goes on by the characters of the text without it; never fewer units than that.
    Unit* start = text;
    if (longPath && fIsAbsolute && units >= kLongPathFrom &&
        CountChars(text, units) >= kLongPathFrom) {
        start = AddLongPathPrefix(text, ShapeOf(fComponents, fIsAbsolute));
    }
    return TextOfUnits(start, static_cast<std::uint32_t>(text + units - start));
}

// Each parser reads the units in place, counts its components first and builds each one once in
// its place in a new list. Only a complete list replaces the old one, so a failure to get memory
// (std::bad_alloc) leaves the path as it was.

bool APathImpl::ParsePosixPath(const AString& path) {
    const Units text(path);
    const bool absolute = text.count > 0 && text.data[0] == kSlash;
    const std::uint32_t pos = absolute ? 1 : 0;
    const bool root = absolute && text.count > 1;
    const auto read = [&text, pos](auto take) { ForEachPosixSegment(text, pos, take); };
    Segments segments;
    read(std::ref(segments));
    ComponentList list;
    list.reserve((root ? 1 : 0) + segments.Count());
    ComponentRecords records(segments.Bytes());
    if (root) {
        list.emplace_back();
    }
    segments.Replay(read, [&](const Segment& segment) { AppendSegment(list, records, segment); });
    fComponents.swap(list);
    fForm = kFormPosix;
    fIsAbsolute = absolute;
    return true;
}

bool APathImpl::ParseWinPath(const AString& path) {
    if (ParseWinLocalPath(path) || ParseUNCPath(path)) {
        return true;
    }
    // A rooted text with no drive and no server and share is left to the POSIX parser.
    const Units text(path);
    if (IsWinSeparator(text[0])) {
        return false;
    }
    const auto read = [&text](auto take) { ForEachWinSegment(text, 0, take); };
    Segments segments;
    read(std::ref(segments));
    ComponentList list;
    list.reserve(segments.Count());
    ComponentRecords records(segments.Bytes());
    segments.Replay(read, [&](const Segment& segment) { AppendSegment(list, records, segment); });
    fComponents.swap(list);
    fForm = kFormWinRelative;
    fIsAbsolute = false;
    return true;
}

bool APathImpl::ParseWinLocalPath(const AString& path) {
    const Units text(path);
    const std::uint32_t start = text.StartsWith(kLocalPrefix) ? 4 : 0;
    if (!IsWinDriveLetter(text[start]) || !IsWinDriveDelimiter(text[start + 1])) {
        return false;
    }
    std::uint32_t pos = start + 2;
    bool absolute = false;
    if (pos >= text.count) {
        absolute = true; // a drive alone is absolute
    } else if (IsWinSeparator(text.data[pos])) {
        absolute = true;
        ++pos;
    }
    const auto read = [&text, pos](auto take) { ForEachWinSegment(text, pos, take); };
    Segments segments;
    read(std::ref(segments));
    const Segment drive{text.data + start, 2, 2};
    ComponentList list;
    list.reserve(1 + segments.Count());
    ComponentRecords records(segments.Bytes({drive}));
    AppendSegment(list, records, drive);
    APathComponentAccess::MarkDrive(list.back());
    // Segments that repeat the drive's text right behind it come out flagged as drives too, as
    // a component set to its own text keeps its flag ("C:\C:\x" has two drives and is invalid).
    bool repeatsDrive = true;
    segments.Replay(read, [&](const Segment& segment) {
        AppendSegment(list, records, segment);
        repeatsDrive = repeatsDrive && segment.count == 2 && segment.begin[0] == drive.begin[0] &&
                       segment.begin[1] == drive.begin[1];
        if (repeatsDrive) {
            APathComponentAccess::MarkDrive(list.back());
        }
    });
    fComponents.swap(list);
    fForm = kFormWinLocal;
    fIsAbsolute = absolute;
    return true;
}

bool APathImpl::ParseUNCPath(const AString& path) {
    const Units text(path);
    std::uint32_t pos = 0;
    if (text.StartsWith(kUNCPrefix)) {
        pos = 8;
    } else if (IsWinSeparator(text[0]) && IsWinSeparator(text[1])) {
        pos = 2;
    } else {
        return false;
    }
    // Nothing changes until both server and share are found.
    if (pos >= text.count) {
        return false;
    }
    const Segment server = ReadWinSegment(text, pos);
    if (pos >= text.count) {
        return false;
    }
    const Segment share = ReadWinSegment(text, pos);
    const auto read = [&text, pos](auto take) { ForEachWinSegment(text, pos, take); };
    Segments segments;
    read(std::ref(segments));
    ComponentList list;
    list.reserve(2 + segments.Count());
    ComponentRecords records(segments.Bytes({server, share}));
    AppendSegment(list, records, server);
    AppendSegment(list, records, share);
    segments.Replay(read, [&](const Segment& segment) { AppendSegment(list, records, segment); });
    fComponents.swap(list);
    fForm = kFormUNC;
    fIsAbsolute = true;
    return true;
}

APathImplW::~APathImplW() = default;

// ---------------------------------------------------------------------------------------------
// APath: life cycle, parsing and queries

ZELK_DEFINE_CLASS_ALLOCATION(APath)

APathImpl& APath::Own() {
    if (fpImpl == nullptr) {
        fpImpl = NewImpl();
    }
    return *fpImpl;
}

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
    if (!component.IsEmpty()) {
        try {
            Own().fComponents.push_back(component);
        } catch (...) {
            DeleteRecord(fpImpl);
            throw;
        }
    }
}

APath::APath(const APath& other) : fpImpl(nullptr) {
    const APathImpl& source = Read(other.fpImpl);
    fpImpl = NewRecord<APathImplW>();
    if (fpImpl == nullptr) {
        // Without an object of its own the copy reads as the empty relative path: enough only
        // for a source that is just that.
        if (!ReadsAsNothing(source)) {
            throw std::bad_alloc();
        }
        return;
    }
    try {
        *fpImpl = source;
    } catch (...) {
        DeleteRecord(fpImpl);
        throw;
    }
}

APath::APath(APath&& other) noexcept : fpImpl(other.fpImpl) {
    other.fpImpl = nullptr;
}

APath::~APath() {
    DeleteRecord(fpImpl);
}

APath& APath::operator=(const APath& other) {
    if (this != &other) {
        Own() = Read(other.fpImpl);
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
    if (path.IsEmpty()) {
        if (fpImpl != nullptr) {
            fpImpl->fComponents.clear();
            fpImpl->fForm = APathImpl::kFormEmpty;
            fpImpl->fIsAbsolute = false;
        }
        return true;
    }
    switch (type) {
    case kPosixPath:
        return Own().ParsePosixPath(path);
    case kNativePath:
    case kWinPath:
        return Own().ParseWinPath(path) || fpImpl->ParsePosixPath(path);
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
    Own().fIsAbsolute = true;
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
    if (count == 0 || !ResolveIndex(size, Narrow(index), first)) {
        return part;
    }
    const std::uint32_t last = RunEnd(size, first, Narrow(count));
    APathImpl& target = part.Own();
    target.fComponents.assign(impl.fComponents.begin() + first, impl.fComponents.begin() + last);
    target.fIsAbsolute = first == 0 && impl.fIsAbsolute;
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
    const ComponentList& list = Read(fpImpl).fComponents;
    const std::uint32_t size = SizeOf(list);
    std::uint32_t at = Narrow(index);
    if (size == 0) {
        // An empty list takes 0 and kLastComponentIndex, and an empty component only as the
        // root of an absolute path; where it goes makes no difference.
        if ((at != 0 && at != kLast) || (component.IsEmpty() && !IsAbsolute())) {
            return false;
        }
        Own().fComponents.push_back(component);
        return true;
    }
    if (component.IsEmpty() || !ResolveIndex(size, at, at)) {
        return false;
    }
    if (position != kInsertBefore) {
        ++at;
    }
    fpImpl->fComponents.insert(fpImpl->fComponents.begin() + at, APathComponent(component));
    return true;
}

bool APath::Replace(unsigned long index, unsigned long count, const APath& path) {
    if (count == 0) {
        return false;
    }
    const ComponentList& incoming = Read(path.fpImpl).fComponents;
    const std::uint32_t size = Narrow(Size());
    if (size == 0) {
        if (Narrow(index) != kLast) {
            return false;
        }
        ComponentList copies(incoming);
        Own().fComponents.swap(copies);
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
    // The place for it is made first, so that nothing can fail once the new path stands.
    APath parent;
    if (!parent.SetPath(text, type)) {
        return false;
    }
    parent.Own().fComponents.reserve(parent.fpImpl->fComponents.size() + 1);
    parent.fpImpl->fComponents.push_back(std::move(last));
    std::swap(fpImpl, parent.fpImpl);
    return true;
}

APath& APath::Append(const APath& path) {
    const ComponentList& incoming = Read(path.fpImpl).fComponents;
    if (!incoming.empty()) {
        ComponentList& list = Own().fComponents;
        const std::uint32_t size = SizeOf(list);
        Splice(list, size, size, incoming);
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

// The directory a path of that drive is relative to, read without making the drive current:
// the full-path query of the bare drive ("D:") gives that drive's own current directory. False
// when the query fails, gives no directory on that drive, or names no existing directory (a
// drive that isn't there, or whose directory has gone).
bool DriveDirectory(Unit letter, APath& directory) {
    const Unit upper = letter >= u'a' && letter <= u'z' ? static_cast<Unit>(letter - 0x20) : letter;
    const Unit query[] = {upper, u':', 0};
    std::vector<Unit, HookAllocator<Unit>> buffer(APath::kMaxPathLength);
    const auto capacity = static_cast<platform::DWORD>(buffer.size());
    platform::ErrorModeGuard guard;
    const platform::DWORD length =
        platform::GetFullPathNameW(query, capacity, buffer.data(), nullptr);
    if (length == 0 || length >= capacity) {
        return false;
    }
    APath found(TextOfUnits(buffer.data(), length), APath::kWinPath);
    if (!found.IsValid() || !found.IsAbsolute()) {
        return false;
    }
    const APathComponent& drive = APathAccess::Impl(found)->fComponents.front();
    if (!drive.IsWinDrive() || (TextOf(drive).begin[0] | 0x20u) != (upper | 0x20u)) {
        return false;
    }
    const platform::DWORD attributes = platform::GetFileAttributesW(buffer.data());
    if (attributes == platform::INVALID_FILE_ATTRIBUTES ||
        (attributes & platform::FILE_ATTRIBUTE_DIRECTORY) == 0) {
        return false;
    }
    directory = std::move(found);
    return true;
}

// What a relative path can be put behind: a valid absolute directory.
bool IsUsableDirectory(const APath& directory) {
    return directory.IsValid() && directory.IsAbsolute();
}

} // namespace

bool APath::MakeAbsolute(const APath* base, bool resolve) {
    if (!IsValid() || fpImpl->fIsAbsolute) {
        return false;
    }
    const APathComponent& first = fpImpl->fComponents.front();
    if (base != nullptr) {
        if (!base->IsValid() || !base->IsAbsolute()) {
            return false;
        }
        SetParent(0, *base);
    } else if (first.IsWinDrive()) {
        // Drive-relative: against the directory that drive has as its own current one.
        APath directory;
        if (!DriveDirectory(TextOf(first).begin[0], directory)) {
            return false;
        }
        if (Size() > 1) {
            SetParent(1, directory);
        }
    } else {
        // A current directory that can't be read (it was removed, say) is no base: taking none
        // would turn "a\b" into the server path \\a\b.
        const APath directory = CorePathUtils::GetCurrentDir();
        if (!IsUsableDirectory(directory)) {
            return false;
        }
        SetParent(0, directory);
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
    static const Unit kDots[] = {kDot, kDot};
    ComponentList& list = fpImpl->fComponents;
    bool removed = false;
    const auto dots = std::remove_if(list.begin(), list.end(),
                                     [](const APathComponent& c) { return IsText(c, kDots, 1); });
    if (dots != list.end()) {
        list.erase(dots, list.end());
        removed = true;
    }
    // Each ".." goes with whatever stands in front of it; one at the start goes alone.
    std::size_t position = 0;
    while (position < list.size()) {
        if (!IsText(list[position], kDots, 2)) {
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

// ---------------------------------------------------------------------------------------------
// Hashing and writing to streams

std::size_t HashValue(const APath& path) noexcept {
    const APathImpl& impl = Read(APathAccess::Impl(path));
    std::uint64_t hash = impl.fIsAbsolute ? 0x9E3779B97F4A7C15ull : 0x7F4A7C159E3779B9ull;
    for (const APathComponent& component : impl.fComponents) {
        hash = (hash ^ HashValue(component)) * 0x100000001B3ull + (hash >> 29);
    }
    return static_cast<std::size_t>(hash);
}

std::ostream& operator<<(std::ostream& out, const APath& path) {
    const APathImpl& impl = Read(APathAccess::Impl(path));
    const APath::PathType notation =
        impl.fForm == APathImpl::kFormPosix ? APath::kPosixPath : APath::kWinPath;
    AString8 utf8;
    AString::AStringToUTF8(path.GetPath(notation, false), utf8);
    return out.write(utf8.c_str(), static_cast<std::streamsize>(utf8.size()));
}

} // namespace zelk
} // namespace vorlan
