// Drag of a box, and aerodynamic surfaces: how they are built from the colliders and what they do.
#include <gtest/gtest.h>

#include <cmath>

#include <glm/gtc/quaternion.hpp>

#include "game/physics/Aerodynamics.h"
#include "game/physics/EnvironmentInfo.h"
#include "game/physics/EnvironmentRandom.h"
#include "game/physics/EnvironmentWorld.h"
#include "game/physics/PhysicsTestEntity.h"
#include "game/physics/Rigidbody.h"

using game::entity::ConvexMeshCollider;
using game::physics::AerodynamicSurface;
using game::physics::DynamicRigidbody;
using physics_test::EnvironmentWorld;
using physics_test::ExpectNear;
using physics_test::MakeBoxEntity;
using physics_test::MakeCube;
using physics_test::PhysicsTestEntity;
using Body = DynamicRigidbody<PhysicsTestEntity>;

namespace {

constexpr double kPi = 3.141592653589793;

// A 2 m chord, 8 m span, 10 cm thick wing of 2 t flying along +x at `speed` with its nose up by
// `degrees`, high in still air. Returns the aerodynamic force of one substep, buoyancy removed.
glm::dvec3 WingForce(double speed, double degrees) {
    EnvironmentWorld world;
    auto e = MakeBoxEntity({1, 4, 0.05}, 2000);
    e->position = {0, 0, 1000};
    e->rotation = glm::angleAxis(-degrees * kPi / 180, glm::dvec3(0, 1, 0));
    e->velocity = {speed, 0, 0};
    Body body(e, 0.01);
    const auto function = world.Function();
    body.ComputeAerodynamicSurfaces(function);
    const double dt = 1e-3;
    body.InteractWithEnvironment(function, dt);
    glm::dvec3 force = (body.velocity - e->velocity) * 2000.0 / dt;
    force.z -= 9.81 * 1.6 * world.airDensity;  // the wing's buoyancy in air
    return force;
}

}  // namespace

// Quadratic pressure drag on each axis's frontal area plus Stokes drag, against the motion.
TEST(EnvironmentDrag, OpposesMotionOnEveryAxisWithCyclicAreas) {
    using game::physics::GetDragForce;
    // 2 x 1 x 0.5 m at 10 m/s along x in air: 0.5 * 1.2 * 1.05 * 2 * 100 = 126 N, plus 6 pi mu v * 2.
    glm::dvec3 f = GetDragForce(1.2, {2, 1, 0.5}, {10, 0, 0}, 1.05, 1.8e-5);
    EXPECT_NEAR(f.x, -(126.0 + 6 * M_PI * 1.8e-5 * 20), 1e-9);
    // Frontal areas A_x = 1*2, A_y = 2*3, A_z = 3*1.
    f = GetDragForce(1000, {1, 2, 3}, {-1, 2, -3}, 0.5, 0);
    ExpectNear(f, 0.5 * 1000 * 0.5 * glm::dvec3(2 * 1, -6 * 4, 3 * 9), 1e-9);
}

// Lifting-line theory for a wing of aspect ratio AR: C_L = 2 pi alpha AR / (AR + 2), and
// L = 1/2 rho v^2 S C_L. Lift grows with the square of the speed and with the angle up to the
// stall; the drag stays well below it.
TEST(EnvironmentAerodynamics, WingLiftFollowsTheLiftingLine) {
    game::physics::SeedEnvironmentRandom(4);
    const double ar = 8.0 / 2.0, area = 16, rho = 1.2;
    for (double degrees : {2.0, 5.0}) {
        const double expected = 0.5 * rho * 40 * 40 * area * 2 * kPi * (degrees * kPi / 180) * ar / (ar + 2);
        EXPECT_NEAR(WingForce(40, degrees).z, expected, 0.03 * expected);
    }
    EXPECT_NEAR(WingForce(40, 5).z / WingForce(20, 5).z, 4.0, 0.05);
    double previous = 0;
    for (double degrees : {1.0, 4.0, 8.0, 12.0}) {
        const glm::dvec3 f = WingForce(40, degrees);
        EXPECT_GT(f.z, previous) << degrees;
        if (degrees >= 4) {
            EXPECT_GT(f.z, 4 * -f.x) << degrees;  // gliding better than 4 to 1
        }
        EXPECT_LT(f.x, 0);
        previous = f.z;
    }
    // Past the stall the wing loses lift.
    EXPECT_LT(WingForce(40, 25).z, WingForce(40, 14).z);
}

// The same surface, facing the flow or turned away, pushes the same way: a thin plate lifts
// from both sides. A force larger than what would stop the motion in the step is cut to that.
TEST(EnvironmentAerodynamics, TurnedAwayFaceIsMirroredAndForceIsClamped) {
    EnvironmentWorld world;
    auto e = MakeCube(100, {0, 0, 1000});
    glm::dvec3 change[2];
    for (int side = 0; side < 2; ++side) {
        Body body(e, 0.01);
        body.velocity = {10, 0, -1};
        AerodynamicSurface s;
        s.normal = {0, 0, side ? -1.0 : 1.0};
        s.area = 1;
        s.liftCoefficient = 0.3;
        s.dragCoefficient = 0.4;
        body.aerodynamicSurfaces.push_back(s);
        body.InteractWithEnvironment(world.Function(), 0.01);
        change[side] = body.velocity - glm::dvec3(10, 0, -1);
    }
    EXPECT_EQ(change[0], change[1]);
    // The flow comes from below-ahead, so the normal facing it is -z and the lift points +z.
    EXPECT_GT(change[0].z, 0);

    Body body(e, 0.01);
    body.velocity = {10, 0, 0};
    AerodynamicSurface huge;
    huge.normal = {1, 0, 0};
    huge.area = 1e6;
    huge.dragCoefficient = 0.4;
    body.aerodynamicSurfaces.push_back(huge);
    body.InteractWithEnvironment(world.Function(), 0.01);
    EXPECT_NEAR(body.velocity.x, 0.0, 1e-9);
}

// A box moving straight along +x shows the flow one face of 1 m^2: one drag surface with
// C_d 0.4 there. A second box right behind it is in its shadow, and a small part (under a
// two-hundredth of the volume) makes no surfaces of its own.
TEST(EnvironmentAerodynamics, SurfacesOnExposedFacesOnly) {
    EnvironmentWorld world;
    auto e = MakeCube(100);
    ConvexMeshCollider rear, knob;
    rear.SetBox({-2.5f, -0.5f, -0.5f}, {-1.5f, 0.5f, 0.5f});
    knob.SetBox({-0.2f, 0.6f, -0.1f}, {0.0f, 0.8f, 0.1f});
    e->colliders["rear"] = rear;
    e->colliders["knob"] = knob;
    e->boundsMin = {-2.5, -0.5, -0.5};
    e->centerOfMass = glm::dvec3(0.0);
    Body body(e, 0.01);
    body.velocity = {30, 0, 0};
    for (int round = 0; round < 20; ++round) {
        body.ComputeAerodynamicSurfaces(world.Function());
        ASSERT_EQ(body.aerodynamicSurfaces.size(), 1u);
        const AerodynamicSurface& s = body.aerodynamicSurfaces[0];
        EXPECT_NEAR(s.position.x, 0.5, 1e-6);
        EXPECT_NEAR(s.area, 1, 1e-6);
        EXPECT_EQ(s.dragCoefficient, 0.4);
    }
    // Diagonal motion shows three faces of the front box, each by its cosine, and part of the
    // rear box's +x face can be seen past the front box: the projected areas add up to more.
    // The knob is taken away first: seen diagonally it shadows a random part of the top face.
    std::erase_if(body.colliders, [](const ConvexMeshCollider& c) { return c.box_max.y > 0.55f; });
    body.velocity = {10, 10, 10};
    body.ComputeAerodynamicSurfaces(world.Function());
    double front = 0;
    for (const AerodynamicSurface& s : body.aerodynamicSurfaces) {
        if (s.position.x > -1) front += s.area;
    }
    EXPECT_NEAR(front, 3 / std::sqrt(3.0), 1e-6);

    // In a vacuum there are no surfaces.
    body.velocity = {30, 0, 0};
    world.airDensity = 0;
    body.ComputeAerodynamicSurfaces(world.Function());
    EXPECT_TRUE(body.aerodynamicSurfaces.empty());
}

// A container collider (fill below 0.9) is not surfaced itself: its children are.
TEST(EnvironmentAerodynamics, ContainerPassesSurfacesToItsChildren) {
    EnvironmentWorld world;
    auto e = MakeBoxEntity({2, 2, 2}, 100);
    ConvexMeshCollider& box = e->colliders["hull"];
    box.fill = 0.5;
    ConvexMeshCollider child;
    child.SetBox({-0.5f, -0.5f, -0.5f}, {0.5f, 0.5f, 0.5f});
    child.transform = glm::translate(glm::dmat4(1.0), glm::dvec3(1, 0, 0));
    box.children->push_back(child);
    Body body(e, 0.01);
    body.velocity = {0, 0, -20};
    body.ComputeAerodynamicSurfaces(world.Function());
    ASSERT_EQ(body.aerodynamicSurfaces.size(), 1u);
    ExpectNear(body.aerodynamicSurfaces[0].position, {1, 0, -0.5}, 1e-6);
    EXPECT_NEAR(body.aerodynamicSurfaces[0].area, 1, 1e-6);
}

// A tail plane level with the main wing keeps its lift in the wing's wake (wings don't hide
// other wings' lift), but a block in front of it does hide it.
TEST(EnvironmentAerodynamics, TailBehindAWingStillLifts) {
    EnvironmentWorld world;
    for (bool block : {false, true}) {
        auto e = MakeBoxEntity({1, 4, 0.05}, 800);
        ConvexMeshCollider tail;
        tail.SetBox({-5, -2, 0.05f}, {-4, 2, 0.15f});  // just above the wing's plane
        e->colliders["tail"] = tail;
        if (block) {
            ConvexMeshCollider box;
            box.SetBox({-3.5f, -3, -1}, {-2.5f, 3, 1});
            e->colliders["block"] = box;
        }
        e->boundsMin = {-5, -4, -1};
        e->boundsMax = {1, 4, 1};
        Body body(e, 0.01);
        // Flow from 0.7 degrees below: the ray from the tail's lower face meets the wing.
        body.velocity = {40, 0, -0.5};
        body.ComputeAerodynamicSurfaces(world.Function());
        double tailLiftArea = 0;
        for (const AerodynamicSurface& s : body.aerodynamicSurfaces) {
            if (s.liftCoefficient > 0 && s.position.x < -3) tailLiftArea += s.area;
        }
        EXPECT_NEAR(tailLiftArea, block ? 0.0 : 4.0, 1e-9) << block;
    }
}
