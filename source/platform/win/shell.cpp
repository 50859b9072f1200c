// The Windows directory, wcscat_s and ShellExecuteW, forwarded to the system's.
#include "platform/win/winapi.h"

#include <shellapi.h>

namespace vorlan {
namespace zelk {
namespace platform {

UINT GetWindowsDirectoryW(unsigned short* buffer, UINT size) {
    return ::GetWindowsDirectoryW(win::Wide(buffer), size);
}

int wcscat_s(unsigned short* destination, std::size_t size, const unsigned short* source) {
    return ::wcscat_s(win::Wide(destination), size, win::Wide(source));
}

HINSTANCE ShellExecuteW(HWND window, const unsigned short* operation, const unsigned short* file,
                        const unsigned short* parameters, const unsigned short* directory,
                        int showCommand) {
    return reinterpret_cast<HINSTANCE>(
        ::ShellExecuteW(reinterpret_cast<::HWND>(window), win::Wide(operation), win::Wide(file),
                        win::Wide(parameters), win::Wide(directory), showCommand));
}

} // namespace platform
} // namespace zelk
} // namespace vorlan
