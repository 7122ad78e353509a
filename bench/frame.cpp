// The frame chain on the offscreen target (1280 x 720; lavapipe where there is no GPU):
//   BM_Frame/0           one whole frame, no module loaded
//   BM_Frame/16          one whole frame with 16 modules exporting every hook, all sort keys sorted
//   BM_DirectHookCalls   the same 17 x 16 hook functions called directly through an array
// CPU time is the render thread's (recording, hooks, submission; the driver's own threads and
// the wait for the GPU are not in it); the chain's cost is BM_Frame/16 - BM_Frame/0 against
// BM_DirectHookCalls. "fps" is frames per second of wall time.
//
// Needs the test modules TS_frame1 .. TS_frame16: run from the build folder of a build with the
// tests' modules, e.g.  cd build/release && ./bench_frame
#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "game/GAME_Mod.h"
#include "game/graphics/GameRenderer.h"
#include "quorl/graphics/Window.h"

namespace {

using game::GAME_Mod;
constexpr int kModules = 16;

// Loads the sixteen modules (again, after a run without them) and sorts every key.
bool LoadFrameModules() {
    for (int i = 1; i <= kModules; ++i)
        if (!GAME_Mod::LoadModule("TS_frame" + std::to_string(i), true)) return false;
    for (const char* key : {"ui", "update", "render", "post", "overlay"})
        GAME_Mod::SortModules(key, [](GAME_Mod::Ptr a, GAME_Mod::Ptr b) { return a->name < b->name; });
    return true;
}

game::graphics::GameRenderer& Renderer() {
    static quorl::graphics::Window window;
    static game::graphics::GameRenderer renderer(&window, "bench_frame", 1, {}, VkExtent2D{1280, 720});
    return renderer;
}

void BM_Frame(benchmark::State& state) {
    const bool withModules = state.range(0) > 0;
    if (withModules && !LoadFrameModules()) {
        state.SkipWithError("modules/TS_frame*/ not found: run from a build folder with the test modules built");
        return;
    }
    if (!withModules) GAME_Mod::UnloadModules();
    auto& r = Renderer();
    r.Frame();  // the first frame locks the shader list and warms the pipelines
    for (auto _ : state) benchmark::DoNotOptimize(r.Frame());
    state.counters["fps"] = benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
    if (withModules) GAME_Mod::UnloadModules();
}
BENCHMARK(BM_Frame)->Arg(0)->Arg(16)->Unit(benchmark::kMicrosecond)->MeasureProcessCPUTime()->UseRealTime();

void BM_FrameThreadCpu(benchmark::State& state) {
    const bool withModules = state.range(0) > 0;
    if (withModules && !LoadFrameModules()) {
        state.SkipWithError("modules/TS_frame*/ not found");
        return;
    }
    if (!withModules) GAME_Mod::UnloadModules();
    auto& r = Renderer();
    r.Frame();
    for (auto _ : state) benchmark::DoNotOptimize(r.Frame());
    if (withModules) GAME_Mod::UnloadModules();
}
BENCHMARK(BM_FrameThreadCpu)->Arg(0)->Arg(16)->Unit(benchmark::kMicrosecond);

void BM_DirectHookCalls(benchmark::State& state) {
    if (!LoadFrameModules()) {
        state.SkipWithError("modules/TS_frame*/ not found");
        return;
    }
    std::vector<void (*)()> plain;
    std::vector<void (*)(VkCommandBuffer)> withCmd;
    GAME_Mod::ForEachModule([&](GAME_Mod::Ptr& m) {
        for (auto f : {m->Renderer_FrameInit, m->Renderer_FrameUpdateUi, m->Renderer_FrameBeforeUpdate,
                       m->Renderer_FrameUpdate, m->Renderer_FrameAfterUpdate, m->Renderer_FrameBeforeRender,
                       m->Renderer_FrameUpdateDescriptorSets, m->Renderer_FrameBeforePost,
                       m->Renderer_FrameAfterRender, m->Renderer_FrameCollectGarbage})
            plain.push_back(f);
        for (auto f : {m->Renderer_FramePushCommands, m->Renderer_FrameBuildCommands, m->Renderer_FrameRenderCommands,
                       m->Renderer_FrameResolveCommands, m->Renderer_FrameBlitCommands,
                       m->Renderer_FramePostCommands, m->Renderer_FrameOverlayCommands})
            withCmd.push_back(f);
    });
    for (auto _ : state) {
        for (auto f : plain) f();
        for (auto f : withCmd) f(VK_NULL_HANDLE);
    }
    state.counters["calls"] = double(plain.size() + withCmd.size());
}
BENCHMARK(BM_DirectHookCalls)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
