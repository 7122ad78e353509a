// Paths that must not touch the heap once warm. This binary replaces the global operator new to
// count allocations; it is a binary of its own so that the other suites keep the sanitizers'
// checks of new and delete.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"  // GCC misreads frees in inlined library code
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "game/entity/PressurizedVolume.h"
#include "game/entity/ServerSideEntity.h"
#include "game/physics/StepWorld.h"

using game::entity::Id;
using game::entity::ServerSideEntity;
using quorl::modular::ModuleID;

namespace {

// Allocations made on this thread while countAllocations is set.
thread_local bool countAllocations = false;
thread_local size_t allocations = 0;

using Allocations = physics_test::StepWorld;

}  // namespace

void* operator new(size_t size) {
    if (countAllocations) ++allocations;
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }

TEST_F(Allocations, EntityWalkAllocatesNothing) {
    for (int i = 0; i < 500; ++i) made.push_back(ServerSideEntity::Create<ServerSideEntity>(ModuleID(), "", Id()));
    size_t seen = 0;
    std::function<void(std::shared_ptr<ServerSideEntity>)> visit = [&seen](std::shared_ptr<ServerSideEntity> e) {
        seen += e->isComponent ? 0 : 1;
    };
    allocations = 0;
    countAllocations = true;
    ServerSideEntity::ForEach(std::move(visit));
    countAllocations = false;
    EXPECT_EQ(seen, 500u);
    EXPECT_EQ(allocations, 0u);
}

TEST_F(Allocations, SteadyPhysicsFramesAllocateNothing) {
    Spawn("slab", {0, 0, 0}, false);
    // Colliders with names too long for a small-string buffer and contact callbacks too large to be
    // held in place: the step must not copy them.
    int contacts = 0;
    for (int i = 0; i < 30; ++i) {
        auto box = Spawn("cube", {(i % 6) * 1.5 - 4, 0.6 + (i / 6) * 1.1, 0});
        for (auto& [name, c] : box->colliders) {
            c.name = "a collider name far too long for any small-string buffer";
            c.callback = [&contacts, padding = std::array<double, 8>{}](game::physics::RigidbodyBase*,
                                                                       game::entity::ConvexMeshCollider*,
                                                                       game::entity::ConvexMeshCollider*,
                                                                       game::physics::Collision&, double) {
                contacts += 1 + int(padding[0]);
                return true;
            };
        }
    }
    // A vehicle: its root body takes its components' colliders each frame.
    auto root = Spawn("cube", {10, 3, 0});
    for (double x : {-1.5, 1.5}) Attach(root, Spawn("cube", {}), {x, -0.5, 0});
    auto flyer = Spawn("cube", {0, 80, 0});  // in the environment of its parent, far from the others
    flyer->relativeEnvironmentId = 0;
    flyer->parentEnvironmentId = kEnv;
    // Warm: the boxes have landed, joined the slab and come to rest, and the vehicle has settled. A
    // body that changes group moves the bodies after it to other kept places, which may first have
    // to grow once; steady frames are those after such changes.
    for (int i = 0; i < 150; ++i) ServerSideEntity::PhysicsUpdate(kDt, kSubsteps);
    allocations = 0;
    countAllocations = true;
    for (int i = 0; i < 10; ++i) ServerSideEntity::PhysicsUpdate(kDt, kSubsteps);
    countAllocations = false;
    EXPECT_EQ(allocations, 0u);
    EXPECT_GT(contacts, 0);
}

// Update looks each molecule up once, for its liquid density and its molar mass together: a
// molecule made from its formula costs a copy of its entries, so at most one allocation per entry.
TEST(VolumeAllocations, UpdateLooksEachMoleculeUpOnce) {
    auto v = std::make_shared<game::entity::PressurizedVolume>();
    v->volume = 2.0;
    v->temperature = 300;
    v->composition = {{"N2", 1.5}, {"O2", 0.4}, {"Ar", 0.1}, {"H2O", 0.2}};
    v->Update(0);
    allocations = 0;
    countAllocations = true;
    v->Update(0.1);
    countAllocations = false;
    EXPECT_LE(allocations, v->composition.size());
}
