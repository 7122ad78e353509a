// InteractWithEnvironment calls per second for a vehicle of 10 colliders (hull, cabin, four
// wheel spheres, two wings, a fin and a nose) in three places: high in the air at 40 m/s, on the
// ground, and afloat half in water; with heap allocations per call (operator new is counted
// here) and environment queries per call. The baseline of the same run is one query of the
// environment function; ComputeAerodynamicSurfaces, run once per frame, is timed too.
#include <benchmark/benchmark.h>

#include <optional>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/quaternion.hpp>

#include "game/physics/EnvironmentRandom.h"
#include "game/physics/Rigidbody.h"

#include "AllocationCounter.h"
#include "BenchEntity.h"

using game::entity::ConvexMeshCollider;
using game::physics::EnvironmentFunction;
using game::physics::EnvironmentInfo;
using game::physics::EnvironmentInfoFlags;

namespace {

using Body = game::physics::DynamicRigidbody<BenchEntity>;

// Flat ground at z = 0, water below z = `waterLevel`, air above; counts its queries.
struct World {
    double waterLevel = -1e9;
    uint64_t queries = 0;
    EnvironmentInfo operator()(const glm::dvec3& p, EnvironmentInfoFlags flags, const double&) {
        ++queries;
        EnvironmentInfo info;
        info.gravity = {0, 0, -9.81};
        info.altitude = p.z;
        if (flags & 1) {
            info.collision.position = {p.x, p.y, 0};
            info.collision.normal = {0, 0, 1};
            info.collision.depth = -p.z;
        }
        const bool water = p.z < waterLevel;
        info.density = water ? 1000 : 1.2;
        info.viscosity = water ? 1e-3 : 1.5e-5;
        return info;
    }
};

void AddBox(BenchEntity& e, const std::string& name, const glm::vec3& lo, const glm::vec3& hi, bool sphere = false) {
    ConvexMeshCollider c;
    c.SetBox(lo, hi);
    c.isSphere = sphere;
    if (sphere) c.radius = 0.5 * (hi.x - lo.x);
    e.colliders[name] = c;
    e.boundsMin = glm::min(e.boundsMin, glm::dvec3(lo));
    e.boundsMax = glm::max(e.boundsMax, glm::dvec3(hi));
}

// A 2 t vehicle standing on its wheels at z = 0.
std::shared_ptr<BenchEntity> Vehicle() {
    auto e = std::make_shared<BenchEntity>();
    e->mass = 2000;
    e->boundsMin = glm::dvec3(1e9);
    e->boundsMax = glm::dvec3(-1e9);
    AddBox(*e, "hull", {-2, -1, 0.4f}, {2, 1, 0.9f});
    AddBox(*e, "cabin", {-1, -0.9f, 0.9f}, {1, 0.9f, 1.9f});
    AddBox(*e, "nose", {2, -0.6f, 0.4f}, {2.8f, 0.6f, 0.8f});
    AddBox(*e, "fin", {-2, -0.05f, 0.9f}, {-1.2f, 0.05f, 2.2f});
    AddBox(*e, "wingL", {-0.7f, 1, 0.7f}, {0.8f, 5.5f, 0.8f});
    AddBox(*e, "wingR", {-0.7f, -5.5f, 0.7f}, {0.8f, -1, 0.8f});
    const float r = 0.4f;
    AddBox(*e, "wheelFL", {1.2f - r, 0.8f - r, 0}, {1.2f + r, 0.8f + r, 2 * r}, true);
    AddBox(*e, "wheelFR", {1.2f - r, -0.8f - r, 0}, {1.2f + r, -0.8f + r, 2 * r}, true);
    AddBox(*e, "wheelBL", {-1.2f - r, 0.8f - r, 0}, {-1.2f + r, 0.8f + r, 2 * r}, true);
    AddBox(*e, "wheelBR", {-1.2f - r, -0.8f - r, 0}, {-1.2f + r, -0.8f + r, 2 * r}, true);
    e->centerOfMass = {0, 0, 0.9};
    e->box_size = e->boundsMax - e->boundsMin;
    return e;
}

struct Place {
    glm::dvec3 position;
    glm::dvec3 velocity;
    double waterLevel;
};
const Place kInAir{{0, 0, 200}, {40, 0, -2}, -1e9};
const Place kOnGround{{0, 0, 0.899}, {0.5, 0, -0.05}, -1e9};
const Place kAfloat{{0, 0, 0.2}, {3, 0, -0.1}, 1.2};

void Counters(benchmark::State& state, uint64_t allocations, uint64_t queries) {
    state.counters["calls/s"] = benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
    state.counters["allocs/call"] = double(allocations) / double(state.iterations());
    state.counters["queries/call"] = double(queries) / double(state.iterations());
}

// The 10-collider vehicle placed as P says, with a seeded random source and its own world.
struct Scene {
    explicit Scene(const Place& place) : entity(Vehicle()) {
        game::physics::SeedEnvironmentRandom(1);
        entity->position = place.position - entity->centerOfMass;
        entity->velocity = place.velocity;
        world.waterLevel = place.waterLevel;
        function = std::ref(world);
        body.emplace(entity, 1.0 / 60);
    }
    std::shared_ptr<BenchEntity> entity;
    World world;
    EnvironmentFunction function;
    std::optional<Body> body;
};

template <const Place* P>
void BM_InteractWithEnvironment(benchmark::State& state) {
    Scene scene(*P);
    World& world = scene.world;
    const EnvironmentFunction& function = scene.function;
    Body& body = *scene.body;
    body.ComputeAerodynamicSurfaces(function);
    body.staticContactNormals.reserve(64);
    body.staticRelativeContactPoints.reserve(64);
    const glm::dvec3 start = body.position;
    state.counters["surfaces"] = double(body.aerodynamicSurfaces.size());
    world.queries = 0;
    const uint64_t before = gAllocations.load();
    for (auto _ : state) {
        body.position = start;
        body.rotation = glm::dquat(1, 0, 0, 0);
        body.velocity = P->velocity;
        body.angularVelocity = glm::dvec3(0.0);
        body.staticContactNormals.clear();
        body.staticRelativeContactPoints.clear();
        body.InteractWithEnvironment(function, 1.0 / 240);
        benchmark::DoNotOptimize(body.velocity);
    }
    Counters(state, gAllocations.load() - before, world.queries);
}

template <const Place* P>
void BM_ComputeAerodynamicSurfaces(benchmark::State& state) {
    Scene scene(*P);
    World& world = scene.world;
    const EnvironmentFunction& function = scene.function;
    Body& body = *scene.body;
    body.aerodynamicSurfaces.reserve(256);
    world.queries = 0;
    const uint64_t before = gAllocations.load();
    for (auto _ : state) {
        body.ComputeAerodynamicSurfaces(function);
        benchmark::DoNotOptimize(body.aerodynamicSurfaces.data());
    }
    Counters(state, gAllocations.load() - before, world.queries);
    state.counters["surfaces"] = double(body.aerodynamicSurfaces.size());
}

// The baseline: one query of the same environment through the same std::function.
void BM_EnvironmentQuery(benchmark::State& state) {
    World world;
    const EnvironmentFunction function = std::ref(world);
    glm::dvec3 p(0, 0, 1);
    const double radius = 0;
    const uint64_t before = gAllocations.load();
    for (auto _ : state) {
        EnvironmentInfo info = function(p, 5, radius);
        benchmark::DoNotOptimize(info);
        p.x += 1e-3;
    }
    Counters(state, gAllocations.load() - before, world.queries);
}

}  // namespace

BENCHMARK(BM_InteractWithEnvironment<&kInAir>)->Name("InteractWithEnvironment/Vehicle10/InAir");
BENCHMARK(BM_InteractWithEnvironment<&kOnGround>)->Name("InteractWithEnvironment/Vehicle10/OnGround");
BENCHMARK(BM_InteractWithEnvironment<&kAfloat>)->Name("InteractWithEnvironment/Vehicle10/Afloat");
BENCHMARK(BM_ComputeAerodynamicSurfaces<&kInAir>)->Name("ComputeAerodynamicSurfaces/Vehicle10/InAir");
BENCHMARK(BM_EnvironmentQuery)->Name("Baseline/EnvironmentQuery");

BENCHMARK_MAIN();
