// Reading the sample vehicle model file, against reading the same bytes with no parsing; and one
// joint-solver pass over a chain of 10 joints with a node on each, against building and
// multiplying the same 10 joint matrices by hand (the least work a pass can do).
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <unordered_map>
#include <vector>

#include "game/entity/EntityConfig.h"

using game::entity::EntityConfig;

namespace {

// data/models/vehicle.ini, looked for from the working directory and the program's folder
// upwards (benchmarks run from the source tree or from the build folder).
std::string FindVehicle() {
    std::vector<std::filesystem::path> starts{std::filesystem::current_path()};
    std::error_code ec;
    auto exe = std::filesystem::read_symlink("/proc/self/exe", ec);
    if (!ec) starts.push_back(exe.parent_path());
    for (auto dir : starts) {
        for (; !dir.empty(); dir = dir.parent_path()) {
            auto candidate = dir / "data/models/vehicle.ini";
            if (std::filesystem::exists(candidate)) return candidate.string();
            if (dir == dir.root_path()) break;
        }
    }
    return "data/models/vehicle.ini";
}

const std::string kVehicle = FindVehicle();

struct Instance {
    std::unordered_map<std::string, game::entity::Joint> joints;
    std::unordered_map<std::string, glm::dmat4> nodeTransforms;
};

// A chain of 10 hinges, each carrying a link collider that the next hinge hangs from.
std::string ChainModel() {
    std::ostringstream out;
    for (int i = 0; i < 10; ++i) {
        out << "[JOINT j" << i << "]\n";
        if (i > 0) out << "parent link" << i - 1 << "\n";
        out << "position 0 0 1\nangular_x -45 0 45\n";
        out << "[COLLIDER link" << i << "]\nparent j" << i << "\nposition 0 0 0.5\nbox_min -0.1 -0.1 -0.5\nbox_max 0.1 0.1 0.5\n";
    }
    return out.str();
}

}  // namespace

static void BM_ReadVehicleFile_RawBytes(benchmark::State& state) {
    for (auto _ : state) {
        std::ifstream in(kVehicle, std::ios::binary);
        std::stringstream ss;
        ss << in.rdbuf();
        benchmark::DoNotOptimize(ss.str());
    }
}
BENCHMARK(BM_ReadVehicleFile_RawBytes);

static void BM_ReadVehicleFile_EntityConfig(benchmark::State& state) {
    for (auto _ : state) {
        EntityConfig config(kVehicle);
        config.ReadConfig();
        benchmark::DoNotOptimize(config.nodes.size());
    }
}
BENCHMARK(BM_ReadVehicleFile_EntityConfig);

static void BM_TenJoints_HandMultiplied(benchmark::State& state) {
    glm::dmat4 parts[10];
    for (auto& p : parts) p = EntityConfig::TransformFromBlender(glm::dvec3(0, 0, 1), glm::dvec3(0));
    float angle = 0;
    for (auto _ : state) {
        glm::dmat4 m(1.0);
        for (int i = 0; i < 10; ++i) {
            m = m * parts[i] * EntityConfig::TransformFromBlender(glm::dvec3(0, 0, 1), glm::dvec3(angle, 0, 0));
        }
        angle = angle > 40 ? 0 : angle + 1;
        benchmark::DoNotOptimize(m);
    }
}
BENCHMARK(BM_TenJoints_HandMultiplied);

static void BM_TenJoints_SolverPass(benchmark::State& state) {
    const std::string path = "/tmp/bench_chain_" + std::to_string(::getpid()) + ".ini";
    std::ofstream(path) << ChainModel();
    EntityConfig config(path);
    config.ReadConfig();
    std::filesystem::remove(path);
    Instance entity;
    for (const auto& [name, node] : config.nodes) entity.nodeTransforms[name] = config.GetAbsoluteTransform(name);
    for (const auto& [name, joint] : config.joints) entity.joints[name] = {joint.linear[1], joint.angular[1]};
    float angle = 0;
    for (auto _ : state) {
        for (auto& [name, joint] : entity.joints) joint.rotation.x = angle;
        config.jointSolver(&entity);
        angle = angle > 40 ? 0 : angle + 1;
        benchmark::DoNotOptimize(entity.nodeTransforms);
    }
    state.counters["joints"] = static_cast<double>(config.joints.size());
}
BENCHMARK(BM_TenJoints_SolverPass);

BENCHMARK_MAIN();
