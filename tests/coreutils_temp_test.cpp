// Tests of the temporary directory and of entries made there or under generated names.
#include <zelk/apathcomponent.h>
#include <zelk/fileutils.h>

#include "platform/platform.h"
#include "testsupport.h"

#include <string>
#include <thread>

using namespace vorlan::zelk;
using zelktest::Narrow;

namespace {

AString Decimal(platform::DWORD value) {
    return AString(std::to_string(value).c_str());
}

class TempEntriesTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(CoreFileUtils::CreateUniqueTempDir(AString("zelk-tmp"), AString(), fScratch));
    }
    void TearDown() override { EXPECT_TRUE(CoreFileUtils::DeleteDirectory(fScratch, true)); }

    AFile fScratch;
};

TEST_F(TempEntriesTest, TempDirAndEntriesMadeThere) {
    const APath temp = CorePathUtils::GetTempDir();
    EXPECT_TRUE(AFile(temp).GetAttribute(AFile::kIsDirectory));
    EXPECT_FALSE(temp.GetComponent(APath::kLastComponentIndex).IsEmpty());
    EXPECT_EQ(fScratch.GetParentPath(), temp);

    const AString base = fScratch.GetNameStr(); // unique, so free in the temporary directory
    AFile made;
    ASSERT_TRUE(CoreFileUtils::CreateTempDir(APathComponent(base + AString("-d")), made));
    EXPECT_EQ(made.GetParentPath(), temp);
    AFile file;
    ASSERT_FALSE(CoreFileUtils::CreateTempFile(APathComponent(base + AString("-d")), file));
    EXPECT_FALSE(file.HasPath());
    EXPECT_TRUE(made.GetAttribute(AFile::kIsDirectory)) << "an existing entry stays as it was";
    EXPECT_TRUE(made.Delete());

    // Names that can't be made as they stand make nothing, not even a parent.
    const AString refused[] = {"",   base + AString("-a\\b"),      "x.", "..",
                               "C:", std::string(256, 'n').c_str()};
    for (const AString& name : refused) {
        SCOPED_TRACE(Narrow(name));
        for (AFile result : {AFile(fScratch), AFile()}) {
            EXPECT_FALSE(CoreFileUtils::CreateTempFile(APathComponent(name), result));
            EXPECT_FALSE(result.HasPath());
            EXPECT_FALSE(CoreFileUtils::CreateTempDir(APathComponent(name), result));
            EXPECT_FALSE(result.HasPath());
        }
    }
    AFile parent(CorePathUtils::GetTempDir());
    ASSERT_TRUE(parent.AppendName(base + AString("-a")));
    EXPECT_FALSE(parent.Exists());
}

TEST_F(TempEntriesTest, UniqueNamesInMissingDirectories) {
    // An empty prefix and suffix still make an entry in the directory.
    const struct {
        const char* prefix;
        std::string suffix;
        bool made;
    } rows[] = {
        {"tmp", ".dat", true}, {"", "", true},    {"a\\b", "", false},
        {"x", ".", false},     {"C:", "", false}, {"p", std::string(250, 's'), false},
    };
    const AString thread = Decimal(platform::GetCurrentThreadId());
    int row = 0;
    for (const auto& entry : rows) {
        for (const bool directory : {false, true}) {
            SCOPED_TRACE(std::string("prefix ") + entry.prefix +
                         (directory ? " (dir)" : " (file)"));
            APath where = fScratch.GetPath();
            where.Append(zelktest::WinPath("missing" + std::to_string(row++) + "\\sub"));
            const AString prefix(entry.prefix);
            const AString suffix(entry.suffix.c_str());
            AFile result;
            const bool made = directory
                                  ? CoreFileUtils::CreateUniqueDir(where, prefix, suffix, result)
                                  : CoreFileUtils::CreateUniqueFile(where, prefix, suffix, result);
            ASSERT_EQ(made, entry.made);
            if (!made) {
                EXPECT_FALSE(result.HasPath());
                EXPECT_FALSE(AFile(where).Exists());
                continue;
            }
            EXPECT_EQ(result.GetParentPath(), where);
            EXPECT_EQ(result.GetAttribute(AFile::kIsDirectory), directory);
            const std::string name = Narrow(result.GetNameStr());
            const std::string head = entry.prefix + Narrow(thread);
            EXPECT_EQ(name.compare(0, head.size(), head), 0) << name;
            EXPECT_EQ(name.substr(name.size() - entry.suffix.size()), entry.suffix) << name;
        }
    }
    AFile result;
    EXPECT_FALSE(CoreFileUtils::CreateUniqueFile(APath(), AString("p"), AString(), result));
    EXPECT_FALSE(result.HasPath());
}

TEST_F(TempEntriesTest, AllThousandNamesTakenGivesFalse) {
    // Takes every name the call can try: those of the ticks from now on, kept ahead of the clock
    // until the making keeps up with it. The files are made through the platform directly, as
    // cheaply as it goes.
    const AString head =
        fScratch.GetPath(true) + AString("\\u") + Decimal(platform::GetCurrentThreadId());
    constexpr platform::DWORD kAhead = 999 + 200;
    const platform::DWORD start = platform::GetTickCount();
    platform::DWORD next = start;
    platform::DWORD now = start;
    for (;;) {
        now = platform::GetTickCount();
        // Catching up needs well over one file a millisecond (Wine makes fewer).
        if (now - start > 20000 || (next - start >= 200 && now - start > (next - start) * 3 / 4)) {
            GTEST_SKIP() << "this host makes files too slowly to keep ahead of its clock";
        }
        if (static_cast<std::int32_t>(next - (now + kAhead)) > 0) {
            break;
        }
        for (int batch = 0; batch < 100; ++batch, ++next) {
            const AString name = head + Decimal(next);
            const platform::HANDLE file =
                platform::CreateFileW(name.GrabWString(), platform::GENERIC_WRITE, 0, nullptr,
                                      platform::CREATE_NEW, 0, nullptr);
            ASSERT_NE(file, platform::INVALID_HANDLE_VALUE);
            platform::CloseHandle(file);
        }
    }
    AFile result(fScratch);
    const bool made =
        CoreFileUtils::CreateUniqueFile(fScratch.GetPath(), AString("u"), AString(), result);
    if (made && platform::GetTickCount() - now > kAhead - 999) {
        GTEST_SKIP() << "the clock ran past the names taken";
    }
    EXPECT_FALSE(made);
    EXPECT_FALSE(result.HasPath());
}

// Every call that succeeds made an entry of its own: 200 successes leave 200 entries.
TEST_F(TempEntriesTest, TwoThreadsInOneDirectoryNeverCollide) {
    int made[2] = {0, 0};
    std::thread workers[2];
    for (int t = 0; t < 2; ++t) {
        workers[t] = std::thread([this, t, &made] {
            for (int i = 0; i < 100; ++i) {
                AFile file;
                made[t] += CoreFileUtils::CreateUniqueFile(fScratch.GetPath(), AString("c"),
                                                           AString(), file);
            }
        });
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    EXPECT_EQ(made[0] + made[1], 200);
    EXPECT_EQ(fScratch.GetSize(), 200u);
}

} // namespace
