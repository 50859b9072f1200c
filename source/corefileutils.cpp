// CoreFileUtils: static operations on entries, written against AFile.
#include <zelk/fileutils.h>

#include <zelk/afile.h>
#include <zelk/astring.h>
#include <zelk/astring8.h>

namespace vorlan {
namespace zelk {

namespace {

// Results of ResolveAlias.
constexpr unsigned long kResolved = 0;
constexpr unsigned long kUnreadableLink = 1;
constexpr unsigned long kNothingToResolve = 2;

} // namespace

unsigned long CoreFileUtils::ResolveAlias(const AFile& source, AFile& target, bool* isDirectory,
                                          bool* wasAlias, bool noUI) {
    (void)noUI;
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
    // Reading a link takes the platform's shell link objects, which the platform layer does not
    // offer yet: until it does, every link counts as one that could not be read.
    return kUnreadableLink;
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
