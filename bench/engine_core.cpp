// Uncontended shared lock/unlock of quorl::SharedMutex against std::shared_mutex, and UniqueId
// creation and text conversion. Compare the SharedMutex rows with the std::shared_mutex row of
// the same run.
#include <benchmark/benchmark.h>

#include <shared_mutex>

#include "game/UniqueId.h"
#include "quorl/SharedMutex.h"

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

BENCHMARK_MAIN();
