// Save and load throughput of a world of 10,000 entities (state files with a 200-byte module
// block), against writing and reading the same bytes as files with plain fwrite/fread in the same
// run. Saving flushes each file to the disk and renames it into place; the "fwrite+fsync+rename"
// baseline does the same with stdio, so the two saving rows compare the format code, and the
// plain fwrite row shows what the durability costs. Rates are per wall-clock second. Counters: entities/s and bytes/s.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fcntl.h>
#include <unistd.h>
#include <vector>

#include "game/Game.h"
#include "game/entity/ServerSideEntity.h"

using game::entity::Id;
using game::entity::ServerSideEntity;

namespace {

constexpr int kEntities = 10000;

struct BlockInterface : ServerSideEntity::Interface {
    std::string data = std::string(200, 'd');
    void Serialize(quorl::filesystem::WriteOnlyStream& s) override { s.Write(data); }
    void Deserialize(quorl::filesystem::ReadOnlyStream& s) override { s.Read(data); }
};

struct World {
    std::filesystem::path root;
    std::vector<std::shared_ptr<ServerSideEntity>> entities;
    std::vector<std::vector<unsigned char>> images;  // the files' bytes, for the baselines
    size_t totalBytes = 0;

    World() {
        root = std::filesystem::temp_directory_path() / ("zendola_bench_entities_" + std::to_string(::getpid()));
        std::filesystem::create_directories(root / "run");
        std::filesystem::current_path(root / "run");
        game::Game::_current_world = "bench";
        ServerSideEntity::_registered_interfaces["BENCH_entities"]["block"] = {
            nullptr, [] { return std::make_shared<BlockInterface>(); }};
        for (int i = 0; i < kEntities; ++i) {
            auto e = ServerSideEntity::Create<ServerSideEntity>(quorl::modular::ModuleID("BENCH_entities"), "block",
                                                                Id());
            e->_interface->initialized = true;
            e->position = {double(i), 0, 0};
            e->deleteFilesOnDestroy = false;
            e->Serialize();
            entities.push_back(e);
        }
        for (auto& e : entities) {
            std::FILE* f = std::fopen(e->GetStateSaveFile().c_str(), "rb");
            std::vector<unsigned char> bytes(4096);
            bytes.resize(std::fread(bytes.data(), 1, bytes.size(), f));
            std::fclose(f);
            totalBytes += bytes.size();
            images.push_back(std::move(bytes));
        }
        std::filesystem::create_directories(root / "plain");
    }
    ~World() { std::filesystem::remove_all(root); }
    std::string PlainPath(size_t i) const { return (root / "plain" / std::to_string(i)).string(); }
};

World& TheWorld() {
    static World world;
    return world;
}

void Report(benchmark::State& state, const World& w) {
    state.counters["entities/s"] =
        benchmark::Counter(double(kEntities) * double(state.iterations()), benchmark::Counter::kIsRate);
    state.counters["bytes/s"] =
        benchmark::Counter(double(w.totalBytes) * double(state.iterations()), benchmark::Counter::kIsRate);
}

void BM_SaveWorld(benchmark::State& state) {
    World& w = TheWorld();
    for (auto _ : state)
        for (auto& e : w.entities) e->Serialize();
    Report(state, w);
}

void BM_FwriteFsyncRename(benchmark::State& state) {
    World& w = TheWorld();
    for (auto _ : state) {
        for (size_t i = 0; i < w.images.size(); ++i) {
            std::string path = w.PlainPath(i), temp = path + ".tmp";
            std::FILE* f = std::fopen(temp.c_str(), "wb");
            std::fwrite(w.images[i].data(), 1, w.images[i].size(), f);
            std::fflush(f);
            ::fdatasync(fileno(f));
            std::fclose(f);
            std::rename(temp.c_str(), path.c_str());
        }
    }
    Report(state, w);
}

void BM_FwritePlain(benchmark::State& state) {
    World& w = TheWorld();
    for (auto _ : state) {
        for (size_t i = 0; i < w.images.size(); ++i) {
            std::FILE* f = std::fopen(w.PlainPath(i).c_str(), "wb");
            std::fwrite(w.images[i].data(), 1, w.images[i].size(), f);
            std::fclose(f);
        }
    }
    Report(state, w);
}

void BM_LoadWorld(benchmark::State& state) {
    World& w = TheWorld();
    std::vector<Id> ids;
    for (auto& e : w.entities) ids.push_back(e->id);
    for (auto _ : state) {
        state.PauseTiming();
        {
            std::unique_lock lock(ServerSideEntity::_sharedObjectsMutex);
            for (auto& [id, e] : ServerSideEntity::_sharedObjects) e->deleteFilesOnDestroy = false;
            ServerSideEntity::_sharedObjects.clear();
        }
        state.ResumeTiming();
        for (const Id& id : ids) ServerSideEntity::Interface::Create(id);
    }
    std::unique_lock lock(ServerSideEntity::_sharedObjectsMutex);
    for (auto& [id, e] : ServerSideEntity::_sharedObjects) e->deleteFilesOnDestroy = false;
    ServerSideEntity::_sharedObjects.clear();
    for (auto& e : w.entities) ServerSideEntity::_sharedObjects[e->id] = e;
    Report(state, w);
}

void BM_FreadPlain(benchmark::State& state) {
    World& w = TheWorld();
    std::vector<unsigned char> buffer(4096);
    for (auto _ : state) {
        for (size_t i = 0; i < w.images.size(); ++i) {
            std::FILE* f = std::fopen(w.PlainPath(i).c_str(), "rb");
            benchmark::DoNotOptimize(std::fread(buffer.data(), 1, buffer.size(), f));
            std::fclose(f);
        }
    }
    Report(state, w);
}

}  // namespace

BENCHMARK(BM_SaveWorld)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();
BENCHMARK(BM_FwriteFsyncRename)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();
BENCHMARK(BM_FwritePlain)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK(BM_LoadWorld)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK(BM_FreadPlain)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK_MAIN();
