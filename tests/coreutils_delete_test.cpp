// Tests of CoreFileUtils::DeleteDirectory: what goes, what stays, links left whole, odd names and
// long paths.
#include <zelk/afile.h>
#include <zelk/apath.h>
#include <zelk/astring.h>
#include <zelk/astring8.h>
#include <zelk/fileutils.h>

#include <gtest/gtest.h>

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

using vorlan::zelk::AFile;
using vorlan::zelk::APath;
using vorlan::zelk::AString;
using vorlan::zelk::AString8;
using vorlan::zelk::CoreFileUtils;

namespace {

// One entry of a tree: "d" directory or "f" file, with "r" for read-only and "h" for hidden.
struct Entry {
    const char* kind;
    const char* path; // relative, Windows notation
};

class DeleteDirectoryTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(CoreFileUtils::CreateUniqueTempDir(AString("zelk-del"), AString(), fScratch));
    }
    void TearDown() override { EXPECT_TRUE(CoreFileUtils::DeleteDirectory(fScratch, true)); }

    AFile At(const char* relative) const {
        APath path = fScratch.GetPath();
        path.Append(APath(AString(relative), APath::kWinPath));
        return AFile(path);
    }

    void Make(const std::vector<Entry>& entries) {
        for (const Entry& entry : entries) {
            AFile file = At(entry.path);
            const std::string kind = entry.kind;
            ASSERT_TRUE(kind[0] == 'd' ? file.MakeDirectory(true, nullptr)
                                       : file.MakeFile(true, nullptr))
                << entry.path;
            if (kind.find('h') != std::string::npos) {
                ASSERT_TRUE(file.SetAttribute(AFile::kIsHidden, true)) << entry.path;
            }
        }
        // Read-only last, so that nothing is made inside a read-only directory.
        for (const Entry& entry : entries) {
            if (std::string(entry.kind).find('r') != std::string::npos) {
                ASSERT_TRUE(At(entry.path).SetAttribute(AFile::kIsReadOnly, true)) << entry.path;
            }
        }
    }

    AFile fScratch;
};

struct TreeRow {
    const char* label;
    std::vector<Entry> entries; // below "t", the directory deleted
    bool force;
    bool result;
    std::vector<const char*> survivors; // what stays of the entries; "t" stays when result is false
};

const TreeRow kTreeRows[] = {
    {"empty directory", {}, false, true, {}},
    {"hidden and dot names count like any other",
     {{"f", "t\\.x"}, {"f", "t\\..a"}, {"fh", "t\\hid"}, {"dh", "t\\.d"}, {"f", "t\\.d\\...b"}},
     false,
     true,
     {}},
    {"read-only file without force: it and the directories holding it stay",
     {{"d", "t\\a\\b"}, {"fr", "t\\a\\b\\ro"}, {"f", "t\\a\\x"}, {"f", "t\\y"}, {"f", "t\\c\\z"}},
     false,
     false,
     {"t\\a", "t\\a\\b", "t\\a\\b\\ro"}},
    {"read-only file with force",
     {{"d", "t\\a\\b"}, {"fr", "t\\a\\b\\ro"}, {"f", "t\\a\\x"}, {"f", "t\\y"}},
     true,
     true,
     {}},
    {"read-only directories at each level with force",
     {{"dr", "t\\a"}, {"dr", "t\\a\\b"}, {"fr", "t\\a\\b\\c"}, {"fh", "t\\a\\h"}},
     true,
     true,
     {}},
};

TEST_F(DeleteDirectoryTest, Trees) {
    for (const TreeRow& row : kTreeRows) {
        SCOPED_TRACE(row.label);
        ASSERT_TRUE(At("t").MakeDirectory(false, nullptr));
        Make(row.entries);
        EXPECT_EQ(CoreFileUtils::DeleteDirectory(At("t"), row.force), row.result);
        EXPECT_EQ(At("t").Exists(), !row.result);
        for (const Entry& entry : row.entries) {
            bool survives = false;
            for (const char* survivor : row.survivors) {
                survives = survives || std::string(survivor) == entry.path;
            }
            EXPECT_EQ(At(entry.path).Exists(), survives) << entry.path;
        }
        if (At("t").Exists()) {
            ASSERT_TRUE(CoreFileUtils::DeleteDirectory(At("t"), true));
        }
    }
}

TEST_F(DeleteDirectoryTest, MissingEntryAndFileGiveFalse) {
    EXPECT_FALSE(CoreFileUtils::DeleteDirectory(At("missing"), true));
    EXPECT_FALSE(CoreFileUtils::DeleteDirectory(AFile(), true));
    Make({{"fr", "file"}});
    EXPECT_FALSE(CoreFileUtils::DeleteDirectory(At("file"), true));
    EXPECT_TRUE(At("file").Exists());
    EXPECT_TRUE(At("file").GetAttribute(AFile::kIsReadOnly)) << "force must not touch a file";
    ASSERT_TRUE(At("file").SetAttribute(AFile::kIsReadOnly, false));
}

TEST_F(DeleteDirectoryTest, DeepTreeBeyondTheShortPathLimit) {
    // 120 levels of 8-character names: over 1000 characters, far past 260.
    std::string leaf = "t";
    for (int i = 0; i < 120; ++i) {
        leaf += "\\level";
        leaf += std::to_string(100 + i);
    }
    Make({{"d", leaf.c_str()}, {"f", (leaf + "\\deepest").c_str()}, {"fr", "t\\level100\\ro"}});
    ASSERT_GT(At(leaf.c_str()).GetPath(false).CharCount(), 1000u);
    EXPECT_FALSE(CoreFileUtils::DeleteDirectory(At("t"), false));
    EXPECT_FALSE(At((leaf + "\\deepest").c_str()).Exists());
    EXPECT_TRUE(CoreFileUtils::DeleteDirectory(At("t"), true));
    EXPECT_FALSE(At("t").Exists());
}

#if !defined(_WIN32)
// The host path of an entry: Z: is the host root by default.
std::string HostPath(const AFile& file) {
    AString8 text;
    AString::AStringToUTF8(file.GetPath(false), text);
    std::string host = std::string(text.c_str()).substr(2);
    for (char& unit : host) {
        unit = unit == '\\' ? '/' : unit;
    }
    return host;
}
#endif

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
    return ::symlink(HostPath(target).c_str(), HostPath(link).c_str()) == 0;
#endif
}

TEST_F(DeleteDirectoryTest, LinksGoAloneAndTheirTargetsStayWhole) {
    Make({{"d", "t"}, {"fr", "outside\\keep"}, {"f", "outside\\sub\\keep"}});
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
    ASSERT_TRUE(At("outside\\keep").SetAttribute(AFile::kIsReadOnly, false));
}

#if !defined(_WIN32)
// Windows names are UTF-16 and never bytes: only a POSIX host has names that aren't valid UTF-8,
// and names that hold a backslash.
TEST_F(DeleteDirectoryTest, HostNamesOfAnyBytes) {
    Make({{"d", "t"}, {"f", "victim"}});
    const std::string tree = HostPath(At("t"));
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
    Make({{"d", "t"}});
    const int fd = ::open((tree + "/..\\victim").c_str(), O_CREAT | O_WRONLY, 0644);
    ASSERT_GE(fd, 0);
    ::close(fd);
    EXPECT_FALSE(CoreFileUtils::DeleteDirectory(At("t"), true));
    EXPECT_TRUE(At("victim").Exists());
    ASSERT_EQ(::unlink((tree + "/..\\victim").c_str()), 0);
}
#endif

} // namespace
