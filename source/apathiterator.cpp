// APathIterator: a position in a path's component list, walked from first to last.
#include <zelk/apathiterator.h>

#include "apathimpl.h"
#include "objectalloc.h"
#include "zassert.h"

#include <cstddef>
#include <cstdint>
#include <functional>

namespace vorlan {
namespace zelk {

namespace {

constexpr char kUnitFile[] = "source/apathiterator.cpp";

// Counts cross the interface as long but are 32-bit values on every host.
std::ptrdiff_t Steps(long n) {
    return static_cast<std::int32_t>(n);
}

std::ptrdiff_t Places(unsigned long n) {
    return static_cast<std::ptrdiff_t>(static_cast<std::uint32_t>(n));
}

// Positions of different lists have no built-in order; std::less gives them one all the same.
bool Below(const APathComponent* left, const APathComponent* right) {
    return std::less<const APathComponent*>()(left, right);
}

} // namespace

APathIterator::APathIterator(APathIteratorImpl* impl) : fpImpl(impl) {
    ZELK_ASSERT(fpImpl != nullptr, kUnitFile);
}

APathIterator::APathIterator(const APathIterator& other)
    : fpImpl(NewRecord<APathIteratorImpl>(*other.fpImpl)) {
    ZELK_ASSERT(fpImpl != nullptr, kUnitFile);
}

APathIterator& APathIterator::operator=(const APathIterator& other) {
    if (this != &other) {
        *fpImpl = *other.fpImpl;
    }
    return *this;
}

APathIterator::~APathIterator() {
    DeleteRecord(fpImpl);
}

const APathComponent& APathIterator::operator*() const {
    return *fpImpl->fCurrent;
}

const APathComponent* APathIterator::operator->() const {
    return fpImpl->fCurrent;
}

const APathComponent& APathIterator::operator[](unsigned long n) const {
    return fpImpl->fCurrent[Places(n)];
}

APathIterator& APathIterator::operator++() {
    ++fpImpl->fCurrent;
    return *this;
}

APathIterator& APathIterator::operator--() {
    --fpImpl->fCurrent;
    return *this;
}

APathIterator APathIterator::operator++(int) {
    APathIteratorImpl* pImpl = NewRecord<APathIteratorImpl>(*fpImpl);
    ZELK_ASSERT(pImpl != nullptr, kUnitFile);
    ++fpImpl->fCurrent;
    return APathIterator(pImpl);
}

APathIterator APathIterator::operator--(int) {
    APathIteratorImpl* pImpl = NewRecord<APathIteratorImpl>(*fpImpl);
    ZELK_ASSERT(pImpl != nullptr, kUnitFile);
    --fpImpl->fCurrent;
    return APathIterator(pImpl);
}

APathIterator& APathIterator::operator+=(long n) {
    fpImpl->fCurrent += Steps(n);
    return *this;
}

APathIterator& APathIterator::operator-=(long n) {
    fpImpl->fCurrent -= Steps(n);
    return *this;
}

APathIterator APathIterator::operator+(long n) const {
    APathIteratorImpl* pImpl = NewRecord<APathIteratorImpl>(*fpImpl);
    ZELK_ASSERT(pImpl != nullptr, kUnitFile);
    pImpl->fCurrent += Steps(n);
    return APathIterator(pImpl);
}

APathIterator APathIterator::operator-(long n) const {
    APathIteratorImpl* pImpl = NewRecord<APathIteratorImpl>(*fpImpl);
    ZELK_ASSERT(pImpl != nullptr, kUnitFile);
    pImpl->fCurrent -= Steps(n);
    return APathIterator(pImpl);
}

bool APathIterator::operator==(const APathIterator& other) const {
    return this == &other || (fpImpl->fCurrent == other.fpImpl->fCurrent &&
                              fpImpl->fpComponents == other.fpImpl->fpComponents);
}

bool APathIterator::operator!=(const APathIterator& other) const {
    return !(*this == other);
}

bool APathIterator::operator<(const APathIterator& other) const {
    return Below(fpImpl->fCurrent, other.fpImpl->fCurrent);
}

bool APathIterator::operator<=(const APathIterator& other) const {
    return !Below(other.fpImpl->fCurrent, fpImpl->fCurrent);
}

bool APathIterator::operator>(const APathIterator& other) const {
    return Below(other.fpImpl->fCurrent, fpImpl->fCurrent);
}

bool APathIterator::operator>=(const APathIterator& other) const {
    return !Below(fpImpl->fCurrent, other.fpImpl->fCurrent);
}

long APathIterator::operator-(const APathIterator& other) const {
    return static_cast<std::int32_t>(fpImpl->fCurrent - other.fpImpl->fCurrent);
}

ZELK_DEFINE_CLASS_ALLOCATION(APathIterator)

} // namespace zelk
} // namespace vorlan
