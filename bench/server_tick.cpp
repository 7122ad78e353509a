// Cost of one Game::ServerUpdate with no entities and no modules, and of the server tick's walk
// over 10,000 entities, per entity, against a plain loop over a vector of the same shared
// pointers in the same run (the walk's lock, map iteration and pointer copy on top of the loop).
#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "game/Game.h"
#include "game/entity/ServerSideEntity.h"

using game::Game;
using game::entity::Id;
using game::entity::ServerSideEntity;

namespace {

constexpr int kEntities = 10000;

void ClearRegistry() {
    std::unique_lock lock(ServerSideEntity::_sharedObjectsMutex);
    for (auto& [id, e] : ServerSideEntity::_sharedObjects) e->deleteFilesOnDestroy = false;
    ServerSideEntity::_sharedObjects.clear();
}

std::vector<std::shared_ptr<ServerSideEntity>> Fill() {
    ClearRegistry();
    std::vector<std::shared_ptr<ServerSideEntity>> all;
    for (int i = 0; i < kEntities; ++i) all.push_back(ServerSideEntity::Create(quorl::modular::ModuleID(), "", Id()));
    return all;
}

void BM_EmptyServerUpdate(benchmark::State& state) {
    ClearRegistry();
    for (auto _ : state) Game::ServerUpdate(1.0 / 60.0, 4);
}

void BM_WalkEntities(benchmark::State& state) {
    auto all = Fill();
    size_t awake = 0;
    for (auto _ : state)
        ServerSideEntity::ForEach([&awake](std::shared_ptr<ServerSideEntity> e) { awake += e->atRest ? 0 : 1; });
    benchmark::DoNotOptimize(awake);
    state.SetItemsProcessed(int64_t(state.iterations()) * kEntities);
    state.counters["ns/entity"] = benchmark::Counter(double(state.iterations()) * kEntities,
                                                     benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    ClearRegistry();
}

void BM_LoopOverVector(benchmark::State& state) {
    auto all = Fill();
    size_t awake = 0;
    for (auto _ : state)
        for (const auto& e : all) {
            std::shared_ptr<ServerSideEntity> copy = e;
            awake += copy->atRest ? 0 : 1;
        }
    benchmark::DoNotOptimize(awake);
    state.counters["ns/entity"] = benchmark::Counter(double(state.iterations()) * kEntities,
                                                     benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    ClearRegistry();
}

// A whole tick over 10,000 bare entities: three passes, two cache refreshes per entity.
void BM_ServerUpdate10k(benchmark::State& state) {
    auto all = Fill();
    for (auto _ : state) Game::ServerUpdate(1.0 / 60.0, 4);
    state.counters["ns/entity"] = benchmark::Counter(double(state.iterations()) * kEntities,
                                                     benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    ClearRegistry();
}

}  // namespace

BENCHMARK(BM_EmptyServerUpdate);
BENCHMARK(BM_WalkEntities)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_LoopOverVector)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ServerUpdate10k)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
