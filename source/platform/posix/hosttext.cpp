// Host names to UTF-16 and back without loss, and Win32 error numbers from the host's errno.
#include "platform/posix/hostapi.h"

namespace vorlan {
namespace zelk {
namespace platform {
namespace host {

namespace {

bool IsHigh(char32_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
bool IsLow(char32_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}
bool IsContinuation(unsigned char byte) {
    return (byte & 0xC0) == 0x80;
}

// A byte that is not part of valid UTF-8 stands for itself as a lone low surrogate.
char16_t EscapeByte(unsigned char byte) {
    return static_cast<char16_t>(0xDC00 + byte);
}
bool IsEscapedByte(char16_t unit) {
    return unit >= 0xDC80 && unit <= 0xDCFF;
}

void AppendUTF8(char32_t value, std::string& out) {
    if (value < 0x80) {
        out += static_cast<char>(value);
    } else if (value < 0x800) {
        out += static_cast<char>(0xC0 | (value >> 6));
        out += static_cast<char>(0x80 | (value & 0x3F));
    } else if (value < 0x10000) {
        out += static_cast<char>(0xE0 | (value >> 12));
        out += static_cast<char>(0x80 | ((value >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (value & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (value >> 18));
        out += static_cast<char>(0x80 | ((value >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((value >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (value & 0x3F));
    }
}

// One step of decoding: the units of the sequence at the front of bytes, or none when the first
// byte must be escaped. fromSurrogate marks a surrogate that came in the generalised form.
struct Decoded {
    std::size_t length = 0; // bytes taken; 0 for an invalid first byte
    char32_t value = 0;
    bool fromSurrogate = false;
};

Decoded DecodeOne(const unsigned char* bytes, std::size_t count) {
    Decoded result;
    const unsigned char lead = bytes[0];
    if (lead < 0x80) {
        result.length = 1;
        result.value = lead;
        return result;
    }
    std::size_t length = 0;
    unsigned char low = 0x80;
    unsigned char high = 0xBF;
    char32_t value = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
        value = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        value = lead & 0x0F;
        if (lead == 0xE0) {
            low = 0xA0; // no overlong forms
        }
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        value = lead & 0x07;
        if (lead == 0xF0) {
            low = 0x90;
        } else if (lead == 0xF4) {
            high = 0x8F;
        }
    } else {
        return result;
    }
    if (count < length || bytes[1] < low || bytes[1] > high) {
        return result;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if (!IsContinuation(bytes[i])) {
            return result;
        }
        value = (value << 6) | (bytes[i] & 0x3F);
    }
    if (value >= 0xD800 && value <= 0xDFFF) {
        // A surrogate in the generalised form. One in the escape range would come back as a
        // single byte, so those bytes are escaped instead.
        if (value >= 0xDC80 && value <= 0xDCFF) {
            return result;
        }
        result.fromSurrogate = true;
    }
    result.length = length;
    result.value = value;
    return result;
}

} // namespace

void AppendHostBytes(const char16_t* units, std::size_t count, std::string& out) {
    for (std::size_t i = 0; i < count; ++i) {
        const char16_t unit = units[i];
        if (IsHigh(unit) && i + 1 < count && IsLow(units[i + 1])) {
            const char32_t value = 0x10000 + ((static_cast<char32_t>(unit) - 0xD800) << 10) +
                                   (static_cast<char32_t>(units[i + 1]) - 0xDC00);
            AppendUTF8(value, out);
            ++i;
        } else if (IsEscapedByte(unit)) {
            out += static_cast<char>(unit - 0xDC00);
        } else {
            AppendUTF8(unit, out);
        }
    }
}

std::string ToHostBytes(const Text& text) {
    std::string out;
    out.reserve(text.size());
    AppendHostBytes(text.data(), text.size(), out);
    return out;
}

Text FromHostBytes(const char* bytes, std::size_t count) {
    // Decoded units, each marked when it is a high surrogate from the generalised form. Such a
    // surrogate followed by a low one would read back as a pair and be written as four bytes, so
    // it is escaped byte by byte instead; that is decided from the back, where the follower is
    // already known.
    struct Unit {
        char16_t unit;
        bool looseHigh;
    };
    std::vector<Unit> units;
    units.reserve(count);
    const auto* data = reinterpret_cast<const unsigned char*>(bytes);
    for (std::size_t i = 0; i < count;) {
        const Decoded one = DecodeOne(data + i, count - i);
        if (one.length == 0) {
            units.push_back({EscapeByte(data[i]), false});
            ++i;
            continue;
        }
        if (one.value >= 0x10000) {
            const char32_t value = one.value - 0x10000;
            units.push_back({static_cast<char16_t>(0xD800 + (value >> 10)), false});
            units.push_back({static_cast<char16_t>(0xDC00 + (value & 0x3FF)), false});
        } else {
            units.push_back(
                {static_cast<char16_t>(one.value), one.fromSurrogate && IsHigh(one.value)});
        }
        i += one.length;
    }
    Text reversed;
    reversed.reserve(units.size());
    bool nextIsLow = false;
    for (std::size_t i = units.size(); i-- > 0;) {
        const Unit& unit = units[i];
        if (unit.looseHigh && nextIsLow) {
            std::string raw;
            AppendUTF8(unit.unit, raw);
            for (std::size_t k = raw.size(); k-- > 0;) {
                reversed += EscapeByte(static_cast<unsigned char>(raw[k]));
            }
            nextIsLow = true;
        } else {
            reversed += unit.unit;
            nextIsLow = IsLow(unit.unit);
        }
    }
    return Text(reversed.rbegin(), reversed.rend());
}

Text FromUnits(const unsigned short* text) {
    Text result;
    if (text != nullptr) {
        for (const unsigned short* p = text; *p != 0; ++p) {
            result += static_cast<char16_t>(*p);
        }
    }
    return result;
}

static char16_t AsciiLower(char16_t unit) {
    return (unit >= u'A' && unit <= u'Z') ? static_cast<char16_t>(unit + 32) : unit;
}

bool EqualNoCase(const Text& left, const Text& right) {
    if (left.size() != right.size()) {
        return false;
    }
    for (std::size_t i = 0; i < left.size(); ++i) {
        if (AsciiLower(left[i]) != AsciiLower(right[i])) {
            return false;
        }
    }
    return true;
}

DWORD CopyOut(const Text& text, unsigned short* buffer, DWORD bufferLength) {
    const std::size_t needed = text.size() + 1;
    if (buffer == nullptr || bufferLength < needed) {
        return static_cast<DWORD>(needed);
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        buffer[i] = text[i];
    }
    buffer[text.size()] = 0;
    return static_cast<DWORD>(text.size());
}

namespace {
thread_local DWORD tLastError = ERROR_SUCCESS;
} // namespace

void SetError(DWORD error) {
    tLastError = error;
}

DWORD ErrorFromErrno(int error) {
    switch (error) {
    case 0:
        return ERROR_SUCCESS;
    case ENOENT:
        return ERROR_FILE_NOT_FOUND;
    case ENOTDIR:
        return ERROR_PATH_NOT_FOUND;
    case EACCES:
    case EPERM:
    case EISDIR:
        return ERROR_ACCESS_DENIED;
    case EEXIST:
        return ERROR_ALREADY_EXISTS;
    case ENOTEMPTY:
        return ERROR_DIR_NOT_EMPTY;
    case EBUSY:
    case ETXTBSY:
    case EWOULDBLOCK:
        return ERROR_SHARING_VIOLATION;
    case ENAMETOOLONG:
        return ERROR_FILENAME_EXCED_RANGE;
    case ENOSPC:
    case EDQUOT:
        return ERROR_DISK_FULL;
    case EROFS:
        return ERROR_WRITE_PROTECT;
    case EXDEV:
        return ERROR_NOT_SAME_DEVICE;
    case ELOOP:
        return ERROR_CANT_RESOLVE_FILENAME;
    case EMFILE:
    case ENFILE:
        return ERROR_TOO_MANY_OPEN_FILES;
    case ENOMEM:
        return ERROR_NOT_ENOUGH_MEMORY;
    case EINVAL:
        return ERROR_INVALID_PARAMETER;
    case EBADF:
        return ERROR_INVALID_HANDLE;
    case EIO:
        return ERROR_IO_DEVICE;
    case ENOTSUP:
#if defined(EOPNOTSUPP) && EOPNOTSUPP != ENOTSUP
    case EOPNOTSUPP:
#endif
    case ENODATA:
        return ERROR_NOT_SUPPORTED;
    default:
        return ERROR_GEN_FAILURE;
    }
}

DWORD MissingEntryError(const std::string& hostPath) {
    const std::size_t slash = hostPath.find_last_of('/');
    if (slash == std::string::npos) {
        return ERROR_PATH_NOT_FOUND;
    }
    const std::string parent = slash == 0 ? std::string("/") : hostPath.substr(0, slash);
    struct stat info {};
    if (::stat(parent.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
        return ERROR_FILE_NOT_FOUND;
    }
    return ERROR_PATH_NOT_FOUND;
}

bool FailWithErrno() {
    SetError(ErrorFromErrno(errno));
    return false;
}

bool Fail(DWORD error) {
    SetError(error);
    return false;
}

} // namespace host

DWORD GetLastError() {
    return host::tLastError;
}

void SetLastError(DWORD error) {
    host::tLastError = error;
}

} // namespace platform
} // namespace zelk
} // namespace vorlan
