// The shell link file format: reading a link's target and writing a link that Windows reads.
//
// A link file is a fixed header, then the parts its link flags announce, in this order: the item
// id list, the link information, the string data and the extra data. All numbers are little
// endian. Every length and offset is checked against the end of the structure that holds it
// before anything is read through it.
#include "platform/posix/hostlink.h"

#include <cstdint>

namespace vorlan {
namespace zelk {
namespace platform {
namespace host {

namespace {

constexpr std::size_t kHeaderSize = 0x4C;
// The shell link class, {00021401-0000-0000-C000-000000000046}, as it lies in the file.
constexpr unsigned char kLinkClass[16] = {0x01, 0x14, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00,
                                          0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46};
// "My Computer", {20D04FE0-3AEA-1069-A2D8-08002B30309D}, the root of drive paths in an id list.
constexpr unsigned char kMyComputer[16] = {0xE0, 0x4F, 0xD0, 0x20, 0xEA, 0x3A, 0x69, 0x10,
                                           0xA2, 0xD8, 0x08, 0x00, 0x2B, 0x30, 0x30, 0x9D};

// Link flags.
constexpr std::uint32_t kHasLinkTargetIdList = 0x1;
constexpr std::uint32_t kHasLinkInfo = 0x2;
constexpr std::uint32_t kIsUnicode = 0x80;
constexpr std::uint32_t kForceNoLinkInfo = 0x100;
// The five optional strings of the string data, in the order they follow one another.
constexpr std::uint32_t kStringFlags[] = {0x4, 0x8, 0x10, 0x20, 0x40};

// Link information flags.
constexpr std::uint32_t kVolumeIdAndLocalBasePath = 0x1;
constexpr std::uint32_t kCommonNetworkRelativeLink = 0x2;
// Header sizes of the link information without and with the offsets of the UTF-16 strings.
constexpr std::uint32_t kLinkInfoHeaderSize = 0x1C;
constexpr std::uint32_t kLinkInfoUnicodeHeaderSize = 0x24;
// Header sizes of the network part without and with its UTF-16 offsets.
constexpr std::uint32_t kNetworkHeaderSize = 0x14;
constexpr std::uint32_t kNetworkUnicodeHeaderSize = 0x1C;

// A bounded view of bytes: every read says whether it stayed inside.
class Bytes {
public:
    Bytes(const unsigned char* data, std::size_t size) : fData(data), fSize(size) {}

    std::size_t Size() const { return fSize; }
    bool Has(std::size_t offset, std::size_t count) const {
        return offset <= fSize && count <= fSize - offset;
    }
    // The part [offset, offset + count), or false when it does not fit.
    bool Part(std::size_t offset, std::size_t count, Bytes& part) const {
        if (!Has(offset, count)) {
            return false;
        }
        part = Bytes(fData + offset, count);
        return true;
    }
    bool U8(std::size_t offset, std::uint8_t& value) const {
        if (!Has(offset, 1)) {
            return false;
        }
        value = fData[offset];
        return true;
    }
    bool U16(std::size_t offset, std::uint16_t& value) const {
        if (!Has(offset, 2)) {
            return false;
        }
        value = static_cast<std::uint16_t>(fData[offset] | (fData[offset + 1] << 8));
        return true;
    }
    bool U32(std::size_t offset, std::uint32_t& value) const {
        if (!Has(offset, 4)) {
            return false;
        }
        value = std::uint32_t{fData[offset]} | (std::uint32_t{fData[offset + 1]} << 8) |
                (std::uint32_t{fData[offset + 2]} << 16) | (std::uint32_t{fData[offset + 3]} << 24);
        return true;
    }
    bool FileTime(std::size_t offset, FILETIME& time) const {
        return U32(offset, time.dwLowDateTime) && U32(offset + 4, time.dwHighDateTime);
    }
    bool Equals(std::size_t offset, const unsigned char* expected, std::size_t count) const {
        if (!Has(offset, count)) {
            return false;
        }
        for (std::size_t i = 0; i < count; ++i) {
            if (fData[offset + i] != expected[i]) {
                return false;
            }
        }
        return true;
    }
    // 0-terminated 8-bit text from offset, read as Latin-1; false without a terminator inside.
    bool Latin1(std::size_t offset, Text& text, std::size_t* end = nullptr) const {
        text.clear();
        for (std::size_t at = offset; at < fSize; ++at) {
            if (fData[at] == 0) {
                if (end != nullptr) {
                    *end = at + 1;
                }
                return true;
            }
            text += static_cast<char16_t>(fData[at]);
        }
        return false;
    }
    // 0-terminated UTF-16 text from offset; false without a terminator inside.
    bool Utf16(std::size_t offset, Text& text, std::size_t* end = nullptr) const {
        text.clear();
        std::uint16_t unit = 0;
        for (std::size_t at = offset; U16(at, unit); at += 2) {
            if (unit == 0) {
                if (end != nullptr) {
                    *end = at + 2;
                }
                return true;
            }
            text += static_cast<char16_t>(unit);
        }
        return false;
    }

private:
    const unsigned char* fData;
    std::size_t fSize;
};

// The long name of a file entry's extension block (signature 0xBEEF0004), whose place depends
// on the block's version; false when the block is not there or is malformed.
bool ExtensionLongName(const Bytes& item, std::size_t offset, Text& name) {
    std::uint16_t size = 0;
    std::uint16_t version = 0;
    std::uint32_t signature = 0;
    Bytes block(nullptr, 0);
    if (!item.U16(offset, size) || !item.U16(offset + 2, version) ||
        !item.U32(offset + 4, signature) || signature != 0xBEEF0004u ||
        !item.Part(offset, size, block)) {
        return false;
    }
    std::size_t nameOffset = 0x12; // size, version, signature, two dates, an identifier
    if (version >= 7) {
        nameOffset += 2 + 8 + 8; // padding, the file reference, reserved
    }
    if (version >= 3) {
        nameOffset += 2; // the size of the localised name
    }
    if (version >= 9) {
        nameOffset += 4;
    }
    if (version >= 8) {
        nameOffset += 4;
    }
    return block.Utf16(nameOffset, name) && !name.empty();
}

// Appends one item of an id list to path. False for an item of a kind this reader does not
// follow (anything but the computer, a drive, a folder or a file), which leaves no path.
bool AppendItem(const Bytes& item, Text& path) {
    std::uint8_t type = 0;
    if (!item.U8(2, type)) {
        return false;
    }
    if (type == 0x1F) {
        // A root folder by class: only the computer leads on to drives.
        return path.empty() && item.Equals(4, kMyComputer, sizeof kMyComputer);
    }
    if ((type & 0x70) == 0x20) {
        // A drive: "C:\" in 8-bit text.
        Text drive;
        if (!path.empty() || !item.Latin1(3, drive) || drive.empty()) {
            return false;
        }
        path = drive;
        return true;
    }
    if ((type & 0x70) == 0x30) {
        // A folder or file: size, type, a byte, the size of the file, a date, the attributes,
        // then the short name and an extension block with the long name.
        Text name;
        std::size_t end = 0;
        const bool wide = (type & 0x04) != 0;
        if (path.empty() || !(wide ? item.Utf16(14, name, &end) : item.Latin1(14, name, &end))) {
            return false;
        }
        Text longName;
        if (ExtensionLongName(item, (end + 1) & ~std::size_t{1}, longName)) {
            name = longName;
        }
        if (name.empty()) {
            return false;
        }
        if (path.back() != u'\\') {
            path += u'\\';
        }
        path += name;
        return true;
    }
    return false;
}

// Walks the id list. False when an item's size passes the end of the list or the list has no
// terminator; an item this reader does not follow only leaves itemPath empty.
bool ReadIdList(const Bytes& list, Text& itemPath) {
    Text path;
    bool followed = true;
    std::size_t offset = 0;
    for (;;) {
        std::uint16_t size = 0;
        if (!list.U16(offset, size)) {
            return false;
        }
        if (size == 0) {
            break;
        }
        Bytes item(nullptr, 0);
        if (size < 3 || !list.Part(offset, size, item)) {
            return false;
        }
        if (followed && !AppendItem(item, path)) {
            followed = false;
        }
        offset += size;
    }
    itemPath = followed ? path : Text();
    return true;
}

// Text at offset of a structure, UTF-16 when a UTF-16 offset is given, else 8-bit.
bool ReadString(const Bytes& where, std::uint32_t offset, std::uint32_t wideOffset, Text& text) {
    return wideOffset != 0 ? where.Utf16(wideOffset, text) : where.Latin1(offset, text);
}

bool ReadNetworkPart(const Bytes& info, std::uint32_t offset, LinkTarget& target) {
    std::uint32_t size = 0;
    std::uint32_t nameOffset = 0;
    std::uint32_t wideNameOffset = 0;
    Bytes part(nullptr, 0);
    if (!info.U32(offset, size) || size < kNetworkHeaderSize || !info.Part(offset, size, part) ||
        !part.U32(8, nameOffset)) {
        return false;
    }
    if (nameOffset > kNetworkHeaderSize &&
        (size < kNetworkUnicodeHeaderSize || !part.U32(0x14, wideNameOffset))) {
        return false;
    }
    if (!ReadString(part, nameOffset, wideNameOffset, target.netName)) {
        return false;
    }
    target.hasNetwork = true;
    return true;
}

bool ReadLinkInfo(const Bytes& info, LinkTarget& target) {
    std::uint32_t headerSize = 0;
    std::uint32_t flags = 0;
    std::uint32_t localOffset = 0;
    std::uint32_t networkOffset = 0;
    std::uint32_t suffixOffset = 0;
    std::uint32_t wideLocalOffset = 0;
    std::uint32_t wideSuffixOffset = 0;
    if (!info.U32(4, headerSize) || headerSize < kLinkInfoHeaderSize || headerSize > info.Size() ||
        !info.U32(8, flags) || !info.U32(16, localOffset) || !info.U32(20, networkOffset) ||
        !info.U32(24, suffixOffset)) {
        return false;
    }
    if (headerSize >= kLinkInfoUnicodeHeaderSize &&
        (!info.U32(28, wideLocalOffset) || !info.U32(32, wideSuffixOffset))) {
        return false;
    }
    if ((flags & (kVolumeIdAndLocalBasePath | kCommonNetworkRelativeLink)) != 0 &&
        !ReadString(info, suffixOffset, wideSuffixOffset, target.pathSuffix)) {
        return false;
    }
    if ((flags & kVolumeIdAndLocalBasePath) != 0) {
        if (!ReadString(info, localOffset, wideLocalOffset, target.localBasePath)) {
            return false;
        }
        target.hasLocal = true;
    }
    return (flags & kCommonNetworkRelativeLink) == 0 ||
           ReadNetworkPart(info, networkOffset, target);
}

// Steps over the string data; false when a string passes the end.
bool SkipStrings(const Bytes& file, std::uint32_t flags, std::size_t& offset) {
    const std::size_t unitSize = (flags & kIsUnicode) != 0 ? 2 : 1;
    for (const std::uint32_t flag : kStringFlags) {
        if ((flags & flag) == 0) {
            continue;
        }
        std::uint16_t count = 0;
        if (!file.U16(offset, count) || !file.Has(offset + 2, count * unitSize)) {
            return false;
        }
        offset += 2 + count * unitSize;
    }
    return true;
}

// Steps over the extra data blocks up to the terminal block (a size below 4) or the end.
bool SkipExtraData(const Bytes& file, std::size_t offset) {
    std::uint32_t size = 0;
    while (file.U32(offset, size) && size >= 4) {
        if (!file.Has(offset, size)) {
            return false;
        }
        offset += size;
    }
    return true;
}

// Writers of little-endian numbers and text.
void PutU16(std::string& out, std::uint32_t value) {
    out += static_cast<char>(value & 0xFF);
    out += static_cast<char>((value >> 8) & 0xFF);
}
void PutU32(std::string& out, std::uint32_t value) {
    PutU16(out, value & 0xFFFF);
    PutU16(out, value >> 16);
}
void PutU32At(std::string& out, std::size_t at, std::uint32_t value) {
    std::string bytes;
    PutU32(bytes, value);
    out.replace(at, 4, bytes);
}
void PutFileTime(std::string& out, const FILETIME& time) {
    PutU32(out, time.dwLowDateTime);
    PutU32(out, time.dwHighDateTime);
}
// 8-bit text for readers that know no UTF-16: ASCII stays, anything else becomes '?'.
void PutAnsi(std::string& out, const Text& text) {
    for (const char16_t unit : text) {
        out += unit < 0x80 ? static_cast<char>(unit) : '?';
    }
    out += '\0';
}
void PutWide(std::string& out, const Text& text) {
    for (const char16_t unit : text) {
        PutU16(out, unit);
    }
    PutU16(out, 0);
}
std::uint32_t Offset(const std::string& out, std::size_t start) {
    return static_cast<std::uint32_t>(out.size() - start);
}

// The link information in the local form: the header with the UTF-16 offsets, a volume id with
// an empty label, the base path and the suffix, each in both widths. A network path goes here
// as well, whole, as Windows and Wine read it there; readers that know only the local form (Wine
// among them) find nothing in the network form.
void PutLocalInfo(std::string& out, const LinkTarget& target) {
    const std::size_t start = out.size();
    out.append(kLinkInfoUnicodeHeaderSize, '\0');
    const std::uint32_t volume = Offset(out, start);
    PutU32(out, 0x11); // the volume id: its size, drive type, serial number, label offset
    PutU32(out, 0);
    PutU32(out, 0);
    PutU32(out, 0x10);
    out += '\0';
    const std::uint32_t local = Offset(out, start);
    PutAnsi(out, target.localBasePath);
    const std::uint32_t suffix = Offset(out, start);
    PutAnsi(out, target.pathSuffix);
    const std::uint32_t wideLocal = Offset(out, start);
    PutWide(out, target.localBasePath);
    const std::uint32_t wideSuffix = Offset(out, start);
    PutWide(out, target.pathSuffix);

    PutU32At(out, start, Offset(out, start));
    PutU32At(out, start + 4, kLinkInfoUnicodeHeaderSize);
    PutU32At(out, start + 8, kVolumeIdAndLocalBasePath);
    PutU32At(out, start + 12, volume);
    PutU32At(out, start + 16, local);
    PutU32At(out, start + 20, 0);
    PutU32At(out, start + 24, suffix);
    PutU32At(out, start + 28, wideLocal);
    PutU32At(out, start + 32, wideSuffix);
}

} // namespace

Text LinkTarget::LocalPath() const {
    return hasLocal ? localBasePath + pathSuffix : Text();
}

Text LinkTarget::NetworkPath() const {
    if (!hasNetwork) {
        return Text();
    }
    Text path = netName;
    if (!pathSuffix.empty()) {
        if (!path.empty() && path.back() != u'\\') {
            path += u'\\';
        }
        path += pathSuffix;
    }
    return path;
}

bool ParseShellLink(const unsigned char* data, std::size_t size, LinkTarget& target) {
    const Bytes file(data, size);
    std::uint32_t headerSize = 0;
    std::uint32_t flags = 0;
    LinkTarget read;
    if (!file.U32(0, headerSize) || headerSize != kHeaderSize || !file.Has(0, kHeaderSize) ||
        !file.Equals(4, kLinkClass, sizeof kLinkClass) || !file.U32(0x14, flags) ||
        !file.U32(0x18, read.attributes) || !file.FileTime(0x1C, read.creationTime) ||
        !file.FileTime(0x24, read.accessTime) || !file.FileTime(0x2C, read.writeTime) ||
        !file.U32(0x34, read.fileSize)) {
        return false;
    }
    std::size_t offset = kHeaderSize;
    if ((flags & kHasLinkTargetIdList) != 0) {
        std::uint16_t listSize = 0;
        Bytes list(nullptr, 0);
        if (!file.U16(offset, listSize) || !file.Part(offset + 2, listSize, list) ||
            !ReadIdList(list, read.itemPath)) {
            return false;
        }
        offset += 2 + std::size_t{listSize};
    }
    if ((flags & kHasLinkInfo) != 0) {
        std::uint32_t infoSize = 0;
        Bytes info(nullptr, 0);
        if (!file.U32(offset, infoSize) || infoSize < kLinkInfoHeaderSize ||
            !file.Part(offset, infoSize, info) || !ReadLinkInfo(info, read)) {
            return false;
        }
        if ((flags & kForceNoLinkInfo) != 0) {
            read.hasLocal = read.hasNetwork = false;
        }
        offset += infoSize;
    }
    if (!SkipStrings(file, flags, offset) || !SkipExtraData(file, offset)) {
        return false;
    }
    target = read;
    return true;
}

std::string FormatShellLink(const LinkTarget& target) {
    std::string out;
    PutU32(out, kHeaderSize);
    out.append(reinterpret_cast<const char*>(kLinkClass), sizeof kLinkClass);
    PutU32(out, kHasLinkInfo | kIsUnicode);
    PutU32(out, target.attributes);
    PutFileTime(out, target.creationTime);
    PutFileTime(out, target.accessTime);
    PutFileTime(out, target.writeTime);
    PutU32(out, target.fileSize);
    PutU32(out, 0); // icon index
    PutU32(out, 1); // show command: normal window
    PutU16(out, 0); // hot key
    out.append(10, '\0');
    PutLocalInfo(out, target);
    PutU32(out, 0); // the terminal block of the extra data
    return out;
}

} // namespace host
} // namespace platform
} // namespace zelk
} // namespace vorlan
