// AStringImpl: the record behind an AString, and the unit-level operations that the text units
// share (the string itself and the UTF-8 converters).
#ifndef ZELK_SOURCE_ASTRINGIMPL_H
#define ZELK_SOURCE_ASTRINGIMPL_H

#include <zelk/astring.h>

#include <cstdint>

namespace vorlan {
namespace zelk {

using Unit = unsigned short;

// The local buffer's size in units, terminator place included.
constexpr std::uint32_t kLocalUnits = 32;
// The longest text a string holds: its terminator place must still fit a 32-bit capacity.
constexpr std::uint32_t kMaxUnits = 0xFFFFFFFEu;
// What a search returns when it finds nothing.
constexpr std::uint32_t kNotFound = 0xFFFFFFFFu;

inline bool IsHighSurrogate(Unit unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
inline bool IsLowSurrogate(Unit unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}
inline bool IsSurrogate(Unit unit) {
    return unit >= 0xD800 && unit <= 0xDFFF;
}

// Units before the first 0 unit; 0 for null. A text that would pass 32 bits counts as
// 0xFFFFFFFF units, which no string accepts.
std::uint32_t UnitLength(const Unit* text);

// Characters in unitCount units: a high surrogate takes the unit behind it along, and a high
// surrogate as the very last unit is not counted.
std::uint32_t CountChars(const Unit* units, std::uint32_t unitCount);

// Units that the first charCount characters of a text take up. charCount is cut in place to the
// characters the text has.
std::uint32_t UnitsForChars(const Unit* units, std::uint32_t unitTotal, std::uint32_t charTotal,
                            std::uint32_t& charCount);

// Record invariants: fBuffer is fLocalBuffer while fHeapCapacity is 0, else fHeapBuffer; the
// active buffer holds fUTF16Count units and a 0 unit behind them; fCharCount is a stored figure
// (not recounted from the text) and never above fUTF16Count.
struct AStringImpl {
    Unit fLocalBuffer[kLocalUnits];
    Unit* fHeapBuffer;
    std::uint32_t fHeapCapacity;
    std::uint32_t fUTF16Count;
    std::uint32_t fCharCount;
    Unit* fBuffer;

    constexpr AStringImpl()
        : fLocalBuffer{}, fHeapBuffer(nullptr), fHeapCapacity(0), fUTF16Count(0), fCharCount(0),
          fBuffer(fLocalBuffer) {}
    AStringImpl(const AStringImpl&) = delete;
    AStringImpl& operator=(const AStringImpl&) = delete;
    ~AStringImpl() = default;

    // Units the active buffer holds, terminator place included.
    std::uint32_t BufferUnits() const { return fHeapCapacity != 0 ? fHeapCapacity : kLocalUnits; }

    // Room for units units and a terminator. False, with nothing changed, where the allocator
    // gives no block or units passes kMaxUnits. When copyText is false the new block gets an
    // empty text instead of a copy. When oldBlock is given, a replaced heap block is handed back
    // there for the caller to free (null if none was replaced), so that a source inside it can
    // still be read.
    bool EnsureCapacity(std::uint32_t units, bool copyText = true, Unit** oldBlock = nullptr);

    // The unit offset of a character; walks only where the two counts differ. Stops at the end.
    std::uint32_t CharToUnitIndex(std::uint32_t index) const;

    // Units for the first charCount characters of this text (charCount cut in place).
    std::uint32_t UnitsForChars(std::uint32_t& charCount) const;

    // Adds counted units behind the text, or at a character position. The units may lie inside
    // this string's own text. False, with nothing changed, where no room could be made.
    bool AppendUnits(const Unit* units, std::uint32_t unitCount, std::uint32_t charCount);
    bool InsertUnits(std::uint32_t position, const Unit* units, std::uint32_t unitCount,
                     std::uint32_t charCount);
    // Replaces the text. Where no room can be made, the former text up to its first 0 unit comes
    // back with its counts worked out afresh. countChars: take fCharCount from the new units
    // instead of charCount.
    void AssignUnits(const Unit* units, std::uint32_t unitCount, std::uint32_t charCount,
                     bool countChars = false);

    // One unit behind the text, counted as one character; a 0 unit is dropped.
    void AppendUnit(Unit unit);

    void Clear() {
        fBuffer[0] = 0;
        fUTF16Count = 0;
        fCharCount = 0;
    }

    // Gives memory back: an empty text or one that fits goes local, otherwise the heap block
    // becomes fUTF16Count + 1 units (exact) or the smallest multiple of 32 that holds the text
    // and its terminator. A failed allocation changes nothing.
    void ShrinkBuffer(bool exact);

    // Releases the heap block (the record itself is released by its owner).
    void ReleaseHeap();
};

// The way for the library's own units to reach a string's record.
struct AStringAccess {
    // Null for a string that has no record.
    static AStringImpl* Record(AString& text) { return text.fpImpl; }
    static const AStringImpl* Record(const AString& text) { return text.fpImpl; }
};

} // namespace zelk
} // namespace vorlan

#endif // ZELK_SOURCE_ASTRINGIMPL_H
