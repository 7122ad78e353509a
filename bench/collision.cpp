// ConvexCollision calls per second for overlapping boxes, boxes separated on an axis, and the
// sphere path, with heap allocations per call (operator new is counted here). The "Plain" rows
// run the same tests read literally (every vertex pair, vertices placed again for each axis) in
// the same run, as the baseline. ColliderCopy checks that copying a collider allocates nothing;
// CollisionDetection/BoxOnSlab is one substep of a body's whole contact path.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <new>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/quaternion.hpp>

#include "game/physics/ConvexCollision.h"
#include "game/physics/ConvexCollisionReference.h"
#include "game/physics/Rigidbody.h"
#include "quorl/cpu/Profiler.h"

#include "AllocationCounter.h"
#include "BenchEntity.h"

using game::entity::ConvexMeshCollider;
using game::physics::Collision;

namespace {

ConvexMeshCollider Box(const glm::dvec3& position, double angle, bool sphere = false) {
    ConvexMeshCollider c;
    c.SetBox({-0.5f, -0.5f, -0.5f}, {0.5f, 0.5f, 0.5f});
    c.isSphere = sphere;
    c.transform = glm::translate(glm::dmat4(1.0), position) *
                  glm::mat4_cast(glm::angleAxis(angle, glm::normalize(glm::dvec3(1, 2, 3))));
    return c;
}

struct Scene {
    ConvexMeshCollider a, b;
};

// Overlapping: every axis is tested. Separated: the boxes' spheres meet but a face axis
// parts them. Sphere: a sphere against a turned box.
Scene Overlapping() { return {Box({0, 0, 0}, 0.3), Box({0.7, 0.2, 0.1}, 1.1)}; }
Scene Separated() { return {Box({0, 0, 0}, 0.0), Box({1.2, 0.1, 0.0}, 0.2)}; }
Scene SpherePath() { return {Box({0, 0, 0}, 0.0, true), Box({0.8, 0.3, 0.1}, 0.7)}; }

// The literal reading, as the baseline, with the same profiler section.
Collision PlainConvexCollision(const ConvexMeshCollider& a, const ConvexMeshCollider& b) {
    quorl::cpu::Profiler profile("PlainConvexCollision", true);
    return game::physics::ReferenceConvexCollision(a, b);
}

template <Scene (*Make)(), bool Plain>
void BM_ConvexCollision(benchmark::State& state) {
    const Scene scene = Make();
    const bool expectHit = game::physics::ConvexCollision(scene.a, scene.b).depth > 0;
    const uint64_t before = gAllocations.load();
    for (auto _ : state) {
        Collision c = Plain ? PlainConvexCollision(scene.a, scene.b) : game::physics::ConvexCollision(scene.a, scene.b);
        benchmark::DoNotOptimize(c);
    }
    const uint64_t allocations = gAllocations.load() - before;
    state.counters["calls/s"] = benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
    state.counters["allocs/call"] = double(allocations) / double(state.iterations());
    state.counters["hit"] = expectHit;
}

}  // namespace

BENCHMARK_TEMPLATE(BM_ConvexCollision, Overlapping, false)->Name("ConvexCollision/OverlappingBoxes");
BENCHMARK_TEMPLATE(BM_ConvexCollision, Overlapping, true)->Name("Plain/OverlappingBoxes");
BENCHMARK_TEMPLATE(BM_ConvexCollision, Separated, false)->Name("ConvexCollision/SeparatedBoxes");
BENCHMARK_TEMPLATE(BM_ConvexCollision, Separated, true)->Name("Plain/SeparatedBoxes");
BENCHMARK_TEMPLATE(BM_ConvexCollision, SpherePath, false)->Name("ConvexCollision/SpherePath");
BENCHMARK_TEMPLATE(BM_ConvexCollision, SpherePath, true)->Name("Plain/SpherePath");
// Refilling a body's kept collider from an entity's collider with a long name and a capturing
// callback, as bodies do every step.
static void BM_ColliderCopy(benchmark::State& state) {
    ConvexMeshCollider c = Box({0, 0, 0}, 0.3);
    c.name = "left wing outer panel collider";
    auto owner = std::make_shared<int>(1);
    c.callback = [owner](game::physics::RigidbodyBase*, ConvexMeshCollider*, ConvexMeshCollider*, Collision&, double) {
        return *owner > 0;
    };
    const uint64_t before = gAllocations.load();
    ConvexMeshCollider kept;
    for (auto _ : state) {
        game::physics::detail::CopyForStep(kept, c);
        benchmark::DoNotOptimize(kept);
    }
    state.counters["allocs/copy"] = double(gAllocations.load() - before) / double(state.iterations());
}
BENCHMARK(BM_ColliderCopy)->Name("ColliderCopy");

std::shared_ptr<BenchEntity> BoxEntity(const glm::dvec3& half, const glm::dvec3& centre, double mass) {
    auto e = std::make_shared<BenchEntity>();
    e->mass = mass;
    ConvexMeshCollider c;
    c.SetBox(glm::vec3(centre - half), glm::vec3(centre + half));
    e->colliders["hull"] = c;
    e->boundsMin = centre - half;
    e->boundsMax = centre + half;
    e->box_size = 2.0 * half;
    e->centerOfMass = centre;
    return e;
}

// One substep of collision work of a box sinking 1 mm into a fixed slab, with the body's contact
// lists reused as the physics step can reuse them.
static void BM_CollisionDetectionBoxOnSlab(benchmark::State& state) {
    auto ground = BoxEntity({20, 20, 0.5}, {0, 0, -0.5}, 1000);
    auto box = BoxEntity({0.5, 0.5, 0.5}, {0, 0, 0}, 10);
    game::physics::Rigidbody<BenchEntity> fixed(ground);
    game::physics::DynamicRigidbody<BenchEntity> body(box, 1.0 / 240);
    body.fixedCandidates.push_back(&fixed);
    body.staticContactNormals.reserve(8);
    body.staticRelativeContactPoints.reserve(8);
    const uint64_t before = gAllocations.load();
    for (auto _ : state) {
        body.position = {0.1, 0.2, 0.499};
        body.rotation = glm::dquat(1, 0, 0, 0);
        body.velocity = {0.5, 0, -1};
        body.angularVelocity = glm::dvec3(0.0);
        body.staticContactNormals.clear();
        body.staticRelativeContactPoints.clear();
        body.CollisionDetection(1.0 / 240);
        benchmark::DoNotOptimize(body.position);
    }
    state.counters["calls/s"] = benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
    state.counters["allocs/call"] = double(gAllocations.load() - before) / double(state.iterations());
}
BENCHMARK(BM_CollisionDetectionBoxOnSlab)->Name("CollisionDetection/BoxOnSlab");

// What the profiler section of every call costs on its own.
static void BM_ProfilerScope(benchmark::State& state) {
    for (auto _ : state) {
        quorl::cpu::Profiler profile("ConvexCollision", true);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_ProfilerScope)->Name("ProfilerScope");

BENCHMARK_MAIN();
