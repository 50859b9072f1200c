// APathReverseIterator: a position in a path's component list, walked from last to first. As with
// the standard reverse iterators, fCurrent stands one element behind the element shown, so that
// rbegin() sits where end() does and rend() where begin() does.
#include <zelk/apathreverseiterator.h>

#include "apathimpl.h"
#include "objectalloc.h"
#include "zassert.h"

#include <cstddef>
#include <cstdint>
#include <functional>

namespace vorlan {
namespace zelk {

namespace {

constexpr char kUnitFile[] = "source/apathreverseiterator.cpp";

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

APathReverseIterator::APathReverseIterator(APathReverseIteratorImpl* impl) : fpImpl(impl) {
    ZELK_ASSERT(fpImpl != nullptr, kUnitFile);
}

APathReverseIterator::APathReverseIterator(const APathReverseIterator& other)
    : fpImpl(NewRecord<APathReverseIteratorImpl>(*other.fpImpl)) {
    ZELK_ASSERT(fpImpl != nullptr, kUnitFile);
}

APathReverseIterator& APathReverseIterator::operator=(const APathReverseIterator& other) {
    if (this != &other) {
        *fpImpl = *other.fpImpl;
    }
    return *this;
}

APathReverseIterator::~APathReverseIterator() {
    DeleteRecord(fpImpl);
}

const APathComponent& APathReverseIterator::operator*() const {
    return *(fpImpl->fCurrent - 1);
}

const APathComponent* APathReverseIterator::operator->() const {
    return fpImpl->fCurrent - 1;
}

const APathComponent& APathReverseIterator::operator[](unsigned long n) const {
    return *(fpImpl->fCurrent - (Places(n) + 1));
}

APathReverseIterator& APathReverseIterator::operator++() {
    --fpImpl->fCurrent;
    return *this;
}

APathReverseIterator& APathReverseIterator::operator--() {
    ++fpImpl->fCurrent;
    return *this;
}

APathReverseIterator APathReverseIterator::operator++(int) {
    APathReverseIteratorImpl* pImpl = NewRecord<APathReverseIteratorImpl>(*fpImpl);
    ZELK_ASSERT(pImpl != nullptr, kUnitFile);
    --fpImpl->fCurrent;
    return APathReverseIterator(pImpl);
}

APathReverseIterator APathReverseIterator::operator--(int) {
    APathReverseIteratorImpl* pImpl = NewRecord<APathReverseIteratorImpl>(*fpImpl);
    ZELK_ASSERT(pImpl != nullptr, kUnitFile);
    ++fpImpl->fCurrent;
    return APathReverseIterator(pImpl);
}

APathReverseIterator& APathReverseIterator::operator+=(long n) {
    fpImpl->fCurrent -= Steps(n);
    return *this;
}

APathReverseIterator& APathReverseIterator::operator-=(long n) {
    fpImpl->fCurrent += Steps(n);
    return *this;
}

APathReverseIterator APathReverseIterator::operator+(long n) const {
    APathReverseIteratorImpl* pImpl = NewRecord<APathReverseIteratorImpl>(*fpImpl);
    ZELK_ASSERT(pImpl != nullptr, kUnitFile);
    pImpl->fCurrent -= Steps(n);
    return APathReverseIterator(pImpl);
}

APathReverseIterator APathReverseIterator::operator-(long n) const {
    APathReverseIteratorImpl* pImpl = NewRecord<APathReverseIteratorImpl>(*fpImpl);
    ZELK_ASSERT(pImpl != nullptr, kUnitFile);
    pImpl->fCurrent += Steps(n);
    return APathReverseIterator(pImpl);
}

bool APathReverseIterator::operator==(const APathReverseIterator& other) const {
    return this == &other || (fpImpl->fCurrent == other.fpImpl->fCurrent &&
                              fpImpl->fpComponents == other.fpImpl->fpComponents);
}

bool APathReverseIterator::operator!=(const APathReverseIterator& other) const {
    return !(*this == other);
}

// The order is that of the walk: a position further towards the list's start is further on.
bool APathReverseIterator::operator<(const APathReverseIterator& other) const {
    return Below(other.fpImpl->fCurrent, fpImpl->fCurrent);
}

bool APathReverseIterator::operator<=(const APathReverseIterator& other) const {
    return !Below(fpImpl->fCurrent, other.fpImpl->fCurrent);
}

bool APathReverseIterator::operator>(const APathReverseIterator& other) const {
    return Below(fpImpl->fCurrent, other.fpImpl->fCurrent);
}

bool APathReverseIterator::operator>=(const APathReverseIterator& other) const {
    return !Below(other.fpImpl->fCurrent, fpImpl->fCurrent);
}

long APathReverseIterator::operator-(const APathReverseIterator& other) const {
    return static_cast<std::int32_t>(other.fpImpl->fCurrent - fpImpl->fCurrent);
}

ZELK_DEFINE_CLASS_ALLOCATION(APathReverseIterator)

} // namespace zelk
} // namespace vorlan
