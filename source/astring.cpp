// AString: storage, construction, comparison, editing and searching of UTF-16 text.
#include <zelk/astring.h>

#include "astringimpl.h"
#include "objectalloc.h"

#include <algorithm>
#include <cstring>
#include <functional>

namespace vorlan {
namespace zelk {

namespace {

// What a string without a record reads as: the empty text. Constant-initialised, so it is
// ready before any other unit's static strings are built.
const AStringImpl gNoRecord;

const AStringImpl& RecordOf(const AStringImpl* record) {
    return record != nullptr ? *record : gNoRecord;
}

// Public counts are 32 bits wide on every host: a wider unsigned long is cut at the boundary.
std::uint32_t U32(unsigned long value) {
    return static_cast<std::uint32_t>(value);
}

void CopyUnits(Unit* to, const Unit* from, std::uint32_t count) {
    std::memcpy(to, from, static_cast<std::size_t>(count) * sizeof(Unit));
}

void MoveUnits(Unit* to, const Unit* from, std::uint32_t count) {
    std::memmove(to, from, static_cast<std::size_t>(count) * sizeof(Unit));
}

// Whether pointer lies within the count units at begin (a total order, also across blocks).
bool PointsInto(const Unit* pointer, const Unit* begin, std::uint32_t count) {
    const std::less<const Unit*> less;
    return !less(pointer, begin) && less(pointer, begin + count);
}

// sum = a + b, or false where the sum would pass the longest text.
bool AddUnits(std::uint32_t a, std::uint32_t b, std::uint32_t& sum) {
    if (a > kMaxUnits || b > kMaxUnits - a) {
        return false;
    }
    sum = a + b;
    return true;
}

// A unit offset of the text as a character index.
std::uint32_t ToCharIndex(const AStringImpl& record, std::uint32_t offset) {
    return record.fCharCount == record.fUTF16Count ? offset : CountChars(record.fBuffer, offset);
}

// Walks a unit sequence forward by count characters from offset, never past unitCount.
std::uint32_t StepChars(const Unit* units, std::uint32_t unitCount, std::uint32_t offset,
                        std::uint32_t count) {
    for (std::uint32_t i = 0; i < count && offset < unitCount; ++i) {
        offset += IsHighSurrogate(units[offset]) ? 2 : 1;
    }
    return std::min(offset, unitCount);
}

// Whether a set holds the character of one or two units (second 0 for one unit). A high
// surrogate and the unit behind it are one entry; a high surrogate as the set's last unit is none.
bool SetHolds(const AStringImpl& set, Unit first, Unit second, bool pair) {
    const Unit* units = set.fBuffer;
    std::uint32_t j = 0;
    while (j < set.fUTF16Count) {
        if (IsHighSurrogate(units[j])) {
            if (j + 1 >= set.fUTF16Count) {
                return false;
            }
            if (pair && units[j] == first && units[j + 1] == second) {
                return true;
            }
            j += 2;
        } else {
            if (!pair && units[j] == first) {
                return true;
            }
            ++j;
        }
    }
    return false;
}

bool SameText(const AStringImpl& record, const Unit* units, std::uint32_t unitCount,
              std::uint32_t charCount) {
    if (record.fUTF16Count != unitCount || record.fCharCount != charCount) {
        return false;
    }
    if (unitCount == 0 || record.fBuffer == units) {
        return true;
    }
    return std::memcmp(record.fBuffer, units, static_cast<std::size_t>(unitCount) * sizeof(Unit)) ==
           0;
}

// Token number token (from 1) of text; find(from) searches the delimiter of delimiterChars
// characters.
template <typename Find>
AString TokenOf(const AString& text, std::uint32_t delimiterChars, std::uint32_t token, Find find) {
    if (token == 0 || text.IsEmpty()) {
        return AString();
    }
    std::uint32_t found = find(0);
    if (found == kNotFound) {
        return AString();
    }
    for (std::uint32_t k = 1;; ++k) {
        const std::uint64_t next = static_cast<std::uint64_t>(found) + delimiterChars;
        const std::uint32_t begin =
            next >= kNotFound ? kNotFound : static_cast<std::uint32_t>(next);
        found = find(begin);
        if (k == token) {
            if (found == kNotFound) {
                return text.Substring(begin, AString::kToEnd);
            }
            return text.Substring(begin, found > begin ? found - begin : 0);
        }
        if (found == kNotFound) {
            return AString();
        }
    }
}

} // namespace

// ---- Unit-level operations shared with the converters ----

std::uint32_t UnitLength(const Unit* text) {
    if (text == nullptr) {
        return 0;
    }
    std::uint32_t length = 0;
    while (length < kNotFound && text[length] != 0) {
        ++length;
    }
    return length;
}

std::uint32_t CountChars(const Unit* units, std::uint32_t unitCount) {
    std::uint32_t offset = 0;
    std::uint32_t count = 0;
    while (offset < unitCount) {
        if (IsHighSurrogate(units[offset])) {
            ++offset;
            if (offset == unitCount) {
                break;
            }
        }
        ++offset;
        ++count;
    }
    return count;
}

std::uint32_t UnitsForChars(const Unit* units, std::uint32_t unitTotal, std::uint32_t charTotal,
                            std::uint32_t& charCount) {
    if (charCount >= charTotal) {
        charCount = charTotal;
        return unitTotal;
    }
    if (charTotal == unitTotal) {
        return charCount;
    }
    return StepChars(units, unitTotal, 0, charCount);
}

bool AStringImpl::EnsureCapacity(std::uint32_t units, bool copyText, Unit** oldBlock) {
    if (oldBlock != nullptr) {
        *oldBlock = nullptr;
    }
    if (units > kMaxUnits) {
        return false;
    }
    const std::uint32_t need = units + 1;
    if (need <= BufferUnits()) {
        return true;
    }
    // Grow in steps of half the capacity, at least 32 units, so that appending a unit at a time
    // costs amortised constant time.
    const std::uint64_t block = std::max<std::uint32_t>(fHeapCapacity / 2, kLocalUnits);
    std::uint64_t capacity = (need + block - 1) / block * block;
    if (capacity > 0xFFFFFFFFu) {
        capacity = need;
    }
    Unit* fresh = static_cast<Unit*>(AAllocator::Alloc(capacity * sizeof(Unit)));
    if (fresh == nullptr) {
        return false;
    }
    if (copyText && fUTF16Count != 0) {
        CopyUnits(fresh, fBuffer, fUTF16Count + 1);
    } else {
        fresh[0] = 0;
    }
    if (oldBlock != nullptr) {
        *oldBlock = fHeapBuffer;
    } else {
        AAllocator::Free(fHeapBuffer);
    }
    fHeapBuffer = fresh;
    fBuffer = fresh;
    fHeapCapacity = static_cast<std::uint32_t>(capacity);
    return true;
}

std::uint32_t AStringImpl::CharToUnitIndex(std::uint32_t index) const {
    if (fCharCount == fUTF16Count) {
        return index;
    }
    return StepChars(fBuffer, fUTF16Count, 0, index);
}

std::uint32_t AStringImpl::UnitsForChars(std::uint32_t& charCount) const {
    return zelk::UnitsForChars(fBuffer, fUTF16Count, fCharCount, charCount);
}

bool AStringImpl::AppendUnits(const Unit* units, std::uint32_t unitCount, std::uint32_t charCount) {
    std::uint32_t total = 0;
    if (!AddUnits(fUTF16Count, unitCount, total)) {
        return false;
    }
    // A replaced block is freed only after the copy: the units may lie in it.
    Unit* oldBlock = nullptr;
    if (!EnsureCapacity(total, true, &oldBlock)) {
        return false;
    }
    MoveUnits(fBuffer + fUTF16Count, units, unitCount);
    fBuffer[total] = 0;
    fUTF16Count = total;
    fCharCount += charCount;
    AAllocator::Free(oldBlock);
    return true;
}

bool AStringImpl::InsertUnits(std::uint32_t position, const Unit* units, std::uint32_t unitCount,
                              std::uint32_t charCount) {
    const std::uint32_t offset = CharToUnitIndex(position);
    std::uint32_t total = 0;
    if (!AddUnits(fUTF16Count, unitCount, total)) {
        return false;
    }
    Unit* oldBlock = nullptr;
    if (!EnsureCapacity(total, true, &oldBlock)) {
        return false;
    }
    // Units inside the text being opened up: the part at or behind the offset moves up with the
    // tail, so it is fetched from its new place.
    const bool inside = PointsInto(units, fBuffer, fUTF16Count + 1);
    MoveUnits(fBuffer + offset + unitCount, fBuffer + offset, fUTF16Count - offset + 1);
    if (inside) {
        const std::uint32_t from = static_cast<std::uint32_t>(units - fBuffer);
        const std::uint32_t head = from < offset ? std::min(unitCount, offset - from) : 0;
        MoveUnits(fBuffer + offset, fBuffer + from, head);
        MoveUnits(fBuffer + offset + head, fBuffer + from + head + unitCount, unitCount - head);
    } else {
        CopyUnits(fBuffer + offset, units, unitCount);
    }
    fUTF16Count = total;
    fCharCount += charCount;
    AAllocator::Free(oldBlock);
    return true;
}

void AStringImpl::AssignUnits(const Unit* units, std::uint32_t unitCount, std::uint32_t charCount,
                              bool countChars) {
    Unit* oldBlock = nullptr;
    if (!EnsureCapacity(unitCount, false, &oldBlock)) {
        // The former text is still in the buffer; only its first 0 unit marks where it ends.
        fUTF16Count = UnitLength(fBuffer);
        fCharCount = CountChars(fBuffer, fUTF16Count);
        return;
    }
    MoveUnits(fBuffer, units, unitCount);
    fBuffer[unitCount] = 0;
    fUTF16Count = unitCount;
    fCharCount = countChars ? CountChars(fBuffer, unitCount) : charCount;
    AAllocator::Free(oldBlock);
}

void AStringImpl::AppendUnit(Unit unit) {
    std::uint32_t total = 0;
    if (unit == 0 || !AddUnits(fUTF16Count, 1, total) || !EnsureCapacity(total)) {
        return;
    }
    fBuffer[fUTF16Count] = unit;
    fBuffer[total] = 0;
    fUTF16Count = total;
    ++fCharCount;
}

void AStringImpl::ShrinkBuffer(bool exact) {
    if (fHeapCapacity == 0) {
        return;
    }
    if (fUTF16Count == 0) {
        ReleaseHeap();
        fLocalBuffer[0] = 0;
        return;
    }
    std::uint64_t target = exact ? fUTF16Count + std::uint64_t{1}
                                 : (fUTF16Count + std::uint64_t{32}) & ~std::uint64_t{31};
    if (target > 0xFFFFFFFFu) {
        target = fUTF16Count + std::uint64_t{1};
    }
    if (target == fHeapCapacity) {
        return;
    }
    if (target <= kLocalUnits) {
        CopyUnits(fLocalBuffer, fBuffer, fUTF16Count + 1);
        ReleaseHeap();
        return;
    }
    Unit* fresh = static_cast<Unit*>(AAllocator::Alloc(target * sizeof(Unit)));
    if (fresh == nullptr) {
        return;
    }
    CopyUnits(fresh, fBuffer, fUTF16Count + 1);
    AAllocator::Free(fHeapBuffer);
    fHeapBuffer = fresh;
    fBuffer = fresh;
    fHeapCapacity = static_cast<std::uint32_t>(target);
}

void AStringImpl::ReleaseHeap() {
    AAllocator::Free(fHeapBuffer);
    fHeapBuffer = nullptr;
    fHeapCapacity = 0;
    fBuffer = fLocalBuffer;
}

// ---- Construction and assignment ----

ZELK_DEFINE_CLASS_ALLOCATION(AString)

AString::AString() : fpImpl(NewRecord<AStringImpl>()) {}

AString::AString(const AString& other) : AString() {
    SetString(other, kToEnd);
}

AString::AString(AString&& other) noexcept : fpImpl(other.fpImpl) {
    other.fpImpl = nullptr;
}

AString::AString(const char* text) : AString() {
    CStringToAString(text, *this);
}

AString::AString(const unsigned short* text) : AString() {
    SetString(text, kToEnd);
}

AString::AString(const unsigned short* text, unsigned long unitCount) : AString() {
    SetBuffer(text, unitCount);
}

AString::~AString() {
    if (fpImpl != nullptr) {
        fpImpl->ReleaseHeap();
        DeleteRecord(fpImpl);
    }
}

AString& AString::operator=(const AString& other) {
    if (this != &other) {
        SetString(other, kToEnd);
    }
    return *this;
}

AString& AString::operator=(AString&& other) noexcept {
    std::swap(fpImpl, other.fpImpl);
    return *this;
}

AString& AString::operator=(const char* text) {
    CStringToAString(text, *this);
    return *this;
}

AString& AString::operator=(const unsigned short* text) {
    return SetString(text, kToEnd);
}

// ---- Reading ----

bool AString::IsEmpty() const {
    return RecordOf(fpImpl).fUTF16Count == 0;
}

unsigned long AString::CharCount() const {
    return RecordOf(fpImpl).fCharCount;
}

unsigned long AString::UTF16Count() const {
    return RecordOf(fpImpl).fUTF16Count;
}

unsigned long AString::Capacity() const {
    return RecordOf(fpImpl).BufferUnits() - 1;
}

unsigned short AString::GetChar(unsigned long index) const {
    const AStringImpl& record = RecordOf(fpImpl);
    const std::uint32_t i = U32(index);
    if (i >= record.fCharCount) {
        return 0;
    }
    if (record.fCharCount == record.fUTF16Count) {
        return record.fBuffer[i];
    }
    const std::uint32_t offset = record.CharToUnitIndex(i);
    if (offset >= record.fUTF16Count) {
        return 0;
    }
    const Unit unit = record.fBuffer[offset];
    return IsSurrogate(unit) ? 0 : unit;
}

unsigned short AString::operator[](unsigned long index) const {
    return GetChar(index);
}

const unsigned short* AString::GrabWString() const {
    return RecordOf(fpImpl).fBuffer;
}

unsigned short* AString::GetWString() const {
    const AStringImpl& record = RecordOf(fpImpl);
    const std::uint32_t units = record.fUTF16Count + 1;
    Unit* block = static_cast<Unit*>(AAllocator::Alloc(std::uint64_t{units} * sizeof(Unit)));
    if (block != nullptr) {
        CopyUnits(block, record.fBuffer, units);
    }
    return block;
}

unsigned long WLength(const unsigned short* text) {
    return UnitLength(text);
}

// ---- Comparison ----

long AString::Compare(const AString& other) const {
    const AStringImpl& a = RecordOf(fpImpl);
    const AStringImpl& b = RecordOf(other.fpImpl);
    const std::uint32_t common = std::min(a.fUTF16Count, b.fUTF16Count);
    for (std::uint32_t i = 0; i < common; ++i) {
        if (a.fBuffer[i] != b.fBuffer[i]) {
            return a.fBuffer[i] > b.fBuffer[i] ? 1 : -1;
        }
    }
    if (a.fUTF16Count != b.fUTF16Count) {
        return a.fUTF16Count > b.fUTF16Count ? 1 : -1;
    }
    return 0;
}

bool AString::operator<(const AString& other) const {
    return Compare(other) < 0;
}

bool AString::operator<=(const AString& other) const {
    return Compare(other) <= 0;
}

bool AString::operator>(const AString& other) const {
    return Compare(other) > 0;
}

bool AString::operator>=(const AString& other) const {
    return Compare(other) >= 0;
}

bool AString::operator==(const AString& other) const {
    if (this == &other) {
        return true;
    }
    const AStringImpl& right = RecordOf(other.fpImpl);
    return SameText(RecordOf(fpImpl), right.fBuffer, right.fUTF16Count, right.fCharCount);
}

bool AString::operator!=(const AString& other) const {
    return !(*this == other);
}

bool AString::operator==(const unsigned short* text) const {
    const std::uint32_t units = UnitLength(text);
    return SameText(RecordOf(fpImpl), text, units, text != nullptr ? CountChars(text, units) : 0);
}

bool AString::operator!=(const unsigned short* text) const {
    return !(*this == text);
}

// ---- Changing the text ----

AString& AString::Append(const AString& text, unsigned long count) {
    const AStringImpl& source = RecordOf(text.fpImpl);
    std::uint32_t chars = U32(count);
    if (fpImpl == nullptr || chars == 0 || source.fUTF16Count == 0) {
        return *this;
    }
    const std::uint32_t units = source.UnitsForChars(chars);
    fpImpl->AppendUnits(source.fBuffer, units, chars);
    return *this;
}

AString& AString::Append(const unsigned short* text, unsigned long count) {
    std::uint32_t chars = U32(count);
    if (fpImpl == nullptr || text == nullptr || chars == 0 || text[0] == 0) {
        return *this;
    }
    const std::uint32_t unitTotal = UnitLength(text);
    const std::uint32_t units =
        zelk::UnitsForChars(text, unitTotal, CountChars(text, unitTotal), chars);
    fpImpl->AppendUnits(text, units, chars);
    return *this;
}

AString& AString::Append(unsigned short unit) {
    if (fpImpl != nullptr) {
        fpImpl->AppendUnit(unit);
    }
    return *this;
}

AString& AString::operator+=(const AString& text) {
    return Append(text, kToEnd);
}

AString& AString::operator+=(const unsigned short* text) {
    return Append(text, kToEnd);
}

AString& AString::operator+=(unsigned short unit) {
    return Append(unit);
}

AString& AString::Insert(unsigned long position, const AString& text, unsigned long count) {
    const AStringImpl& source = RecordOf(text.fpImpl);
    const std::uint32_t at = U32(position);
    std::uint32_t chars = U32(count);
    if (fpImpl == nullptr || at > fpImpl->fCharCount || chars == 0 || source.fUTF16Count == 0) {
        return *this;
    }
    const std::uint32_t units = source.UnitsForChars(chars);
    if (at == fpImpl->fCharCount) {
        fpImpl->AppendUnits(source.fBuffer, units, chars);
    } else {
        fpImpl->InsertUnits(at, source.fBuffer, units, chars);
    }
    return *this;
}

AString& AString::Insert(unsigned long position, const unsigned short* text, unsigned long count) {
    const std::uint32_t at = U32(position);
    std::uint32_t chars = U32(count);
    if (fpImpl == nullptr || text == nullptr || chars == 0 || at > fpImpl->fCharCount ||
        text[0] == 0) {
        return *this;
    }
    const std::uint32_t unitTotal = UnitLength(text);
    const std::uint32_t units =
        zelk::UnitsForChars(text, unitTotal, CountChars(text, unitTotal), chars);
    if (at == fpImpl->fCharCount) {
        fpImpl->AppendUnits(text, units, chars);
    } else {
        fpImpl->InsertUnits(at, text, units, chars);
    }
    return *this;
}

AString& AString::Remove(unsigned long start, unsigned long count) {
    const std::uint32_t first = U32(start);
    const std::uint32_t chars = U32(count);
    AStringImpl* record = fpImpl;
    if (record == nullptr || first >= record->fCharCount || chars == 0 ||
        record->fUTF16Count == 0) {
        return *this;
    }
    const std::uint32_t n = std::min(chars, record->fCharCount - first);
    const std::uint32_t a = record->CharToUnitIndex(first);
    const std::uint32_t b = record->CharToUnitIndex(first + n) - a;
    MoveUnits(record->fBuffer + a, record->fBuffer + a + b, record->fUTF16Count - a - b + 1);
    record->fUTF16Count -= b;
    record->fCharCount = CountChars(record->fBuffer, record->fUTF16Count);
    return *this;
}

AString& AString::Truncate(unsigned long count) {
    const std::uint32_t chars = U32(count);
    AStringImpl* record = fpImpl;
    if (record == nullptr || chars == 0 || record->fUTF16Count == 0) {
        return *this;
    }
    if (chars >= record->fCharCount) {
        record->Clear();
        return *this;
    }
    const std::uint32_t keep = record->fCharCount - chars;
    record->fUTF16Count = record->CharToUnitIndex(keep);
    record->fBuffer[record->fUTF16Count] = 0;
    record->fCharCount = keep;
    return *this;
}

AString& AString::SetChar(unsigned long index, unsigned short unit) {
    const std::uint32_t i = U32(index);
    AStringImpl* record = fpImpl;
    if (record == nullptr || i > record->fCharCount || unit == 0) {
        return *this;
    }
    if (i == record->fCharCount) {
        record->AppendUnit(unit);
        return *this;
    }
    Unit* buffer = record->fBuffer;
    if (record->fCharCount == record->fUTF16Count) {
        buffer[i] = unit;
        return *this;
    }
    const std::uint32_t offset = record->CharToUnitIndex(i);
    if (offset >= record->fUTF16Count) {
        return *this;
    }
    const Unit current = buffer[offset];
    if (IsHighSurrogate(current)) {
        // A pair becomes one unit; a high surrogate in the last place is simply overwritten.
        if (offset + 1 < record->fUTF16Count) {
            MoveUnits(buffer + offset + 1, buffer + offset + 2, record->fUTF16Count - offset - 1);
            --record->fUTF16Count;
        }
        buffer[offset] = unit;
    } else if (IsLowSurrogate(current)) {
        // A lone low surrogate is a character of its own. The new unit may pair with what
        // follows it, so the characters are counted anew.
        buffer[offset] = unit;
        record->fCharCount = CountChars(buffer, record->fUTF16Count);
    } else {
        buffer[offset] = unit;
    }
    return *this;
}

AString& AString::SetString(const AString& text, unsigned long count) {
    const AStringImpl& source = RecordOf(text.fpImpl);
    if (fpImpl == nullptr) {
        return *this;
    }
    if (source.fUTF16Count == 0) {
        fpImpl->Clear();
        return *this;
    }
    std::uint32_t chars = U32(count);
    const std::uint32_t units = source.UnitsForChars(chars);
    fpImpl->AssignUnits(source.fBuffer, units, chars);
    return *this;
}

AString& AString::SetString(const unsigned short* text, unsigned long count) {
    if (fpImpl == nullptr) {
        return *this;
    }
    if (text == nullptr || text[0] == 0) {
        fpImpl->Clear();
        return *this;
    }
    std::uint32_t chars = U32(count);
    const std::uint32_t unitTotal = UnitLength(text);
    const std::uint32_t units =
        zelk::UnitsForChars(text, unitTotal, CountChars(text, unitTotal), chars);
    fpImpl->AssignUnits(text, units, chars);
    return *this;
}

AString& AString::SetBuffer(const unsigned short* text, unsigned long unitCount) {
    if (fpImpl == nullptr) {
        return *this;
    }
    if (text == nullptr || text[0] == 0) {
        fpImpl->Clear();
        return *this;
    }
    fpImpl->AssignUnits(text, U32(unitCount), 0, true);
    return *this;
}

void AString::Clear() {
    if (fpImpl != nullptr) {
        fpImpl->Clear();
    }
}

// ---- Making new strings ----

AString AString::Substring(unsigned long start, unsigned long count) const {
    AString result;
    const AStringImpl& record = RecordOf(fpImpl);
    const std::uint32_t first = U32(start);
    const std::uint32_t chars = U32(count);
    if (first >= record.fCharCount || chars == 0 || record.fUTF16Count == 0) {
        return result;
    }
    const std::uint32_t n = std::min(chars, record.fCharCount - first);
    const Unit* source = record.fBuffer + record.CharToUnitIndex(first);
    if (source[0] != 0) {
        result.Append(source, n);
    }
    return result;
}

AString AString::operator+(const AString& text) const {
    AString result(*this);
    result += text;
    return result;
}

AString AString::operator+(const unsigned short* text) const {
    AString result(*this);
    result += text;
    return result;
}

AString AString::operator+(unsigned short unit) const {
    AString result(*this);
    result += unit;
    return result;
}

AString AString::GetToken(const AString& delimiter, unsigned long token) const {
    if (delimiter.IsEmpty()) {
        return AString();
    }
    return TokenOf(*this, RecordOf(delimiter.fpImpl).fCharCount, U32(token),
                   [&](std::uint32_t from) { return U32(IndexOf(delimiter, from)); });
}

AString AString::GetToken(unsigned short delimiter, unsigned long token) const {
    if (delimiter == 0) {
        return AString();
    }
    return TokenOf(*this, 1, U32(token),
                   [&](std::uint32_t from) { return U32(IndexOf(delimiter, from)); });
}

// ---- Searching ----

unsigned long AString::IndexOf(const AString& text, unsigned long start) const {
    const AStringImpl& record = RecordOf(fpImpl);
    const AStringImpl& pattern = RecordOf(text.fpImpl);
    const std::uint32_t first = U32(start);
    if (first >= record.fCharCount || record.fUTF16Count == 0) {
        return kNotFound;
    }
    if (pattern.fUTF16Count == 0) {
        return first;
    }
    std::uint32_t i = record.CharToUnitIndex(first);
    const std::uint32_t length = pattern.fUTF16Count;
    if (length > record.fUTF16Count - i) {
        return kNotFound;
    }
    // The plain restarting comparison: a failed attempt starts again one unit behind where it
    // began.
    std::uint32_t k = 0;
    while (k < length) {
        if (i >= record.fUTF16Count) {
            return kNotFound;
        }
        if (record.fBuffer[i] == pattern.fBuffer[k]) {
            ++i;
            ++k;
        } else {
            i = i - k + 1;
            k = 0;
        }
    }
    return ToCharIndex(record, i - k);
}

unsigned long AString::IndexOf(unsigned short unit, unsigned long start) const {
    const AStringImpl& record = RecordOf(fpImpl);
    const std::uint32_t first = U32(start);
    if (unit == 0 || first >= record.fCharCount || record.fUTF16Count == 0) {
        return kNotFound;
    }
    std::uint32_t offset = record.CharToUnitIndex(first);
    while (offset < record.fUTF16Count) {
        const Unit current = record.fBuffer[offset];
        if (IsHighSurrogate(current)) {
            offset += 2;
            continue;
        }
        if (current == unit) {
            return ToCharIndex(record, offset);
        }
        ++offset;
    }
    return kNotFound;
}

unsigned long AString::IndexOfAny(const AString& set, unsigned long start) const {
    const AStringImpl& record = RecordOf(fpImpl);
    const AStringImpl& entries = RecordOf(set.fpImpl);
    const std::uint32_t first = U32(start);
    if (first >= record.fCharCount || record.fUTF16Count == 0) {
        return kNotFound;
    }
    if (entries.fUTF16Count == 0) {
        return first;
    }
    std::uint32_t offset = record.CharToUnitIndex(first);
    while (offset < record.fUTF16Count) {
        const Unit current = record.fBuffer[offset];
        if (IsHighSurrogate(current)) {
            if (offset + 1 >= record.fUTF16Count) {
                break;
            }
            if (SetHolds(entries, current, record.fBuffer[offset + 1], true)) {
                return ToCharIndex(record, offset);
            }
            offset += 2;
        } else {
            if (SetHolds(entries, current, 0, false)) {
                return ToCharIndex(record, offset);
            }
            ++offset;
        }
    }
    return kNotFound;
}

bool AString::Contains(const AString& text, unsigned long start) const {
    return U32(IndexOf(text, start)) != kNotFound;
}

bool AString::Contains(unsigned short unit, unsigned long start) const {
    return U32(IndexOf(unit, start)) != kNotFound;
}

bool AString::ContainsAny(const AString& set, unsigned long start) const {
    return U32(IndexOfAny(set, start)) != kNotFound;
}

// ---- Byte text and capacity ----

void AString::CStringToAString(const char* text, AString& target) {
    AStringImpl* record = target.fpImpl;
    if (record == nullptr) {
        return;
    }
    record->Clear();
    if (text == nullptr || text[0] == 0) {
        return;
    }
    const std::size_t length = std::strlen(text);
    if (length > kMaxUnits) {
        return;
    }
    const std::uint32_t count = static_cast<std::uint32_t>(length);
    if (record->EnsureCapacity(count)) {
        // Every byte is a unit and a character of its own.
        Unit* buffer = record->fBuffer;
        for (std::uint32_t i = 0; i < count; ++i) {
            buffer[i] = static_cast<unsigned char>(text[i]);
        }
        buffer[count] = 0;
        record->fUTF16Count = count;
        record->fCharCount = count;
        return;
    }
    // No room in advance: each byte is appended on its own, and those that find no room are lost.
    for (std::uint32_t i = 0; i < count; ++i) {
        record->AppendUnit(static_cast<unsigned char>(text[i]));
    }
}

void AString::Preallocate(unsigned long units) {
    if (fpImpl != nullptr) {
        fpImpl->EnsureCapacity(U32(units));
    }
}

void AString::Shrink(bool exact) {
    if (fpImpl != nullptr) {
        fpImpl->ShrinkBuffer(exact);
    }
}

} // namespace zelk
} // namespace vorlan
