// The stand-in for the runtime's number formatting that generated names are built with.
#include "platform/posix/hostapi.h"

namespace vorlan {
namespace zelk {
namespace platform {

unsigned short* _ultow(DWORD value, unsigned short* buffer, int radix) {
    if (buffer == nullptr) {
        return nullptr;
    }
    // As the runtime writes them: no sign, no leading zeros, lower-case letters above 9. A
    // radix the runtime would refuse gives the empty text.
    if (radix < 2 || radix > 36) {
        buffer[0] = 0;
        return buffer;
    }
    const auto base = static_cast<DWORD>(radix);
    unsigned short reversed[32];
    int count = 0;
    do {
        const DWORD digit = value % base;
        reversed[count++] =
            static_cast<unsigned short>(digit < 10 ? '0' + digit : 'a' + digit - 10);
        value /= base;
    } while (value != 0);
    for (int i = 0; i < count; ++i) {
        buffer[i] = reversed[count - 1 - i];
    }
    buffer[count] = 0;
    return buffer;
}

} // namespace platform
} // namespace zelk
} // namespace vorlan
