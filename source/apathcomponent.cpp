// APathComponent: one path segment, its stored split into base and extension, and its drive flag.
#include <zelk/apathcomponent.h>

#include "objectalloc.h"

#include <cstdint>

namespace vorlan {
namespace zelk {

// The whole text and its split, worked out when the text is set. The base is the first
// fBaseLength characters; when fExtensionLength is not 0, the character at index fBaseLength is
// the dot and the extension is everything behind it.
struct APathComponentImpl {
    AString fText;
    std::uint32_t fBaseLength = 0;
    std::uint32_t fExtensionLength = 0;
    bool fIsWinDrive = false;
};

namespace {

constexpr unsigned short kDot = u'.';
constexpr unsigned short kCurrentDirText[] = {u'.', 0};
constexpr unsigned short kParentDirText[] = {u'.', u'.', 0};
// The characters no name on disk may hold, in the order they are looked for.
constexpr unsigned short kForbiddenChars[] = {u'/', u'\\', u':', u'*', u'?',
                                              u'"', u'<',  u'>', u'|', 0};
constexpr unsigned long kNotFound = 0xFFFFFFFFul;

std::uint32_t Length(const AString& text) {
    return static_cast<std::uint32_t>(text.CharCount());
}

bool IsAliasText(const AString& text) {
    return text == kCurrentDirText || text == kParentDirText;
}

// The character index of the last dot, or kNotFound. The search goes through AString so that
// the index is the one AString's own editing operations understand.
std::uint32_t FindLastDot(const AString& text) {
    std::uint32_t last = static_cast<std::uint32_t>(kNotFound);
    unsigned long found = text.IndexOf(kDot, 0);
    while (found != kNotFound) {
        last = static_cast<std::uint32_t>(found);
        found = text.IndexOf(kDot, found + 1);
    }
    return last;
}

void Clear(APathComponentImpl& impl) {
    impl.fText.Clear();
    impl.fBaseLength = 0;
    impl.fExtensionLength = 0;
    impl.fIsWinDrive = false;
}

// Stores text and works out its split; the drive flag ends up false.
void Split(APathComponentImpl& impl, const AString& text) {
    Clear(impl);
    if (text.IsEmpty()) {
        return;
    }
    impl.fText = text;
    const std::uint32_t length = Length(impl.fText);
    if (IsAliasText(impl.fText)) {
        impl.fBaseLength = length;
        return;
    }
    const std::uint32_t dot = FindLastDot(impl.fText);
    if (dot == kNotFound) {
        impl.fBaseLength = length;
    } else if (dot == 0) {
        impl.fExtensionLength = length - 1;
    } else if (dot == length - 1) {
        impl.fBaseLength = length - 1;
    } else {
        impl.fBaseLength = dot;
        impl.fExtensionLength = length - dot - 1;
    }
}

// What a new component holds: no text, no split, no flag.
bool IsBlank(const APathComponentImpl& impl) {
    return impl.fText.IsEmpty() && impl.fBaseLength == 0 && impl.fExtensionLength == 0 &&
           !impl.fIsWinDrive;
}

void CopyFields(APathComponentImpl& target, const APathComponentImpl& source) {
    target.fText = source.fText;
    target.fBaseLength = source.fBaseLength;
    target.fExtensionLength = source.fExtensionLength;
    target.fIsWinDrive = source.fIsWinDrive;
}

AString BaseOf(const APathComponentImpl& impl) {
    return impl.fText.Substring(0, impl.fBaseLength);
}

AString ExtensionOf(const APathComponentImpl& impl) {
    if (impl.fExtensionLength == 0) {
        return AString();
    }
    return impl.fText.Substring(impl.fBaseLength + 1, AString::kToEnd);
}

} // namespace

APathComponent::APathComponent() : fpImpl(NewRecord<APathComponentImpl>()) {}

APathComponent::APathComponent(const AString& text) : fpImpl(NewRecord<APathComponentImpl>()) {
    if (fpImpl != nullptr) {
        Split(*fpImpl, text);
    }
}

APathComponent::APathComponent(const APathComponent& other)
    : fpImpl(NewRecord<APathComponentImpl>()) {
    if (fpImpl != nullptr && other.fpImpl != nullptr) {
        CopyFields(*fpImpl, *other.fpImpl);
    }
}

APathComponent::APathComponent(APathComponent&& other) noexcept : fpImpl(other.fpImpl) {
    other.fpImpl = nullptr;
}

APathComponent::~APathComponent() {
    DeleteRecord(fpImpl);
}

APathComponent& APathComponent::operator=(const APathComponent& other) {
    if (this == &other) {
        return *this;
    }
    if (fpImpl == nullptr) {
        // Only an object left without a record gets here; it takes a new one if it can.
        fpImpl = NewRecord<APathComponentImpl>();
        if (fpImpl == nullptr) {
            return *this;
        }
    }
    if (other.fpImpl == nullptr) {
        Clear(*fpImpl);
    } else {
        CopyFields(*fpImpl, *other.fpImpl);
    }
    return *this;
}

APathComponent& APathComponent::operator=(APathComponent&& other) noexcept {
    APathComponentImpl* held = fpImpl;
    fpImpl = other.fpImpl;
    other.fpImpl = held;
    return *this;
}

bool APathComponent::operator==(const APathComponent& other) const {
    if (this == &other || fpImpl == other.fpImpl) {
        return true;
    }
    // An object without a record compares as the empty component.
    if (fpImpl == nullptr) {
        return IsBlank(*other.fpImpl);
    }
    if (other.fpImpl == nullptr) {
        return IsBlank(*fpImpl);
    }
    return fpImpl->fBaseLength == other.fpImpl->fBaseLength &&
           fpImpl->fExtensionLength == other.fpImpl->fExtensionLength &&
           fpImpl->fIsWinDrive == other.fpImpl->fIsWinDrive && fpImpl->fText == other.fpImpl->fText;
}

bool APathComponent::operator!=(const APathComponent& other) const {
    return !(*this == other);
}

AString APathComponent::CurrentDirAlias() {
    return AString(kCurrentDirText);
}

AString APathComponent::ParentDirAlias() {
    return AString(kParentDirText);
}

AString APathComponent::Get() const {
    return fpImpl != nullptr ? fpImpl->fText : AString();
}

AString APathComponent::GetBase() const {
    return fpImpl != nullptr ? BaseOf(*fpImpl) : AString();
}

AString APathComponent::GetExtension() const {
    return fpImpl != nullptr ? ExtensionOf(*fpImpl) : AString();
}

bool APathComponent::IsAlias() const {
    return fpImpl != nullptr && IsAliasText(fpImpl->fText);
}

bool APathComponent::IsEmpty() const {
    return fpImpl == nullptr || fpImpl->fText.IsEmpty();
}

bool APathComponent::IsValid() const {
    if (fpImpl == nullptr) {
        return false;
    }
    if (fpImpl->fIsWinDrive || IsAliasText(fpImpl->fText)) {
        return true;
    }
    if (fpImpl->fText.IsEmpty()) {
        return false;
    }
    if (fpImpl->fText.ContainsAny(AString(kForbiddenChars))) {
        return false;
    }
    return fpImpl->fText.CharCount() <= kMaxComponentLength;
}

bool APathComponent::IsWinDrive() const {
    return fpImpl != nullptr && fpImpl->fIsWinDrive;
}

APathComponent& APathComponent::MakeValid(unsigned short replacement) {
    if (fpImpl == nullptr || fpImpl->fIsWinDrive || fpImpl->fText.IsEmpty() ||
        IsAliasText(fpImpl->fText)) {
        return *this;
    }
    // Each hit is overwritten in place, so the split and the length stay as they are. The
    // search goes on behind the hit, which ends the loop even if replacement is forbidden itself.
    const AString forbidden(kForbiddenChars);
    unsigned long index = fpImpl->fText.IndexOfAny(forbidden, 0);
    while (index != kNotFound) {
        fpImpl->fText.SetChar(index, replacement);
        index = fpImpl->fText.IndexOfAny(forbidden, index + 1);
    }
    return *this;
}

APathComponent& APathComponent::Set(const AString& text) {
    if (fpImpl != nullptr && fpImpl->fText != text) {
        Split(*fpImpl, text);
    }
    return *this;
}

APathComponent& APathComponent::SetBase(const AString& base) {
    if (fpImpl == nullptr) {
        return *this;
    }
    APathComponentImpl& impl = *fpImpl;
    if (BaseOf(impl) == base) {
        return *this;
    }
    if (base.IsEmpty()) {
        if (impl.fExtensionLength != 0) {
            impl.fText.Remove(0, impl.fBaseLength);
        } else {
            impl.fText.Clear();
        }
        impl.fBaseLength = 0;
    } else {
        if (impl.fExtensionLength == 0 && IsAliasText(base)) {
            // An alias can't carry a trailing dot, so the old text goes as a whole.
            impl.fText = base;
        } else {
            impl.fText.Remove(0, impl.fBaseLength);
            impl.fText.Insert(0, base);
        }
        impl.fBaseLength = Length(base);
    }
    impl.fIsWinDrive = false;
    return *this;
}

APathComponent& APathComponent::SetExtension(const AString& extension) {
    if (fpImpl == nullptr) {
        return *this;
    }
    APathComponentImpl& impl = *fpImpl;
    if (ExtensionOf(impl) == extension) {
        return *this;
    }
    if (IsAliasText(impl.fText)) {
        // The alias is given up, not extended. Its split is dropped with it, so that the dot
        // is written anew below.
        impl.fText.Clear();
        impl.fBaseLength = 0;
        impl.fExtensionLength = 0;
    }
    if (impl.fExtensionLength != 0) {
        impl.fText.Truncate(impl.fExtensionLength);
    } else if (impl.fBaseLength >= Length(impl.fText)) {
        impl.fText.Append(kDot);
    }
    // Otherwise the text ends in a trailing dot, which serves.
    impl.fText.Append(extension);
    impl.fExtensionLength = Length(extension);
    impl.fIsWinDrive = false;
    return *this;
}

bool APathComponent::SetIsWinDrive() {
    if (fpImpl == nullptr) {
        return false;
    }
    APathComponentImpl& impl = *fpImpl;
    impl.fIsWinDrive = impl.fExtensionLength == 0 && impl.fBaseLength == 2 &&
                       IsWinDriveLetter(impl.fText.GetChar(0)) &&
                       IsWinDriveDelimiter(impl.fText.GetChar(1));
    return impl.fIsWinDrive;
}

ZELK_DEFINE_CLASS_ALLOCATION(APathComponent)

bool IsWinDriveLetter(unsigned short character) {
    return (character >= u'A' && character <= u'Z') || (character >= u'a' && character <= u'z');
}

bool IsWinDriveDelimiter(unsigned short character) {
    return character == u':';
}

} // namespace zelk
} // namespace vorlan
