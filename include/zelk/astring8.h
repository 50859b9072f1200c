// AString8: a byte string, usually UTF-8, in the manner of the standard byte string.
#ifndef ZELK_ASTRING8_H
#define ZELK_ASTRING8_H

#include <zelk/aallocator.h>
#include <zelk/export.h>

#include <cstddef>

namespace vorlan {
namespace zelk {

struct AString8Impl;

// Bytes with 64-bit sizes and a 16-byte local buffer; a 0 byte always follows the text and the
// text may hold 0 bytes. Bytes are unsigned for ordering; nothing here knows about encodings.
//
// Storage: up to 15 bytes live inside the record (capacity 15). Growth takes the larger of the
// wanted size with its low four bits set and one and a half times the old capacity, so adding
// a byte at a time goes 15, 31, 47, 70, 105, ...
//
// Errors: std::out_of_range ("invalid string position") for a bad position, std::length_error
// ("string too long") for a size above kMaxSize, and std::bad_alloc when a text block cannot be
// had, also where a registered allocate procedure returns null. After any of them the string is
// unchanged.
//
// A null const char* is the empty text in every operation that takes one, whatever count comes
// with it: AString8(nullptr, 5) is empty, assign(nullptr, 5) empties the string, += nullptr adds
// nothing, and == nullptr holds for an empty string only.
//
// A string without a record (the source of a move construction, or one whose record a
// registered allocate procedure refused in a constructor or in operator=(const char*)) reads as
// the empty text. Its first change gets it a record; if that allocation fails too, the change
// throws std::bad_alloc.
class ZELK_API AString8 {
public:
    static constexpr unsigned long long kMaxSize = 0x7FFFFFFFFFFFFFFFull;

    AString8();
    // The bytes up to the first 0 byte; null counts as the empty text.
    AString8(const char* text);
    // Exactly count bytes, 0 bytes included. Null gives the empty text, whatever count is.
    AString8(const char* text, unsigned long long count);
    // The bytes of other up to its first 0 byte (through c_str()): a 0 byte inside other cuts
    // the copy short, unlike assignment.
    AString8(const AString8& other);
    // Takes other's record; other is left without one.
    AString8(AString8&& other) noexcept;
    virtual ~AString8();

    // All bytes of other, 0 bytes included. Assignment to itself changes nothing.
    AString8& operator=(const AString8& other);
    // Swaps the two records: other afterwards holds this string's former text.
    AString8& operator=(AString8&& other) noexcept;
    // A fresh record (capacity starts again at 15) with the bytes up to the first 0 byte; text
    // may point into this string. If the allocate procedure refuses the record, the old one is
    // gone all the same and the string is left without a record.
    AString8& operator=(const char* text);
    // Replaces the text with count bytes from text, which may lie inside this string. Null
    // empties the string.
    AString8& assign(const char* text, unsigned long long count);

    [[nodiscard]] unsigned long long size() const;
    [[nodiscard]] unsigned long long length() const;
    [[nodiscard]] bool empty() const;
    // Bytes the active storage holds beside the terminator; 15 while the text is local.
    [[nodiscard]] unsigned long long capacity() const;
    // The terminated text, never null; valid until the next change of the string.
    [[nodiscard]] const char* c_str() const;
    // The byte at index; std::out_of_range unless index is below size().
    [[nodiscard]] char at(unsigned long long index) const;

    // Equal sizes and equal bytes.
    bool operator==(const AString8& other) const;
    bool operator!=(const AString8& other) const;
    // Against the bytes of text up to its first 0 byte, so a text with a 0 byte inside never
    // equals a pointer. Null is the empty text.
    bool operator==(const char* text) const;
    bool operator!=(const char* text) const;
    // The first differing byte (as unsigned) decides; else the shorter text is the lesser.
    bool operator<(const AString8& other) const;
    bool operator<=(const AString8& other) const;
    bool operator>(const AString8& other) const;
    bool operator>=(const AString8& other) const;

    // Appends all bytes of other, which may be this string itself.
    AString8& operator+=(const AString8& other);
    // Appends one byte, a 0 byte too.
    AString8& operator+=(char byte);
    // Appends the bytes up to the first 0 byte; null adds nothing.
    AString8& operator+=(const char* text);
    // A copy of this string (cut at its first 0 byte, as the copy constructor does) with the
    // right side appended whole.
    AString8 operator+(const AString8& other) const;
    AString8 operator+(char byte) const;
    AString8 operator+(const char* text) const;

    // Size 0; the capacity stays.
    void clear();
    // Removes up to count bytes from position on; position equal to size() removes nothing,
    // above it throws std::out_of_range. The capacity stays.
    AString8& erase(unsigned long long position, unsigned long long count);
    // Grows the storage to hold at least capacity bytes (a 32-bit figure on every host). Never
    // cuts the text or shrinks a block, except that a request below 16 on a text that fits
    // moves the text back into the local buffer and frees the block.
    void reserve(unsigned long capacity);

    static void* operator new(std::size_t size);
    static void* operator new[](std::size_t size);
    static void* operator new(std::size_t size, void* place);
    static void operator delete(void* pointer);
    static void operator delete[](void* pointer);
    static void operator delete(void* pointer, void* place);

private:
    // The record, made first where this string has none.
    AString8Impl& Record();

    AString8Impl* fpImpl;
};

} // namespace zelk
} // namespace vorlan

#endif // ZELK_ASTRING8_H
