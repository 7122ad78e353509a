// Drawing many renderable instances offscreen at 1280 x 720 (lavapipe where there is no GPU):
//   BM_Instances/N   one whole frame with N cubes (copies for placement of one cube mesh instance,
//                    on a square grid in view) and one light; N = 0 is the baseline
// Counters, per frame, in milliseconds of wall time on the render thread:
//   record_ms    everything but the GPU wait: the library's and engine's CPU work (callbacks,
//                walking the instances, filling the draw records, recording, submitting)
//   scene_ms     of which SceneRenderer::Draw (walk, records, draw calls)
//   gpu_wait_ms  EndFrame: waiting for the GPU to finish the frame
// The benchmark's CPU time is the render thread's own CPU time.
//
// Run from a build folder (the shaders and meshes are found from there), e.g.
//   cd build/release && ./bench_instances
#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <glm/gtc/matrix_transform.hpp>
#include <memory>
#include <vector>

#include "game/Game.h"
#include "game/graphics/GameRenderer.h"
#include "game/graphics/LightSourceInstance.h"
#include "game/graphics/Mesh.h"
#include "game/graphics/RenderableInstance.h"
#include "game/graphics/SceneRenderer.h"
#include "quorl/graphics/Texture.h"
#include "quorl/graphics/Window.h"

namespace {

using Clock = std::chrono::steady_clock;
using game::graphics::RenderableInstance;

// The game's renderer with the GPU wait and the scene's drawing timed.
class TimedRenderer : public game::graphics::GameRenderer {
public:
    using GameRenderer::GameRenderer;
    void EndFrame() override {
        const auto start = Clock::now();
        GameRenderer::EndFrame();
        gpuWait += Clock::now() - start;
    }
    void FrameRenderCommands(VkCommandBuffer cmd) override {
        const auto start = Clock::now();
        GameRenderer::FrameRenderCommands(cmd);
        scene += Clock::now() - start;
    }
    Clock::duration gpuWait{}, scene{};
};

TimedRenderer& Renderer() {
    static quorl::graphics::Window window;
    static TimedRenderer renderer(&window, "bench_instances", 1, {}, VkExtent2D{1280, 720});
    game::Game::renderer = &renderer;
    return renderer;
}

void BM_Instances(benchmark::State& state) {
    TimedRenderer& r = Renderer();
    const game::graphics::Mesh mesh(quorl::graphics::Texture::DataPath("models/cube.gltf"));
    auto proto = RenderableInstance::Make<RenderableInstance>(0u, 0u);
    for (const auto& g : mesh.nodes.at("cube")) proto->geometries.push_back(g);
    proto->renderableData =
        std::make_shared<RenderableInstance::DataBuffer>(r.GetDevice(), proto->geometries.size(), "RenderableData");
    const int count = int(state.range(0));
    const int side = int(std::ceil(std::sqrt(double(count))));
    std::vector<std::shared_ptr<RenderableInstance>> cubes;
    for (int i = 0; i < count; ++i) {
        const glm::dvec3 at(1.5 * (i % side - side / 2), 0.0, -4.0 - 1.5 * (i / side));
        auto cube = RenderableInstance::Make<RenderableInstance>(proto, glm::translate(glm::dmat4(1.0), at));
        cube->visible = cube->initialised = true;
        cubes.push_back(std::move(cube));
    }
    game::graphics::LightSourceInstance light({0, 20, -20}, 1, {0, 0, 0}, 0, {1, 1, 1}, 5e4f);
    r.camera.worldTransform = glm::rotate(glm::translate(glm::dmat4(1.0), glm::dvec3(0, 0.4 * side + 2, 0)),
                                          glm::radians(-35.0), glm::dvec3(1, 0, 0));
    r.Frame();  // pipelines and buffers warm
    r.gpuWait = r.scene = {};
    Clock::duration wall{};
    for (auto _ : state) {
        const auto start = Clock::now();
        benchmark::DoNotOptimize(r.Frame());
        wall += Clock::now() - start;
    }
    const double frames = double(state.iterations());
    const auto ms = [&](Clock::duration d) { return std::chrono::duration<double, std::milli>(d).count() / frames; };
    state.counters["record_ms"] = ms(wall - r.gpuWait);
    state.counters["scene_ms"] = ms(r.scene);
    state.counters["gpu_wait_ms"] = ms(r.gpuWait);
    state.counters["draws"] = double(r.Scene().LastCounts().draws);
    cubes.clear();
    proto.reset();
    r.Frame();  // the next run starts from an empty scene
}
BENCHMARK(BM_Instances)->Arg(0)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond)->MinTime(3.0);

}  // namespace

BENCHMARK_MAIN();
