// GetFullPathNameW: the full path of a text through the drive table, without changing the current
// drive or directory.
#include "platform/posix/hostapi.h"

namespace vorlan {
namespace zelk {
namespace platform {

namespace host {
namespace {

bool IsSeparator(char16_t unit) {
    return unit == u'\\' || unit == u'/';
}

// The text Windows gives for a resolved path: X:\a\b, or \\server\share\a\b when it was reached
// by its share; a drive's root keeps its separator ("X:\").
Text FullPathOf(const HostPath& resolved) {
    Text text;
    if (resolved.viaUNC) {
        text = resolved.remote;
    } else {
        text += static_cast<char16_t>(u'A' + resolved.drive - 1);
        text += u':';
        if (resolved.components.empty()) {
            text += u'\\';
        }
    }
    for (const Text& component : resolved.components) {
        text += u'\\';
        text += component;
    }
    return text;
}

} // namespace
} // namespace host

// Resolved as every other call resolves a text, which differs from Windows in two cases, both
// failures: a drive the table doesn't map gives 3 (Windows would still name its root), and a text
// that leans on the current directory gives that error when the directory can't be read (it was
// removed), where Windows still knows its text.
DWORD GetFullPathNameW(const unsigned short* fileName, DWORD bufferLength, unsigned short* buffer,
                       unsigned short** filePart) {
    if (fileName == nullptr) {
        host::SetError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    const host::Text given = host::FromUnits(fileName);
    if (given.empty()) {
        host::SetError(ERROR_INVALID_NAME);
        return 0;
    }
    host::HostPath resolved;
    const DWORD error = host::ResolvePath(fileName, resolved);
    if (error != ERROR_SUCCESS) {
        host::SetError(error);
        return 0;
    }
    host::Text text = host::FullPathOf(resolved);
    // A separator at the end of the text stays at the end of its full path, and a bare drive
    // ("X:") gives its directory with one, as a directory is kept.
    const bool bareDrive = given.size() == 2 && given[1] == u':';
    if ((bareDrive || host::IsSeparator(given.back())) && text.back() != u'\\') {
        text += u'\\';
    }
    host::SetError(ERROR_SUCCESS);
    const DWORD written = host::CopyOut(text, buffer, bufferLength);
    if (filePart != nullptr && buffer != nullptr && written == text.size()) {
        const std::size_t last = text.rfind(u'\\');
        *filePart = last + 1 < text.size() ? buffer + last + 1 : nullptr;
    }
    return written;
}

} // namespace platform
} // namespace zelk
} // namespace vorlan
