#pragma once
// The smallest entity a rigid body can be built from, for benchmarks of bodies without the
// entity registry.
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include <glm/gtc/quaternion.hpp>
#include <glm/vec3.hpp>

#include "game/UniqueId.h"
#include "game/entity/ConvexMeshCollider.h"

struct BenchEntity {
    double mass = 1;
    glm::dvec3 position{0.0};
    glm::dquat rotation{1.0, 0.0, 0.0, 0.0};
    glm::dvec3 boundsMin{0.0}, boundsMax{0.0}, box_size{0.0}, centerOfMass{0.0};
    glm::dvec3 velocity{0.0}, angularVelocity{0.0}, localAcceleration{0.0};
    game::entity::Id parentEntity;
    std::unordered_map<std::string, game::entity::ConvexMeshCollider> colliders;
    std::unordered_set<game::entity::Id> ignoredEntities;
    bool isDetachable = true;
    game::entity::Id id = game::entity::Id::Generate("ENTT");
    bool interactsWithEnvironment = true;
    glm::dvec3 linearImpulse{0.0}, angularImpulse{0.0};
    float impulseExtra = 0;
    glm::dvec3 externalAcceleration{0.0};
    double restTime = 0;
    game::entity::Id GetID() const { return id; }
    glm::dvec3 GetPositionAtCenterOfMass() const { return position + rotation * centerOfMass; }
    static std::shared_ptr<BenchEntity> Get(game::entity::Id) { return nullptr; }
    void AddChild(std::shared_ptr<BenchEntity>&) {}
    void RemoveChild(std::shared_ptr<BenchEntity>&) {}
};
