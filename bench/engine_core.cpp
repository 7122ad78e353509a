// Uncontended shared lock/unlock of quorl::SharedMutex against std::shared_mutex, and UniqueId
// creation and text conversion, and the cost of a profiler scope. Compare the SharedMutex rows
// with the std::shared_mutex row and the ProfilerScope row with TwoSteadyClockReads of the same run.
#include <benchmark/benchmark.h>

#include <chrono>
#include <shared_mutex>

#include "game/UniqueId.h"
#include "quorl/SharedMutex.h"
#include "quorl/cpu/Profiler.h"

static void BM_StdSharedMutex_Shared(benchmark::State& state) {
    std::shared_mutex m;
    for (auto _ : state) {
        m.lock_shared();
        m.unlock_shared();
    }
}
BENCHMARK(BM_StdSharedMutex_Shared);

static void BM_QuorlSharedMutex_Shared(benchmark::State& state) {
    quorl::SharedMutex m;
    for (auto _ : state) {
        m.lock_shared();
        m.unlock_shared();
    }
}
BENCHMARK(BM_QuorlSharedMutex_Shared);

static void BM_QuorlSharedMutex_Exclusive(benchmark::State& state) {
    quorl::SharedMutex m;
    for (auto _ : state) {
        m.lock();
        m.unlock();
    }
}
BENCHMARK(BM_QuorlSharedMutex_Exclusive);

static void BM_UniqueId_Generate(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(game::UniqueId::Generate("ENTT"));
}
BENCHMARK(BM_UniqueId_Generate);

static void BM_UniqueId_ToString(benchmark::State& state) {
    auto id = game::UniqueId::Generate("ENTT");
    for (auto _ : state) benchmark::DoNotOptimize(id.ToString());
}
BENCHMARK(BM_UniqueId_ToString);

static void BM_UniqueId_Parse(benchmark::State& state) {
    std::string text = game::UniqueId::Generate("ENTT");
    for (auto _ : state) benchmark::DoNotOptimize(game::UniqueId(text));
}
BENCHMARK(BM_UniqueId_Parse);

// Baseline for the profiler scope: the two clock reads a scope needs at least.
static void BM_TwoSteadyClockReads(benchmark::State& state) {
    for (auto _ : state) {
        auto a = std::chrono::steady_clock::now();
        auto b = std::chrono::steady_clock::now();
        benchmark::DoNotOptimize(b - a);
    }
}
BENCHMARK(BM_TwoSteadyClockReads);

// One scope opened and closed, as around every shape-pair test of a physics step: the
// scope sits under a parent that already has a few other children.
static void BM_ProfilerScope(benchmark::State& state) {
    quorl::cpu::Profiler step("BenchPhysicsStep", true);
    { quorl::cpu::Profiler a("BenchBroadPhase", true); }
    { quorl::cpu::Profiler b("BenchIntegrate", true); }
    for (auto _ : state) {
        quorl::cpu::Profiler scope("ConvexCollision", true);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_ProfilerScope);

// A disabled scope: the cost paid when profiling is off.
static void BM_ProfilerScopeDisabled(benchmark::State& state) {
    for (auto _ : state) {
        quorl::cpu::Profiler scope("ConvexCollision", false);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_ProfilerScopeDisabled);

BENCHMARK_MAIN();
