// The whole physics step with real entities: models from data/models, a flat y-up test world,
// ticks through Game::ServerUpdate.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <shared_mutex>
#include <string>
#include <tuple>
#include <vector>

#include <glm/gtc/constants.hpp>

#include "StepWorld.h"
#include "game/physics/PhysicsStepReference.h"
#include "game/physics/Rigidbody.h"

namespace physics_step_test {
namespace {

using game::Game;
using game::entity::Id;
using game::entity::ServerSideEntity;
using RefFixed = game::physics::Rigidbody<ServerSideEntity>;
using RefDynamic = game::physics::DynamicRigidbody<ServerSideEntity>;

class PhysicsStep : public physics_test::StepWorld {
protected:
    std::shared_ptr<ServerSideEntity> Slab() { return Spawn("slab", {0, 0, 0}, false); }

    static void Tick(int count = 1) {
        for (int i = 0; i < count; ++i) Game::ServerUpdate(kDt, kSubsteps);
    }
};

// The pose and motion of an entity, the state the step writes.
struct State {
    glm::dvec3 position, velocity, angularVelocity, localAcceleration, linearImpulse, angularImpulse, external;
    glm::dquat rotation;
    double restTime;
    Id parent;
    bool nodesMoved;
    static State Of(const ServerSideEntity& e) {
        return {e.position,       e.velocity,       e.angularVelocity, e.localAcceleration, e.linearImpulse,
                e.angularImpulse, e.externalAcceleration, e.rotation,  e.restTime,          e.parentEntity,
                e.nodesMoved};
    }
    void To(ServerSideEntity& e) const {
        std::tie(e.position, e.velocity, e.angularVelocity, e.localAcceleration, e.linearImpulse, e.angularImpulse,
                 e.externalAcceleration, e.rotation, e.restTime, e.parentEntity, e.nodesMoved) =
            std::tie(position, velocity, angularVelocity, localAcceleration, linearImpulse, angularImpulse, external,
                     rotation, restTime, parent, nodesMoved);
    }
    bool operator==(const State&) const = default;
};

// One pass over a flat contact gives the rest test the corners of the touching faces, not one
// corner, and stops the box turning about the axes of the face (it keeps turning about the
// normal); a box whose centre of mass is past the slab's edge keeps tipping. One corner's impulse
// used to leave the spin that rocks a landed box from corner to corner.
TEST_F(PhysicsStep, OneContactPassOnAFaceHoldsTheBoxButItTipsOverAnEdge) {
    std::shared_ptr<ServerSideEntity> slab = Slab();
    RefFixed fixed(slab);
    auto contact = [&](glm::dvec3 position, glm::dvec3 spin) {
        std::shared_ptr<ServerSideEntity> box = Spawn("cube", position);
        box->angularVelocity = spin;
        RefDynamic body(box, kDt);
        body.fixedCandidates.push_back(&fixed);
        body.CollisionDetection(kDt / kSubsteps);
        return body;
    };
    RefDynamic still = contact({0.2, 0.499, -0.1}, glm::dvec3(0.0));
    EXPECT_GE(still.staticRelativeContactPoints.size(), 4u);
    glm::dvec3 normal;
    EXPECT_TRUE(still.GetStaticContact(normal));
    EXPECT_NEAR(normal.y, 1.0, 1e-9);
    EXPECT_EQ(still.restCount, 1.0);
    const glm::dvec3 lying = contact({0.2, 0.499, -0.1}, {0.8, 0.5, -0.6}).angularVelocity;
    EXPECT_NEAR(lying.x, 0.0, 1e-12);
    EXPECT_NEAR(lying.z, 0.0, 1e-12);
    EXPECT_NEAR(lying.y, 0.5, 0.05);
    const glm::dvec3 overhanging = contact({10.3, 0.499, 0}, {0.8, 0.5, -0.6}).angularVelocity;
    EXPECT_GT(glm::length(glm::dvec2(overhanging.x, overhanging.z)), 0.1);
}

TEST_F(PhysicsStep, VehicleOfComponentsFallsLandsAndKeepsItsShape) {
    Slab();
    auto root = Spawn("cube", {0, 3, 0});
    auto left = Spawn("cube", {});
    auto right = Spawn("cube", {});
    Attach(root, left, {-1.5, -0.5, 0});
    Attach(root, right, {1.5, -0.5, 0});
    const double rootMass = root->mass;
    Tick(420);
    // The components hold the vehicle: their bottoms, 1 m under the root's centre, touch the slab.
    EXPECT_NEAR(root->GetPositionAtCenterOfMass().y, 1.0, 0.05);
    EXPECT_NEAR(glm::dot(root->rotation * glm::dvec3(0, 1, 0), glm::dvec3(0, 1, 0)), 1.0, 1e-3);
    EXPECT_EQ(left->position, glm::dvec3(-1.5, -0.5, 0));
    EXPECT_EQ(right->position, glm::dvec3(1.5, -0.5, 0));
    EXPECT_EQ(root->mass, rootMass);
}

// Gravity reaches a top-level body in every substep, the first included: in a vacuum it falls
// 0.5 g t^2 whatever the substep count, and a module's own acceleration of the frame adds to it.
TEST_F(PhysicsStep, FreeFallInAVacuumIsHalfGTSquaredWithAnySubstepCount) {
    world.airDensity = world.airViscosity = 0;
    for (int substeps : {1, 2, 4, 8}) {
        for (double thrust : {0.0, 4.0}) {
            SCOPED_TRACE(testing::Message() << substeps << " substeps, thrust " << thrust);
            auto box = Spawn("cube", {0, 50, 0});
            const double y0 = box->GetPositionAtCenterOfMass().y;
            constexpr int kFrames = 45;
            for (int frame = 0; frame < kFrames; ++frame) {
                box->externalAcceleration = {0, thrust, 0};  // written anew each frame, as a module does
                ServerSideEntity::PhysicsUpdate(kDt, substeps);
            }
            const double t = kFrames * kDt, a = thrust - 9.81;
            EXPECT_NEAR(box->GetPositionAtCenterOfMass().y, y0 + 0.5 * a * t * t, 1e-9);
            EXPECT_NEAR(box->velocity.y, a * t, 1e-9);
            EXPECT_NEAR(box->position.x, 0.0, 1e-12);
            ServerSideEntity::Destroy(box->id);
            made.pop_back();
        }
    }
}

// A free body in the frame of a spinning parent feels the frame's centrifugal acceleration
// w^2 r outwards, and the Euler acceleration -dw/dt x r while the parent's spin is driven.
TEST_F(PhysicsStep, SpinningParentsFrameGivesCentrifugalAndEulerAccelerations) {
    world.gravity = glm::dvec3(0.0);
    world.airDensity = world.airViscosity = 0;
    auto slab = Slab();  // fixed, turning at 3 rad/s about its vertical axis
    slab->angularVelocity = {0, 3, 0};
    auto rider = Spawn("cube", {4, 3, 0});
    rider->parentEntity = slab->id;

    auto wheel = Spawn("cube", {0, 50, 0});  // moving, its spin driven by a torque of the frame
    wheel->angularImpulse = {0, 20, 0};
    auto passenger = Spawn("cube", {1.5, 0, 0});
    passenger->parentEntity = wheel->id;
    const glm::dvec3 alpha = glm::inverse(wheel->GetInertiaTensorWorld()) * (wheel->angularImpulse / kDt);
    const glm::dvec3 euler = -glm::cross(alpha, passenger->position - wheel->centerOfMass);

    ServerSideEntity::PhysicsUpdate(kDt, kSubsteps);
    const glm::dvec3 centrifugal = rider->velocity / kDt;
    EXPECT_NEAR(glm::length(centrifugal - glm::dvec3(9.0 * 4.0, 0, 0)), 0.0, 1e-9);
    ASSERT_GT(glm::length(euler), 1.0);
    EXPECT_NEAR(glm::length(passenger->velocity / kDt - euler), 0.0, 1e-9);
    EXPECT_EQ(rider->parentEntity, slab->id);
    EXPECT_EQ(passenger->parentEntity, wheel->id);
}

TEST_F(PhysicsStep, InertiaTensorOfAnEntityIsItsBoxTurned) {
    auto box = Spawn("cube", {0, 0, 0});
    box->mass = 12;
    box->box_size = {2, 4, 6};  // in its own axes: 52, 40, 20
    box->rotation = glm::angleAxis(glm::half_pi<double>(), glm::dvec3(0, 1, 0));
    const glm::dmat3 inertia = box->GetInertiaTensorWorld();
    const glm::dmat3 expected(20, 0, 0, 0, 40, 0, 0, 0, 52);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) EXPECT_NEAR(inertia[i][j], expected[i][j], 1e-12) << i << j;
    box->mass = 0;
    EXPECT_DEATH(box->GetInertiaTensorWorld(),
                 "ASSERTION FAILED: \\(mass > 0.0\\) in src/game/entity/ServerSideEntity.cpp:236");
    box->mass = 1;
    box->box_size.y = 0;
    EXPECT_DEATH(box->GetInertiaTensorWorld(),
                 "ASSERTION FAILED: \\(box_size.y > 0.0\\) in src/game/entity/ServerSideEntity.cpp:238");
}

TEST_F(PhysicsStep, BodyKindsAndEdgeCases) {
    auto resting = Spawn("cube", {5, 0.5, 0});
    resting->restTime = 1.0;
    auto weightless = Spawn("cube", {-5, 3, 0});
    weightless->mass = 0;
    weightless->velocity = {1, 0, 0};
    auto orphanRoot = Spawn("cube", {0, 9, 0});
    orphanRoot->isRigidbody = false;  // has no body, so its component adds nothing anywhere
    auto orphan = Spawn("cube", {});
    Attach(orphanRoot, orphan, {0, 1, 0});
    resting->nodesMoved = weightless->nodesMoved = true;

    Tick();
    EXPECT_EQ(resting->position, glm::dvec3(5, 0.5, 0));  // fixed: no integration
    EXPECT_EQ(resting->restTime, 1.0);                    // clamped
    EXPECT_NEAR(resting->localAcceleration.y, -9.81, 1e-12);
    EXPECT_EQ(weightless->position, glm::dvec3(-5, 3, 0));
    EXPECT_FALSE(resting->nodesMoved);
    EXPECT_FALSE(weightless->nodesMoved);
    EXPECT_EQ(orphan->position, glm::dvec3(0, 1, 0));
    EXPECT_EQ(orphanRoot->position, glm::dvec3(0, 9, 0));
}

// A random scene with every kind of body: a slab with children, a crowd of boxes large enough for
// the swept broad phase, resting boxes, vehicles, orbiting bodies, ignored pairs.
void RandomScene(std::mt19937& rng,
                 const std::function<std::shared_ptr<ServerSideEntity>(const std::string&, glm::dvec3, bool)>& spawn) {
    std::uniform_real_distribution<double> u(-1, 1);
    auto slab = spawn("slab", {0, 0, 0}, false);
    std::vector<std::shared_ptr<ServerSideEntity>> boxes;
    for (int i = 0; i < 40; ++i) {
        auto box = spawn("cube", {3 * u(rng), 1.5 + 2 * u(rng) + 2, 3 * u(rng)}, true);
        box->velocity = {u(rng), u(rng), u(rng)};
        box->angularVelocity = {u(rng), u(rng), u(rng)};
        box->rotation = glm::normalize(glm::dquat(1, 0.2 * u(rng), 0.2 * u(rng), 0.2 * u(rng)));
        if (i % 7 == 3) box->restTime = 1.0;
        if (i % 9 == 4) box->parentEntity = slab->id;
        if (i % 11 == 5 && !boxes.empty()) box->ignoredEntities.insert(boxes.back()->id);
        if (i % 13 == 6) box->linearImpulse = {0, 300, 0};
        boxes.push_back(box);
    }
    for (int v = 0; v < 2; ++v) {
        auto root = spawn("cube", {6 + 3 * v, 3, 0}, true);
        for (int c = 0; c < 2; ++c) {
            auto part = spawn("cube", {}, true);
            part->isComponent = true;
            part->parentEntity = root->id;
            part->position = {c ? 1.2 : -1.2, -0.4, 0.1 * v};
        }
    }
    for (int o = 0; o < 6; ++o) {
        auto body = spawn("cube", {u(rng), 50 + u(rng), u(rng)}, true);
        body->relativeEnvironmentId = 0;
        body->parentEnvironmentId = physics_test::StepWorld::kEnv;
        body->velocity = {100 * u(rng), 0, 0};
    }
}

TEST_F(PhysicsStep, OptimisedStepMatchesThePlainReadingPoseForPose) {
    for (unsigned seed : {1u, 2u, 3u}) {
        std::mt19937 rng(seed);
        RandomScene(rng, [this](const std::string& t, glm::dvec3 p, bool d) { return Spawn(t, p, d); });
        std::vector<State> start;
        for (auto& e : made) start.push_back(State::Of(*e));
        constexpr int kFrames = 40;
        std::vector<std::vector<State>> optimised(kFrames);
        for (int f = 0; f < kFrames; ++f) {
            ServerSideEntity::PhysicsUpdate(kDt, kSubsteps);
            for (auto& e : made) optimised[f].push_back(State::Of(*e));
        }
        for (size_t i = 0; i < made.size(); ++i) start[i].To(*made[i]);
        for (int f = 0; f < kFrames; ++f) {
            std::shared_lock lock(ServerSideEntity::_sharedObjectsMutex);
            game::physics::ReferencePhysicsStep(kDt, kSubsteps);
            for (size_t i = 0; i < made.size(); ++i) {
                ASSERT_TRUE(State::Of(*made[i]) == optimised[f][i])
                    << "seed " << seed << " frame " << f << " entity " << i << " at "
                    << made[i]->position.x << " " << made[i]->position.y << " " << made[i]->position.z;
            }
        }
        for (auto& e : made) ServerSideEntity::Destroy(e->id);
        made.clear();
    }
}

}  // namespace
}  // namespace physics_step_test
