// Allocation-failure sweeps of recursive deletion, copying, moving and renaming: each of their
// allocations refused in turn, with the entries on disk looked at after every run.
//
// After every run the blocks are all back, and the disk shows either what was asked (when the
// operation said true) or nothing but the operation's own partial work on what was named (when it
// said false or std::bad_alloc came out): never a tree reported gone that is still there, never a
// copy, move or rename that reached another name, and nothing outside what was named touched.
#include <zelk/afile.h>
#include <zelk/astring.h>
#include <zelk/fileutils.h>

#include "allocsweep.h"
#include "testsupport.h"

#include <algorithm>
#include <string>
#include <vector>

using namespace vorlan::zelk;
using namespace zelktest;

namespace fs = std::filesystem;

namespace {

// The scratch directory is made before the sweep hooks are registered, and removed after they
// are taken back.
class DeleteCopySweep : public ScratchTest {
protected:
    void SetUp() override {
        ScratchTest::SetUp();
        gSweepState = SweepState{};
        AAllocator::RegisterMemoryProcs(SweepAlloc, SweepFree);
    }
    void TearDown() override { AAllocator::RegisterMemoryProcs(nullptr, nullptr); }

    // Every entry below the scratch directory, as "path" or "path=content", sorted.
    std::vector<std::string> Snapshot() const {
        std::vector<std::string> entries;
        const fs::path root = HostPath(Root());
        for (const auto& entry : fs::recursive_directory_iterator(root)) {
            std::string line = fs::relative(entry.path(), root).generic_string();
            if (entry.is_directory()) {
                line += "/";
            } else {
                std::ifstream in(entry.path(), std::ios::binary);
                line += "=" + std::string(std::istreambuf_iterator<char>(in), {});
            }
            entries.push_back(line);
        }
        std::sort(entries.begin(), entries.end());
        return entries;
    }

    // Makes each "path=content" file and "path/" directory below the scratch directory, after
    // removing what the run before left.
    void Lay(const std::vector<std::string>& entries) const {
        for (const auto& entry : fs::directory_iterator(HostPath(Root()))) {
            fs::remove_all(entry.path());
        }
        for (const std::string& entry : entries) {
            const fs::path path = HostPath(Root()) / entry.substr(0, entry.find('='));
            fs::create_directories(entry.back() == '/' ? path : path.parent_path());
            if (entry.back() != '/') {
                std::ofstream(path, std::ios::binary) << entry.substr(entry.find('=') + 1);
            }
        }
    }
};

const std::vector<std::string> kTree = {"t/a=1", "t/d/b=2", "t/d/e/", "t/f/g/h=3", "keep=k"};

TEST_F(DeleteCopySweep, DeleteDirectory) {
    for (const bool force : {false, true}) {
        SCOPED_TRACE(force ? "with force" : "without force");
        SweepAllocations([&](Sweep& sweep) {
            Lay(kTree);
            const AFile tree = At("t");
            bool removed = false;
            const bool returned =
                sweep.Run([&] { removed = CoreFileUtils::DeleteDirectory(tree, force); });
            const std::vector<std::string> after = Snapshot();
            // Whatever happened, the entry beside the tree is untouched.
            EXPECT_TRUE(std::find(after.begin(), after.end(), "keep=k") != after.end()) << sweep;
            if (returned) {
                EXPECT_EQ(removed, after == std::vector<std::string>{"keep=k"}) << sweep;
                EXPECT_TRUE(removed || sweep.Refused()) << sweep;
            }
        });
    }
}

// One transfer between two names, swept: op gets the source and target AFiles.
enum class Transfer { kCopy, kMove };

struct TransferCase {
    const char* what;
    Transfer kind;
    bool targetThere;
};

TEST_F(DeleteCopySweep, CopyAndMove) {
    const TransferCase cases[] = {
        {"FileCopy to a new name", Transfer::kCopy, false},
        {"CopyFileW over a file", Transfer::kCopy, true},
        {"FileMove to a new name", Transfer::kMove, false},
        {"MoveFileW over a file", Transfer::kMove, true},
    };
    for (const TransferCase& c : cases) {
        SCOPED_TRACE(c.what);
        std::vector<std::string> before = {"dir/source=src", "keep=k"};
        if (c.targetThere) {
            before.push_back("dir/target=old");
        }
        std::sort(before.begin(), before.end());
        std::vector<std::string> done = {"dir/", "dir/target=src", "keep=k"};
        if (c.kind == Transfer::kCopy) {
            done.push_back("dir/source=src");
        }
        std::sort(done.begin(), done.end());
        std::vector<std::string> untouched = before;
        untouched.push_back("dir/");
        std::sort(untouched.begin(), untouched.end());
        SweepAllocations([&](Sweep& sweep) {
            Lay(before);
            const AFile source = At("dir\\source");
            const AFile target = At("dir\\target");
            bool result = false;
            const bool returned = sweep.Run([&] {
                if (c.kind == Transfer::kCopy) {
                    result = c.targetThere ? CoreFileUtils::CopyFileW(source, target, false)
                                           : CoreFileUtils::FileCopy(source, target, false);
                } else {
                    result = c.targetThere ? CoreFileUtils::MoveFileW(source, target, false)
                                           : CoreFileUtils::FileMove(source, target, false);
                }
            });
            const std::vector<std::string> after = Snapshot();
            // Done whole or not at all: a transfer touches no other name.
            EXPECT_TRUE(after == done || after == untouched) << sweep;
            if (returned) {
                EXPECT_EQ(result, after == done) << sweep;
                EXPECT_TRUE(result || sweep.Refused()) << sweep;
            }
        });
    }
}

TEST_F(DeleteCopySweep, RenameFile) {
    const std::vector<std::string> before = {"dir/file.txt=x", "keep=k"};
    const std::vector<std::string> untouched = {"dir/", "dir/file.txt=x", "keep=k"};
    const std::vector<std::string> done = {"dir/", "dir/renamed.txt=x", "keep=k"};
    SweepAllocations([&](Sweep& sweep) {
        Lay(before);
        AFile file = At("dir\\file.txt");
        const AString newName("renamed.txt");
        bool result = false;
        const bool returned = sweep.Run([&] { result = CoreFileUtils::RenameFile(file, newName); });
        const std::vector<std::string> after = Snapshot();
        EXPECT_TRUE(after == done || after == untouched)
            << sweep << " " << ::testing::PrintToString(after);
        if (returned) {
            EXPECT_EQ(result, after == done) << sweep;
            EXPECT_TRUE(result || sweep.Refused()) << sweep;
            // The AFile names the entry where it now is.
            EXPECT_EQ(Narrow(file.GetNameStr()), result ? "renamed.txt" : "file.txt") << sweep;
        }
    });
}

} // namespace
