#pragma once
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include <glm/gtc/quaternion.hpp>
#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

#include "game/UniqueId.h"
#include "game/entity/ConvexMeshCollider.h"
#include "game/entity/Joint.h"
#include "quorl/modular/ModuleID.h"

namespace game::entity {

class EntityConfig;

// What the two halves of an entity share: the kind, the pose, the bounds, the node tree built from
// the model's configuration, and the colliders. The field order is part of the binary contract with
// the modules.
class BaseEntity {
public:
    quorl::modular::ModuleID moduleId;
    std::string type;
    std::shared_ptr<EntityConfig> config;
    double mass = 0;
    glm::dvec3 position{0.0};
    glm::dquat rotation{1.0, 0.0, 0.0, 0.0};  // w, x, y, z
    glm::dvec3 boundsMin{0.0};
    glm::dvec3 boundsMax{0.0};
    glm::dvec3 box_size{0.0};
    glm::dvec3 centerOfMass{0.0};
    glm::dvec3 boundsCenter{0.0};
    double boundsRadius = 0;
    glm::dvec3 velocity{0.0};
    glm::dvec3 angularVelocity{0.0};
    glm::dvec3 localAcceleration{0.0};
    Id parentEntity;
    std::unordered_map<std::string, glm::dmat4> nodeTransforms;
    std::unordered_map<std::string, Joint> joints;
    std::unordered_map<std::string, ConvexMeshCollider> colliders;
    std::unordered_set<Id> ignoredEntities;
    bool nodesMoved = false;
    bool jointsMoved = false;
    bool isDetachable = false;
    bool isComponent = false;

    // Reads a model's file once, by the first entity that needs it (thread-safe); later calls for
    // the same object do nothing.
    static void ReadConfigOnce(const std::shared_ptr<EntityConfig>& config);

    BaseEntity() = default;
    virtual ~BaseEntity() = default;

    // Fills mass, node transforms, joint states and colliders from `config`; nothing without one.
    virtual void InitNodes();
    // Copies node transforms into the colliders and recomputes the bounds, only when nodes or joints
    // moved (the physics step clears the flags).
    virtual void Update(double deltaTime);

    // Box of all colliders (enabled or not) in entity space, from the two transformed corners of
    // each collider's box.
    void UpdateBoundingBox(bool updateCenterOfMass);
    // Entity space to the parent's space.
    glm::dmat4 GetTransform() const;
    glm::dvec3 GetPositionAtCenterOfMass() const;
};

}  // namespace game::entity
