#pragma once
// A minimal entity with what rigid bodies read and write, and parent changes that keep the world pose.
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/quaternion.hpp>

#include "game/UniqueId.h"
#include "game/entity/ConvexMeshCollider.h"
#include "game/physics/EnvironmentWorld.h"
#include "game/physics/Rigidbody.h"

namespace physics_test {

using game::entity::ConvexMeshCollider;
using game::entity::Id;

struct PhysicsTestEntity {
    double mass = 1;
    glm::dvec3 position{0.0};
    glm::dquat rotation{1.0, 0.0, 0.0, 0.0};
    glm::dvec3 boundsMin{0.0}, boundsMax{0.0}, box_size{0.0};
    glm::dvec3 centerOfMass{0.0};
    glm::dvec3 velocity{0.0}, angularVelocity{0.0};
    glm::dvec3 localAcceleration{0.0};
    bool localAccelerationDirty = true;
    Id parentEntity;
    std::unordered_map<std::string, ConvexMeshCollider> colliders;
    std::unordered_set<Id> ignoredEntities;
    bool isDetachable = true;
    Id id = Id::Generate("ENTT");
    bool interactsWithEnvironment = true;
    glm::dvec3 linearImpulse{0.0}, angularImpulse{0.0};
    float impulseExtra = 0;
    glm::dvec3 externalAcceleration{0.0};
    double restTime = 0;

    int addChildCalls = 0, removeChildCalls = 0;

    Id GetID() const { return id; }
    glm::dmat4 GetTransform() const { return glm::translate(glm::dmat4(1.0), position) * glm::mat4_cast(rotation); }
    glm::dvec3 GetPositionAtCenterOfMass() const { return position + rotation * centerOfMass; }

    static std::unordered_map<Id, std::shared_ptr<PhysicsTestEntity>>& Registry() {
        static std::unordered_map<Id, std::shared_ptr<PhysicsTestEntity>> registry;
        return registry;
    }
    static std::shared_ptr<PhysicsTestEntity> Get(Id id) {
        auto it = Registry().find(id);
        return it == Registry().end() ? nullptr : it->second;
    }

    // The child keeps its world pose and becomes relative to this entity.
    void AddChild(std::shared_ptr<PhysicsTestEntity>& e) {
        ++addChildCalls;
        const glm::dmat4 relative = glm::inverse(GetTransform()) * e->GetTransform();
        const glm::dquat inverseRotation = glm::conjugate(rotation) / glm::dot(rotation, rotation);
        e->position = glm::dvec3(relative[3]);
        e->rotation = glm::quat_cast(glm::dmat3(relative));
        e->parentEntity = id;
        e->velocity = inverseRotation * e->velocity - inverseRotation * velocity;
        e->angularVelocity = inverseRotation * e->angularVelocity;
    }

    // The child returns to this entity's own frame.
    void RemoveChild(std::shared_ptr<PhysicsTestEntity>& e) {
        ++removeChildCalls;
        const glm::dmat4 world = GetTransform() * e->GetTransform();
        e->parentEntity = parentEntity;
        e->position = glm::dvec3(world[3]);
        e->rotation = rotation * e->rotation;
        e->velocity = rotation * e->velocity + velocity;
        e->angularVelocity = rotation * e->angularVelocity;
    }
};

// A registered entity of one box collider around `center`, which is also the centre of mass.
inline std::shared_ptr<PhysicsTestEntity> MakeBoxEntity(const glm::dvec3& half, double mass,
                                                        const glm::dvec3& center = glm::dvec3(0.0)) {
    auto e = std::make_shared<PhysicsTestEntity>();
    e->mass = mass;
    ConvexMeshCollider c;
    c.SetBox(glm::vec3(center - half), glm::vec3(center + half));
    e->colliders["hull"] = c;
    e->boundsMin = center - half;
    e->boundsMax = center + half;
    e->box_size = 2.0 * half;
    e->centerOfMass = center;
    PhysicsTestEntity::Registry()[e->id] = e;
    return e;
}

// A registered cube of side 1 and `mass` at `position`, moving at `velocity`.
inline std::shared_ptr<PhysicsTestEntity> MakeCube(double mass, const glm::dvec3& position = glm::dvec3(0.0),
                                                   const glm::dvec3& velocity = glm::dvec3(0.0)) {
    auto e = MakeBoxEntity(glm::dvec3(0.5), mass);
    e->position = position;
    e->velocity = velocity;
    return e;
}

// Each component of `a` within `tolerance` of `b`'s.
inline void ExpectNear(const glm::dvec3& a, const glm::dvec3& b, double tolerance = 1e-12) {
    EXPECT_TRUE(glm::all(glm::lessThanEqual(glm::abs(a - b), glm::dvec3(tolerance))))
        << a.x << " " << a.y << " " << a.z << " against " << b.x << " " << b.y << " " << b.z;
}

// Frames of one body of `entity` as the physics step runs them. At the top level it meets `ground`,
// if there is one, as a fixed body. Once it has joined the ground it lives in the ground's frame,
// whose acceleration is what the resting ground feels: the step gives it the environment's gravity.
struct Scene {
    EnvironmentWorld world;
    std::shared_ptr<PhysicsTestEntity> entity, ground;

    void Frame(double dt = 1.0 / 60, int substeps = 4) {
        std::optional<game::physics::Rigidbody<PhysicsTestEntity>> fixed;
        if (ground) fixed.emplace(ground);
        game::physics::DynamicRigidbody<PhysicsTestEntity> body(entity, dt);
        const auto function = world.Function();
        const bool topLevel = entity->parentEntity.IsNull();
        if (topLevel) {
            if (fixed) body.fixedCandidates.push_back(&*fixed);
            body.TakeEnvironmentGravity(function);
            body.ComputeAerodynamicSurfaces(function);
        } else {
            body.parentBody = &*fixed;
            body.frameAcceleration = world.gravity;
        }
        for (int i = 0; i < substeps; ++i) {
            body.IntegrateMotion(dt / substeps);
            body.CollisionDetection(dt / substeps);
            if (topLevel) body.InteractWithEnvironment(function, dt / substeps);
        }
        if (!topLevel) body.InteractWithEnvironmentFromParent(ground->GetTransform(), function, dt);
        body.ApplyToEntity(dt);
    }
};

}  // namespace physics_test
