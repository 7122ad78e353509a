// Walk over 16 loaded GAME_Mod modules calling one bound hook each, against 16 direct calls of the
// same functions through a plain array of function pointers. Each row reports the heap
// allocations per iteration ("allocs"); the walks must show 0.
//
// Needs the test modules TS_bench1 .. TS_bench16: run from the build folder of a build with the
// tests enabled, e.g.  cd build/dev && ./bench_modules
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include "game/GAME_Mod.h"

#include "AllocationCounter.h"

namespace {

using game::GAME_Mod;
constexpr int kModules = 16;

// Loads the sixteen modules once and sorts them under "update"; false if they are not there.
bool LoadBenchModules() {
    static const bool loaded = [] {
        for (int i = 1; i <= kModules; ++i) {
            auto m = GAME_Mod::LoadModule("TS_bench" + std::to_string(i), true);
            if (!m || !m->Game_ClientUpdate) return false;
        }
        GAME_Mod::SortModules("update", [](GAME_Mod::Ptr a, GAME_Mod::Ptr b) { return a->name < b->name; });
        return true;
    }();
    return loaded;
}

void ReportAllocations(benchmark::State& state, uint64_t before) {
    state.counters["allocs"] = benchmark::Counter(double(gAllocations.load() - before) / double(state.iterations()));
}

void BM_DirectCalls16(benchmark::State& state) {
    if (!LoadBenchModules()) {
        state.SkipWithError("modules/TS_bench*/ not found: run from a build folder with the tests built");
        return;
    }
    std::vector<void (*)()> hooks;
    GAME_Mod::ForEachModule([&](GAME_Mod::Ptr& m) { hooks.push_back(m->Game_ClientUpdate); });
    void (*table[kModules])();
    for (int i = 0; i < kModules; ++i) table[i] = hooks[i];
    uint64_t before = gAllocations.load();
    for (auto _ : state) {
        for (int i = 0; i < kModules; ++i) {
            benchmark::DoNotOptimize(table[i]);
            if (table[i]) table[i]();
        }
    }
    ReportAllocations(state, before);
}
BENCHMARK(BM_DirectCalls16);

void BM_ForEachModule16(benchmark::State& state) {
    if (!LoadBenchModules()) {
        state.SkipWithError("modules/TS_bench*/ not found: run from a build folder with the tests built");
        return;
    }
    uint64_t before = gAllocations.load();
    for (auto _ : state) {
        GAME_Mod::ForEachModule([](GAME_Mod::Ptr& m) {
            if (m->Game_ClientUpdate) m->Game_ClientUpdate();
        });
    }
    ReportAllocations(state, before);
}
BENCHMARK(BM_ForEachModule16);

void BM_ForEachSortedModule16(benchmark::State& state) {
    if (!LoadBenchModules()) {
        state.SkipWithError("modules/TS_bench*/ not found: run from a build folder with the tests built");
        return;
    }
    uint64_t before = gAllocations.load();
    for (auto _ : state) {
        GAME_Mod::ForEachSortedModule("update", [](GAME_Mod::Ptr& m) {
            if (m->Game_ClientUpdate) m->Game_ClientUpdate();
        });
    }
    ReportAllocations(state, before);
}
BENCHMARK(BM_ForEachSortedModule16);

}  // namespace

BENCHMARK_MAIN();
