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
// text may hold 0 bytes. Misuse is reported by std::out_of_range ("invalid string position") and
// std::length_error ("string too long"); a registered allocate procedure that returns null for a
// text block meets std::bad_alloc.
class ZELK_API AString8 {
public:
    static constexpr unsigned long long kMaxSize = 0x7FFFFFFFFFFFFFFFull;

    AString8();
    // The bytes up to the first 0 byte; null counts as the empty text.
    AString8(const char* text);
    // Exactly count bytes, 0 bytes included.
    AString8(const char* text, unsigned long long count);
    // The bytes of other up to its first 0 byte (through c_str()).
    AString8(const AString8& other);
    AString8(AString8&& other) noexcept;
    virtual ~AString8();

    // All bytes of other, 0 bytes included.
    AString8& operator=(const AString8& other);
    AString8& operator=(AString8&& other) noexcept;
    AString8& operator=(const char* text);
    AString8& assign(const char* text, unsigned long long count);

    unsigned long long size() const;
    unsigned long long length() const;
    bool empty() const;
    // Bytes the active storage holds beside the terminator; 15 while the text is local.
    unsigned long long capacity() const;
    const char* c_str() const;
    char at(unsigned long long index) const;

    bool operator==(const AString8& other) const;
    bool operator!=(const AString8& other) const;
    bool operator==(const char* text) const;
    bool operator!=(const char* text) const;
    bool operator<(const AString8& other) const;
    bool operator<=(const AString8& other) const;
    bool operator>(const AString8& other) const;
    bool operator>=(const AString8& other) const;

    AString8& operator+=(const AString8& other);
    AString8& operator+=(char byte);
    AString8& operator+=(const char* text);
    AString8 operator+(const AString8& other) const;
    AString8 operator+(char byte) const;
    AString8 operator+(const char* text) const;

    void clear();
    AString8& erase(unsigned long long position, unsigned long long count);
    void reserve(unsigned long capacity);

    static void* operator new(std::size_t size);
    static void* operator new[](std::size_t size);
    static void* operator new(std::size_t size, void* place);
    static void operator delete(void* pointer);
    static void operator delete[](void* pointer);
    static void operator delete(void* pointer, void* place);

private:
    AString8Impl* fpImpl;
};

} // namespace zelk
} // namespace vorlan

#endif // ZELK_ASTRING8_H
