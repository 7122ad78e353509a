#include <gtest/gtest.h>

#include <cmath>

#include "game/physics/EnvironmentRandom.h"
#include "game/physics/Rigidbody.h"
#include "game/physics/EnvironmentWorld.h"
#include "game/physics/PhysicsTestEntity.h"

using game::physics::DynamicRigidbody;
using physics_test::EnvironmentWorld;
using physics_test::MakeBoxEntity;
using physics_test::PhysicsTestEntity;
using Body = DynamicRigidbody<PhysicsTestEntity>;

namespace {

// Frames as the physics step runs them for a top-level body: surfaces once, then substeps of
// motion, collision and environment, then the write-back.
struct Scene {
    EnvironmentWorld world;
    std::shared_ptr<PhysicsTestEntity> entity;
    double sumZ = 0;
    int samples = 0;
    void Frame(double dt = 1.0 / 60, int substeps = 4) {
        entity->externalAcceleration = world.gravity;
        Body body(entity, dt);
        auto function = world.Function();
        body.ComputeAerodynamicSurfaces(function);
        for (int i = 0; i < substeps; ++i) {
            body.IntegrateMotion(dt / substeps);
            body.CollisionDetection(dt / substeps);
            body.InteractWithEnvironment(function, dt / substeps);
        }
        body.ApplyToEntity(dt);
        sumZ += entity->position.z;
        ++samples;
    }
};

}  // namespace

TEST(EnvironmentExperiment, Float) {
    for (double density : {300.0, 500.0, 800.0}) {
        game::physics::SeedEnvironmentRandom(7);
        Scene s;
        s.world.liquidSurface = 0;
        s.entity = MakeBoxEntity({0.5, 0.5, 0.5}, density);
        for (int f = 0; f < 600; ++f) s.Frame();
        s.sumZ = 0; s.samples = 0;
        double lo = 1e9, hi = -1e9;
        for (int f = 0; f < 3600; ++f) { s.Frame(); lo = std::min(lo, s.entity->position.z); hi = std::max(hi, s.entity->position.z);}
        printf("density %g mean z %g (expect %g) range %g..%g\n", density, s.sumZ / s.samples, 0.5 - density / 1000.0, lo, hi);
    }
}

TEST(EnvironmentExperiment, Ground) {
    game::physics::SeedEnvironmentRandom(7);
    Scene s;
    s.world.groundHeight = 0;
    s.entity = MakeBoxEntity({0.5, 0.5, 0.5}, 10);
    s.entity->position = {0, 0, 0.6};
    for (int f = 0; f < 120; ++f) { s.Frame(); if (f % 10 == 0) printf("f %d z %g rest %g w %g\n", f, s.entity->position.z, s.entity->restTime, glm::length(s.entity->angularVelocity)); }
}
