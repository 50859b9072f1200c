// A short tour of zelk: text and paths.
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
    return 0;
}
