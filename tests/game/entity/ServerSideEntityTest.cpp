#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

#include <glm/ext/matrix_relational.hpp>
#include <glm/gtc/matrix_transform.hpp>

#include "EntityTestWorld.h"

using namespace entity_test;
using game::entity::BaseEntity;
using game::entity::Id;
using quorl::modular::ModuleID;

namespace {

std::shared_ptr<ServerSideEntity> Bare() {
    return ServerSideEntity::Create<ServerSideEntity>(ModuleID(), "", Id());
}

}  // namespace

TEST(EntityBase, BoundingBoxFromTwoCornersOfEveryCollider) {
    BaseEntity e;
    game::entity::ConvexMeshCollider flat;
    flat.box_min = flat.box_max = {1, 2, 3};
    e.colliders["flat"] = flat;
    e.UpdateBoundingBox(false);
    // The centre of mass stays at 0: it was not asked to follow.
    EXPECT_EQ(glm::dmat3(e.box_size, e.boundsCenter, e.centerOfMass), glm::dmat3(0, 0, 0, 1, 2, 3, 0, 0, 0));

    // A disabled collider counts; a rotated one contributes only its two transformed corners.
    game::entity::ConvexMeshCollider box;
    box.SetBox({-1, -1, -1}, {1, 1, 1});
    box.enabled = false;
    box.transform = glm::rotate(glm::dmat4(1.0), glm::radians(90.0), glm::dvec3(0, 0, 1));
    e.colliders.clear();
    e.colliders["box"] = box;
    e.UpdateBoundingBox(true);
    // Corners (-1,-1,-1) and (1,1,1) rotated by 90 degrees about z: (1,-1,-1) and (-1,1,1).
    EXPECT_NEAR(e.boundsMin.x, -1, 1e-12);
    EXPECT_NEAR(e.boundsMax.x, 1, 1e-12);
    EXPECT_NEAR(e.boundsRadius, std::sqrt(12.0) / 2, 1e-12);
    EXPECT_EQ(e.centerOfMass, e.boundsCenter);

    // At 45 degrees both corners land on x = 0, though the true hull is wider.
    e.colliders["box"].transform = glm::rotate(glm::dmat4(1.0), glm::radians(45.0), glm::dvec3(0, 0, 1));
    e.UpdateBoundingBox(true);
    EXPECT_NEAR(e.box_size.x, 0.0, 1e-12);
}

TEST(EntityBase, UpdateFollowsNodesOnlyWhenMoved) {
    BaseEntity e;
    game::entity::ConvexMeshCollider c;
    c.SetBox({0, 0, 0}, {1, 1, 1});
    e.colliders["c"] = c;
    e.nodeTransforms["c"] = glm::translate(glm::dmat4(1.0), glm::dvec3(10, 0, 0));
    e.Update(0.1);
    EXPECT_EQ(e.colliders["c"].transform, glm::dmat4(1.0));
    e.nodesMoved = true;
    e.Update(0.1);
    EXPECT_EQ(e.colliders["c"].transform[3].x, 10.0);
    EXPECT_EQ(e.boundsMin.x, 10.0);
    EXPECT_TRUE(e.nodesMoved);  // the physics step clears it
    e.colliders["orphan"] = c;
    EXPECT_EQ(ErrorText<std::out_of_range>([&] { e.Update(0.1); }), "unordered_map::at");
}

using EntityServerSide = EntityWorld;

TEST_F(EntityServerSide, CreateGetAndDuplicates) {
    auto e = Bare();
    EXPECT_EQ(std::string(e->id).substr(0, 4), "ENTT");
    Id half = Id::Generate("ENTT");
    half.timestamp = 0;
    half.random = 0;
    auto g = ServerSideEntity::Create<ServerSideEntity>(ModuleID(), "", half);
    EXPECT_FALSE(g->id == half);  // a half-null id is replaced

    e->Serialize();
    EXPECT_EQ(ErrorText<std::runtime_error>([&] { ServerSideEntity::Create<ServerSideEntity>(ModuleID(), "", e->id); }),
              "UNIQUE_OBJECT ServerSideEntity with id " + e->id.ToString() + " already exists");
    EXPECT_TRUE(std::filesystem::exists(e->GetStateSaveFile()));
    EXPECT_EQ(ServerSideEntity::Get(e->id), e);

    // An unknown kind is a bare body; a registered kind gets its behaviour.
    auto bare = ServerSideEntity::Create<ServerSideEntity>(ModuleID(kModule), "nothing", Id());
    EXPECT_FALSE(bare->_interface);
    auto p = ServerSideEntity::Create<ServerSideEntity>(ModuleID(kModule), "payload", Id());
    EXPECT_TRUE(std::dynamic_pointer_cast<PayloadInterface>(p->_interface));
}

TEST_F(EntityServerSide, AddAndRemoveChildKeepWorldPose) {
    auto parent = Bare(), child = Bare();
    parent->position = {5, -1, 2};
    parent->rotation = glm::normalize(glm::dquat(0.7, 0.2, -0.4, 0.1));
    parent->velocity = {1, 2, 3};
    child->position = {-3, 4, 8};
    child->rotation = glm::normalize(glm::dquat(0.1, 0.9, 0.3, 0.2));
    child->velocity = {7, 0, -1};
    child->angularVelocity = {0, 1, 0};
    glm::dmat4 world = child->GetTransform();
    glm::dvec3 velocity = child->velocity, spin = child->angularVelocity;

    parent->AddChild(child);
    EXPECT_EQ(child->parentEntity, parent->id);
    EXPECT_TRUE(glm::all(glm::equal(parent->GetTransform() * child->GetTransform(), world, 1e-9)));
    // Velocity relative to the parent, in the parent's axes.
    glm::dvec3 relative = glm::inverse(parent->rotation) * (velocity - parent->velocity);
    EXPECT_NEAR(glm::length(child->velocity - relative), 0, 1e-12);

    parent->RemoveChild(child);
    EXPECT_TRUE(child->parentEntity.IsNull());
    EXPECT_TRUE(glm::all(glm::equal(child->GetTransform(), world, 1e-9)));
    EXPECT_NEAR(glm::length(child->velocity - velocity), 0, 1e-12);
    EXPECT_NEAR(glm::length(child->angularVelocity - spin), 0, 1e-12);
}

TEST_F(EntityServerSide, TreeAssertionsAbort) {
    auto a = Bare(), b = Bare(), c = Bare();
    a->AddChild(b);
    EXPECT_DEATH(c->AddChild(b), "ASSERTION FAILED: \\(!entity->parentEntity\\) in src/game/entity/ServerSideEntity.cpp:");
    EXPECT_DEATH(c->RemoveChild(b),
                 "ASSERTION FAILED: \\(entity->parentEntity == GetID\\(\\)\\) in src/game/entity/ServerSideEntity.cpp:271");
    EXPECT_DEATH(a->AddChild(a), "ASSERTION FAILED: \\(entity->GetID\\(\\) != GetID\\(\\)\\) in src/game/entity/ServerSideEntity.cpp:261");
    c->isComponent = true;
    EXPECT_DEATH(a->AddChild(c), "ASSERTION FAILED: \\(!entity->isComponent\\) in src/game/entity/ServerSideEntity.cpp:");
    b->isComponent = true;
    EXPECT_DEATH(a->RemoveChild(b), "ASSERTION FAILED: \\(!entity->isComponent\\) in src/game/entity/ServerSideEntity.cpp:272");
}

TEST_F(EntityServerSide, RefreshCacheTakesTheRootsEnvironmentAndWakeState) {
    auto root = Bare(), middle = Bare(), leaf = Bare();
    root->relativeEnvironmentId = 11;
    root->parentEnvironmentId = 22;
    middle->parentEntity = root->id;
    leaf->parentEntity = middle->id;
    middle->isDetachable = true;
    middle->restTime = 2.0;
    leaf->atRest = true;
    leaf->RefreshCache();
    EXPECT_EQ(std::tuple(leaf->relativeEnvironmentId, leaf->parentEnvironmentId, leaf->ancestorAwake, leaf->atRest),
              std::tuple(11u, 22u, false, true));
    middle->restTime = 1.5;
    leaf->RefreshCache();
    EXPECT_EQ(std::pair(leaf->ancestorAwake, leaf->atRest), std::pair(true, false));
    // A parent chain that loops (a corrupt save) ends instead of hanging.
    root->parentEntity = leaf->id;
    leaf->RefreshCache();
    EXPECT_TRUE(leaf->ancestorAwake);
}

TEST_F(EntityServerSide, VehicleAndPhysicsParent) {
    auto vehicle = Bare(), part = Bare(), sub = Bare();
    part->isComponent = sub->isComponent = true;
    part->parentEntity = vehicle->id;
    sub->parentEntity = part->id;
    part->position = {1, 0, 0};
    sub->position = {0, 2, 0};
    EXPECT_EQ(sub->GetVehicleID(), vehicle->id);
    EXPECT_EQ(vehicle->GetVehicleID(), vehicle->id);
    EXPECT_EQ(sub->GetFirstNonComponentParent(), vehicle);
    EXPECT_EQ(vehicle->GetFirstNonComponentParent(), nullptr);
    EXPECT_EQ(glm::dvec3(sub->GetTransformInPhysicsParent()[3]), glm::dvec3(1, 2, 0));
    // The parent is gone: a component is its own vehicle.
    Id gone = part->id;
    part.reset();
    ServerSideEntity::Destroy(gone);
    EXPECT_EQ(sub->GetVehicleID(), sub->id);
    EXPECT_EQ(sub->GetFirstNonComponentParent(), nullptr);
}

TEST_F(EntityServerSide, TickHooksRunOnlyWhenInitialized) {
    struct Counting : ServerSideEntity::Interface {
        int before = 0, update = 0, after = 0;
        void BeforeUpdate(double) override { ++before; }
        void Update(double) override { ++update; }
        void AfterUpdate(double) override { ++after; }
    };
    ServerSideEntity::_registered_interfaces[kModule]["counting"] = {nullptr, [] { return std::make_shared<Counting>(); }};
    auto e = ServerSideEntity::Create<ServerSideEntity>(ModuleID(kModule), "counting", Id());
    auto* c = static_cast<Counting*>(e->_interface.get());
    for (bool initialized : {false, true}) {
        c->initialized = initialized;
        e->BeforeUpdate(0.1);
        e->Update(0.1);
        e->AfterUpdate(0.1);
    }
    EXPECT_EQ(glm::ivec3(c->before, c->update, c->after), glm::ivec3(1));
}
