// Shared by the benchmarks: the naming of the two sides of a comparison, an arena allocator and
// counting hooks registered through AAllocator::RegisterMemoryProcs.
//
// Names. Every workload is measured beside a peer in the same run, under names of the form
// "<work>/<side>": the side is "zelk" (the default allocator), "zelk_arena" (the arena below) or
// "peer_<name>" (the standard library, ICU, a raw host call...), for example
// "Substring_64K_1000_20/zelk" and "Substring_64K_1000_20/peer_std". scripts/bench.sh pairs the
// sides of each work and prints their time ratios.
//
// Allocations. A zelk side reports the allocations it makes per iteration as the counter
// "allocs", counted by the hooks it runs on.
#ifndef ZELK_BENCH_BENCHSUPPORT_H
#define ZELK_BENCH_BENCHSUPPORT_H

#include <zelk/aallocator.h>

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <vector>

namespace zelkbench {

// Allocations made through the hooks since they were registered.
inline std::uint64_t gAllocations = 0;

// A bump allocator in chunks of 16 MiB. Freeing a block of the arena does nothing but count it;
// when no block of the arena is live any more, the next allocation starts again at the front of
// the first chunk, so a loop that makes and drops its objects every iteration keeps reusing the
// same memory. Blocks from elsewhere (made before the arena was registered) go to std::free.
class Arena {
public:
    static constexpr std::size_t kChunkBytes = std::size_t{16} << 20;

    ~Arena() {
        for (std::byte* chunk : fChunks) {
            std::free(chunk);
        }
    }

    void* Allocate(std::size_t size) {
        size = (size + 15) & ~std::size_t{15};
        if (size > kChunkBytes) {
            throw std::bad_alloc();
        }
        if (fLive == 0) {
            fChunk = 0;
            fUsed = 0;
        }
        if (fChunks.empty() || fUsed + size > kChunkBytes) {
            if (!fChunks.empty()) {
                ++fChunk;
                fUsed = 0;
            }
            if (fChunk == fChunks.size()) {
                void* chunk = std::malloc(kChunkBytes);
                if (chunk == nullptr) {
                    throw std::bad_alloc();
                }
                fChunks.push_back(static_cast<std::byte*>(chunk));
            }
        }
        void* block = fChunks[fChunk] + fUsed;
        fUsed += size;
        ++fLive;
        return block;
    }

    void Free(void* pointer) {
        const auto* byte = static_cast<const std::byte*>(pointer);
        for (const std::byte* chunk : fChunks) {
            if (byte >= chunk && byte < chunk + kChunkBytes) {
                --fLive;
                return;
            }
        }
        std::free(pointer);
    }

private:
    std::vector<std::byte*> fChunks;
    std::size_t fChunk = 0;
    std::size_t fUsed = 0;
    std::size_t fLive = 0;
};

inline Arena& TheArena() {
    static Arena arena;
    return arena;
}

inline void* ArenaAlloc(unsigned long long size) {
    ++gAllocations;
    return TheArena().Allocate(static_cast<std::size_t>(size));
}
inline void ArenaFree(void* pointer) {
    TheArena().Free(pointer);
}

inline void* CountingAlloc(unsigned long long size) {
    ++gAllocations;
    void* block = std::malloc(size == 0 ? 1 : static_cast<std::size_t>(size));
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}
inline void CountingFree(void* pointer) {
    std::free(pointer);
}

// Registers the counting hooks (malloc and free, as the default) or the arena for its scope, and
// on the way out reports the allocations per iteration as "allocs" and puts the defaults back.
// Make a benchmark's inputs before the scope starts, so that none of them lives in the arena.
class HookScope {
public:
    enum Kind { kCounting, kArena };
    HookScope(benchmark::State& state, Kind kind) : fState(state) {
        gAllocations = 0;
        if (kind == kArena) {
            vorlan::zelk::AAllocator::RegisterMemoryProcs(ArenaAlloc, ArenaFree);
        } else {
            vorlan::zelk::AAllocator::RegisterMemoryProcs(CountingAlloc, CountingFree);
        }
    }
    ~HookScope() {
        vorlan::zelk::AAllocator::RegisterMemoryProcs(nullptr, nullptr);
        fState.counters["allocs"] = benchmark::Counter(static_cast<double>(gAllocations),
                                                       benchmark::Counter::kAvgIterations);
    }
    HookScope(const HookScope&) = delete;
    HookScope& operator=(const HookScope&) = delete;

private:
    benchmark::State& fState;
};

} // namespace zelkbench

#endif // ZELK_BENCH_BENCHSUPPORT_H
