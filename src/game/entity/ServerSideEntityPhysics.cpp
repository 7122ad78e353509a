// The server's physics tick: the phases of physics::PhysicsStep in order, under the registry's
// shared lock, and the entity's inertia tensor.
#include <shared_mutex>

#include <glm/gtc/quaternion.hpp>

#include "game/AssertSites.h"
#include "game/Game.h"
#include "game/entity/ServerSideEntity.h"
#include "game/physics/PhysicsStep.h"
#include "game/physics/PhysicsStepReference.h"
#include "quorl/Timer.h"
#include "quorl/cpu/Profiler.h"

namespace game::entity {

namespace {

// Drops the bodies' references when the step ends, normally or by an exception.
struct ReleaseOnExit {
    physics::PhysicsStep& step;
    ~ReleaseOnExit() { step.Release(); }
};

}  // namespace

void ServerSideEntity::PhysicsUpdate(double deltaTime, int substeps) {
    quorl::cpu::Profiler profile("PhysicsUpdate", true);
    quorl::Timer timer(quorl::Timer::SteadySeconds);
    timer.Start();
    std::shared_lock lock(_sharedObjectsMutex);
#if ZENDOLA_REFERENCE_STEP
    physics::ReferencePhysicsStep(deltaTime, substeps);
    Game::serverSidePhysicsAvgTime = 0.9 * Game::serverSidePhysicsAvgTime + 0.1 * timer.GetElapsedMilliseconds() * 0.001;
    return;
#endif
    physics::PhysicsStep& step = physics::PhysicsStep::Kept();
    ReleaseOnExit release{step};

    step.PrepareBodies(deltaTime, _sharedObjects.size());
    step.MergeVehicles();
    step.FrameAccelerations();
    step.FindPairs();
    step.OrbitingBodies();
    step.DynamicSubsteps(substeps);
    step.WriteBack();
    if (Game::debugServerSidePhysics) step.Debug();

    Game::serverSidePhysicsAvgTime = 0.9 * Game::serverSidePhysicsAvgTime + 0.1 * timer.GetElapsedMilliseconds() * 0.001;
}

glm::dmat3 ServerSideEntity::GetInertiaTensorWorld() const {
    CheckSite(mass > 0.0, assert_sites::kInertiaMass);
    CheckSite(box_size.x > 0.0, assert_sites::kInertiaBoxEdgeX);
    CheckSite(box_size.y > 0.0, assert_sites::kInertiaBoxEdgeY);
    CheckSite(box_size.z > 0.0, assert_sites::kInertiaBoxEdgeZ);
    const double x2 = box_size.x * box_size.x, y2 = box_size.y * box_size.y, z2 = box_size.z * box_size.z;
    glm::dmat3 inertia(0.0);
    inertia[0][0] = (y2 + z2) * mass / 12.0;
    inertia[1][1] = (x2 + z2) * mass / 12.0;
    inertia[2][2] = (x2 + y2) * mass / 12.0;
    const glm::dmat3 r = glm::mat3_cast(rotation);
    return r * inertia * glm::transpose(r);
}

}  // namespace game::entity
