// One physics tick of a pile of N boxes (1 m, 100 kg) dropped onto a 20 m slab: dt 1/60 and 4
// substeps, 240 ticks after the first one (fall, impacts, settling). The same scene runs in
// Bullet (box shapes, restitution 0, one thread) in the same process; its time per tick and the
// ratio (ours / Bullet) are reported beside ours. Heap allocations per tick are counted through
// the global operator new. Bullet is compiled in when the build defines ZENDOLA_HAVE_BULLET and
// links it; without it only our runs are made. A second scene, the tall pile, drops a block of
// 1,024 turned boxes in 8 layers onto the same slab (thinner than a box) and reports, beside the
// time per tick of each engine, how many boxes ended off the slab or pressed into or through it.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <vector>

#if defined(ZENDOLA_HAVE_BULLET)
#include <btBulletDynamicsCommon.h>
#endif

#include <glm/gtc/quaternion.hpp>

#include "game/Game.h"
#include "game/entity/EntityConfig.h"
#include "game/entity/ServerSideEntity.h"
#include "game/physics/ConvexCollision.h"
#include "game/physics/EnvironmentRandom.h"
#include "game/physics/Rigidbody.h"
#include "quorl/cpu/Profiler.h"

#include "AllocationCounter.h"

namespace {

using game::Game;
using game::entity::EntityConfig;
using game::entity::Id;
using game::entity::ServerSideEntity;

constexpr double kDt = 1.0 / 60.0;
constexpr int kSubsteps = 4;
constexpr int kTicks = 240;
constexpr game::entity::EnvironmentId kEnv = 1;
constexpr const char* kModule = "BENCH_physicsstep";

std::map<int64_t, std::pair<double, double>> gZendolaMsPerTick;  // real and CPU time

// Box centres of the pile: layers of 4 boxes up, columns on a square grid, small gaps.
std::vector<glm::dvec3> Pile(int n) {
    const int layers = 4;
    const int perLayer = (n + layers - 1) / layers;
    int side = 1;
    while (side * side < perLayer) ++side;
    std::vector<glm::dvec3> out;
    for (int i = 0; i < n; ++i) {
        const int layer = i / perLayer, k = i % perLayer;
        const double x = (k % side - (side - 1) * 0.5) * 1.05, z = (k / side - (side - 1) * 0.5) * 1.05;
        out.push_back({x + 0.01 * layer, 0.6 + 1.1 * layer, z});
    }
    return out;
}

// A block of turned boxes several layers high: `layers` layers of a square grid, each box turned
// about the vertical by an angle of its own and tipped a little, 1.5 m apart so that no two start
// in contact. Dropped onto a 0.5 m slab, thinner than a box.
struct Placed {
    glm::dvec3 position;
    glm::dquat rotation;
};
std::vector<Placed> TurnedBlock(int n, int layers) {
    const int perLayer = (n + layers - 1) / layers;
    int side = 1;
    while (side * side < perLayer) ++side;
    std::vector<Placed> out;
    for (int i = 0; i < n; ++i) {
        const int layer = i / perLayer, k = i % perLayer;
        const double x = (k % side - (side - 1) * 0.5) * 1.5, z = (k / side - (side - 1) * 0.5) * 1.5;
        const double yaw = 0.7 * i, tip = 0.05 * ((i * 7) % 5 - 2);
        const glm::dquat q = glm::angleAxis(yaw, glm::dvec3(0, 1, 0)) * glm::angleAxis(tip, glm::dvec3(1, 0, 0));
        out.push_back({{x, 1.0 + 1.5 * layer, z}, q});
    }
    return out;
}
constexpr int kTallBoxes = 1024, kTallLayers = 8, kTallTicks = 600;

// Where the boxes of the tall pile went: off the slab's edge (the centre outside its 20 m square
// at the end), or into or through it: a corner more than 10 cm into the 0.5 m slab at the end, or,
// at any tick, the centre under the slab's mid-plane while inside its square and near it. A box
// that fell off the edge and slid under the slab on the ground far below counts as off, not
// through.
struct PileOutcome {
    int off = 0, through = 0;
};
struct PileWatch {
    std::vector<uint8_t> crossed;
    explicit PileWatch(size_t n) : crossed(n, 0) {}
    void See(size_t i, const glm::dvec3& centre) {
        crossed[i] |= std::abs(centre.x) < 9.5 && std::abs(centre.z) < 9.5 && centre.y < -0.25 && centre.y > -3;
    }
};
PileOutcome Judge(const std::vector<std::pair<glm::dvec3, glm::dquat>>& boxes, const PileWatch& watch) {
    PileOutcome out;
    for (size_t i = 0; i < boxes.size(); ++i) {
        const auto& [centre, rotation] = boxes[i];
        if (std::abs(centre.x) > 10 || std::abs(centre.z) > 10 || (centre.y < -1.5 && !watch.crossed[i])) {
            ++out.off;
            continue;
        }
        bool into = watch.crossed[i] != 0;
        for (int c = 0; c < 8; ++c) {
            const glm::dvec3 corner((c & 4) ? 0.5 : -0.5, (c & 2) ? 0.5 : -0.5, (c & 1) ? 0.5 : -0.5);
            const glm::dvec3 p = centre + rotation * corner;
            into |= std::abs(p.x) < 10 && std::abs(p.z) < 10 && p.y < -0.1 && p.y > -1.5;
        }
        out.through += into;
    }
    return out;
}

// data/models of the source tree: beside this file's folder, or found from the working directory
// (a build folder two levels down, or the tree itself), or under $ZENDOLA_SOURCE_DIR.
std::filesystem::path ModelFolder() {
    std::vector<std::filesystem::path> candidates{std::filesystem::path(__FILE__).parent_path().parent_path(), "../..",
                                                  "."};
    if (const char* root = std::getenv("ZENDOLA_SOURCE_DIR")) candidates.insert(candidates.begin(), root);
    for (const auto& root : candidates) {
        std::error_code ec;
        if (std::filesystem::exists(root / "data" / "models" / "cube.ini", ec)) return root / "data" / "models";
    }
    return {};
}

std::string ModelPath(const std::string& type) { return (ModelFolder() / (type + ".ini")).string(); }

void RegisterModels() {
    for (const char* type : {"cube", "slab"}) {
        auto config = std::make_shared<EntityConfig>(ModelPath(type));
        ServerSideEntity::_registered_interfaces[kModule][type] = {
            config, [] { return std::make_shared<ServerSideEntity::Interface>(); }};
    }
    Game::_environmentFunctions[kEnv] = [](const glm::dvec3& p, game::physics::EnvironmentInfoFlags flags,
                                           const double&) {
        game::physics::EnvironmentInfo info;
        info.gravity = {0, -9.81, 0};
        info.altitude = p.y + 100;
        if (flags & 1) {
            info.collision.position = {p.x, -100, p.z};
            info.collision.normal = {0, 1, 0};
            info.collision.depth = -100 - p.y;
        }
        info.density = 1.2;
        info.viscosity = 1.5e-5;
        return info;
    };
}

// Ids are numbered rather than drawn, so that the bodies come in the same order, and the pile
// falls the same way, in every run.
std::shared_ptr<ServerSideEntity> Spawn(const char* type, glm::dvec3 position, bool detachable) {
    static uint64_t next = 0;
    Id id;
    std::memcpy(id.prefix, "ENTT", 4);
    id.owner = 1;
    id.timestamp = ++next;
    id.random = 1;
    auto e = ServerSideEntity::Create<ServerSideEntity>(quorl::modular::ModuleID(kModule), type, id);
    e->deleteFilesOnDestroy = false;
    e->isRigidbody = true;
    e->isDetachable = detachable;
    e->relativeEnvironmentId = kEnv;
    e->position = position;
    return e;
}

void BM_ZendolaPile(benchmark::State& state) {
    if (ModelFolder().empty()) {
        state.SkipWithError("data/models not found: run from the build folder or set ZENDOLA_SOURCE_DIR");
        for (auto _ : state) {
        }
        return;
    }
    RegisterModels();
    const int n = int(state.range(0));
    std::vector<std::shared_ptr<ServerSideEntity>> entities{Spawn("slab", {0, 0, 0}, false)};
    for (const glm::dvec3& p : Pile(n)) entities.push_back(Spawn("cube", p, true));
    // The first tick sizes the step's storage; allocations are counted from the second on.
    ServerSideEntity::PhysicsUpdate(kDt, kSubsteps);
    const uint64_t before = gAllocations.load();
    for (auto _ : state) ServerSideEntity::PhysicsUpdate(kDt, kSubsteps);
    const double ticks = double(state.iterations());
    state.counters["allocs/tick"] = double(gAllocations.load() - before) / ticks;
    int resting = 0;
    for (auto& e : entities) resting += e->isDetachable && e->restTime >= 1.0;
    state.counters["resting"] = resting;
    for (auto& e : entities) ServerSideEntity::Destroy(e->id);
    // Where the time went, with ZENDOLA_BENCH_PROFILE set.
    if (std::getenv("ZENDOLA_BENCH_PROFILE")) {
        for (const auto& entry : quorl::cpu::Profiler::Snapshot())
            if (entry.path.find("PhysicsUpdate") != std::string::npos)
                std::fprintf(stderr, "%-90s %10llu calls %10.3f ms\n", entry.path.c_str(),
                             static_cast<unsigned long long>(entry.count), entry.totalMs);
        quorl::cpu::Profiler::ResetAll();
    }
}

// With ZENDOLA_BENCH_PILE_TRACE set, the tall pile's state every 30 ticks: boxes falling free,
// carried by the slab, at rest, off it; the highest box; of the boxes over the slab not at rest, how many
// move and the fastest (speed plus spin).
void TracePile(int tick, const std::vector<std::shared_ptr<ServerSideEntity>>& boxes, const Id& slab) {
    int free = 0, carried = 0, resting = 0, moving = 0, off = 0;
    double fastest = 0, highest = -1e9;
    for (const auto& e : boxes) {
        free += e->parentEntity.IsNull();
        carried += e->parentEntity == slab;
        resting += e->restTime >= 1.0;
        highest = std::max(highest, e->GetPositionAtCenterOfMass().y);
        const glm::dvec3 c = e->GetPositionAtCenterOfMass();
        off += std::abs(c.x) > 10 || std::abs(c.z) > 10;
        if (e->restTime >= 1.0 || std::abs(c.x) > 10 || std::abs(c.z) > 10 || c.y < -1)
            continue;
        const double speed = glm::length(e->velocity) + glm::length(e->angularVelocity);
        moving += speed > 0.05;
        fastest = std::max(fastest, speed);
    }
    std::fprintf(stderr, "tick %4d: free %4d carried %4d resting %4d off %4d moving %4d fastest %7.3f highest %6.2f\n",
                 tick, free, carried, resting, off, moving, fastest, highest);
}

// m: the deepest overlap between two boxes of the pile at its end, given by their centres of mass
// and rotations (a pile can look settled and low while its boxes sink into each other). Measured
// with the collision test on the collider of `cube`, a cube entity, in either engine's ending.
double DeepestOverlap(const ServerSideEntity& cube, const std::vector<std::pair<glm::dvec3, glm::dquat>>& boxes) {
    const game::entity::ConvexMeshCollider& collider = cube.colliders.begin()->second;
    auto place = [&](const std::pair<glm::dvec3, glm::dquat>& box) {
        const glm::dmat4 pose = game::physics::Multiply(glm::translate(glm::dmat4(1.0), box.first), glm::mat4_cast(box.second));
        return game::physics::Multiply(game::physics::Multiply(pose, glm::translate(glm::dmat4(1.0), -cube.centerOfMass)),
                                       collider.transform);
    };
    double deepest = 0;
    for (size_t i = 0; i < boxes.size(); ++i) {
        for (size_t j = i + 1; j < boxes.size(); ++j) {
            if (glm::length(boxes[i].first - boxes[j].first) > 2.0) continue;
            const double depth = game::physics::ConvexCollision(collider, place(boxes[i]), collider, place(boxes[j])).depth;
            deepest = std::max(deepest, depth);
            if (depth > 0.05 && std::getenv("ZENDOLA_BENCH_PILE_TRACE"))
                std::fprintf(stderr, "overlap %.3f: boxes %zu (%.2f %.2f %.2f) and %zu (%.2f %.2f %.2f)\n", depth, i,
                             boxes[i].first.x, boxes[i].first.y, boxes[i].first.z, j, boxes[j].first.x, boxes[j].first.y,
                             boxes[j].first.z);
        }
    }
    return deepest;
}

// The tall pile: time per tick over the fall and the settling, and where the boxes ended.
void BM_ZendolaTallPile(benchmark::State& state) {
    if (ModelFolder().empty()) {
        state.SkipWithError("data/models not found: run from the build folder or set ZENDOLA_SOURCE_DIR");
        for (auto _ : state) {
        }
        return;
    }
    RegisterModels();
    game::physics::SeedEnvironmentRandom(1);  // the same fall in every run
    std::vector<std::shared_ptr<ServerSideEntity>> boxes;
    auto slab = Spawn("slab", {0, 0, 0}, false);
    for (const Placed& p : TurnedBlock(kTallBoxes, kTallLayers)) {
        boxes.push_back(Spawn("cube", p.position, true));
        boxes.back()->rotation = p.rotation;
    }
    ServerSideEntity::PhysicsUpdate(kDt, kSubsteps);
    PileWatch watch(boxes.size());
    const bool trace = std::getenv("ZENDOLA_BENCH_PILE_TRACE") != nullptr;
    int tick = 0;
    const uint64_t before = gAllocations.load();
    for (auto _ : state) {
        ServerSideEntity::PhysicsUpdate(kDt, kSubsteps);
        // The slab stays at the origin unturned, so its frame, that of the boxes it carries, is the world's.
        for (size_t i = 0; i < boxes.size(); ++i) watch.See(i, boxes[i]->GetPositionAtCenterOfMass());
        if (trace && ++tick % 30 == 0) TracePile(tick, boxes, slab->id);
    }
    state.counters["allocs/tick"] = double(gAllocations.load() - before) / double(state.iterations());
    std::vector<std::pair<glm::dvec3, glm::dquat>> ends;
    int resting = 0;
    for (auto& e : boxes) {
        ends.push_back({e->GetPositionAtCenterOfMass(), e->rotation});
        resting += e->restTime >= 1.0;
    }
    const PileOutcome outcome = Judge(ends, watch);
    state.counters["off"] = outcome.off;
    state.counters["through"] = outcome.through;
    state.counters["resting"] = resting;
    state.counters["overlap_mm"] = 1000.0 * DeepestOverlap(*boxes.front(), ends);
    for (auto& e : boxes) ServerSideEntity::Destroy(e->id);
    ServerSideEntity::Destroy(slab->id);
}

#if defined(ZENDOLA_HAVE_BULLET)
void BM_BulletTallPile(benchmark::State& state) {
    btDefaultCollisionConfiguration configuration;
    btCollisionDispatcher dispatcher(&configuration);
    btDbvtBroadphase broadphase;
    btSequentialImpulseConstraintSolver solver;
    btDiscreteDynamicsWorld world(&dispatcher, &broadphase, &solver, &configuration);
    world.setGravity(btVector3(0, -9.81, 0));
    btBoxShape slabShape(btVector3(10, 0.25, 10));
    btBoxShape boxShape(btVector3(0.5, 0.5, 0.5));
    std::vector<std::unique_ptr<btDefaultMotionState>> motions;
    std::vector<std::unique_ptr<btRigidBody>> bodies;
    auto add = [&](btCollisionShape* shape, double mass, const glm::dvec3& p, const glm::dquat& q) {
        btTransform t;
        t.setIdentity();
        t.setOrigin(btVector3(p.x, p.y, p.z));
        t.setRotation(btQuaternion(q.x, q.y, q.z, q.w));
        motions.push_back(std::make_unique<btDefaultMotionState>(t));
        btVector3 inertia(0, 0, 0);
        if (mass > 0) shape->calculateLocalInertia(mass, inertia);
        btRigidBody::btRigidBodyConstructionInfo info(mass, motions.back().get(), shape, inertia);
        info.m_restitution = 0;
        bodies.push_back(std::make_unique<btRigidBody>(info));
        world.addRigidBody(bodies.back().get());
    };
    add(&slabShape, 0, {0, -0.25, 0}, glm::dquat(1, 0, 0, 0));
    for (const Placed& p : TurnedBlock(kTallBoxes, kTallLayers)) add(&boxShape, 100, p.position, p.rotation);
    world.stepSimulation(kDt, kSubsteps, kDt / kSubsteps);
    PileWatch watch(bodies.size() - 1);
    const uint64_t before = gAllocations.load();
    for (auto _ : state) {
        world.stepSimulation(kDt, kSubsteps, kDt / kSubsteps);
        for (size_t i = 1; i < bodies.size(); ++i) {
            const btVector3& o = bodies[i]->getWorldTransform().getOrigin();
            watch.See(i - 1, {o.x(), o.y(), o.z()});
        }
    }
    state.counters["allocs/tick"] = double(gAllocations.load() - before) / double(state.iterations());
    std::vector<std::pair<glm::dvec3, glm::dquat>> ends;
    int resting = 0;
    for (size_t i = 1; i < bodies.size(); ++i) {
        const btTransform& t = bodies[i]->getWorldTransform();
        const btQuaternion q = t.getRotation();
        ends.push_back({{t.getOrigin().x(), t.getOrigin().y(), t.getOrigin().z()}, glm::dquat(q.w(), q.x(), q.y(), q.z())});
        resting += !bodies[i]->isActive();
    }
    const PileOutcome outcome = Judge(ends, watch);
    state.counters["off"] = outcome.off;
    state.counters["through"] = outcome.through;
    state.counters["resting"] = resting;
    if (!ModelFolder().empty()) {
        RegisterModels();
        auto cube = Spawn("cube", {0, 0, 0}, true);
        state.counters["overlap_mm"] = 1000.0 * DeepestOverlap(*cube, ends);
        ServerSideEntity::Destroy(cube->id);
    }
    for (auto& body : bodies) world.removeRigidBody(body.get());
}

void BM_BulletPile(benchmark::State& state) {
    const int n = int(state.range(0));
    btDefaultCollisionConfiguration configuration;
    btCollisionDispatcher dispatcher(&configuration);
    btDbvtBroadphase broadphase;
    btSequentialImpulseConstraintSolver solver;
    btDiscreteDynamicsWorld world(&dispatcher, &broadphase, &solver, &configuration);
    world.setGravity(btVector3(0, -9.81, 0));

    btBoxShape slabShape(btVector3(10, 0.25, 10));
    btBoxShape boxShape(btVector3(0.5, 0.5, 0.5));
    std::vector<std::unique_ptr<btDefaultMotionState>> motions;
    std::vector<std::unique_ptr<btRigidBody>> bodies;
    auto add = [&](btCollisionShape* shape, double mass, const glm::dvec3& p) {
        btTransform t;
        t.setIdentity();
        t.setOrigin(btVector3(p.x, p.y, p.z));
        motions.push_back(std::make_unique<btDefaultMotionState>(t));
        btVector3 inertia(0, 0, 0);
        if (mass > 0) shape->calculateLocalInertia(mass, inertia);
        btRigidBody::btRigidBodyConstructionInfo info(mass, motions.back().get(), shape, inertia);
        info.m_restitution = 0;
        bodies.push_back(std::make_unique<btRigidBody>(info));
        world.addRigidBody(bodies.back().get());
    };
    add(&slabShape, 0, {0, -0.25, 0});
    for (const glm::dvec3& p : Pile(n)) add(&boxShape, 100, p);

    world.stepSimulation(kDt, kSubsteps, kDt / kSubsteps);
    const uint64_t before = gAllocations.load();
    for (auto _ : state) world.stepSimulation(kDt, kSubsteps, kDt / kSubsteps);
    const double ticks = double(state.iterations());
    state.counters["allocs/tick"] = double(gAllocations.load() - before) / ticks;
    for (auto& body : bodies) world.removeRigidBody(body.get());
}
#endif

// The tall pile in both engines, one after the other.
void BM_TallPile(benchmark::State& state) {
    if (state.range(0) == 0) {
        BM_ZendolaTallPile(state);
        return;
    }
#if defined(ZENDOLA_HAVE_BULLET)
    BM_BulletTallPile(state);
#else
    state.SkipWithError("built without Bullet");
    for (auto _ : state) {
    }
#endif
}

// Runs both in turn for each N so that the ratio is taken within one run.
void BM_Compare(benchmark::State& state) {
    if (state.range(1) == 0) {
        BM_ZendolaPile(state);
        return;
    }
#if defined(ZENDOLA_HAVE_BULLET)
    BM_BulletPile(state);
#else
    state.SkipWithError("built without Bullet");
    for (auto _ : state) {
    }
#endif
}

}  // namespace

BENCHMARK(BM_Compare)
    ->ArgNames({"boxes", "bullet"})
    ->ArgsProduct({{64, 256, 1024}, {0, 1}})
    ->Iterations(kTicks)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TallPile)->ArgName("bullet")->Arg(0)->Arg(1)->Iterations(kTallTicks)->Unit(benchmark::kMillisecond);

// Prints per N: our ms per tick, Bullet's, and the ratio.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            const std::string name = run.benchmark_name();
            const double ms = run.GetAdjustedRealTime(), cpu = run.GetAdjustedCPUTime();
            if (name.find("TallPile") != std::string::npos) {
                auto count = [&run](const char* key) {
                    auto it = run.counters.find(key);
                    return it == run.counters.end() ? -1 : int(it->second.value);
                };
                std::printf("tall pile, %d turned boxes in %d layers, %s: %.3f ms/tick (cpu %.3f), off the slab %d, "
                            "through it %d, resting %d, deepest overlap %d mm\n",
                            kTallBoxes, kTallLayers, name.find("bullet:1") != std::string::npos ? "bullet" : "zendola",
                            ms, cpu, count("off"), count("through"), count("resting"), count("overlap_mm"));
                continue;
            }
            const int64_t boxes = std::atoll(name.substr(name.find("boxes:") + 6).c_str());
            if (name.find("bullet:0") != std::string::npos) {
                gZendolaMsPerTick[boxes] = {ms, cpu};
            } else if (gZendolaMsPerTick.count(boxes)) {
                const auto [ours, oursCpu] = gZendolaMsPerTick[boxes];
                std::printf("boxes %lld: zendola %.3f ms/tick (cpu %.3f), bullet %.3f ms/tick (cpu %.3f), ratio %.2f (cpu %.2f)\n",
                            static_cast<long long>(boxes), ours, oursCpu, ms, cpu, ours / ms, oursCpu / cpu);
            }        }
    }
};

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    // ZENDOLA_BENCH_VECTOR_BITS=128 or 256 narrows the collision test's wide loops.
    if (const char* bits = std::getenv("ZENDOLA_BENCH_VECTOR_BITS")) {
        std::printf("collision loops on %d-bit vectors\n", game::physics::LimitVectorWidth(std::atoi(bits)));
    }
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
