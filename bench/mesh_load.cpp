// Loading a glTF model against reading its bytes. The model: one node, one primitive of 262,144
// vertices (positions, normals, two texture coordinates) and 1,572,864 32-bit indices, about
// 16.8 MB of buffer, written to a temporary folder at start.
//   BM_MeshLoad     Mesh::Load: JSON, device buffer, one read into it, index check, geometries
//   BM_MeshParse    the JSON parsed and the layout checked, no device and no buffer read
//   BM_DeviceFread  a device buffer of the same size allocated and the .bin read into it: the
//                   part of BM_MeshLoad that is allocation and read
//   BM_Fread        baseline: the same .bin read with fread into a buffer allocated per run
// The loader's aim is to cost the file read: compare BM_MeshLoad with BM_Fread.
//   cd build/release && ./bench_mesh_load
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "game/Game.h"
#include "game/graphics/GameRenderer.h"
#include "game/graphics/Mesh.h"
#include "quorl/graphics/Window.h"
#include "quorl/vk/Buffer.h"

namespace {

constexpr uint32_t kVertices = 1u << 18;
constexpr uint32_t kIndices = kVertices * 6;

struct Model {
    std::string dir, gltf, bin;
    uint64_t length = 0;
};

const Model& TheModel() {
    static const Model model = [] {
        Model m;
        m.dir = (std::filesystem::temp_directory_path() / "zendola_bench_mesh").string();
        std::filesystem::create_directories(m.dir);
        m.gltf = m.dir + "/big.gltf";
        m.bin = m.dir + "/big.bin";
        std::vector<float> positions(kVertices * 3), normals(kVertices * 3), uv(kVertices * 2);
        for (uint32_t i = 0; i < kVertices; ++i) {
            positions[i * 3] = float(i % 512);
            positions[i * 3 + 1] = float(i / 512);
            normals[i * 3 + 2] = 1.0f;
            uv[i * 2] = float(i % 512) / 512.0f;
        }
        std::vector<uint32_t> indices(kIndices);
        for (uint32_t i = 0; i < kIndices; ++i) indices[i] = (i * 7919u) % kVertices;
        std::ofstream bin(m.bin, std::ios::binary);
        const auto put = [&](const void* p, size_t n) { bin.write(static_cast<const char*>(p), std::streamsize(n)); };
        const uint64_t pos = 0, nrm = kVertices * 12ull, uv0 = nrm * 2, uv1 = uv0 + kVertices * 8ull,
                       idx = uv1 + kVertices * 8ull;
        put(positions.data(), nrm);
        put(normals.data(), nrm);
        put(uv.data(), kVertices * 8ull);
        put(uv.data(), kVertices * 8ull);
        put(indices.data(), kIndices * 4ull);
        m.length = idx + kIndices * 4ull;
        nlohmann::json views = nlohmann::json::array();
        for (auto [offset, length] : {std::pair{pos, nrm}, {nrm, nrm}, {uv0, kVertices * 8ull},
                                      {uv1, kVertices * 8ull}, {idx, kIndices * 4ull}})
            views.push_back({{"buffer", 0}, {"byteOffset", offset}, {"byteLength", length}});
        const auto accessor = [](int view, int type, const char* shape, uint32_t count) {
            return nlohmann::json{{"bufferView", view}, {"componentType", type}, {"type", shape}, {"count", count}};
        };
        nlohmann::json gltf = {
            {"nodes", {{{"name", "big"}, {"mesh", 0}}}},
            {"meshes",
             {{{"primitives",
                {{{"attributes", {{"POSITION", 0}, {"NORMAL", 1}, {"TEXCOORD_0", 2}, {"TEXCOORD_1", 3}}},
                  {"indices", 4},
                  {"material", 0}}}}}}},
            {"materials", {{{"name", "paint"}}}},
            {"accessors",
             {accessor(0, 0x1406, "VEC3", kVertices), accessor(1, 0x1406, "VEC3", kVertices),
              accessor(2, 0x1406, "VEC2", kVertices), accessor(3, 0x1406, "VEC2", kVertices),
              accessor(4, 0x1405, "SCALAR", kIndices)}},
            {"bufferViews", views},
            {"buffers", {{{"uri", "big.bin"}, {"byteLength", m.length}}}},
        };
        std::ofstream(m.gltf) << gltf.dump();
        return m;
    }();
    return model;
}

game::graphics::GameRenderer& Renderer() {
    static quorl::graphics::Window window;
    static game::graphics::GameRenderer renderer(&window, "bench_mesh_load", 1, {}, VkExtent2D{64, 64});
    game::Game::renderer = &renderer;
    return renderer;
}

void BM_MeshLoad(benchmark::State& state) {
    const Model& model = TheModel();
    game::graphics::GameRenderer& renderer = Renderer();
    for (auto _ : state) {
        auto mesh = std::make_unique<game::graphics::Mesh>(model.gltf);
        benchmark::DoNotOptimize(mesh->nodes.size());
        state.PauseTiming();  // releasing the buffer is not part of the load
        mesh.reset();
        renderer.CollectAllTrash();
        state.ResumeTiming();
    }
    state.SetBytesProcessed(int64_t(state.iterations() * model.length));
}
BENCHMARK(BM_MeshLoad)->Unit(benchmark::kMillisecond);

void BM_MeshParse(benchmark::State& state) {
    const Model& model = TheModel();
    for (auto _ : state) {
        std::ifstream in(model.gltf);
        const nlohmann::json gltf = nlohmann::json::parse(in);
        benchmark::DoNotOptimize(game::graphics::Mesh::ParseNodes(gltf, 0, model.length, model.dir));
    }
}
BENCHMARK(BM_MeshParse)->Unit(benchmark::kMillisecond);

void BM_Fread(benchmark::State& state) {
    const Model& model = TheModel();
    for (auto _ : state) {
        std::unique_ptr<char[]> data(new char[model.length]);
        FILE* f = std::fopen(model.bin.c_str(), "rb");
        benchmark::DoNotOptimize(std::fread(data.get(), 1, model.length, f));
        std::fclose(f);
        benchmark::DoNotOptimize(data.get());
    }
    state.SetBytesProcessed(int64_t(state.iterations() * model.length));
}
BENCHMARK(BM_Fread)->Unit(benchmark::kMillisecond);

void BM_DeviceFread(benchmark::State& state) {
    const Model& model = TheModel();
    game::graphics::GameRenderer& renderer = Renderer();
    for (auto _ : state) {
        auto buffer = std::make_unique<quorl::vk::Buffer>(renderer.GetDevice(), model.length,
                                                          VK_BUFFER_USAGE_STORAGE_BUFFER_BIT,
                                                          VMA_MEMORY_USAGE_CPU_TO_GPU, 1024);
        FILE* f = std::fopen(model.bin.c_str(), "rb");
        benchmark::DoNotOptimize(std::fread(buffer->Data(), 1, model.length, f));
        std::fclose(f);
        state.PauseTiming();
        buffer.reset();
        state.ResumeTiming();
    }
    state.SetBytesProcessed(int64_t(state.iterations() * model.length));
}
BENCHMARK(BM_DeviceFread)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
