// Tests of CoreFileUtils copy, move and rename, the volume questions and path equivalence.
#include "platform/objects.h" // before anything that may bring in the SDK's macros

#include <zelk/fileutils.h>

#include <zelk/aallocator.h>
#include <zelk/afile.h>
#include <zelk/apath.h>
#include <zelk/astring.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <clocale>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>
#include <random>
#include <string>
#include <system_error>

#if !defined(_WIN32)
#include <zelk/posixhost.h>
#endif

using vorlan::zelk::AAllocator;
using vorlan::zelk::AFile;
using vorlan::zelk::APath;
using vorlan::zelk::AString;
using vorlan::zelk::CoreFileUtils;
using vorlan::zelk::CorePathUtils;

namespace fs = std::filesystem;
namespace platform = vorlan::zelk::platform;

namespace {

std::string UniqueName() {
    const auto ticks = std::chrono::steady_clock::now().time_since_epoch().count();
    std::mt19937_64 generator(std::random_device{}() ^ static_cast<unsigned long long>(ticks));
    const char digits[] = "0123456789abcdef";
    std::string name = "zelk-copy-";
    for (int i = 0; i < 12; ++i) {
        name += digits[generator() % 16];
    }
    return name;
}

// The text's units as bytes: the texts here are ASCII.
std::string Narrow(const AString& text) {
    std::string bytes;
    for (const unsigned short* unit = text.GrabWString(); *unit != 0; ++unit) {
        bytes += static_cast<char>(*unit);
    }
    return bytes;
}

// The host's own path of an entry, for making and reading content with the standard library.
fs::path HostPath(const AFile& file) {
    std::string text = Narrow(file.GetPath(false));
#if !defined(_WIN32)
    // The default drive table maps Z: to the host root.
    EXPECT_EQ(text.compare(0, 2, "Z:"), 0) << text;
    text.erase(0, 2);
    std::replace(text.begin(), text.end(), '\\', '/');
#endif
    return fs::path(text);
}

void Write(const AFile& file, const std::string& content) {
    std::ofstream out(HostPath(file), std::ios::binary);
    out << content;
}

// The content of a file, or "<dir>" or "<none>".
std::string Read(const AFile& file) {
    std::error_code error;
    const fs::path path = HostPath(file);
    if (fs::is_directory(path, error)) {
        return "<dir>";
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        return "<none>";
    }
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A fresh directory below base (the current directory by default), removed with all it holds
// on every way out.
class ScratchDir {
public:
    explicit ScratchDir(const APath& base = CorePathUtils::GetCurrentDir()) {
        fRoot.SetPath(base);
        fRoot.AppendName(AString(UniqueName().c_str()));
        fMade = fRoot.MakeDirectory(false, nullptr);
    }
    ~ScratchDir() {
        if (fMade) {
            std::error_code error;
            fs::remove_all(HostPath(fRoot), error);
        }
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    bool Made() const { return fMade; }
    const AFile& Root() const { return fRoot; }
    // The entry at relative (Windows notation) below the directory.
    AFile At(const std::string& relative) const {
        APath path = fRoot.GetPath();
        path.Append(APath(AString(relative.c_str()), APath::kWinPath));
        return AFile(path);
    }

private:
    AFile fRoot;
    bool fMade = false;
};

class CoreUtilsCopyTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(fScratch.Made()); }

    AFile At(const std::string& relative) const { return fScratch.At(relative); }
    // Makes a file with content, or a directory for content "<dir>".
    AFile Make(const std::string& relative, const std::string& content) {
        AFile file = At(relative);
        if (content == "<dir>") {
            EXPECT_TRUE(file.MakeDirectory(false, nullptr)) << relative;
        } else if (content != "<none>") {
            Write(file, content);
        }
        return file;
    }

    ScratchDir fScratch;
};

// ---- Copy and move ---------------------------------------------------------------------------

enum class Op { kCopy, kMove };

struct TransferRow {
    const char* name;
    Op op;
    const char* source; // content made before the call: text, "<dir>" or "<none>"
    const char* target;
    bool failIfExists;
    bool result;
    const char* sourceAfter;
    const char* targetAfter;
};

TEST_F(CoreUtilsCopyTest, CopyAndMoveTable) {
    const TransferRow rows[] = {
        {"copy to a new name", Op::kCopy, "src", "<none>", true, true, "src", "src"},
        {"copy replaces a file", Op::kCopy, "src", "old", false, true, "src", "src"},
        {"copy refuses a file", Op::kCopy, "src", "old", true, false, "src", "old"},
        {"copy refuses a directory", Op::kCopy, "src", "<dir>", true, false, "src", "<dir>"},
        {"copy onto a directory", Op::kCopy, "src", "<dir>", false, false, "src", "<dir>"},
        {"copy of a directory", Op::kCopy, "<dir>", "<none>", false, false, "<dir>", "<none>"},
        {"move to a new name", Op::kMove, "src", "<none>", true, true, "<none>", "src"},
        {"move replaces a file", Op::kMove, "src", "old", false, true, "<none>", "src"},
        {"move refuses a file", Op::kMove, "src", "old", true, false, "src", "old"},
        {"move of a directory", Op::kMove, "<dir>", "<none>", true, true, "<none>", "<dir>"},
        {"directory never replaces a directory", Op::kMove, "<dir>", "<dir>", false, false, "<dir>",
         "<dir>"},
        {"directory never replaces a file", Op::kMove, "<dir>", "old", false, false, "<dir>",
         "old"},
        {"move of nothing", Op::kMove, "<none>", "<none>", false, false, "<none>", "<none>"},
    };
    int index = 0;
    for (const TransferRow& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string number = std::to_string(index++);
        const AFile source = Make("s" + number, row.source);
        const AFile target = Make("t" + number, row.target);
        const bool result = row.op == Op::kCopy
                                ? CoreFileUtils::FileCopy(source, target, row.failIfExists)
                                : CoreFileUtils::FileMove(source, target, row.failIfExists);
        EXPECT_EQ(result, row.result);
        EXPECT_EQ(Read(source), row.sourceAfter);
        EXPECT_EQ(Read(target), row.targetAfter);
        // Neither value is changed: the source of a move goes on naming the old path.
        EXPECT_EQ(source, At("s" + number));
        EXPECT_EQ(target, At("t" + number));
    }
}

TEST_F(CoreUtilsCopyTest, DecidedBeforeThePlatform) {
    // Equal values need no entry; two empty AFiles are equal.
    EXPECT_TRUE(CoreFileUtils::CopyFileW(At("missing"), At("missing"), true));
    EXPECT_TRUE(CoreFileUtils::MoveFileW(AFile(), AFile(APath()), false));
    EXPECT_EQ(Read(At("missing")), "<none>");
    // A target with a reserved character is refused.
    const AFile source = Make("source", "src");
    AFile target = At("x");
    ASSERT_TRUE(target.SetName(AString("a<b")));
    EXPECT_FALSE(CoreFileUtils::CopyFileW(source, target, false));
    EXPECT_FALSE(CoreFileUtils::MoveFileW(source, target, false));
    EXPECT_EQ(Read(source), "src");
}

// Two hard links of one file are two entries: moving one onto the other leaves the file under the
// target's name alone.
TEST_F(CoreUtilsCopyTest, MoveOntoAHardLinkOfItself) {
    const AFile source = Make("one", "abc");
    const AFile target = At("two");
    std::error_code error;
    fs::create_hard_link(HostPath(source), HostPath(target), error);
    if (error) {
        GTEST_SKIP() << "no hard links here: " << error.message();
    }
    EXPECT_FALSE(CoreFileUtils::MoveFileW(source, target, true));
#if defined(_WIN32)
    GTEST_SKIP() << "Wine hands the rename to its host, where one hard link renamed onto another "
                    "stays as it was";
#endif
    EXPECT_TRUE(CoreFileUtils::MoveFileW(source, target, false));
    EXPECT_EQ(Read(source), "<none>");
    EXPECT_EQ(Read(target), "abc");
}

// A move to another file system copies and removes the source; the hosts differ here.
TEST_F(CoreUtilsCopyTest, MoveAcrossFileSystems) {
#if defined(_WIN32)
    GTEST_SKIP() << "needs two file systems at known places; Wine's drives usually share one";
#else
    std::error_code error;
    const auto shm = fs::space("/dev/shm", error);
    const auto here = fs::space(HostPath(fScratch.Root()), error);
    if (error || shm.capacity == here.capacity) {
        GTEST_SKIP()
            << "/dev/shm is missing or looks like the file system of the scratch directory";
    }
    ScratchDir other(APath(AString("Z:\\dev\\shm"), APath::kWinPath));
    ASSERT_TRUE(other.Made());

    const AFile source = other.At("file");
    Write(source, "src");
    const AFile target = At("moved");
    EXPECT_TRUE(CoreFileUtils::MoveFileW(source, target, true));
    EXPECT_EQ(Read(source), "<none>");
    EXPECT_EQ(Read(target), "src");

    // An existing file at the target is replaced, and nothing is left beside it.
    Write(source, "new");
    EXPECT_TRUE(CoreFileUtils::MoveFileW(source, target, false));
    EXPECT_EQ(Read(source), "<none>");
    EXPECT_EQ(Read(target), "new");
    EXPECT_EQ(
        std::distance(fs::directory_iterator(HostPath(fScratch.Root())), fs::directory_iterator()),
        1);
#endif
}

// ---- Rename ----------------------------------------------------------------------------------

struct RenameRow {
    const char* name;
    const char* entry; // what stands at "file.txt" before: text, "<dir>" or "<none>"
    std::string newName;
    bool result;
    const char* nameAfter; // GetNameStr of the AFile afterwards
};

TEST_F(CoreUtilsCopyTest, RenameTable) {
    const RenameRow rows[] = {
        {"current name, entry there", "abc", "file.txt", true, "file.txt"},
        {"current name, no entry", "<none>", "file.txt", true, "file.txt"},
        {"no entry takes any name", "<none>", "other.txt", true, "other.txt"},
        {"file renamed", "abc", "renamed.txt", true, "renamed.txt"},
        {"directory renamed", "<dir>", "renamed", true, "renamed"},
        {"letter case alone", "abc", "FILE.txt", true, "FILE.txt"},
        {"empty name", "abc", "", false, "file.txt"},
        {"name taken", "abc", "taken", false, "file.txt"},
        {"255 units", "abc", std::string(255, 'n'), true, nullptr},
        {"256 units", "abc", std::string(256, 'n'), false, "file.txt"},
        {"256 units, no entry", "<none>", std::string(256, 'n'), false, "file.txt"},
        {"separator", "abc", "a\\b", false, "file.txt"},
        {"reserved character", "abc", "a*b", false, "file.txt"},
        {"drive delimiter", "abc", "a:b", false, "file.txt"},
    };
    int index = 0;
    for (const RenameRow& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string directory = "r" + std::to_string(index++);
        ASSERT_TRUE(At(directory).MakeDirectory(false, nullptr));
        Make(directory + "\\taken", "other");
        const AFile original = Make(directory + "\\file.txt", row.entry);
        AFile file = original;
        EXPECT_EQ(CoreFileUtils::RenameFile(file, AString(row.newName.c_str())), row.result);
        const std::string nameAfter = row.nameAfter != nullptr ? row.nameAfter : row.newName;
        EXPECT_EQ(Narrow(file.GetNameStr()), nameAfter);
        EXPECT_EQ(Read(At(directory + "\\taken")), "other");
        if (std::string(row.entry) == "<none>") {
            EXPECT_EQ(Read(file), "<none>");
        } else if (nameAfter == "file.txt") {
            EXPECT_EQ(Read(original), row.entry) << "a refused rename touches nothing";
        } else {
            EXPECT_EQ(Read(file), row.entry);
        }
    }
}

// ---- Volumes ---------------------------------------------------------------------------------

struct VolumeRow {
    const char* path;
    const char* volume;
};

TEST(CoreUtilsVolumeTest, VolumeNamesAndSameVolume) {
    const VolumeRow rows[] = {
        {"C:\\a\\b", "C:"},
        {"C:b", "C:"},
        {"C:\\", "C:"},
        {"c:\\a", "c:"},
        {"D:\\a", "D:"},
        {"\\\\server\\share\\a", "\\\\server\\share"},
        {"\\\\server\\share", "\\\\server\\share"},
        {"\\\\Server\\share\\a", "\\\\Server\\share"},
        {"\\\\server\\other\\a", "\\\\server\\other"},
        {"a\\b", ""},
        {"", ""},
    };
    for (const VolumeRow& row : rows) {
        SCOPED_TRACE(row.path);
        const AFile file{AString(row.path)};
        EXPECT_EQ(Narrow(CoreFileUtils::GetVolumeName(file)), row.volume);
        // The same volume exactly when the names are equal, letter case included.
        for (const VolumeRow& other : rows) {
            EXPECT_EQ(CoreFileUtils::OnSameVolume(file, AFile(AString(other.path))),
                      std::string(row.volume) == other.volume)
                << other.path;
        }
    }
}

TEST(CoreUtilsVolumeTest, ServerVolumes) {
    EXPECT_TRUE(CoreFileUtils::OnServerVolume(AFile(AString("\\\\server\\share\\a.txt"))));
    EXPECT_FALSE(CoreFileUtils::OnServerVolume(AFile(CorePathUtils::GetCurrentDir())));
    EXPECT_FALSE(CoreFileUtils::OnServerVolume(AFile()));
#if defined(_WIN32)
    // A drive mapped to a share needs a network provider, which Wine doesn't offer to tests.
#else
    ScratchDir share;
    ASSERT_TRUE(share.Made());
    const std::string host = HostPath(share.Root()).string();
    ASSERT_TRUE(vorlan::zelk::posixhost::MapDrive('R', host.c_str(), "\\\\server\\share"));
    ASSERT_TRUE(vorlan::zelk::posixhost::MapDrive('L', host.c_str()));
    EXPECT_TRUE(CoreFileUtils::OnServerVolume(AFile(AString("R:\\a.txt"))));
    EXPECT_FALSE(CoreFileUtils::OnServerVolume(AFile(AString("L:\\a.txt"))));
    // The same share under its drive and its UNC name: two volume names.
    EXPECT_FALSE(CoreFileUtils::OnSameVolume(AFile(AString("R:\\a")),
                                             AFile(AString("\\\\server\\share\\a"))));
    EXPECT_TRUE(vorlan::zelk::posixhost::UnmapDrive('R'));
    EXPECT_TRUE(vorlan::zelk::posixhost::UnmapDrive('L'));
#endif
}

TEST_F(CoreUtilsCopyTest, FreeSpace) {
    const APath here = fScratch.Root().GetPath();
    EXPECT_GT(CoreFileUtils::GetFileFreeSpace(fScratch.Root()), 0u);
    // A file that doesn't exist yet asks about its directory.
    EXPECT_GT(CoreFileUtils::GetFileFreeSpace(At("future.txt")), 0u);
    // A drive's root, which then ends in two separators.
    EXPECT_GT(CoreFileUtils::GetFileFreeSpace(AFile(here.Subpath(0, 1))), 0u);
    // No path and one relative component: the root of the current drive.
    EXPECT_GT(CorePathUtils::GetPathFreeSpace(APath()), 0u);
    EXPECT_GT(CoreFileUtils::GetFileFreeSpace(AFile(AString("loose.txt"))), 0u);
    // A directory that doesn't exist answers 0.
    EXPECT_EQ(CorePathUtils::GetPathFreeSpace(At("missing\\x.txt").GetPath()), 0u);
}

// ---- Path equivalence ------------------------------------------------------------------------

struct EquivalenceRow {
    std::string first;
    std::string second;
    bool equivalent;
};

TEST(CoreUtilsEquivalenceTest, TextsWithoutEntries) {
    const std::string longName(300, 'x');
    const EquivalenceRow rows[] = {
        {"C:\\A\\b", "c:\\a\\B", true},
        {"C:\\a\\b", "C:\\a\\c", false},
        {"a\\b", "a\\.\\b", false},
        {"a\\b", "C:\\a\\b", false},
        {"\\\\Server\\Share\\x", "\\\\server\\share\\X", true},
        {"", "", true},
        {"", "a", false},
        // Long paths are compared without their prefix on both sides.
        {"C:\\" + longName, "c:\\" + std::string(300, 'X'), true},
    };
    for (const EquivalenceRow& row : rows) {
        SCOPED_TRACE(row.first.substr(0, 40) + " | " + row.second.substr(0, 40));
        const AFile first(AString(row.first.c_str()));
        const AFile second(AString(row.second.c_str()));
        EXPECT_EQ(CoreFileUtils::PathsEquivalent(first, second, false), row.equivalent);
        EXPECT_EQ(CoreFileUtils::PathsEquivalent(first, second, true), row.equivalent);
    }
}

// Sets a character-type locale for the test and puts the previous one back.
class LocaleScope {
public:
    explicit LocaleScope(const char* name) : fSaved(std::setlocale(LC_CTYPE, nullptr)) {
        fSet = std::setlocale(LC_CTYPE, name) != nullptr;
    }
    ~LocaleScope() { std::setlocale(LC_CTYPE, fSaved.c_str()); }
    LocaleScope(const LocaleScope&) = delete;
    LocaleScope& operator=(const LocaleScope&) = delete;
    bool Set() const { return fSet; }

private:
    std::string fSaved;
    bool fSet = false;
};

void* RefuseAllocation(unsigned long long) {
    throw std::bad_alloc();
}

TEST(CoreUtilsEquivalenceTest, UsersLocaleForTheCallAlone) {
    std::string user;
    {
        const LocaleScope probe("");
        user = std::setlocale(LC_CTYPE, nullptr);
    }
    const LocaleScope scope("C");
    ASSERT_TRUE(scope.Set());
    // "C" folds ASCII letters alone; any other user's locale folds A with diaeresis as well.
    const unsigned short upper[] = {'C', ':', '\\', 0xC4, 0};
    const unsigned short lower[] = {'c', ':', '\\', 0xE4, 0};
    const AFile first{AString(upper)};
    const AFile second{AString(lower)};
    if (user != "C" && user != "POSIX") {
        EXPECT_TRUE(CoreFileUtils::PathsEquivalent(first, second, false)) << user;
    }
    EXPECT_STREQ(std::setlocale(LC_CTYPE, nullptr), "C");

    // The scratch copies need memory: refused, the call ends by an exception.
    AAllocator::RegisterMemoryProcs(&RefuseAllocation, nullptr);
    bool threw = false;
    try {
        (void)CoreFileUtils::PathsEquivalent(first, second, true);
    } catch (const std::bad_alloc&) {
        threw = true;
    }
    AAllocator::RegisterMemoryProcs(nullptr, nullptr);
    EXPECT_TRUE(threw);
    EXPECT_STREQ(std::setlocale(LC_CTYPE, nullptr), "C");
}

// Makes a shell link at link to target through the object system, as a program would.
platform::HRESULT MakeLink(const AFile& link, const AFile& target) {
    platform::ScopedInterface<platform::IShellLinkW> shellLink;
    platform::ScopedInterface<platform::IPersistFile> file;
    platform::HRESULT result = platform::CoCreateInstance(
        platform::CLSID_ShellLink, nullptr, platform::CLSCTX_INPROC_SERVER,
        platform::IID_IShellLinkW, shellLink.Receive());
    const AString targetText = target.GetPath(false);
    const AString linkText = link.GetPath(false);
    if (platform::FAILED(result) ||
        platform::FAILED(result = shellLink->SetPath(targetText.GrabWString())) ||
        platform::FAILED(
            result = shellLink->QueryInterface(platform::IID_IPersistFile, file.Receive()))) {
        return result;
    }
    return file->Save(linkText.GrabWString(), 1);
}

TEST_F(CoreUtilsCopyTest, ShellLinks) {
    ASSERT_TRUE(
        platform::SUCCEEDED(platform::CoInitializeEx(nullptr, platform::COINIT_APARTMENTTHREADED)));
    AFile target = Make("target.txt", "abc");
    const AFile folder = Make("folder", "<dir>");
    AFile link = At("link.lnk");
    const AFile folderLink = At("folder.lnk");
    const AFile notALink = Make("text.lnk", "no link");
    EXPECT_EQ(MakeLink(link, target), platform::S_OK);
    EXPECT_EQ(MakeLink(folderLink, folder), platform::S_OK);
    // The working copies must not take the delete-on-destroy mark with them.
    link.DeleteOnDestroy(true);
    target.DeleteOnDestroy(true);

    EXPECT_FALSE(CoreFileUtils::PathsEquivalent(link, target, false));
    EXPECT_TRUE(CoreFileUtils::PathsEquivalent(link, target, true));
    EXPECT_TRUE(CoreFileUtils::PathsEquivalent(folder, folderLink, true));
    // Unreadable, a link is compared under its own path.
    EXPECT_TRUE(CoreFileUtils::PathsEquivalent(notALink, At("TEXT.lnk"), true));
    EXPECT_FALSE(CoreFileUtils::PathsEquivalent(notALink, target, true));

    EXPECT_GT(CoreFileUtils::GetFileFreeSpace(link), 0u);
    EXPECT_GT(CoreFileUtils::GetFileFreeSpace(folderLink), 0u);
    EXPECT_EQ(CoreFileUtils::GetFileFreeSpace(notALink), 0u);

    EXPECT_EQ(Read(target), "abc");
    EXPECT_EQ(Read(folder), "<dir>");
    link.DeleteOnDestroy(false);
    target.DeleteOnDestroy(false);
    platform::CoUninitialize();
}

} // namespace
