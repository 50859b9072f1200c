// Tests of CoreFileUtils::DeleteDirectory: what goes, what stays, links, odd names, long paths.
#include <zelk/fileutils.h>

#include "testsupport.h"

#include <sstream>
#include <string>
#include <vector>

#if defined(_WIN32)
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/stat.h>
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

} // namespace
