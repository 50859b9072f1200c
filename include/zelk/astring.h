// AString: UTF-16 text whose public indices and counts are in characters.
#ifndef ZELK_ASTRING_H
#define ZELK_ASTRING_H

#include <zelk/aallocator.h>
#include <zelk/export.h>

#include <cstddef>

namespace vorlan {
namespace zelk {

class AString8;
struct AStringImpl;

// UTF-16 text with a local buffer of 32 units. A character is one unit, or a high surrogate
// together with whatever unit follows it; a high surrogate as the very last unit belongs to no
// character. Indices and counts are in characters unless a name says units. All counts are 32-bit
// values, also where the type says unsigned long (a wider value is cut to its low 32 bits).
// Operations never throw on bad arguments: the string stays as it was, or the result is empty or
// 0xFFFFFFFF. Records are never shared.
//
// Memory: a text of up to 31 units lives in the record; growth goes through AAllocator in steps
// of at least half the capacity. With the default allocate procedure std::bad_alloc passes
// through; null from a registered procedure drops the change silently: appends and inserts leave
// the string as it was, assignments leave the former text up to its first 0 unit.
//
// Cases worth knowing:
// - A string whose record could not be allocated (null from a registered procedure in a
//   constructor), like the source of a move construction, has no record. It reads as the empty
//   text (GrabWString still gives a 0 unit), every change to it does nothing, and a move
//   assignment gives it a record again.
// - A text never passes 0xFFFFFFFE units: a request for more (Preallocate(0xFFFFFFFF), an append
//   or a SetBuffer count that would pass it, a C string that long) is refused like a failed
//   allocation, and nothing is read or written beyond the buffers.
// - The source of Append, Insert, operator+=, SetString and SetBuffer may be this string itself
//   or a pointer from its GrabWString: the result is that of a separate copy of the source.
class ZELK_API AString {
public:
    // As a count: all there is (every count is clamped to what is available).
    static constexpr unsigned long kToEnd = 0xFFFFFFFFul;
    // The same value as a position: simply out of range.
    static constexpr unsigned long kAtEnd = 0xFFFFFFFFul;

    AString();
    AString(const AString& other);
    // Takes the other's record; the source can then only be destroyed or move-assigned.
    AString(AString&& other) noexcept;
    // One unit per byte (ISO 8859-1 widening, no UTF-8 decoding). Null gives the empty text.
    AString(const char* text);
    // The units up to the first 0 unit. Null gives the empty text.
    AString(const unsigned short* text);
    // Exactly unitCount units (a count in units), 0 units included.
    AString(const unsigned short* text, unsigned long unitCount);
    virtual ~AString();

    AString& operator=(const AString& other);
    // Swaps the two records: the right side holds the left side's former text afterwards.
    AString& operator=(AString&& other) noexcept;
    AString& operator=(const char* text);
    AString& operator=(const unsigned short* text);

    bool IsEmpty() const;
    unsigned long CharCount() const;
    unsigned long UTF16Count() const;
    // Units the active buffer holds beside the terminator; 31 for a new string.
    unsigned long Capacity() const;
    // The unit of the character at index; 0 out of range and for a character of two units.
    unsigned short GetChar(unsigned long index) const;
    unsigned short operator[](unsigned long index) const;
    // The 0-terminated text, owned by the string and valid until its next change. Never null.
    const unsigned short* GrabWString() const;
    // A copy of the text and terminator in a block from AAllocator::Alloc, which the caller
    // releases with AAllocator::Free. Null when a registered allocate procedure gives no block.
    [[nodiscard]] unsigned short* GetWString() const;

    // Unit-by-unit order of plain values: 1, -1 or 0.
    long Compare(const AString& other) const;
    bool operator<(const AString& other) const;
    bool operator<=(const AString& other) const;
    bool operator>(const AString& other) const;
    bool operator>=(const AString& other) const;
    // Equal unit counts, character counts and units.
    bool operator==(const AString& other) const;
    bool operator!=(const AString& other) const;
    // Null counts as the empty text.
    bool operator==(const unsigned short* text) const;
    bool operator!=(const unsigned short* text) const;

    // Changing the text. Each returns the string itself.
    AString& Append(const AString& text, unsigned long count = kToEnd);
    AString& Append(const unsigned short* text, unsigned long count = kToEnd);
    // A 0 unit is dropped.
    AString& Append(unsigned short unit);
    AString& operator+=(const AString& text);
    AString& operator+=(const unsigned short* text);
    AString& operator+=(unsigned short unit);
    // position CharCount() appends (also behind a trailing high surrogate); a position beyond it
    // changes nothing.
    AString& Insert(unsigned long position, const AString& text, unsigned long count = kToEnd);
    AString& Insert(unsigned long position, const unsigned short* text,
                    unsigned long count = kToEnd);
    AString& Remove(unsigned long start, unsigned long count = kToEnd);
    // Takes away the last count characters.
    AString& Truncate(unsigned long count);
    // Replaces the character at index with one unit (a pair becomes one unit); index CharCount()
    // appends. At a lone low surrogate the characters are counted anew, since the new unit may
    // pair with the one behind it.
    AString& SetChar(unsigned long index, unsigned short unit);
    AString& SetString(const AString& text, unsigned long count = kToEnd);
    AString& SetString(const unsigned short* text, unsigned long count = kToEnd);
    // Exactly unitCount units (a count in units), 0 units included.
    AString& SetBuffer(const unsigned short* text, unsigned long unitCount);
    void Clear();

    // Making new strings.
    AString Substring(unsigned long start, unsigned long count = kToEnd) const;
    AString operator+(const AString& text) const;
    AString operator+(const unsigned short* text) const;
    AString operator+(unsigned short unit) const;
    // Token n (from 1) is the text behind the n-th delimiter, up to the next one or the end.
    AString GetToken(const AString& delimiter, unsigned long token) const;
    AString GetToken(unsigned short delimiter, unsigned long token) const;

    // Searching: a character index, or 0xFFFFFFFF.
    unsigned long IndexOf(const AString& text, unsigned long start = 0) const;
    unsigned long IndexOf(unsigned short unit, unsigned long start = 0) const;
    unsigned long IndexOfAny(const AString& set, unsigned long start = 0) const;
    bool Contains(const AString& text, unsigned long start = 0) const;
    bool Contains(unsigned short unit, unsigned long start = 0) const;
    bool ContainsAny(const AString& set, unsigned long start = 0) const;

    // target becomes the text widened one unit per byte (no decoding). A text of more than
    // 0xFFFFFFFE bytes leaves target empty.
    static void CStringToAString(const char* text, AString& target);

    // Room for units units beside the terminator; never makes the buffer smaller.
    void Preallocate(unsigned long units);
    // Gives memory back: an empty or short text goes back to the local buffer, otherwise the
    // block becomes the text and terminator (exact) or the smallest multiple of 32 units that
    // holds them. If the new block is refused nothing changes.
    void Shrink(bool exact);

    // UTF-8 conversion, lenient both ways: nothing is validated, reported or replaced.
    //
    // AStringToUTF8: target's former text is gone and it becomes the UTF-8 form of source. A
    // pair gives four bytes; a lone surrogate gives its own three-byte form; a 0 unit gives a 0
    // byte; no byte order mark is written. Exceptions of AString8 pass through, and target then
    // holds what was written so far.
    //
    // UTF8ToAString: target's former text is gone and it becomes the decoded text. A 0 byte, and
    // a sequence that decodes to 0, is dropped; overlong and surrogate forms decode like any
    // other, and trailing bytes are not checked. A four-byte form below U+10000 gives the one
    // unit 0xFFC0 | (bits 10..15), one above U+10FFFF a single low surrogate. A byte 0xF8..0xFF,
    // and a lead byte with fewer bytes behind it than its form needs, are skipped on their own
    // and the walk goes on behind them. Only the low 32 bits of source's size are read. The
    // buffer is trimmed afterwards to the smallest multiple of 32 units that holds the text.
    static void AStringToUTF8(const AString& source, AString8& target);
    static void UTF8ToAString(const AString8& source, AString& target);

    static void* operator new(std::size_t size);
    static void* operator new[](std::size_t size);
    static void* operator new(std::size_t size, void* place);
    static void operator delete(void* pointer);
    static void operator delete[](void* pointer);
    static void operator delete(void* pointer, void* place);

private:
    friend struct AStringAccess;
    AStringImpl* fpImpl;
};

// Units before the first 0 unit; 0 for null.
ZELK_API unsigned long WLength(const unsigned short* text);

} // namespace zelk
} // namespace vorlan

#endif // ZELK_ASTRING_H
