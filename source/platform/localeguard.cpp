// UserCTypeLocaleGuard: the user's character-type locale for the time of one comparison.
#include "platform/platform.h"

#include <clocale>
#include <cstdlib>
#include <cstring>

namespace vorlan {
namespace zelk {
namespace platform {

namespace {

// A private copy of a locale name in the runtime's own heap, as _strdup makes it; null when there
// is no memory.
char* CopyName(const char* name) {
    const std::size_t size = std::strlen(name) + 1;
    auto* copy = static_cast<char*>(std::malloc(size));
    if (copy != nullptr) {
        std::memcpy(copy, name, size);
    }
    return copy;
}

} // namespace

UserCTypeLocaleGuard::UserCTypeLocaleGuard() {
    const char* current = std::setlocale(LC_CTYPE, nullptr);
    if (current == nullptr) {
        return;
    }
    // Without a copy there would be no way back, so the locale stays as it is.
    fSavedName = CopyName(current);
    if (fSavedName != nullptr) {
        std::setlocale(LC_CTYPE, "");
    }
}

UserCTypeLocaleGuard::~UserCTypeLocaleGuard() {
    if (fSavedName != nullptr) {
        std::setlocale(LC_CTYPE, fSavedName);
        std::free(fSavedName);
    }
}

} // namespace platform
} // namespace zelk
} // namespace vorlan
