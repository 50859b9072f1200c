// Path parsing, rendering and iteration of zelk beside std::filesystem::path in the same run.
//
// Every work is measured three ways: zelk on counting hooks over malloc and free (the default
// allocator, with the allocations per iteration as "allocs"), zelk on the arena, and the
// standard library's path. The peer gets the same path in its own notation (POSIX on this host,
// '/' between the components) as a std::string, and zelk gets it as UTF-16 in an AString made
// beforehand: each side parses from its own kind of text.
//
// Parse: a path object made from the text and dropped, every iteration.
// Render: the text of a parsed path (GetPath against string()).
// Iterate: a walk over the parsed path that copies every component's text (Get against string()).
#include <zelk/apath.h>
#include <zelk/astring.h>

#include "benchsupport.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

using vorlan::zelk::APath;
using vorlan::zelk::APathComponent;
using vorlan::zelk::AString;

namespace {

// A path of exactly length characters: head, then directory names taken in turn from names,
// then a file name padded to fill the rest, each behind separator.
std::string MakePath(const std::string& head, std::size_t length, char separator) {
    static const char* const names[] = {"Users",  "someone",  "Documents", "projects", "zelk",
                                        "source", "platform", "include",   "build",    "archive"};
    std::string text = head;
    for (std::size_t i = 0; text.size() + 12 < length; ++i) {
        const std::string name = names[i % std::size(names)];
        if (text.size() + name.size() + 12 > length) {
            break;
        }
        text += name;
        text += separator;
    }
    std::string file = "report";
    while (text.size() + file.size() + 4 < length) {
        file += 'x';
    }
    text += file + ".txt";
    return text;
}

// One case: the text in zelk's notation and in the peer's, and its name.
struct Case {
    std::string name;
    std::string text;     // as zelk reads it
    std::string peerText; // the same path in POSIX notation
    APath::PathType type;
};

AString Wide(const std::string& text) {
    return AString(text.c_str());
}

// ---- parse

void ParseZelk(benchmark::State& state, const Case& c, zelkbench::HookScope::Kind kind) {
    const AString text = Wide(c.text);
    zelkbench::HookScope hooks(state, kind);
    for (auto _ : state) {
        APath path(text, c.type);
        benchmark::DoNotOptimize(&path);
    }
}

void ParsePeer(benchmark::State& state, const Case& c) {
    const std::string text = c.peerText;
    for (auto _ : state) {
        std::filesystem::path path(text);
        benchmark::DoNotOptimize(&path);
    }
}

// ---- render

void RenderZelk(benchmark::State& state, const Case& c, zelkbench::HookScope::Kind kind) {
    const APath path(Wide(c.text), c.type);
    if (path.GetPath(c.type, false) != Wide(c.text)) {
        state.SkipWithError("the rendered text differs from the parsed one");
        return;
    }
    zelkbench::HookScope hooks(state, kind);
    for (auto _ : state) {
        AString text = path.GetPath(c.type, false);
        benchmark::DoNotOptimize(text.GrabWString());
    }
}

void RenderPeer(benchmark::State& state, const Case& c) {
    const std::filesystem::path path(c.peerText);
    for (auto _ : state) {
        std::string text = path.string();
        benchmark::DoNotOptimize(text.data());
    }
}

// ---- iterate

void IterateZelk(benchmark::State& state, const Case& c, zelkbench::HookScope::Kind kind) {
    const APath path(Wide(c.text), c.type);
    zelkbench::HookScope hooks(state, kind);
    for (auto _ : state) {
        for (const APathComponent& component : path) {
            AString text = component.Get();
            benchmark::DoNotOptimize(text.GrabWString());
        }
    }
}

void IteratePeer(benchmark::State& state, const Case& c) {
    const std::filesystem::path path(c.peerText);
    for (auto _ : state) {
        for (const std::filesystem::path& component : path) {
            std::string text = component.string();
            benchmark::DoNotOptimize(text.data());
        }
    }
}

using ZelkMeasure = void (*)(benchmark::State&, const Case&, zelkbench::HookScope::Kind);
using PeerMeasure = void (*)(benchmark::State&, const Case&);

void Register(const std::string& work, const Case* c, ZelkMeasure zelk, PeerMeasure peer) {
    const std::string name = work + "_" + c->name;
    benchmark::RegisterBenchmark((name + "/zelk").c_str(), [c, zelk](benchmark::State& state) {
        zelk(state, *c, zelkbench::HookScope::kCounting);
    });
    benchmark::RegisterBenchmark(
        (name + "/zelk_arena").c_str(),
        [c, zelk](benchmark::State& state) { zelk(state, *c, zelkbench::HookScope::kArena); });
    benchmark::RegisterBenchmark((name + "/peer_std").c_str(),
                                 [c, peer](benchmark::State& state) { peer(state, *c); });
}

Case WinCase(const std::string& name, std::size_t length) {
    const std::string text = MakePath("C:\\", length, '\\');
    std::string peer = text;
    for (char& unit : peer) {
        unit = unit == '\\' ? '/' : unit;
    }
    return Case{name, text, peer, APath::kWinPath};
}

Case PosixCase(const std::string& name, std::size_t length) {
    const std::string text = MakePath("/", length, '/');
    return Case{name, text, text, APath::kPosixPath};
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    static const std::vector<Case> cases = {
        WinCase("Win63", 63),
        WinCase("Win320", 320),
        PosixCase("Posix321", 321),
    };
    for (const Case& c : cases) {
        if (c.text.size() != std::stoul(c.name.substr(c.name.find_first_of("0123456789")))) {
            return 2; // the texts must have the lengths their names say
        }
    }
    for (const Case& c : cases) {
        Register("Parse", &c, ParseZelk, ParsePeer);
        Register("Render", &c, RenderZelk, RenderPeer);
        Register("Iterate", &c, IterateZelk, IteratePeer);
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
