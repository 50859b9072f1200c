// CoreFileUtils: static operations on entries, written against AFile.
#include <zelk/fileutils.h>

#include <zelk/afile.h>
#include <zelk/astring.h>
#include <zelk/astring8.h>

#include "platform/objects.h"

#include <utility>

namespace vorlan {
namespace zelk {

// Shell link resolution.
namespace {

// Results of ResolveAlias.
constexpr unsigned long kResolved = 0;
constexpr unsigned long kUnreadableLink = 1;
constexpr unsigned long kNothingToResolve = 2;

} // namespace

unsigned long CoreFileUtils::ResolveAlias(const AFile& source, AFile& target, bool* isDirectory,
                                          bool* wasAlias, bool noUI) {
    using namespace platform;
    if (!source.Exists()) {
        return kNothingToResolve;
    }
    if (!source.GetAttribute(AFile::kIsAlias)) {
        // Any other entry is its own answer. Equal objects are left alone, so no PathChanged
        // runs when source and target already name the same entry.
        if (target != source) {
            target = source;
        }
        if (isDirectory != nullptr) {
            *isDirectory = source.GetAttribute(AFile::kIsDirectory);
        }
        if (wasAlias != nullptr) {
            *wasAlias = false;
        }
        return kResolved;
    }

    // Declared in this order so that the interfaces go first, the persist side before the link,
    // and the error mode is restored last, on every way out.
    ErrorModeGuard errorMode;
    ScopedInterface<IShellLinkW> link;
    ScopedInterface<IPersistFile> file;
    if (CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW,
                         link.Receive()) != S_OK ||
        !link) {
        return kUnreadableLink;
    }
    if (link->QueryInterface(IID_IPersistFile, file.Receive()) != S_OK || !file) {
        return kUnreadableLink;
    }
    const AString linkPath = source.GetPath(false);
    if (file->Load(linkPath.GrabWString(), STGM_READ) != S_OK) {
        return kUnreadableLink;
    }
    if (link->Resolve(nullptr, noUI ? SLR_NO_UI : 0) != S_OK) {
        return kNothingToResolve;
    }
    unsigned short buffer[APath::kMaxPathLength];
    WIN32_FIND_DATAW data{};
    // S_FALSE, a link without a path, is as much a failure here as an error.
    if (link->GetPath(buffer, static_cast<int>(APath::kMaxPathLength), &data, SLGP_UNCPRIORITY) !=
        S_OK) {
        return kNothingToResolve;
    }
    APath targetPath(AString(buffer), APath::kNativePath);

    // Nothing above wrote to the caller's objects; from here on nothing fails. The target takes
    // the source's state and then the link's target, but never the delete-on-destroy mark: that
    // stays with the caller's object for the link, and the entry the link names is never marked
    // for deletion by resolving. With one object as source and target the mark is dropped, since
    // the object no longer names the link.
    target = source;
    target.SetPath(std::move(targetPath));
    target.DeleteOnDestroy(false);
    if (isDirectory != nullptr) {
        *isDirectory = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    }
    if (wasAlias != nullptr) {
        *wasAlias = true;
    }
    return kResolved;
}

// UTF-8 forms of an entry's path.

void CoreFileUtils::AFileToUTF8(const AFile& file, AString8& target) {
    AString::AStringToUTF8(file.GetPath(false), target);
}

void CoreFileUtils::UTF8ToAFile(const AString8& source, AFile& target) {
    AString text;
    AString::UTF8ToAString(source, text);
    target.SetPath(text);
}

} // namespace zelk
} // namespace vorlan
