// A short tour of zelk: text, paths, file-system entries and the file utilities.
#include <zelk/zelk.h>

#include <cstdio>

using namespace vorlan::zelk;

namespace {

// Path texts here are ASCII, so each unit prints as one byte.
void Print(const char* label, const AString& text) {
    std::printf("%-10s ", label);
    for (const unsigned short* unit = text.GrabWString(); *unit != 0; ++unit) {
        std::putchar(static_cast<char>(*unit));
    }
    std::putchar('\n');
}

} // namespace

int main() {
    std::printf("zelk example\n");

    // A Windows path, parsed into its components and written out in both notations.
    const APath path(AString("\\\\server\\share\\docs\\report.txt"), APath::kWinPath);
    Print("windows", path.GetPath(APath::kWinPath, false));
    Print("posix", path.GetPath(APath::kPosixPath, false));
    Print("parent", path.GetParentPath(APath::kWinPath, false));
    Print("extension", path[APath::kLastComponentIndex].GetExtension());

    // A POSIX path rendered in Windows notation.
    const APath posix(AString("usr/local/bin"), APath::kPosixPath);
    Print("windows", posix.GetPath(APath::kWinPath, false));

    // A small tree made, inspected and removed through AFile, in a scratch directory beside the
    // current one. MakeFile makes the missing parents on the way.
    AFile scratch(CorePathUtils::GetCurrentDir());
    scratch.AppendName(AString("zelk-example-tree"));
    AFile notes(scratch);
    notes.AppendName(AString("docs"));
    notes.AppendName(AString("notes.txt"));
    unsigned long code = 0;
    if (notes.MakeFile(true, &code)) {
        AFile docs(notes.GetParentPath());
        Print("made", notes.GetPath(false));
        std::printf("%-10s docs is %s holding %llu entry\n", "inspected",
                    docs.GetAttribute(AFile::kIsDirectory) ? "a directory" : "no directory",
                    docs.GetSize());
        notes.Delete();
        docs.Delete();
        scratch.Delete();
        std::printf("%-10s %s\n", "removed", scratch.Exists() ? "not all" : "all of it");
    } else {
        std::printf("could not make the tree: error %lu\n", code);
    }

    // A unique temporary directory with a few entries, then deleted with all of them.
    AFile tree;
    if (CoreFileUtils::CreateUniqueTempDir(AString("zelk-example-"), AString(), tree)) {
        Print("temporary", tree.GetPath(false));
        AFile entry(tree);
        entry.AppendName(AString("notes.txt"));
        entry.MakeFile(false, nullptr);
        entry.SetName(AString("sub"));
        entry.AppendName(AString("deeper"));
        entry.MakeDirectory(true, nullptr); // sub and sub\deeper
        entry.AppendName(AString("data.bin"));
        entry.MakeFile(false, nullptr);
        entry.SetAttribute(AFile::kIsReadOnly, true);
        std::printf("%-10s %llu entries at the top\n", "made", tree.GetSize());
        const bool deleted = CoreFileUtils::DeleteDirectory(tree, true);
        std::printf("%-10s %s, still there: %s\n", "deleted", deleted ? "yes" : "no",
                    tree.Exists() ? "yes" : "no");
    }

    // Shell link resolution: an entry that is no link is its own answer.
    const AFile here(CorePathUtils::GetCurrentDir());
    AFile resolved;
    bool isDirectory = false;
    bool wasAlias = true;
    const unsigned long resolution =
        CoreFileUtils::ResolveAlias(here, resolved, &isDirectory, &wasAlias, true);
    std::printf("%-10s code %lu: %s, %s\n", "resolved", resolution, wasAlias ? "a link" : "no link",
                isDirectory ? "a directory" : "no directory");

    // Copy and rename in a unique temporary directory that goes away afterwards, then volume
    // questions and a comparison that ignores letter case.
    {
        AFile folder;
        if (CoreFileUtils::CreateUniqueTempDir(AString("zelk-copy-"), AString(), folder)) {
            AFile original(folder);
            original.AppendName(AString("original.txt"));
            original.MakeFile(false, nullptr);
            AFile copy(folder);
            copy.AppendName(AString("copy.txt"));
            const bool made = CoreFileUtils::FileCopy(original, copy, true);
            const bool again = CoreFileUtils::FileCopy(original, copy, true);
            std::printf("%-10s %s, again with failIfExists: %s\n", "copy", made ? "made" : "failed",
                        again ? "made" : "refused");
            if (CoreFileUtils::RenameFile(copy, AString("renamed.txt"))) {
                Print("renamed", copy.GetNameStr());
            }
            Print("volume", CoreFileUtils::GetVolumeName(copy));
            std::printf("%-10s %llu MiB\n", "free", CoreFileUtils::GetFileFreeSpace(copy) >> 20);
            CoreFileUtils::DeleteDirectory(folder, true);
        }
        const AFile upper(AString("C:\\Docs\\Report.txt"));
        const AFile lower(AString("c:\\docs\\REPORT.TXT"));
        std::printf("%-10s operator== %s, PathsEquivalent %s\n", "case",
                    upper == lower ? "yes" : "no",
                    CoreFileUtils::PathsEquivalent(upper, lower, false) ? "yes" : "no");
    }
    // One entry in its three textual forms: Windows notation, POSIX notation, and the server
    // form, which differs only for a path on a drive connected to a share.
    const AFile entry(AString("C:/Users/Public/report.txt"));
    Print("local", WinFileUtils::GetLocalPath(entry));
    Print("posix", WinFileUtils::GetPosixPath(entry));
    Print("unc", WinFileUtils::GetUNCPath(entry));
    return 0;
}
