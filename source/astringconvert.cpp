// The UTF-8 converters of AString: lenient encoding into AString8 and decoding from it.
#include <zelk/astring.h>
#include <zelk/astring8.h>

#include "astringimpl.h"

#include <cstdint>
#include <cstring>

namespace vorlan {
namespace zelk {

namespace {

// ---- Word tests for the ASCII fast paths (the same on either byte order) ----

constexpr std::uint64_t kUnitHighBits = 0xFF80FF80FF80FF80ull;
constexpr std::uint64_t kUnitLowOnes = 0x0001000100010001ull;
constexpr std::uint64_t kUnitTopBits = 0x8000800080008000ull;
constexpr std::uint64_t kByteTopBits = 0x8080808080808080ull;
constexpr std::uint64_t kByteLowOnes = 0x0101010101010101ull;

// Whether four units are all below 0x80 and none is 0.
bool IsAsciiRun(const Unit* units) {
    std::uint64_t word;
    std::memcpy(&word, units, sizeof word);
    const bool hasZero = ((word - kUnitLowOnes) & ~word & kUnitTopBits) != 0;
    return (word & kUnitHighBits) == 0 && !hasZero;
}

// Eight bytes: 1 if all are below 0x80 and none is 0, 2 if all are below 0x80 with a 0 among
// them, 0 otherwise.
int AsciiBytes(const unsigned char* bytes) {
    std::uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    if ((word & kByteTopBits) != 0) {
        return 0;
    }
    return ((word - kByteLowOnes) & ~word & kByteTopBits) != 0 ? 2 : 1;
}

// ---- Encoding ----

// Collects encoded bytes and hands them to the target in runs. A run goes in whole only while it
// fits the target's capacity; past that, bytes go in one at a time, so the target grows exactly
// as it would by appending each byte on its own, and an exception leaves in the target every
// byte in front of the one that failed.
class ByteSink {
public:
    explicit ByteSink(AString8& target) : fTarget(target) {}
    ByteSink(const ByteSink&) = delete;
    ByteSink& operator=(const ByteSink&) = delete;

    // Room for at least four more bytes.
    char* Reserve() {
        if (fCount > kRun - 4) {
            Flush();
        }
        return fBytes + fCount;
    }
    void Commit(unsigned count) { fCount += count; }

    void Put(unsigned char byte) {
        if (byte == 0) {
            // A 0 byte cannot travel in a terminated run.
            Flush();
            fTarget += '\0';
            return;
        }
        *Reserve() = static_cast<char>(byte);
        ++fCount;
    }

    void Flush() {
        unsigned done = 0;
        while (done < fCount) {
            const unsigned long long room = fTarget.capacity() - fTarget.size();
            if (room == 0) {
                fTarget += fBytes[done++];
                continue;
            }
            const unsigned left = fCount - done;
            const unsigned take = room < left ? static_cast<unsigned>(room) : left;
            const char saved = fBytes[done + take];
            fBytes[done + take] = '\0';
            fTarget += fBytes + done;
            fBytes[done + take] = saved;
            done += take;
        }
        fCount = 0;
    }

private:
    static constexpr unsigned kRun = 256;
    AString8& fTarget;
    char fBytes[kRun + 1];
    unsigned fCount = 0;
};

// Encodes the unit (or pair) at units[i] and returns how many units it took.
std::uint32_t EncodeOne(const Unit* units, std::uint32_t i, std::uint32_t count, ByteSink& sink) {
    const Unit u = units[i];
    if (u < 0x80) {
        sink.Put(static_cast<unsigned char>(u));
        return 1;
    }
    unsigned char* out = reinterpret_cast<unsigned char*>(sink.Reserve());
    if (u < 0x800) {
        out[0] = static_cast<unsigned char>(0xC0 + (u >> 6));
        out[1] = static_cast<unsigned char>(0x80 + (u & 0x3F));
        sink.Commit(2);
        return 1;
    }
    if (IsHighSurrogate(u) && i + 1 < count && IsLowSurrogate(units[i + 1])) {
        const Unit lo = units[i + 1];
        const unsigned w = ((u >> 6) & 0x0F) + 1u;
        out[0] = static_cast<unsigned char>(0xF0 + (w >> 2));
        out[1] = static_cast<unsigned char>(0x80 + ((w & 3) << 4) + ((u >> 2) & 0x0F));
        out[2] = static_cast<unsigned char>(0x80 + ((u & 3) << 4) + ((lo >> 6) & 0x0F));
        out[3] = static_cast<unsigned char>(0x80 + (lo & 0x3F));
        sink.Commit(4);
        return 2;
    }
    // Three bytes: the rest of the 16-bit range, lone surrogates included.
    out[0] = static_cast<unsigned char>(0xE0 + (u >> 12));
    out[1] = static_cast<unsigned char>(0x80 + ((u >> 6) & 0x3F));
    out[2] = static_cast<unsigned char>(0x80 + (u & 0x3F));
    sink.Commit(3);
    return 1;
}

// ---- Decoding ----

// Puts decoded units behind the text of a record that was sized in advance. Where that sizing
// was refused, each addition asks for room on its own and is lost if it gets none. The
// terminator is written once, at the end (and before any growth, which copies it).
class UnitSink {
public:
    explicit UnitSink(AStringImpl& record) : fRecord(record) {}

    // Free unit places in front of the terminator place.
    std::uint32_t Room() const { return fRecord.BufferUnits() - 1 - fRecord.fUTF16Count; }

    // One unit, one character; a 0 unit is dropped.
    void Put(Unit unit) {
        if (unit == 0) {
            return;
        }
        if (Room() != 0) {
            fRecord.fBuffer[fRecord.fUTF16Count++] = unit;
            ++fRecord.fCharCount;
            return;
        }
        Terminate();
        fRecord.AppendUnit(unit);
    }

    // Two units, one character.
    void PutPair(Unit hi, Unit lo) {
        if (Room() >= 2) {
            fRecord.fBuffer[fRecord.fUTF16Count] = hi;
            fRecord.fBuffer[fRecord.fUTF16Count + 1] = lo;
            fRecord.fUTF16Count += 2;
            ++fRecord.fCharCount;
            return;
        }
        Terminate();
        const Unit pair[2] = {hi, lo};
        fRecord.AppendUnits(pair, 2, 1);
    }

    // Eight bytes below 0x80, 0 bytes dropped; the caller has made sure of Room() >= 8.
    void PutAscii(const unsigned char* bytes, bool withZero) {
        Unit* out = fRecord.fBuffer + fRecord.fUTF16Count;
        std::uint32_t n = 0;
        if (withZero) {
            for (int k = 0; k < 8; ++k) {
                out[n] = bytes[k];
                n += bytes[k] != 0 ? 1 : 0;
            }
        } else {
            for (int k = 0; k < 8; ++k) {
                out[k] = bytes[k];
            }
            n = 8;
        }
        fRecord.fUTF16Count += n;
        fRecord.fCharCount += n;
    }

    void Terminate() { fRecord.fBuffer[fRecord.fUTF16Count] = 0; }

private:
    AStringImpl& fRecord;
};

// Decodes the sequence that starts at bytes[i] and returns how many bytes it took. A byte
// 0xF8..0xFF, and a lead byte with fewer bytes behind it than its sequence needs, are skipped
// on their own: nothing comes of them and the walk goes on with the next byte.
std::uint32_t DecodeOne(const unsigned char* bytes, std::uint32_t i, std::uint32_t length,
                        UnitSink& sink) {
    const unsigned b = bytes[i];
    const std::uint32_t left = length - i;
    if (b < 0x80) {
        sink.Put(static_cast<Unit>(b));
        return 1;
    }
    if (b < 0xE0) {
        if (left < 2) {
            return 1;
        }
        sink.Put(static_cast<Unit>(((b & 0x1F) << 6) | (bytes[i + 1] & 0x3F)));
        return 2;
    }
    if (b < 0xF0) {
        if (left < 3) {
            return 1;
        }
        sink.Put(static_cast<Unit>(((b & 0x0F) << 12) | ((bytes[i + 1] & 0x3F) << 6) |
                                   (bytes[i + 2] & 0x3F)));
        return 3;
    }
    if (b >= 0xF8 || left < 4) {
        return 1;
    }
    const unsigned b1 = bytes[i + 1];
    const unsigned b2 = bytes[i + 2];
    const unsigned b3 = bytes[i + 3];
    const unsigned plane = ((b & 7) << 2) | ((b1 & 0x3F) >> 4);
    const unsigned tail = ((b1 & 0x0F) << 2) | ((b2 & 0x3F) >> 4);
    if (plane == 0) {
        // Overlong: one unit at the top of the range.
        sink.Put(static_cast<Unit>(0xFFC0 | tail));
    } else if (plane <= 16) {
        sink.PutPair(static_cast<Unit>(0xD800 | ((plane - 1) << 6) | tail),
                     static_cast<Unit>(0xDC00 | ((b2 & 0x0F) << 6) | (b3 & 0x3F)));
    } else {
        // Beyond U+10FFFF: one low surrogate.
        sink.Put(static_cast<Unit>(0xDC00 | (((plane - 1) & 0x0F) << 6) | tail));
    }
    return 4;
}

} // namespace

void AString::AStringToUTF8(const AString& source, AString8& target) {
    const AStringImpl* record = AStringAccess::Record(source);
    const Unit* units = record != nullptr ? record->fBuffer : nullptr;
    const std::uint32_t count = record != nullptr ? record->fUTF16Count : 0;

    target.clear();
    // Twice the units: text up to U+07FF then needs no second block. The figure is 32 bits.
    const std::uint64_t twice = std::uint64_t{count} * 2;
    target.reserve(static_cast<unsigned long>(twice > 0xFFFFFFFFu ? 0xFFFFFFFFu : twice));

    ByteSink sink(target);
    std::uint32_t i = 0;
    while (i < count) {
        if (count - i >= 4 && IsAsciiRun(units + i)) {
            char* out = sink.Reserve();
            for (int k = 0; k < 4; ++k) {
                out[k] = static_cast<char>(units[i + k]);
            }
            sink.Commit(4);
            i += 4;
            continue;
        }
        i += EncodeOne(units, i, count, sink);
    }
    sink.Flush();
    // Gives back the block of a target that stayed empty.
    target.reserve(0);
}

void AString::UTF8ToAString(const AString8& source, AString& target) {
    AStringImpl* record = AStringAccess::Record(target);
    if (record == nullptr) {
        return;
    }
    const std::uint32_t length = static_cast<std::uint32_t>(source.size());
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(source.c_str());

    record->Clear();
    // A UTF-8 text never has more units than bytes: one block for the whole walk.
    record->EnsureCapacity(length);

    UnitSink sink(*record);
    std::uint32_t i = 0;
    while (i < length) {
        if (length - i >= 8 && sink.Room() >= 8) {
            const int ascii = AsciiBytes(bytes + i);
            if (ascii != 0) {
                sink.PutAscii(bytes + i, ascii == 2);
                i += 8;
                continue;
            }
        }
        i += DecodeOne(bytes, i, length, sink);
    }
    sink.Terminate();
    record->ShrinkBuffer(false);
}

} // namespace zelk
} // namespace vorlan
