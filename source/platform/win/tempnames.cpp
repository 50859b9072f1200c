// The Windows face of the runtime's number formatting that generated names are built with.
#include "platform/win/winapi.h"

#include <cstdlib>

namespace vorlan {
namespace zelk {
namespace platform {

unsigned short* _ultow(DWORD value, unsigned short* buffer, int radix) {
    if (buffer == nullptr) {
        return nullptr;
    }
    // The runtime hands a radix it can't use to the invalid-parameter handler, which ends the
    // process by default: such a radix gives the empty text without asking it.
    if (radix < 2 || radix > 36) {
        buffer[0] = 0;
        return buffer;
    }
    ::_ultow(static_cast<unsigned long>(value), win::Wide(buffer), radix);
    return buffer;
}

} // namespace platform
} // namespace zelk
} // namespace vorlan
