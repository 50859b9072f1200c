// Helpers shared by the test programs: a narrow view of a text, allocation hooks that count, and
// scratch entries on disk.
#ifndef ZELK_TESTS_TESTSUPPORT_H
#define ZELK_TESTS_TESTSUPPORT_H

#include <zelk/aallocator.h>
#include <zelk/afile.h>
#include <zelk/apath.h>
#include <zelk/astring.h>
#include <zelk/astring8.h>
#include <zelk/fileutils.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace zelktest {

// The units of a text as bytes, '?' standing for each unit beyond ASCII.
inline std::string Narrow(const vorlan::zelk::AString& text) {
    std::string out;
    for (unsigned long i = 0; i < text.UTF16Count(); ++i) {
        const unsigned short unit = text.GrabWString()[i];
        out += unit < 0x80 ? static_cast<char>(unit) : '?';
    }
    return out;
}

// The same for UTF-16 text held in a standard string.
inline std::string Narrow(std::u16string_view text) {
    std::string out;
    for (const char16_t unit : text) {
        out += unit < 0x80 ? static_cast<char>(unit) : '?';
    }
    return out;
}

// Blocks handed out and freed through the counting hooks; requests of gFailFrom bytes or more
// get null (0 refuses everything).
inline int gAllocations = 0;
inline int gFrees = 0;
inline unsigned long long gFailFrom = ~0ull;

inline void* CountingAlloc(unsigned long long size) {
    if (size >= gFailFrom) {
        return nullptr;
    }
    ++gAllocations;
    return std::malloc(static_cast<std::size_t>(size));
}

inline void CountingFree(void* pointer) {
    ++gFrees;
    std::free(pointer);
}

// Each test runs on the counting hooks, from zero and refusing nothing, and ends on the defaults.
class HookedTest : public ::testing::Test {
protected:
    void SetUp() override {
        gAllocations = gFrees = 0;
        gFailFrom = ~0ull;
        vorlan::zelk::AAllocator::RegisterMemoryProcs(CountingAlloc, CountingFree);
    }
    void TearDown() override { vorlan::zelk::AAllocator::RegisterMemoryProcs(nullptr, nullptr); }
};

// An AFile that records every text PathChanged is given.
class RecordingFile : public vorlan::zelk::AFile {
public:
    using AFile::AFile;
    // Assignment of the base part alone, so that the record stays.
    void Assign(const AFile& other) { AFile::operator=(other); }

    std::vector<std::string> fChanges;

protected:
    void PathChanged(const vorlan::zelk::AString& nativePath) override {
        fChanges.push_back(Narrow(nativePath));
    }
};

// ---- Entries on disk ------------------------------------------------------------------------

// A path from Windows notation.
inline vorlan::zelk::APath WinPath(const std::string& text) {
    return vorlan::zelk::APath(vorlan::zelk::AString(text.c_str()), vorlan::zelk::APath::kWinPath);
}

// Puts the process's current directory back on every way out.
class CurrentDirGuard {
public:
    CurrentDirGuard() = default;
    ~CurrentDirGuard() { vorlan::zelk::CorePathUtils::SetCurrentDir(fSaved); }
    CurrentDirGuard(const CurrentDirGuard&) = delete;
    CurrentDirGuard& operator=(const CurrentDirGuard&) = delete;
    const vorlan::zelk::APath& Saved() const { return fSaved; }

private:
    vorlan::zelk::APath fSaved = vorlan::zelk::CorePathUtils::GetCurrentDir();
};

// A drive letter that can't be made current, or 0. Leaves the current directory as it was.
inline char MissingDrive() {
    const CurrentDirGuard guard;
    for (char letter = 'Y'; letter >= 'D'; --letter) {
        if (!vorlan::zelk::CorePathUtils::SetCurrentDir(WinPath(std::string(1, letter) + ":\\"))) {
            return letter;
        }
    }
    return 0;
}

// The host's own path of an entry, for making and reading entries with the standard library. On
// POSIX hosts the default drive table maps Z: to the host root.
inline std::filesystem::path HostPath(const vorlan::zelk::AFile& file) {
#if defined(_WIN32)
    return std::filesystem::path(
        reinterpret_cast<const wchar_t*>(file.GetPath(false).GrabWString()));
#else
    vorlan::zelk::AString8 bytes;
    vorlan::zelk::AString::AStringToUTF8(file.GetPath(false), bytes);
    std::string text = bytes.c_str();
    EXPECT_EQ(text.compare(0, 2, "Z:"), 0) << text;
    text.erase(0, 2);
    for (char& unit : text) {
        unit = unit == '\\' ? '/' : unit;
    }
    return std::filesystem::path(text);
#endif
}

// The content of a file, or "<dir>" or "<none>".
inline std::string Read(const vorlan::zelk::AFile& file) {
    std::error_code error;
    const std::filesystem::path path = HostPath(file);
    if (std::filesystem::is_directory(path, error)) {
        return "<dir>";
    }
    std::ifstream in(path, std::ios::binary);
    return in ? std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>())
              : "<none>";
}

// A fresh directory below base (the current directory by default), named with random digits and
// removed with all it holds on every way out, read-only entries included.
class ScratchDir {
public:
    explicit ScratchDir(
        const vorlan::zelk::APath& base = vorlan::zelk::CorePathUtils::GetCurrentDir()) {
        std::mt19937_64 generator(std::random_device{}() ^
                                  static_cast<unsigned long long>(
                                      std::chrono::steady_clock::now().time_since_epoch().count()));
        fRoot.SetPath(base);
        fMade = fRoot.AppendName(vorlan::zelk::AString(
                    ("zelk-" + std::to_string(generator() % 1'000'000'000'000ull)).c_str())) &&
                fRoot.MakeDirectory(false, nullptr);
    }
    ~ScratchDir() {
        if (fMade) {
            std::error_code error;
            if (!vorlan::zelk::CoreFileUtils::DeleteDirectory(fRoot, true)) {
                std::filesystem::remove_all(HostPath(fRoot), error);
            }
        }
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    bool Made() const { return fMade; }
    const vorlan::zelk::AFile& Root() const { return fRoot; }
    // The entry at relative (Windows notation) below the directory.
    vorlan::zelk::AFile At(const std::string& relative) const {
        vorlan::zelk::APath path = fRoot.GetPath();
        path.Append(WinPath(relative));
        return vorlan::zelk::AFile(path);
    }
    // The entry at relative, made as a file holding content, a directory for "<dir>", or nothing
    // for "<none>".
    vorlan::zelk::AFile Make(const std::string& relative, const std::string& content) const {
        const vorlan::zelk::AFile file = At(relative);
        std::error_code error;
        if (content == "<dir>") {
            EXPECT_TRUE(std::filesystem::create_directory(HostPath(file), error)) << relative;
        } else if (content != "<none>") {
            std::ofstream(HostPath(file), std::ios::binary) << content;
        }
        return file;
    }

private:
    vorlan::zelk::AFile fRoot;
    bool fMade = false;
};

// Each test works in a scratch directory of its own.
class ScratchTest : public ::testing::Test, protected ScratchDir {
protected:
    void SetUp() override { ASSERT_TRUE(Made()); }
};

} // namespace zelktest

#endif // ZELK_TESTS_TESTSUPPORT_H
