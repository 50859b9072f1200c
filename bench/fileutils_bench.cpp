// Recursive deletion and copying of CoreFileUtils on tmpfs beside the standard library and cp.
//
// The trees and files live in /dev/shm (TMPDIR when /dev/shm is missing), so the figures measure
// the system calls each side makes rather than a disk. Every iteration deletes a fresh tree or
// makes a fresh copy; building the tree and removing the copy are not timed.
#include <zelk/afile.h>
#include <zelk/apath.h>
#include <zelk/astring.h>
#include <zelk/fileutils.h>

#include "benchsupport.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

namespace fs = std::filesystem;
using vorlan::zelk::AFile;
using vorlan::zelk::APath;
using vorlan::zelk::AString;
using vorlan::zelk::CoreFileUtils;

constexpr int kDirectories = 200;
constexpr int kFilesPerDirectory = 100;
constexpr std::size_t kCopyBytes = std::size_t{256} << 20;

// A directory of the benchmark's own on tmpfs, removed when the program ends.
const fs::path& WorkDirectory() {
    static const struct Work {
        fs::path path;
        Work() {
            std::error_code error;
            const fs::path base = fs::is_directory("/dev/shm", error) ? fs::path("/dev/shm")
                                                                      : fs::temp_directory_path();
            path = base / ("zelk-fileutils-bench-" + std::to_string(::getpid()));
            fs::create_directories(path);
        }
        ~Work() {
            std::error_code error;
            fs::remove_all(path, error);
        }
    } work;
    return work.path;
}

// The AFile of a host path, through the drive that maps the host root.
AFile FileOf(const fs::path& path) {
    return AFile(APath(AString(("Z:" + path.string()).c_str()), APath::kWinPath));
}

void MakeEmptyFile(const fs::path& path) {
    const int fd = ::open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
    if (fd >= 0) {
        ::close(fd);
    }
}

// 200 directories of 100 empty files each, below root.
void MakeTree(const fs::path& root) {
    fs::create_directory(root);
    for (int d = 0; d < kDirectories; ++d) {
        const fs::path directory = root / ("directory" + std::to_string(d));
        fs::create_directory(directory);
        for (int f = 0; f < kFilesPerDirectory; ++f) {
            MakeEmptyFile(directory / ("file" + std::to_string(f) + ".txt"));
        }
    }
}

template <typename Delete> void DeleteTrees(benchmark::State& state, Delete&& remove) {
    const fs::path root = WorkDirectory() / "tree";
    for (auto _ : state) {
        state.PauseTiming();
        MakeTree(root);
        state.ResumeTiming();
        if (!remove(root)) {
            state.SkipWithError("the tree was not removed");
            break;
        }
    }
    std::error_code error;
    fs::remove_all(root, error);
    state.SetItemsProcessed(state.iterations() * kDirectories * (kFilesPerDirectory + 1));
}

void DeleteTreeZelk(benchmark::State& state, bool force) {
    const zelkbench::HookScope hooks(state, zelkbench::HookScope::kCounting);
    DeleteTrees(state, [force](const fs::path& root) {
        return CoreFileUtils::DeleteDirectory(FileOf(root), force);
    });
}

void BM_DeleteDirectoryForce(benchmark::State& state) {
    DeleteTreeZelk(state, true);
}
void BM_DeleteDirectory(benchmark::State& state) {
    DeleteTreeZelk(state, false);
}
void BM_RemoveAll(benchmark::State& state) {
    DeleteTrees(state, [](const fs::path& root) {
        std::error_code error;
        return fs::remove_all(root, error) != static_cast<std::uintmax_t>(-1) && !error;
    });
}

// A source file of 256 MiB of varied bytes, made once.
const fs::path& CopySource() {
    static const fs::path source = [] {
        const fs::path path = WorkDirectory() / "source.bin";
        std::string block(1 << 20, '\0');
        for (std::size_t i = 0; i < block.size(); ++i) {
            block[i] = static_cast<char>((i * 2654435761u) >> 24);
        }
        std::FILE* file = std::fopen(path.c_str(), "wb");
        for (std::size_t done = 0; file != nullptr && done < kCopyBytes; done += block.size()) {
            std::fwrite(block.data(), 1, block.size(), file);
        }
        if (file != nullptr) {
            std::fclose(file);
        }
        return path;
    }();
    return source;
}

template <typename Copy> void CopyFiles(benchmark::State& state, Copy&& copy) {
    const fs::path& source = CopySource();
    const fs::path target = WorkDirectory() / "target.bin";
    for (auto _ : state) {
        state.PauseTiming();
        std::error_code error;
        fs::remove(target, error);
        state.ResumeTiming();
        if (!copy(source, target)) {
            state.SkipWithError("the copy failed");
            break;
        }
    }
    std::error_code error;
    if (fs::file_size(target, error) != kCopyBytes) {
        state.SkipWithError("the copy has another size");
    }
    fs::remove(target, error);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kCopyBytes));
}

void BM_FileCopy(benchmark::State& state) {
    const zelkbench::HookScope hooks(state, zelkbench::HookScope::kCounting);
    CopyFiles(state, [](const fs::path& source, const fs::path& target) {
        return CoreFileUtils::FileCopy(FileOf(source), FileOf(target), false);
    });
}

// The cp program, as a user would run it: start-up included, which is small beside 256 MiB.
void BM_Cp(benchmark::State& state) {
    CopyFiles(state, [](const fs::path& source, const fs::path& target) {
        std::string from = source.string();
        std::string to = target.string();
        char cp[] = "cp";
        char* const arguments[] = {cp, from.data(), to.data(), nullptr};
        pid_t child = 0;
        if (::posix_spawnp(&child, "cp", nullptr, nullptr, arguments, environ) != 0) {
            return false;
        }
        int status = 0;
        return ::waitpid(child, &status, 0) == child && WIFEXITED(status) &&
               WEXITSTATUS(status) == 0;
    });
}

BENCHMARK(BM_DeleteDirectoryForce)->Name("DeleteDirectory_200x100_force/zelk")->UseRealTime();
BENCHMARK(BM_RemoveAll)->Name("DeleteDirectory_200x100_force/peer_remove_all")->UseRealTime();
BENCHMARK(BM_DeleteDirectory)->Name("DeleteDirectory_200x100/zelk")->UseRealTime();
BENCHMARK(BM_RemoveAll)->Name("DeleteDirectory_200x100/peer_remove_all")->UseRealTime();
BENCHMARK(BM_FileCopy)->Name("FileCopy_256M/zelk")->UseRealTime();
BENCHMARK(BM_Cp)->Name("FileCopy_256M/peer_cp")->UseRealTime();

} // namespace

BENCHMARK_MAIN();
