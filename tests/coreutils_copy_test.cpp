// Tests of CoreFileUtils copy, move and rename, the volume questions and path equivalence.
#include <zelk/fileutils.h>

#include "testsupport.h"

#include <algorithm>
#include <clocale>
#include <new>
#include <string>
#include <vector>

#if !defined(_WIN32)
#include <zelk/posixhost.h>

#include "platform/posix/hostfaults.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

using namespace vorlan::zelk;
using namespace zelktest;

namespace fs = std::filesystem;

namespace {

using CoreUtilsCopyTest = zelktest::ScratchTest;

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
    }
}

TEST_F(CoreUtilsCopyTest, DecidedBeforeThePlatform) {
    // Equal values need no entry.
    EXPECT_TRUE(CoreFileUtils::CopyFileW(At("missing"), At("missing"), true));
    EXPECT_EQ(Read(At("missing")), "<none>");
    // A target with a reserved character is refused.
    const AFile source = Make("source", "src");
    AFile target = At("x");
    ASSERT_TRUE(target.SetName(AString("a<b")));
    EXPECT_FALSE(CoreFileUtils::CopyFileW(source, target, false));
    EXPECT_FALSE(CoreFileUtils::MoveFileW(source, target, false));
    EXPECT_EQ(Read(source), "src");
}

// Moving one hard link onto another of the same file leaves the file under the target's name.
TEST_F(CoreUtilsCopyTest, MoveOntoAHardLinkOfItself) {
    const AFile source = Make("one", "abc");
    const AFile target = At("two");
    std::error_code error;
    fs::create_hard_link(HostPath(source), HostPath(target), error);
    if (error) {
        GTEST_SKIP() << "no hard links here: " << error.message();
    }
#if defined(_WIN32)
    GTEST_SKIP() << "Wine hands the rename to its host, where one hard link renamed onto another "
                    "stays as it was";
#endif
    EXPECT_TRUE(CoreFileUtils::MoveFileW(source, target, false));
    EXPECT_EQ(Read(source), "<none>");
    EXPECT_EQ(Read(target), "abc");
}

#if !defined(_WIN32)
// A move across file systems, leaving nothing beside the target (Wine's drives share one).
TEST_F(CoreUtilsCopyTest, MoveAcrossFileSystems) {
    std::error_code error;
    if (fs::space("/dev/shm", error).capacity == fs::space(HostPath(Root())).capacity || error) {
        GTEST_SKIP() << "/dev/shm is missing or looks like the scratch directory's file system";
    }
    const zelktest::ScratchDir other(zelktest::WinPath("Z:\\dev\\shm"));
    ASSERT_TRUE(other.Made());
    const AFile target = At("moved");
    for (const char* content : {"src", "new"}) {
        const AFile source = other.Make("file", content);
        EXPECT_TRUE(CoreFileUtils::MoveFileW(source, target, content == std::string("src")));
        EXPECT_EQ(Read(source), "<none>");
        EXPECT_EQ(Read(target), content);
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(HostPath(Root())), {}), 1);
}
#endif

#if !defined(_WIN32)
// ---- Copies that never destroy the target ----
// (On Windows copying is the system's own, and neither a file-size limit nor a failing host call
// can be set from here.)

// The names in a directory, sorted: anything a copy left behind shows here.
std::vector<std::string> Names(const AFile& directory) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(HostPath(directory))) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

// A copy that the host stops half way, in a child process whose file-size limit is below the
// source's size: the copy fails, or the process dies in the middle of it. Either way the target
// keeps its old content byte for byte and nothing stays beside it.
TEST_F(CoreUtilsCopyTest, ACopyStoppedHalfWayLeavesTheTargetAsItWas) {
    std::string content(1 << 20, '\0');
    for (std::size_t i = 0; i < content.size(); ++i) {
        content[i] = static_cast<char>((i * 2654435761u) >> 24);
    }
    const AFile source = Make("source", content);
    const std::string old = "old content\n";
    const AFile target = Make("target", old);
    // A process that dies leaves nothing behind where the copy has no name until it is whole,
    // which takes a file system that makes files without names.
    const int nameless = ::open(HostPath(Root()).c_str(), O_TMPFILE | O_WRONLY, 0600);
    if (nameless >= 0) {
        ::close(nameless);
    }
    for (const bool dies : {false, true}) {
        SCOPED_TRACE(dies ? "the process dies" : "the copy fails");
        if (dies && nameless < 0) {
            continue;
        }
        const pid_t child = ::fork();
        if (child == 0) {
            const struct rlimit limit = {65536, 65536};
            ::setrlimit(RLIMIT_FSIZE, &limit);
            if (!dies) {
                std::signal(SIGXFSZ, SIG_IGN);
            }
            ::_exit(CoreFileUtils::FileCopy(source, target, false) ? 1 : 0);
        }
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        if (dies) {
            EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGXFSZ) << status;
        } else {
            EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the copy succeeded";
        }
        EXPECT_TRUE(Read(target) == old) << "the target changed";
        EXPECT_TRUE(Read(source) == content) << "the source changed";
        EXPECT_EQ(Names(Root()), (std::vector<std::string>{"source", "target"}));
    }
    // Without the limit the same copy goes through.
    EXPECT_TRUE(CoreFileUtils::FileCopy(source, target, false));
    EXPECT_TRUE(Read(target) == content);
}

// Each way the host can fail a copy, a move (across file systems, where the first rename says
// so), a creation or a rename: the result is false, the source and an existing target are as
// they were, and nothing is left beside them. A fallback that works gives the whole copy.
TEST_F(CoreUtilsCopyTest, EveryHostFailureLeavesThingsAsTheyWere) {
    using vorlan::zelk::platform::host::HostCall;
    enum class Action { kCopy, kMove, kMakeFile, kMakeDirectory, kMakeParents, kRename };
    struct Fault {
        HostCall call;
        unsigned count;
        int error;
    };
    const struct {
        const char* what;
        Action action;
        std::vector<Fault> faults;
        bool result;
        unsigned long code = 0; // of a creation
    } rows[] = {
        {"copy: the source can't be opened", Action::kCopy, {{HostCall::kOpen, 1, EACCES}}, false},
        {"copy: no room for the copy", Action::kCopy, {{HostCall::kCreate, 1, ENOSPC}}, false},
        {"copy: the kernel's copy fails at once",
         Action::kCopy,
         {{HostCall::kWrite, 1, ENOSPC}},
         false},
        {"copy: the kernel's copy fails at the end",
         Action::kCopy,
         {{HostCall::kWrite, 2, EIO}},
         false},
        {"copy: no kernel copy, so read and write",
         Action::kCopy,
         {{HostCall::kWrite, 1, EXDEV}},
         true},
        {"copy: reading fails",
         Action::kCopy,
         {{HostCall::kWrite, 1, EXDEV}, {HostCall::kRead, 1, EIO}},
         false},
        {"copy: writing fails",
         Action::kCopy,
         {{HostCall::kWrite, 1, EXDEV}, {HostCall::kWrite, 2, ENOSPC}},
         false},
        {"copy: the times can't be set", Action::kCopy, {{HostCall::kSetTimes, 1, EPERM}}, false},
        {"copy: the permissions can't be set",
         Action::kCopy,
         {{HostCall::kChangeMode, 1, EPERM}},
         false},
        {"copy: the copy can't be named", Action::kCopy, {{HostCall::kLink, 1, ENOSPC}}, false},
        {"copy: the copy can't take the target's name",
         Action::kCopy,
         {{HostCall::kRename, 1, EIO}},
         false},
        {"copy: no nameless files, so a hidden name",
         Action::kCopy,
         {{HostCall::kCreate, 1, EOPNOTSUPP}},
         true},
        {"copy: the hidden copy can't take the target's name",
         Action::kCopy,
         {{HostCall::kCreate, 1, EOPNOTSUPP}, {HostCall::kRename, 1, EIO}},
         false},
        {"move: across file systems", Action::kMove, {{HostCall::kRename, 1, EXDEV}}, true},
        {"move across: no room",
         Action::kMove,
         {{HostCall::kRename, 1, EXDEV}, {HostCall::kCreate, 1, ENOSPC}},
         false},
        {"move across: the copy can't reach the disk",
         Action::kMove,
         {{HostCall::kRename, 1, EXDEV}, {HostCall::kSync, 1, EIO}},
         false},
        {"move across: the target can't be set aside",
         Action::kMove,
         {{HostCall::kRename, 1, EXDEV}, {HostCall::kRename, 2, EACCES}},
         false},
        {"move across: the copy can't take the target's name",
         Action::kMove,
         {{HostCall::kRename, 1, EXDEV}, {HostCall::kRename, 3, EIO}},
         false},
        {"move across: the source can't be removed",
         Action::kMove,
         {{HostCall::kRename, 1, EXDEV}, {HostCall::kUnlink, 1, EACCES}},
         false},
        {"move: the rename fails", Action::kMove, {{HostCall::kRename, 1, EACCES}}, false},
        {"rename: refused", Action::kRename, {{HostCall::kRename, 1, EACCES}}, false},
        {"make a file: no room", Action::kMakeFile, {{HostCall::kCreate, 1, ENOSPC}}, false, 112},
        {"make a directory: refused",
         Action::kMakeDirectory,
         {{HostCall::kMakeDirectory, 1, EACCES}},
         false,
         5},
        {"make parents: the first can't be made",
         Action::kMakeParents,
         {{HostCall::kMakeDirectory, 1, ENOSPC}},
         false,
         112},
        {"make parents: the second fails",
         Action::kMakeParents,
         {{HostCall::kMakeDirectory, 2, EIO}},
         false,
         1117},
    };
    namespace host = vorlan::zelk::platform::host;
    int index = 0;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        const std::string directory = "r" + std::to_string(index++);
        const AFile place = Make(directory, "<dir>");
        AFile source = Make(directory + "\\source", "src");
        const AFile target = Make(directory + "\\target", "old");
        AFile made = At(directory + "\\p1\\p2\\made");
        for (const Fault& fault : row.faults) {
            host::FailHostCall(fault.call, fault.error, fault.count);
        }
        unsigned long code = 0;
        bool result = false;
        switch (row.action) {
        case Action::kCopy:
            result = CoreFileUtils::FileCopy(source, target, false);
            break;
        case Action::kMove:
            result = CoreFileUtils::FileMove(source, target, false);
            break;
        case Action::kRename:
            result = CoreFileUtils::RenameFile(source, AString("renamed"));
            break;
        case Action::kMakeFile:
            made = At(directory + "\\made");
            result = made.MakeFile(false, &code);
            break;
        case Action::kMakeDirectory:
            made = At(directory + "\\made");
            result = made.MakeDirectory(false, &code);
            break;
        case Action::kMakeParents:
            result = made.MakeFile(true, &code);
            break;
        }
        host::ClearHostFaults();
        EXPECT_EQ(result, row.result);
        EXPECT_EQ(code, row.code);
        std::vector<std::string> names = {"source", "target"};
        if (!row.result) {
            EXPECT_EQ(Read(source), "src");
            EXPECT_EQ(Read(target), "old");
            if (row.action == Action::kMakeParents && row.code == 1117) {
                names.insert(names.begin(), "p1"); // made before the failure, and it stays
            }
        } else {
            EXPECT_EQ(Read(target), "src");
            EXPECT_EQ(Read(source), row.action == Action::kMove ? "<none>" : "src");
            if (row.action == Action::kMove) {
                names = {"target"};
            }
        }
        EXPECT_EQ(Names(place), names);
        EXPECT_FALSE(made.Exists());
    }
}
#endif

struct RenameRow {
    const char* name;
    const char* entry; // what stands at "file.txt" before: text, "<dir>" or "<none>"
    std::string newName;
    bool result;
    const char* nameAfter; // GetNameStr of the AFile afterwards, null for newName
};

TEST_F(CoreUtilsCopyTest, RenameTable) {
    const RenameRow rows[] = {
        {"current name, entry there", "abc", "file.txt", true, "file.txt"},
        {"no entry takes any name", "<none>", "other.txt", true, "other.txt"},
        {"file renamed", "abc", "renamed.txt", true, "renamed.txt"},
        {"letter case alone", "abc", "FILE.txt", true, "FILE.txt"},
        {"empty name", "abc", "", false, "file.txt"},
        {"name taken", "abc", "taken", false, "file.txt"},
        {"255 units", "abc", std::string(255, 'n'), true, nullptr},
        {"256 units", "abc", std::string(256, 'n'), false, "file.txt"},
        {"256 units, no entry", "<none>", std::string(256, 'n'), false, "file.txt"},
        {"separator", "abc", "a\\b", false, "file.txt"},
        {"reserved character", "abc", "a*b", false, "file.txt"},
    };
    int index = 0;
    for (const RenameRow& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string directory = "r" + std::to_string(index++);
        Make(directory, "<dir>");
        Make(directory + "\\taken", "other");
        const AFile original = Make(directory + "\\file.txt", row.entry);
        AFile file = original;
        EXPECT_EQ(CoreFileUtils::RenameFile(file, AString(row.newName.c_str())), row.result);
        const std::string nameAfter = row.nameAfter != nullptr ? row.nameAfter : row.newName;
        EXPECT_EQ(Narrow(file.GetNameStr()), nameAfter);
        EXPECT_EQ(Read(At(directory + "\\taken")), "other");
        // The entry is found under the name the AFile holds now; a refused rename touches nothing.
        EXPECT_EQ(Read(file), row.entry);
    }
}

TEST(CoreUtilsVolumeTest, VolumeNamesSameAndServerVolumes) {
    const struct {
        const char* path;
        const char* volume;
    } rows[] = {
        {"C:\\a\\b", "C:"},
        {"C:b", "C:"},
        {"c:\\a", "c:"},
        {"\\\\server\\share\\a", "\\\\server\\share"},
        {"\\\\Server\\share\\a", "\\\\Server\\share"},
        {"\\\\server\\other\\a", "\\\\server\\other"},
        {"a\\b", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        const AFile file{AString(row.path)};
        EXPECT_EQ(Narrow(CoreFileUtils::GetVolumeName(file)), row.volume);
        // The same volume exactly when the names are equal, letter case included.
        for (const auto& other : rows) {
            EXPECT_EQ(CoreFileUtils::OnSameVolume(file, AFile(AString(other.path))),
                      std::string(row.volume) == other.volume)
                << other.path;
        }
    }
    EXPECT_TRUE(CoreFileUtils::OnServerVolume(AFile(AString("\\\\server\\share\\a.txt"))));
    EXPECT_FALSE(CoreFileUtils::OnServerVolume(AFile(CorePathUtils::GetCurrentDir())));
#if !defined(_WIN32)
    // A drive mapped to a share needs a network provider, which Wine doesn't offer to tests.
    const zelktest::ScratchDir share;
    ASSERT_TRUE(share.Made());
    const std::string host = HostPath(share.Root()).string();
    ASSERT_TRUE(posixhost::MapDrive('R', host.c_str(), "\\\\server\\share"));
    EXPECT_TRUE(CoreFileUtils::OnServerVolume(AFile(AString("R:\\a.txt"))));
    EXPECT_TRUE(posixhost::UnmapDrive('R'));
#endif
}

TEST_F(CoreUtilsCopyTest, FreeSpace) {
    EXPECT_GT(CoreFileUtils::GetFileFreeSpace(Root()), 0u);
    // A file that doesn't exist yet asks about its directory.
    EXPECT_GT(CoreFileUtils::GetFileFreeSpace(At("future.txt")), 0u);
    // A drive's root, which then ends in two separators.
    EXPECT_GT(CoreFileUtils::GetFileFreeSpace(AFile(Root().GetPath().Subpath(0, 1))), 0u);
    // No path: the root of the current drive.
    EXPECT_GT(CorePathUtils::GetPathFreeSpace(APath()), 0u);
    // A directory that doesn't exist answers 0.
    EXPECT_EQ(CorePathUtils::GetPathFreeSpace(At("missing\\x.txt").GetPath()), 0u);
}

TEST(CoreUtilsEquivalenceTest, TextsWithoutEntries) {
    const struct {
        std::string first;
        std::string second;
        bool equivalent;
    } rows[] = {
        {"C:\\A\\b", "c:\\a\\B", true},
        {"a\\b", "a\\.\\b", false},
        {"", "", true},
        // Long paths are compared without their prefix on both sides.
        {"C:\\" + std::string(300, 'x'), "c:\\" + std::string(300, 'X'), true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.first.substr(0, 40) + " | " + row.second.substr(0, 40));
        const AFile first(AString(row.first.c_str()));
        const AFile second(AString(row.second.c_str()));
        EXPECT_EQ(CoreFileUtils::PathsEquivalent(first, second, false), row.equivalent);
        EXPECT_EQ(CoreFileUtils::PathsEquivalent(first, second, true), row.equivalent);
    }
}

void* RefuseAllocation(unsigned long long) {
    throw std::bad_alloc();
}

// The user's locale folds letter case for the call alone, put back even on an exception.
TEST(CoreUtilsEquivalenceTest, UsersLocaleForTheCallAlone) {
    const std::string saved = std::setlocale(LC_CTYPE, nullptr);
    const char* userLocale = std::setlocale(LC_CTYPE, "");
    const std::string user = userLocale != nullptr ? userLocale : "C";
    ASSERT_NE(std::setlocale(LC_CTYPE, "C"), nullptr);
    // "C" folds ASCII letters alone; any other user's locale folds A with diaeresis as well.
    const unsigned short upper[] = {'C', ':', '\\', 0xC4, 0};
    const unsigned short lower[] = {'c', ':', '\\', 0xE4, 0};
    const AFile first{AString(upper)};
    const AFile second{AString(lower)};
    if (user != "C" && user != "POSIX") {
        EXPECT_TRUE(CoreFileUtils::PathsEquivalent(first, second, false)) << user;
    }
    EXPECT_STREQ(std::setlocale(LC_CTYPE, nullptr), "C");

    AAllocator::RegisterMemoryProcs(&RefuseAllocation, nullptr);
    EXPECT_THROW((void)CoreFileUtils::PathsEquivalent(first, second, true), std::bad_alloc);
    AAllocator::RegisterMemoryProcs(nullptr, nullptr);
    EXPECT_STREQ(std::setlocale(LC_CTYPE, nullptr), "C");
    std::setlocale(LC_CTYPE, saved.c_str());
}

} // namespace
