// The one way into Win32 for the Windows face: the SDK and the runtime headers it calls.
#ifndef ZELK_SOURCE_PLATFORM_WIN_WINAPI_H
#define ZELK_SOURCE_PLATFORM_WIN_WINAPI_H

// Our declarations come first: the SDK's constants are macros and would rewrite them.
#include "platform/platform.h"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <shlwapi.h>
#include <winnetwk.h>

#include <direct.h>
#include <io.h>
#include <wchar.h>

// The layer's text is unsigned short; the SDK's is wchar_t, 16 bits wide here as well.
static_assert(sizeof(wchar_t) == sizeof(unsigned short), "wchar_t must be UTF-16 units");

namespace vorlan {
namespace zelk {
namespace platform {
namespace win {

inline const wchar_t* Wide(const unsigned short* text) {
    return reinterpret_cast<const wchar_t*>(text);
}
inline wchar_t* Wide(unsigned short* text) {
    return reinterpret_cast<wchar_t*>(text);
}
inline ::HANDLE Native(HANDLE handle) {
    return reinterpret_cast<::HANDLE>(handle);
}
inline HANDLE Ours(::HANDLE handle) {
    return reinterpret_cast<HANDLE>(handle);
}

} // namespace win
} // namespace platform
} // namespace zelk
} // namespace vorlan

#endif // ZELK_SOURCE_PLATFORM_WIN_WINAPI_H
