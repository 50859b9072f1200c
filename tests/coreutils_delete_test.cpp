// Tests of CoreFileUtils::DeleteDirectory: what goes, what stays, links, odd names, long paths.
#include <zelk/fileutils.h>

#include "testsupport.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#if defined(_WIN32)
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
#else
#include "platform/posix/hostfaults.h"

#include <cerrno>
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

using namespace vorlan::zelk;

namespace {

// Kind "d" directory or "f" file, with "r" read-only, "h" hidden and "s" for an entry that stays.
struct Entry {
    std::string kind;
    std::string path; // relative, Windows notation
};

class DeleteDirectoryTest : public zelktest::ScratchTest {
protected:
    // Makes a tree given as "kind:path" words, parents included; read-only last, so that nothing
    // is made inside a read-only directory.
    std::vector<Entry> MakeTree(const std::string& words) const {
        std::vector<Entry> entries;
        std::istringstream in(words);
        for (std::string word; in >> word;) {
            entries.push_back({word.substr(0, word.find(':')), word.substr(word.find(':') + 1)});
            const Entry& entry = entries.back();
            AFile file = At(entry.path);
            EXPECT_TRUE(entry.kind[0] == 'd' ? file.MakeDirectory(true, nullptr)
                                             : file.MakeFile(true, nullptr))
                << entry.path;
            if (entry.kind.find('h') != std::string::npos) {
                EXPECT_TRUE(file.SetAttribute(AFile::kIsHidden, true)) << entry.path;
            }
        }
        for (const Entry& entry : entries) {
            if (entry.kind.find('r') != std::string::npos) {
                EXPECT_TRUE(At(entry.path).SetAttribute(AFile::kIsReadOnly, true)) << entry.path;
            }
        }
        return entries;
    }
};

// Each row: a tree below "t", then "t" deleted; "t" stays when the result is false.
TEST_F(DeleteDirectoryTest, Trees) {
    const struct {
        const char* label;
        bool force;
        bool result;
        const char* tree;
    } rows[] = {
        {"empty directory", false, true, ""},
        {"hidden and dot names count like any other", false, true,
         "f:t\\.x f:t\\..a fh:t\\hid dh:t\\.d f:t\\.d\\...b"},
        {"read-only file without force: it and the directories holding it stay", false, false,
         "ds:t\\a\\b frs:t\\a\\b\\ro f:t\\a\\x f:t\\y f:t\\c\\z"},
        {"read-only directories at each level with force", true, true,
         "dr:t\\a dr:t\\a\\b fr:t\\a\\b\\c fh:t\\a\\h"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        ASSERT_TRUE(At("t").MakeDirectory(false, nullptr));
        const std::vector<Entry> entries = MakeTree(row.tree);
        EXPECT_EQ(CoreFileUtils::DeleteDirectory(At("t"), row.force), row.result);
        EXPECT_EQ(At("t").Exists(), !row.result);
        for (const Entry& entry : entries) {
            EXPECT_EQ(At(entry.path).Exists(), entry.kind.find('s') != std::string::npos)
                << entry.path;
        }
        if (At("t").Exists()) {
            ASSERT_TRUE(CoreFileUtils::DeleteDirectory(At("t"), true));
        }
    }
}

TEST_F(DeleteDirectoryTest, MissingEntryAndFileGiveFalse) {
    EXPECT_FALSE(CoreFileUtils::DeleteDirectory(At("missing"), true));
    MakeTree("fr:file");
    EXPECT_FALSE(CoreFileUtils::DeleteDirectory(At("file"), true));
    EXPECT_TRUE(At("file").GetAttribute(AFile::kIsReadOnly)) << "force must not touch a file";
}

TEST_F(DeleteDirectoryTest, DeepTreeBeyondTheShortPathLimit) {
    // 120 levels of 8-character names: over 1000 characters, far past 260.
    std::string leaf = "t";
    for (int i = 0; i < 120; ++i) {
        leaf += "\\level";
        leaf += std::to_string(100 + i);
    }
    MakeTree("d:" + leaf + " f:" + leaf + "\\deepest fr:t\\level100\\ro");
    EXPECT_FALSE(CoreFileUtils::DeleteDirectory(At("t"), false));
    EXPECT_FALSE(At(leaf + "\\deepest").Exists());
    EXPECT_TRUE(CoreFileUtils::DeleteDirectory(At("t"), true));
    EXPECT_FALSE(At("t").Exists());
}

// A directory link, made as the host makes them; false when the host can't.
bool MakeDirectoryLink(const AFile& link, const AFile& target) {
#if defined(_WIN32)
    const AString linkText = link.GetPath(true);
    const AString targetText = target.GetPath(true);
    constexpr DWORD kUnprivileged = 0x2;
    return ::CreateSymbolicLinkW(reinterpret_cast<const wchar_t*>(linkText.GrabWString()),
                                 reinterpret_cast<const wchar_t*>(targetText.GrabWString()),
                                 SYMBOLIC_LINK_FLAG_DIRECTORY | kUnprivileged) != 0;
#else
    return ::symlink(zelktest::HostPath(target).c_str(), zelktest::HostPath(link).c_str()) == 0;
#endif
}

TEST_F(DeleteDirectoryTest, LinksGoAloneAndTheirTargetsStayWhole) {
    MakeTree("d:t fr:outside\\keep f:outside\\sub\\keep");
    if (!MakeDirectoryLink(At("t\\link"), At("outside")) || !At("t\\link\\keep").Exists()) {
        GTEST_SKIP() << "this host makes no directory links that lead to their target";
    }
    EXPECT_TRUE(CoreFileUtils::DeleteDirectory(At("t"), true));
    EXPECT_FALSE(At("t").Exists());
    EXPECT_TRUE(At("outside\\sub\\keep").Exists());
    EXPECT_TRUE(At("outside\\keep").GetAttribute(AFile::kIsReadOnly));

    // The directory named is itself a link: the link goes, the target stays.
    ASSERT_TRUE(MakeDirectoryLink(At("named"), At("outside")));
    EXPECT_TRUE(CoreFileUtils::DeleteDirectory(At("named"), true));
    EXPECT_FALSE(At("named").Exists());
    EXPECT_TRUE(At("outside\\sub\\keep").Exists());
}

#if !defined(_WIN32)
// Only a POSIX host has names that aren't valid UTF-8, or that hold a backslash.
TEST_F(DeleteDirectoryTest, HostNamesOfAnyBytes) {
    MakeTree("d:t f:victim");
    const std::string tree = zelktest::HostPath(At("t")).string();
    ASSERT_EQ(::mkdir((tree + "/bad\xff\xfe").c_str(), 0777), 0);
    for (const char* name : {"/bad\xff\xfe/\xc3", "/\xed\xa0\x80x", "/\x80"}) {
        const int fd = ::open((tree + name).c_str(), O_CREAT | O_WRONLY, 0644);
        ASSERT_GE(fd, 0) << name;
        ::close(fd);
    }
    EXPECT_TRUE(CoreFileUtils::DeleteDirectory(At("t"), false));
    EXPECT_FALSE(At("t").Exists());

    // A backslash would make the name address something else, here a file beside the tree: the
    // entry stays, and so does the tree, but nothing outside it is touched.
    MakeTree("d:t");
    const int fd = ::open((tree + "/..\\victim").c_str(), O_CREAT | O_WRONLY, 0644);
    ASSERT_GE(fd, 0);
    ::close(fd);
    EXPECT_FALSE(CoreFileUtils::DeleteDirectory(At("t"), true));
    EXPECT_TRUE(At("victim").Exists());
    ASSERT_EQ(::unlink((tree + "/..\\victim").c_str()), 0);
}
#endif

// Past 260 units the platform is given the long-path form, which names the entry exactly: the
// plain form would lose the name's trailing dot on Windows and lead to the sibling without it.
TEST_F(DeleteDirectoryTest, LongPathsReachThePlatformInTheirLongForm) {
    std::string deep = "t";
    while (deep.size() < 300) {
        deep += "\\level";
    }
    MakeTree("d:" + deep + "\\victim f:" + deep + "\\victim\\keep");
    AFile dotted = At(deep + "\\victim.");
    ASSERT_GT(dotted.GetPath(false).UTF16Count(), 260u);
    ASSERT_TRUE(dotted.MakeDirectory(false, nullptr));
    ASSERT_TRUE(At(deep + "\\victim.\\inner").MakeFile(false, nullptr));
    EXPECT_TRUE(CoreFileUtils::DeleteDirectory(dotted, false));
    EXPECT_FALSE(dotted.Exists());
    EXPECT_TRUE(At(deep + "\\victim\\keep").Exists());
}

// A racing thread swaps a subdirectory for a link to a directory outside the tree and back, as
// fast as it can, while the tree is deleted. Whatever the walk meets, it never follows the link.
TEST_F(DeleteDirectoryTest, SwappedInLinksNeverLeadOutside) {
    MakeTree("f:outside\\keep d:outside\\sub f:outside\\sub\\keep");
    if (!MakeDirectoryLink(At("probe"), At("outside")) || !At("probe\\keep").Exists()) {
        GTEST_SKIP() << "this host makes no directory links that lead to their target";
    }
    namespace fs = std::filesystem;
    const fs::path swap = zelktest::HostPath(At("t\\swap"));
    const fs::path aside = zelktest::HostPath(At("t\\aside"));
    const fs::path link = zelktest::HostPath(At("t\\link"));
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    for (int round = 0; round < 20 && std::chrono::steady_clock::now() < deadline; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        std::string tree = "d:t d:t\\swap";
        for (int i = 0; i < 40; ++i) {
            tree += " f:t\\swap\\f" + std::to_string(i) + " f:t\\d" + std::to_string(i % 8) +
                    "\\f" + std::to_string(i);
        }
        MakeTree(tree);
        ASSERT_TRUE(MakeDirectoryLink(At("t\\link"), At("outside")));
        std::atomic<bool> done{false};
        std::thread racer([&] {
            while (!done.load()) {
                std::error_code ignored;
                fs::rename(swap, aside, ignored);
                fs::rename(link, swap, ignored);
                std::this_thread::yield();
                fs::rename(swap, link, ignored);
                fs::rename(aside, swap, ignored);
            }
        });
        (void)CoreFileUtils::DeleteDirectory(At("t"), round % 2 == 0);
        done = true;
        racer.join();
        for (const char* kept : {"outside\\keep", "outside\\sub", "outside\\sub\\keep"}) {
            ASSERT_TRUE(At(kept).Exists()) << kept;
        }
        std::error_code ignored;
        fs::remove_all(zelktest::HostPath(At("t")), ignored);
    }
}

// A failed forced deletion leaves every surviving entry with the attributes it had: they are
// cleared only just before an entry's own removal.
TEST_F(DeleteDirectoryTest, WhatSurvivesAForcedDeletionKeepsItsAttributes) {
    MakeTree("d:t dr:t\\ro dh:t\\ro\\hid f:t\\ro\\hid\\x fr:t\\ro\\y f:t\\z");
#if defined(_WIN32)
    // Wine keeps no read-only attribute on a directory; Windows does.
    const bool readOnlyDirectories = At("t\\ro").GetAttribute(AFile::kIsReadOnly);
    // Held open without the delete share, x can't go.
    std::FILE* held = ::_wfopen(
        reinterpret_cast<const wchar_t*>(At("t\\ro\\hid\\x").GetPath(true).GrabWString()), L"rb");
    ASSERT_NE(held, nullptr);
#else
    const bool readOnlyDirectories = true;
    // The host refuses to remove the first directory, which is hid.
    vorlan::zelk::platform::host::FailHostCall(
        vorlan::zelk::platform::host::HostCall::kRemoveDirectory, EIO);
#endif
    EXPECT_FALSE(CoreFileUtils::DeleteDirectory(At("t"), true));
#if defined(_WIN32)
    std::fclose(held);
#else
    vorlan::zelk::platform::host::ClearHostFaults();
#endif
    EXPECT_EQ(At("t\\ro").GetAttribute(AFile::kIsReadOnly), readOnlyDirectories);
    EXPECT_TRUE(At("t\\ro\\hid").GetAttribute(AFile::kIsHidden));
    EXPECT_FALSE(At("t\\ro\\y").Exists());
    EXPECT_FALSE(At("t\\z").Exists());
    EXPECT_TRUE(CoreFileUtils::DeleteDirectory(At("t"), true));
}

#if !defined(_WIN32)
// What the Windows build can't show under Wine: the failing host calls come from the POSIX face's
// seam; Windows' limit is the library's own 32767 units, which the prefixed form reaches; and a
// Windows program makes no mount (Wine 8 makes no junctions either).

// Each failure of the host on the way: the entry it hits stays, and so do the directories that
// hold it, and nothing else does. Order of the calls on t\d\b: open t, list t, open d, list d,
// unlink b, list d to its end, remove d, list t to its end, remove t.
TEST_F(DeleteDirectoryTest, HostFailuresOnTheWay) {
    using vorlan::zelk::platform::host::HostCall;
    const struct {
        const char* what;
        HostCall call;
        unsigned count;
        int error;
        const char* stays; // the innermost entry that stays
    } rows[] = {
        {"the named directory can't be opened", HostCall::kOpen, 1, EACCES, "t\\d\\b"},
        {"a subdirectory can't be opened", HostCall::kOpen, 2, EACCES, "t\\d\\b"},
        {"the named directory can't be listed", HostCall::kList, 1, EIO, "t\\d\\b"},
        {"a subdirectory can't be listed", HostCall::kList, 2, EIO, "t\\d\\b"},
        {"a listing breaks off at its end", HostCall::kList, 3, EIO, "t\\d"},
        {"a file can't be removed", HostCall::kUnlink, 1, EIO, "t\\d\\b"},
        {"a subdirectory can't be removed", HostCall::kRemoveDirectory, 1, EBUSY, "t\\d"},
        {"the named directory can't be removed", HostCall::kRemoveDirectory, 2, ENOSPC, "t"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        MakeTree("d:t\\d f:t\\d\\b");
        vorlan::zelk::platform::host::FailHostCall(row.call, row.error, row.count);
        EXPECT_FALSE(CoreFileUtils::DeleteDirectory(At("t"), false));
        vorlan::zelk::platform::host::ClearHostFaults();
        for (const char* entry : {"t", "t\\d", "t\\d\\b"}) {
            EXPECT_EQ(At(entry).Exists(), std::string(row.stays).find(entry) == 0) << entry;
        }
        ASSERT_TRUE(CoreFileUtils::DeleteDirectory(At("t"), false));
    }
}

// 400 levels of 10-character names: about 4400 bytes below the scratch directory, past the 4096
// that one host call takes and well within the library's 32767 units. Made level by level.
TEST_F(DeleteDirectoryTest, TreePastTheHostsPathLimit) {
    MakeTree("d:t f:t\\top");
    int fd = ::open(zelktest::HostPath(At("t")).c_str(), O_RDONLY | O_DIRECTORY);
    ASSERT_GE(fd, 0);
    for (int level = 0; level < 400 && fd >= 0; ++level) {
        const std::string name = "lvl" + std::to_string(1000000 + level);
        ASSERT_EQ(::mkdirat(fd, name.c_str(), 0777), 0) << level;
        const int file = ::openat(fd, "file", O_CREAT | O_WRONLY, level == 399 ? 0444 : 0644);
        ASSERT_GE(file, 0);
        ::close(file);
        const int next = ::openat(fd, name.c_str(), O_RDONLY | O_DIRECTORY);
        ::close(fd);
        fd = next;
    }
    ASSERT_GE(fd, 0);
    ::close(fd);
    // The read-only file at the bottom stays without force, with every directory above it.
    EXPECT_FALSE(CoreFileUtils::DeleteDirectory(At("t"), false));
    EXPECT_FALSE(At("t\\top").Exists());
    EXPECT_TRUE(At("t\\lvl1000000").Exists());
    EXPECT_TRUE(CoreFileUtils::DeleteDirectory(At("t"), true));
    EXPECT_FALSE(At("t").Exists());
}

// ---- Mount points inside the tree ----

// Exit codes of the child that works in a mount namespace of its own.
constexpr int kNoNamespace = 77;
constexpr int kDeletedAll = 1;  // DeleteDirectory said true
constexpr int kMountLost = 2;   // an entry of the mounted file system went
constexpr int kMountFailed = 4; // the mount could not be made

bool WriteFile(const char* path, const std::string& text) {
    const int fd = ::open(path, O_WRONLY);
    const bool written =
        fd >= 0 && ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    if (fd >= 0) {
        ::close(fd);
    }
    return written;
}

// A mount namespace of the process's own: as root directly, otherwise inside a user namespace
// that maps the caller to its root. Mounts made there vanish with the process.
bool EnterMountNamespace() {
    const uid_t uid = ::geteuid();
    const gid_t gid = ::getegid();
    if (::unshare(CLONE_NEWNS) != 0) {
        if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
            return false;
        }
        (void)WriteFile("/proc/self/setgroups", "deny");
        if (!WriteFile("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1") ||
            !WriteFile("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1")) {
            return false;
        }
    }
    return ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

// Runs body in a child process with a mount namespace of its own; its exit code, or kNoNamespace.
template <typename Body> int InMountNamespace(Body body) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(EnterMountNamespace() ? body() : kNoNamespace);
    }
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child || !WIFEXITED(status)) {
        return 255;
    }
    return WEXITSTATUS(status);
}

// A mount inside the tree is a mount-point reparse point: never entered, never emptied, and,
// since it can't be unmounted, it stays with the directories that hold it.
TEST_F(DeleteDirectoryTest, MountPointsInsideTheTreeAreNeverEntered) {
    const struct {
        const char* what;
        bool bind;         // a bind mount of outside, else a tmpfs of its own
        const char* named; // the directory deleted
    } rows[] = {
        {"bind mount of a directory of the same file system", true, "t"},
        {"a file system of its own", false, "t"},
        {"the mount point named itself", true, "t\\d\\mnt"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        MakeTree(
            "d:t f:t\\a d:t\\d\\mnt f:t\\d\\b f:outside\\keep d:outside\\sub f:outside\\sub\\x");
        const std::string mountPoint = zelktest::HostPath(At("t\\d\\mnt")).string();
        const std::string outside = zelktest::HostPath(At("outside")).string();
        const AFile named = At(row.named);
        const int code = InMountNamespace([&] {
            const bool mounted =
                row.bind
                    ? ::mount(outside.c_str(), mountPoint.c_str(), nullptr, MS_BIND, nullptr) == 0
                    : ::mount("tmpfs", mountPoint.c_str(), "tmpfs", 0, nullptr) == 0;
            if (!mounted) {
                return kMountFailed;
            }
            const std::string inside = mountPoint + (row.bind ? "/keep" : "/own");
            if (!row.bind) {
                const int fd = ::open(inside.c_str(), O_CREAT | O_WRONLY, 0644);
                ::close(fd);
            }
            int result = CoreFileUtils::DeleteDirectory(named, true) ? kDeletedAll : 0;
            struct stat info {};
            if (::stat(inside.c_str(), &info) != 0) {
                result |= kMountLost;
            }
            return result;
        });
        if (code == kNoNamespace || code == kMountFailed) {
            GTEST_SKIP() << "this process may make neither a mount namespace nor a user namespace "
                            "with a mount in it";
        }
        EXPECT_EQ(code, 0) << "1: deletion said it finished, 2: the mount lost an entry";
        for (const char* kept : {"outside\\keep", "outside\\sub\\x", "t\\d\\mnt"}) {
            EXPECT_TRUE(At(kept).Exists()) << kept;
        }
        // Beside the mount point everything went, when the tree was named.
        EXPECT_EQ(At("t\\a").Exists(), std::string(row.named) != "t");
        ASSERT_TRUE(CoreFileUtils::DeleteDirectory(At("t"), true));
        ASSERT_TRUE(CoreFileUtils::DeleteDirectory(At("outside"), true));
    }
}
#endif

} // namespace
