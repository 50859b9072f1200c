// AString8: byte text with a 16-byte local buffer, 64-bit sizes and growth by half steps.
#include <zelk/astring8.h>

#include "objectalloc.h"

#include <cstdint>
#include <cstring>
#include <new>
#include <stdexcept>

namespace vorlan {
namespace zelk {

namespace {

using Size = std::uint64_t;

constexpr Size kMaxSize = AString8::kMaxSize;
// Bytes the local buffer holds beside its terminator; a capacity above it means a heap block.
constexpr Size kLocalCapacity = 15;

} // namespace

// The record behind an AString8. While capacity is at most kLocalCapacity the text lives in
// fLocal; otherwise fHeap points at a block of capacity + 1 bytes from the allocation hooks.
struct AString8Impl {
    union {
        char fLocal[kLocalCapacity + 1];
        char* fHeap;
    };
    Size fSize = 0;
    Size fCapacity = kLocalCapacity;

    AString8Impl() { fLocal[0] = '\0'; }
    ~AString8Impl() {
        if (IsHeap()) {
            AAllocator::Free(fHeap);
        }
    }
    AString8Impl(const AString8Impl&) = delete;
    AString8Impl& operator=(const AString8Impl&) = delete;

    bool IsHeap() const { return fCapacity > kLocalCapacity; }
    char* Data() { return IsHeap() ? fHeap : fLocal; }
    const char* Data() const { return IsHeap() ? fHeap : fLocal; }

    // Makes the block of capacity bytes (plus terminator) the active storage, releasing the old
    // one. The caller has already copied what it keeps into the new block.
    void Adopt(char* block, Size capacity) {
        if (IsHeap()) {
            AAllocator::Free(fHeap);
        }
        fHeap = block;
        fCapacity = capacity;
    }
};

namespace {

// What a string without a record (a move source, or one whose record could not be allocated)
// shows to every reader: the empty text.
const AString8Impl& EmptyRecord() {
    static const AString8Impl empty;
    return empty;
}

const AString8Impl& View(const AString8Impl* record) {
    return record != nullptr ? *record : EmptyRecord();
}

// The growth rule: at least the wanted size with its low four bits set, and at least one and a
// half times the old capacity; kMaxSize where either figure would pass it.
Size NewCapacity(Size wanted, Size oldCapacity) {
    Size result = kMaxSize;
    if ((wanted | 15) <= kMaxSize && oldCapacity <= kMaxSize - oldCapacity / 2) {
        const Size rounded = wanted | 15;
        const Size stepped = oldCapacity + oldCapacity / 2;
        result = rounded > stepped ? rounded : stepped;
    }
    return result;
}

// A heap block for capacity bytes and the terminator. Unlike AString, this class reports a null
// result of a registered allocate procedure as std::bad_alloc.
char* AllocateBlock(Size capacity) {
    void* block = AAllocator::Alloc(capacity + 1);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return static_cast<char*>(block);
}

[[noreturn]] void ThrowPosition() {
    throw std::out_of_range("invalid string position");
}

[[noreturn]] void ThrowTooLong() {
    throw std::length_error("string too long");
}

Size TextLength(const char* text) {
    return text != nullptr ? std::strlen(text) : 0;
}

// Replaces the text with count bytes from text, which may lie inside the record's own storage.
void Assign(AString8Impl& record, const char* text, Size count) {
    if (count <= record.fCapacity) {
        char* data = record.Data();
        if (count != 0) {
            std::memmove(data, text, count);
        }
        data[count] = '\0';
        record.fSize = count;
        return;
    }
    if (count > kMaxSize) {
        ThrowTooLong();
    }
    const Size capacity = NewCapacity(count, record.fCapacity);
    char* block = AllocateBlock(capacity);
    std::memcpy(block, text, count);
    block[count] = '\0';
    record.Adopt(block, capacity);
    record.fSize = count;
}

// Appends count bytes from text. The old storage is released only after the new bytes have
// been copied, so text may lie inside the string itself.
void Append(AString8Impl& record, const char* text, Size count) {
    const Size size = record.fSize;
    if (count <= record.fCapacity - size) {
        char* data = record.Data();
        if (count != 0) {
            std::memmove(data + size, text, count);
        }
        data[size + count] = '\0';
        record.fSize = size + count;
        return;
    }
    if (count > kMaxSize - size) {
        ThrowTooLong();
    }
    const Size capacity = NewCapacity(size + count, record.fCapacity);
    char* block = AllocateBlock(capacity);
    std::memcpy(block, record.Data(), size);
    std::memcpy(block + size, text, count);
    block[size + count] = '\0';
    record.Adopt(block, capacity);
    record.fSize = size + count;
}

// A new record holding count bytes from text, or null where the allocate procedure gave no
// record. An exception while filling it frees the record and goes on.
AString8Impl* MakeRecord(const char* text, Size count) {
    AString8Impl* record = NewRecord<AString8Impl>();
    if (record != nullptr && count != 0) {
        try {
            Assign(*record, text, count);
        } catch (...) {
            DeleteRecord(record);
            throw;
        }
    }
    return record;
}

int CompareBytes(const AString8Impl& left, const char* right, Size rightSize) {
    const Size common = left.fSize < rightSize ? left.fSize : rightSize;
    if (common != 0) {
        const int order = std::memcmp(left.Data(), right, common);
        if (order != 0) {
            return order;
        }
    }
    if (left.fSize == rightSize) {
        return 0;
    }
    return left.fSize < rightSize ? -1 : 1;
}

bool EqualBytes(const AString8Impl& left, const char* right, Size rightSize) {
    return left.fSize == rightSize &&
           (rightSize == 0 || std::memcmp(left.Data(), right, rightSize) == 0);
}

} // namespace

ZELK_DEFINE_CLASS_ALLOCATION(AString8)

AString8::AString8() : fpImpl(NewRecord<AString8Impl>()) {}

AString8::AString8(const char* text) : fpImpl(MakeRecord(text, TextLength(text))) {}

AString8::AString8(const char* text, unsigned long long count)
    : fpImpl(MakeRecord(text, text != nullptr ? count : 0)) {}

AString8::AString8(const AString8& other)
    : fpImpl(MakeRecord(other.c_str(), std::strlen(other.c_str()))) {}

AString8::AString8(AString8&& other) noexcept : fpImpl(other.fpImpl) {
    other.fpImpl = nullptr;
}

AString8::~AString8() {
    DeleteRecord(fpImpl);
}

AString8Impl& AString8::Record() {
    if (fpImpl == nullptr) {
        fpImpl = NewRecord<AString8Impl>();
        if (fpImpl == nullptr) {
            throw std::bad_alloc();
        }
    }
    return *fpImpl;
}

AString8& AString8::operator=(const AString8& other) {
    if (this != &other && fpImpl != other.fpImpl) {
        const AString8Impl& source = View(other.fpImpl);
        Assign(Record(), source.Data(), source.fSize);
    }
    return *this;
}

AString8& AString8::operator=(AString8&& other) noexcept {
    AString8Impl* const mine = fpImpl;
    fpImpl = other.fpImpl;
    other.fpImpl = mine;
    return *this;
}

AString8& AString8::operator=(const char* text) {
    // The new record is filled before the old one goes, so text may point into this string.
    AString8Impl* const record = MakeRecord(text, TextLength(text));
    DeleteRecord(fpImpl);
    fpImpl = record;
    return *this;
}

AString8& AString8::assign(const char* text, unsigned long long count) {
    Assign(Record(), text, text != nullptr ? count : 0);
    return *this;
}

unsigned long long AString8::size() const {
    return View(fpImpl).fSize;
}

unsigned long long AString8::length() const {
    return View(fpImpl).fSize;
}

bool AString8::empty() const {
    return View(fpImpl).fSize == 0;
}

unsigned long long AString8::capacity() const {
    return View(fpImpl).fCapacity;
}

const char* AString8::c_str() const {
    return View(fpImpl).Data();
}

char AString8::at(unsigned long long index) const {
    const AString8Impl& record = View(fpImpl);
    if (index >= record.fSize) {
        ThrowPosition();
    }
    return record.Data()[index];
}

bool AString8::operator==(const AString8& other) const {
    const AString8Impl& right = View(other.fpImpl);
    return EqualBytes(View(fpImpl), right.Data(), right.fSize);
}

bool AString8::operator!=(const AString8& other) const {
    return !(*this == other);
}

bool AString8::operator==(const char* text) const {
    // Equal to a temporary made from text, without making one.
    return EqualBytes(View(fpImpl), text, TextLength(text));
}

bool AString8::operator!=(const char* text) const {
    return !(*this == text);
}

bool AString8::operator<(const AString8& other) const {
    const AString8Impl& right = View(other.fpImpl);
    return CompareBytes(View(fpImpl), right.Data(), right.fSize) < 0;
}

bool AString8::operator<=(const AString8& other) const {
    return !(other < *this);
}

bool AString8::operator>(const AString8& other) const {
    return other < *this;
}

bool AString8::operator>=(const AString8& other) const {
    return !(*this < other);
}

AString8& AString8::operator+=(const AString8& other) {
    AString8Impl& record = Record();
    // Read the source after Record(), which may have given this string its record.
    const AString8Impl& source = View(other.fpImpl);
    Append(record, source.Data(), source.fSize);
    return *this;
}

AString8& AString8::operator+=(char byte) {
    AString8Impl& record = Record();
    if (record.fSize < record.fCapacity) {
        char* data = record.Data();
        data[record.fSize] = byte;
        data[++record.fSize] = '\0';
    } else {
        Append(record, &byte, 1);
    }
    return *this;
}

AString8& AString8::operator+=(const char* text) {
    Append(Record(), text, TextLength(text));
    return *this;
}

AString8 AString8::operator+(const AString8& other) const {
    AString8 result(*this);
    result += other;
    return result;
}

AString8 AString8::operator+(char byte) const {
    AString8 result(*this);
    result += byte;
    return result;
}

AString8 AString8::operator+(const char* text) const {
    AString8 result(*this);
    result += text;
    return result;
}

void AString8::clear() {
    if (fpImpl != nullptr) {
        fpImpl->fSize = 0;
        fpImpl->Data()[0] = '\0';
    }
}

AString8& AString8::erase(unsigned long long position, unsigned long long count) {
    const Size size = View(fpImpl).fSize;
    if (position > size) {
        ThrowPosition();
    }
    const Size removed = count < size - position ? count : size - position;
    if (removed != 0) {
        char* data = fpImpl->Data();
        // The tail moves down together with its terminator.
        std::memmove(data + position, data + position + removed, size - position - removed + 1);
        fpImpl->fSize = size - removed;
    }
    return *this;
}

void AString8::reserve(unsigned long capacity) {
    AString8Impl& record = Record();
    // The argument is a 32-bit figure on every host.
    const Size wanted = static_cast<std::uint32_t>(capacity);
    if (record.fSize > wanted || record.fCapacity == wanted) {
        return;
    }
    if (record.fCapacity < wanted) {
        const Size grown = NewCapacity(wanted, record.fCapacity);
        char* block = AllocateBlock(grown);
        std::memcpy(block, record.Data(), record.fSize + 1);
        record.Adopt(block, grown);
        return;
    }
    // Only the step back into the local buffer makes storage smaller.
    if (record.IsHeap() && wanted < kLocalCapacity + 1) {
        char* const block = record.fHeap;
        std::memcpy(record.fLocal, block, record.fSize + 1);
        record.fCapacity = kLocalCapacity;
        AAllocator::Free(block);
    }
}

} // namespace zelk
} // namespace vorlan
