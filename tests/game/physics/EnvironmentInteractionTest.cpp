// A moving body in a flat test world: liquids, the environment's ground, queries, damping, parent frames.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <tuple>

#include <glm/gtc/matrix_transform.hpp>

#include "game/entity/ServerSideEntity.h"
#include "game/physics/EnvironmentRandom.h"
#include "game/physics/PhysicsTestEntity.h"

using game::entity::ConvexMeshCollider;
using game::physics::Collision;
using game::physics::DynamicRigidbody;
using game::physics::RigidbodyBase;
using physics_test::EnvironmentWorld;
using physics_test::ExpectNear;
using physics_test::MakeBoxEntity;
using physics_test::MakeCube;
using physics_test::PhysicsTestEntity;
using physics_test::Scene;
using Body = DynamicRigidbody<PhysicsTestEntity>;

// The physics step uses bodies of the server-side entity: all members must build with it.
template class game::physics::DynamicRigidbody<game::entity::ServerSideEntity>;

namespace {

// A flat raft, 2 x 2 m and 0.5 m high, made of four 1 x 1 x 0.5 m blocks, with the given density.
std::shared_ptr<PhysicsTestEntity> MakeRaft(double density) {
    auto raft = MakeBoxEntity({1, 1, 0.25}, density * 2.0);
    raft->colliders.clear();
    for (int i = 0; i < 2; ++i) {
        for (int j = 0; j < 2; ++j) {
            ConvexMeshCollider block;
            const glm::vec3 lo(-1.0f + i, -1.0f + j, -0.25f);
            block.SetBox(lo, lo + glm::vec3(1.0f, 1.0f, 0.5f));
            raft->colliders["block" + std::to_string(2 * i + j)] = block;
        }
    }
    return raft;
}

double Up(const PhysicsTestEntity& e) { return (e.rotation * glm::dvec3(0, 0, 1)).z; }

}  // namespace

// Archimedes: the share (rho - rho_air) / (rho_water - rho_air) of the height is under the surface,
// as a time average since buoyancy is sampled at one random point per block and substep.
TEST(EnvironmentBuoyancy, RaftFloatsAtTheDepthItsDensityGives) {
    for (double density : {300.0, 500.0, 800.0}) {
        SCOPED_TRACE(density);
        game::physics::SeedEnvironmentRandom(11);
        Scene scene;
        scene.world.liquidSurface = 0;
        scene.entity = MakeRaft(density);
        for (int frame = 0; frame < 300; ++frame) scene.Frame();
        double sum = 0, level = 0;
        const int frames = 900;
        for (int frame = 0; frame < frames; ++frame) {
            scene.Frame();
            sum += scene.entity->position.z;
            level += Up(*scene.entity);
        }
        const auto& w = scene.world;
        const double submerged = (density - w.airDensity) / (w.liquidDensity - w.airDensity);
        EXPECT_NEAR(sum / frames, 0.25 - 0.5 * submerged, 0.02);
        EXPECT_GT(level / frames, 0.99);  // and it floats level, rocking a little
    }
}

// A box dropped 10 cm comes to rest within half a second, level, where it fell; a sphere touches
// straight under its centre; a container (fill below 0.95) stands on its children, two legs
// reaching 0.5 m below the centre in a box reaching 1 m below it.
TEST(EnvironmentGround, BoxSphereAndContainerRestAtTheirLowestPoints) {
    game::physics::SeedEnvironmentRandom(1);
    enum Shape { kBox, kSphere, kContainer };
    for (Shape shape : {kBox, kSphere, kContainer}) {
        SCOPED_TRACE(shape);
        Scene scene;
        scene.world.groundHeight = 0;
        scene.entity = MakeBoxEntity(shape == kContainer ? glm::dvec3(1) : glm::dvec3(0.5), 10);
        ConvexMeshCollider& hull = scene.entity->colliders["hull"];
        if (shape == kSphere) {
            hull.isSphere = true;
            hull.radius = 0.5;
        } else if (shape == kContainer) {
            hull.fill = 0.5;
            for (float x : {-0.75f, 0.5f}) {
                ConvexMeshCollider leg;
                leg.SetBox({x, -0.5f, -0.5f}, {x + 0.25f, 0.5f, 0.5f});
                hull.children->push_back(leg);
            }
        }
        scene.entity->position = {0, 0, shape == kBox ? 0.6 : 0.55};
        int restingFrame = -1;
        for (int frame = 0; frame < 60; ++frame) {
            scene.Frame();
            if (restingFrame < 0 && scene.entity->restTime >= 1.0) restingFrame = frame;
        }
        EXPECT_NEAR(scene.entity->position.z, 0.5, 0.002);
        if (shape == kSphere) {
            EXPECT_NEAR(scene.entity->velocity.z, 0, 0.01);  // the air's buoyancy after the contact
            continue;
        }
        EXPECT_GT(Up(*scene.entity), 0.9999);
        if (shape == kBox) {
            EXPECT_GE(restingFrame, 0);
            EXPECT_LT(restingFrame, 30);
            EXPECT_LT(glm::length(glm::dvec2(scene.entity->position)), 0.03);
        }
    }
}

// A callback sees each ground contact with no other collider; a cancelled depth lets the body sink,
// and false keeps the contact out of the static contacts.
TEST(EnvironmentGround, CallbackCancelsOrKeepsContactsOut) {
    for (bool cancel : {true, false}) {
        EnvironmentWorld world;
        world.groundHeight = 0;
        auto e = MakeCube(10, {0, 0, 0.49});
        int calls = 0;
        bool sawNoOther = true;
        e->colliders["hull"].callback = [&](RigidbodyBase*, ConvexMeshCollider*, ConvexMeshCollider* other,
                                             Collision& c, double) {
            ++calls;
            sawNoOther = sawNoOther && other == nullptr;
            if (cancel) c.depth = 0;
            return false;
        };
        Body body(e, 0.01);
        body.velocity = {0, 0, -1};
        body.InteractWithEnvironment(world.Function(), 0.01);
        EXPECT_EQ(calls, 4);  // the four lower corners
        EXPECT_TRUE(sawNoOther);
        EXPECT_TRUE(body.staticContactNormals.empty());
        EXPECT_TRUE(body.touchingEnvironment);
        if (cancel) {
            EXPECT_NEAR(body.position.z, 0.49, 1e-12);
            EXPECT_LT(body.velocity.z, -0.98);
        } else {
            // Moved out once for the four corners; their impulses stop the fall, one after the other.
            EXPECT_NEAR(body.position.z, 0.5, 1e-9);
            EXPECT_NEAR(body.velocity.z, 0, 0.05);
        }
    }
}

// Ground queries start below three body radii of altitude, with bit 4 unless the collider says not.
TEST(EnvironmentGround, GroundQueriesOnlyNearTheGround) {
    auto e = MakeCube(10);
    e->colliders["second"] = e->colliders["hull"];
    e->colliders["second"].groundQueryWithoutBit4 = true;
    Body probe(e, 0.01);
    for (double altitude : {3 * probe.radius, 3 * probe.radius - 1e-9}) {
        EnvironmentWorld world;
        world.groundHeight = 0;
        Body body(e, 0.01);
        body.position = {0, 0, altitude};
        body.InteractWithEnvironment(world.Function(), 0.01);
        const bool near = altitude < 3 * body.radius;
        // The first query, flags 5, is always made.
        EXPECT_EQ(glm::ivec3(world.Count(7), world.Count(5), world.Count(1)),
                  near ? glm::ivec3(2, 2, 1) : glm::ivec3(0, 1, 0));
        EXPECT_FALSE(body.touchingEnvironment);  // near, but not touching
    }
}

// Without gravity the environment does nothing at all: one query and no change.
TEST(EnvironmentInteraction, WithoutGravityNothingHappens) {
    EnvironmentWorld world;
    world.gravity = glm::dvec3(0.0);
    world.groundHeight = 0.2;  // in the ground and under water
    world.liquidSurface = 10;
    world.liquidViscosity = 5e-4;
    auto e = MakeCube(10, {}, {20, 1, -2});
    Body body(e, 0.01);
    body.angularVelocity = {0, 3, 0};
    body.ComputeAerodynamicSurfaces(world.Function());
    ASSERT_FALSE(body.aerodynamicSurfaces.empty());
    world.queries.clear();
    body.InteractWithEnvironment(world.Function(), 0.01);
    EXPECT_EQ(world.queries.size(), 1u);
    EXPECT_EQ(std::tuple(body.velocity, body.angularVelocity, body.position),
              std::tuple(glm::dvec3(20, 1, -2), glm::dvec3(0, 3, 0), glm::dvec3(0.0)));
}

// Viscosities strictly between 1.51e-5 and 0.000999 are partly liquid and damp by a smoothstep share;
// at the bounds and outside only a fast body's spin is damped.
TEST(EnvironmentDamping, LiquidRangeIsOpenAtBothEnds) {
    const double dt = 0.01, mass = 1000, density = 0.5;
    for (double viscosity : {1.51e-05, 0.000999, 1.6e-05, 5e-4}) {
        SCOPED_TRACE(viscosity);
        EnvironmentWorld world;
        world.airDensity = density;
        world.airViscosity = viscosity;
        auto e = MakeCube(mass, {}, {20, 0, -3});
        Body body(e, dt);
        body.angularVelocity = {0.5, 0, 2};
        body.InteractWithEnvironment(world.Function(), dt);

        const double vz = -3 + 9.81 * 1.0 * density * dt / mass;
        const bool liquid = viscosity > 1.51e-05 && viscosity < 0.000999;
        EXPECT_EQ(body.touchingEnvironment, liquid);
        const double t = (viscosity - 1.5e-05) / 0.000985;
        const double a = dt * t * t * (3 - 2 * t);
        const double k = std::hypot(20.0, vz) * dt / 25 * density;  // a fast body's spin damping
        if (liquid) {
            ExpectNear(body.velocity, {20 * (1 - 0.5 * a), 0, vz * (1 - 0.99 * dt)});
            ExpectNear(body.angularVelocity, {0.5 * (1 - 0.9 * a), 0, 2 * (1 - 0.5 * a)});
        } else {
            ExpectNear(body.velocity, {20, 0, vz}, 0);
            ExpectNear(body.angularVelocity, {0.5 * (1 - k), 0, 2 * (1 - k)});
        }
    }
}

// Queries go out through the parent's transform and contacts come back in its axes; the parent hangs
// upside down 10 m up, so the child's ground is at local z = 10 and "up" is local -z.
TEST(EnvironmentInteraction, FromParentWorksInTheParentsFrame) {
    game::physics::SeedEnvironmentRandom(2);
    EnvironmentWorld world;
    world.groundHeight = 0;
    world.liquidSurface = 0.3;
    const glm::dmat4 parent =
        glm::translate(glm::dmat4(1.0), glm::dvec3(5, 0, 10)) * glm::rotate(glm::dmat4(1.0), M_PI, glm::dvec3(1, 0, 0));
    auto e = MakeCube(10);
    Body body(e, 0.1);
    body.position = {0, 0, 9.51};  // world height 0.49: 1 cm in the ground
    body.velocity = {0, 0, 1};     // moving down in the world
    body.InteractWithEnvironmentFromParent(parent, world.Function(), 0.1);
    EXPECT_NEAR(body.position.z, 9.5, 1e-9);
    EXPECT_GT(world.Count(7), 0);
    EXPECT_TRUE(body.touchingEnvironment);
    // Contacts stopped the fall; the buoyancy of the lower 30 cm pushes up the world (local -z), or hardly.
    EXPECT_LE(body.velocity.z, 1e-9);
    EXPECT_GE(body.velocity.z, -9.81 * 1000 * 0.1 / 10 - 1e-9);
    EXPECT_NEAR(body.velocity.x, 0, 0.02);
}
