// Rigid bodies against physics worked out by hand: free motion, spin, impulses, the solid-box
// inertia, construction from an entity and the write-back with its parent rules.
#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

#include "game/physics/Rigidbody.h"
#include "game/physics/PhysicsTestEntity.h"

using game::physics::DynamicRigidbody;
using game::physics::Rigidbody;
using physics_test::ConvexMeshCollider;
using physics_test::ExpectNear;
using physics_test::MakeBoxEntity;
using physics_test::MakeCube;
using physics_test::PhysicsTestEntity;
using Body = DynamicRigidbody<PhysicsTestEntity>;

TEST(PhysicsRigidbody, ConstructionPlacesCollidersAroundTheCentreOfMass) {
    auto e = MakeBoxEntity({1, 2, 3}, 10, {1, 0, 0});
    e->position = {5, 0, 0};
    e->rotation = glm::angleAxis(glm::half_pi<double>(), glm::dvec3(0, 0, 1));
    // A disabled collider far away doesn't count; a half-filled container counts by its fill.
    ConvexMeshCollider far;
    far.SetBox({100, 100, 100}, {101, 101, 101});
    far.enabled = false;
    e->colliders["far"] = far;
    ConvexMeshCollider hollow;
    hollow.SetBox({0, -1, -1}, {2, 1, 1});
    hollow.fill = 0.5;
    e->colliders["hollow"] = hollow;

    Rigidbody<PhysicsTestEntity> body(e);
    // Centre of mass (1, 0, 0) turned by 90 degrees about z lands at (0, 1, 0) from the origin.
    ExpectNear(body.position, {5, 1, 0});
    ASSERT_EQ(body.colliders.size(), 2u);
    EXPECT_DOUBLE_EQ(body.displacedVolume, 2 * 4 * 6 + 2 * 2 * 2 * 0.5);
    ExpectNear(body.boundsMin, {-1, -2, -3});
    ExpectNear(body.boundsMax, {1, 2, 3});
    EXPECT_DOUBLE_EQ(body.radius, 0.5 * std::sqrt(4.0 + 16 + 36));
    for (const auto& c : body.colliders) {
        const glm::dvec3 centre = (glm::dvec3(c.box_min) + glm::dvec3(c.box_max)) * 0.5;
        const glm::dvec3 placed(c.transform * glm::dvec4(centre, 1.0));
        ExpectNear(placed, {0, 0, 0});
    }
}

TEST(PhysicsRigidbody, ImpulsesBecomeAccelerationsThroughTheSolidBoxInertia) {
    auto e = MakeBoxEntity({1, 1, 1}, 4);
    e->velocity = {3, 4, 0};
    e->linearImpulse = {8, 0, 0};
    e->angularImpulse = {0, 0, 2};
    Body body(e, 0.5);
    EXPECT_DOUBLE_EQ(body.invMass, 0.25);
    ExpectNear(body.linearAcceleration, {4, 0, 0});  // 8 / 0.5 / 4
    // Cube of side 2, mass 4: I = m (a^2 + a^2) / 12 = 8/3 about every axis.
    ExpectNear(body.angularAcceleration, {0, 0, 4 / (8.0 / 3)});
    // The broad phase reaches as far as the body can move in the step.
    EXPECT_DOUBLE_EQ(body.broadphaseRadius, std::sqrt(3.0) + 0.5 * 0.5 * 5);

    // Sides 2, 4, 6 of 12 kg: Ixx = 52, Iyy = 40, Izz = 20; turned 90 degrees about z, world x is body y.
    auto turned = MakeBoxEntity({1, 2, 3}, 12);
    turned->rotation = glm::angleAxis(glm::half_pi<double>(), glm::dvec3(0, 0, 1));
    const glm::dmat3 inv = Body(turned, 0.1).invInertiaTensorWorld;
    ExpectNear({inv[0][0], inv[1][1], inv[2][2]}, {1 / 40.0, 1 / 52.0, 1 / 20.0});
}

TEST(PhysicsRigidbody, FreeMotionAndSpinFollowTheHandWorkedSteps) {
    auto e = MakeCube(2, {}, {1, 2, 3});
    e->externalAcceleration = {0, 0, -9.81};
    e->linearImpulse = {0.2, 0, 0};  // 0.2 / dt / m = 1 m/s^2 along x
    e->angularVelocity = {0, 0, 2};
    const double dt = 0.1;
    Body body(e, dt);
    body.frameAcceleration = {0, 0.5, 0};
    const glm::dvec3 p0 = body.position, v0 = body.velocity, a(1, 0.5, -9.81);
    for (int i = 0; i < 37; ++i) body.IntegrateMotion(dt);
    const double t = 37 * dt;
    ExpectNear(body.position, p0 + v0 * t + 0.5 * a * t * t, 1e-9);
    ExpectNear(body.velocity, v0 + a * t, 1e-9);
    // Each step multiplies by (1, 0, 0, w dt / 2) and normalises: a turn of 2 atan(w dt / 2).
    const glm::dquat expected = glm::angleAxis(37 * 2 * std::atan(2 * dt / 2), glm::dvec3(0, 0, 1));
    EXPECT_NEAR(std::abs(glm::dot(body.rotation, expected)), 1.0, 1e-12);
    ExpectNear(body.angularVelocity, {0, 0, 2});

    // A rotation that has lost its length becomes the identity.
    body.rotation = glm::dquat(0, 0, 0, 0);
    body.IntegrateMotion(dt);
    EXPECT_EQ(body.rotation, glm::dquat(1, 0, 0, 0));
}

TEST(PhysicsRigidbody, BrokenInvariantsAbort) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto flat = MakeBoxEntity({1, 1, 0}, 1);
    EXPECT_DEATH(Body(flat, 0.1),
                 "ASSERTION FAILED: \\(box_size.z > 0.0\\) in src/game/physics/Rigidbody.hpp:202");
    auto massless = MakeBoxEntity({1, 1, 1}, 0);
    EXPECT_DEATH(Body(massless, 0.1), "ASSERTION FAILED: \\(mass > 0\\) in src/game/physics/Rigidbody.hpp:181");
    EXPECT_DEATH(Body(massless, 0), "ASSERTION FAILED: \\(deltaTime > 0\\) in src/game/physics/Rigidbody.hpp:179");
    auto box = MakeBoxEntity({1, 1, 1}, 1);
    Body body(box, 0.1);
    body.staticContactNormals.push_back({0, 0, 1});
    glm::dvec3 n;
    EXPECT_DEATH(body.GetStaticContact(n),
                 "ASSERTION FAILED: \\(staticContactNormals.size\\(\\) == staticRelativeContactPoints.size\\(\\)\\) in "
                 "src/game/physics/Rigidbody.hpp:113");
}

class PhysicsApplyToEntity : public ::testing::Test {
protected:
    std::shared_ptr<PhysicsTestEntity> ground = MakeBoxEntity({10, 10, 1}, 1000);
    std::shared_ptr<PhysicsTestEntity> box = MakeCube(1);

    // A top-level box moving along x at `speed`, touching the ground body.
    void Attach(double speed, bool touchingEnvironment = false) {
        box->velocity = {speed, 0, 0};
        Body body(box, 0.1);
        Rigidbody<PhysicsTestEntity> fixed(ground);
        body.potentialNewParent = ground;
        body.touchingEnvironment = touchingEnvironment;
        body.ApplyToEntity(0.1);
    }

    // The box as a child of the ground, moving at `speed` relative to it.
    Body ChildBody(double speed) {
        box->parentEntity = ground->id;
        box->velocity = {speed, 0, 0};
        return Body(box, 0.1);
    }
};

TEST_F(PhysicsApplyToEntity, WritesPoseAndClearsTheFrameInputs) {
    box->centerOfMass = {0, 0, 0.5};
    box->position = {1, 2, 3};
    box->linearImpulse = {1, 1, 1};
    box->angularImpulse = {1, 0, 0};
    box->impulseExtra = 2;
    box->externalAcceleration = {0, 0, -9.81};
    box->restTime = 0.5;
    Body body(box, 0.1);
    body.position = {10, 0, 0};
    body.rotation = glm::angleAxis(glm::pi<double>(), glm::dvec3(1, 0, 0));
    body.restCount = 2;
    body.ApplyToEntity(0.1);
    // The entity's origin lies opposite the turned centre of mass.
    ExpectNear(box->position, {10, 0, 0.5});
    const glm::dvec3 zero(0.0);
    EXPECT_EQ(std::tuple(box->linearImpulse, box->angularImpulse, box->impulseExtra, box->externalAcceleration),
              std::tuple(zero, zero, 0.0f, zero));
    EXPECT_DOUBLE_EQ(box->restTime, 2.5);
    EXPECT_FALSE(box->localAccelerationDirty);
}

TEST_F(PhysicsApplyToEntity, FeltAccelerationIsWeightlessInFreeFall) {
    box->externalAcceleration = {0, 0, -9.81};
    box->rotation = glm::angleAxis(glm::half_pi<double>(), glm::dvec3(0, 0, 1));
    {
        Body falling(box, 0.1);
        falling.IntegrateMotion(0.1);
        falling.ApplyToEntity(0.1);
    }
    ExpectNear(box->localAcceleration, {0, 0, 0});
    // Held still against an acceleration of the frame: the entity feels it, in its own axes
    // (turned 90 degrees about z, world x is the entity's -y).
    Body held(box, 0.1);
    held.frameAcceleration = {2, 0, 0};
    held.ApplyToEntity(0.1);
    ExpectNear(box->localAcceleration, {0, -0.2, 0});
    Body again(box, 0.1);
    again.frameAcceleration = {2, 0, 0};
    again.ApplyToEntity(0.1);
    ExpectNear(box->localAcceleration, {0, -0.2 * 0.9 - 0.2, 0});
}

TEST_F(PhysicsApplyToEntity, AttachesOnlyBelowFiveMetresPerSecondAndNeverOnTheGroundOrToAChild) {
    Attach(5.0);
    Attach(1.0, true);
    EXPECT_EQ(ground->addChildCalls, 0);
    EXPECT_TRUE(box->parentEntity.IsNull());
    Attach(std::nextafter(5.0, 0.0));
    EXPECT_EQ(ground->addChildCalls, 1);
    EXPECT_EQ(box->parentEntity, ground->id);
    box->parentEntity = {};
    ground->parentEntity = MakeBoxEntity({1, 1, 1}, 1)->id;
    Attach(1.0);
    EXPECT_EQ(ground->addChildCalls, 1);
}

// Touching the parent, a child leaves it above 10 m/s; on the ground it leaves unless it touches it.
TEST_F(PhysicsApplyToEntity, DetachRules) {
    Rigidbody<PhysicsTestEntity> parent(ground);
    struct Case {
        double speed;
        bool hasParentBody, touchingParent, touchingEnvironment, detaches;
    };
    for (const Case& c : {Case{10.0, true, true, false, false}, Case{10.0, false, true, false, false},
                          Case{1.0, true, true, true, false}, Case{std::nextafter(10.0, 11.0), true, true, false, true},
                          Case{1.0, true, false, true, true}}) {
        ground->removeChildCalls = 0;
        Body body = ChildBody(c.speed);
        if (c.hasParentBody) body.parentBody = &parent;
        body.touchingParent = c.touchingParent;
        body.touchingEnvironment = c.touchingEnvironment;
        body.ApplyToEntity(0.1);
        EXPECT_EQ(ground->removeChildCalls, c.detaches ? 1 : 0) << c.speed << c.hasParentBody << c.touchingEnvironment;
        EXPECT_EQ(box->parentEntity.IsNull(), c.detaches);
    }
}

TEST_F(PhysicsApplyToEntity, LeavesAParentItNoLongerTouchesAndKeepsItsPlace) {
    ground->position = {0, 0, 100};
    ground->rotation = glm::angleAxis(0.3, glm::dvec3(0, 1, 0));
    ground->velocity = {1, 0, 0};
    box->centerOfMass = {0.25, 0, 0};
    box->position = {2, 0, 3};
    Body body = ChildBody(12.0);
    const glm::dvec3 worldCentre = ground->GetTransform() * glm::dvec4(body.position, 1.0);
    body.frameAcceleration = {0, 0, 4};
    body.ApplyToEntity(0.1);
    EXPECT_EQ(ground->removeChildCalls, 1);
    ExpectNear(body.position, worldCentre, 1e-12);
    ExpectNear(body.position, box->GetPositionAtCenterOfMass(), 1e-12);
    ExpectNear(body.frameAcceleration, {0, 0, 0});
    EXPECT_EQ(body.rotation, box->rotation);

    // A child that can't detach stays.
    auto stuck = MakeCube(1);
    stuck->isDetachable = false;
    stuck->parentEntity = ground->id;
    Body stuckBody(stuck, 0.1);
    stuckBody.ApplyToEntity(0.1);
    EXPECT_EQ(ground->removeChildCalls, 1);
    EXPECT_EQ(stuck->parentEntity, ground->id);
}

TEST_F(PhysicsApplyToEntity, ACandidateThatIsTheParentAborts) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    Rigidbody<PhysicsTestEntity> parent(ground);
    Body body = ChildBody(1.0);
    body.parentBody = &parent;
    body.potentialNewParent = ground;
    EXPECT_DEATH(body.ApplyToEntity(0.1),
                 "ASSERTION FAILED: \\(potentialNewParent->GetID\\(\\) != entity->parentEntity\\) in "
                 "src/game/physics/Rigidbody.hpp:908");
}

TEST_F(PhysicsApplyToEntity, ExpiredEntityIsLeftAlone) {
    Body body(box, 0.1);
    body.velocity = {1, 0, 0};
    PhysicsTestEntity::Registry().erase(box->id);
    box.reset();
    body.ApplyToEntity(0.1);  // nothing to write, nothing to crash
    EXPECT_TRUE(body.entity.expired());
}
