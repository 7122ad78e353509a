#include "game/entity/BaseEntity.h"

#include <cmath>
#include <limits>

#include <mutex>
#include <unordered_map>

#include <glm/gtc/matrix_transform.hpp>

#include "game/entity/EntityConfig.h"

#include "quorl/cpu/Profiler.h"

namespace game::entity {

void BaseEntity::ReadConfigOnce(const std::shared_ptr<EntityConfig>& cfg) {
    if (!cfg) return;
    std::lock_guard lock(cfg->readOnceMutex);
    if (cfg->loaded) return;
    cfg->ReadConfig();
    cfg->loaded = true;
}

void BaseEntity::InitNodes() {
    if (!config) return;
    mass = config->mass;
    for (const auto& [name, record] : config->joints) {
        nodeTransforms[name] = config->GetAbsoluteTransform(name);
        Joint& joint = joints[name];
        joint.position = record.linear[1];
        joint.rotation = record.angular[1];
    }
    for (const auto& [name, record] : config->colliders) {
        glm::dmat4 transform = config->GetAbsoluteTransform(name);
        nodeTransforms[name] = transform;
        colliders[name] = EntityConfig::MakeCollider(record, transform);
    }
    for (const auto& [name, record] : config->adapters) nodeTransforms[name] = config->GetAbsoluteTransform(name);
    for (const auto& [name, record] : config->targets) nodeTransforms[name] = config->GetAbsoluteTransform(name);
    UpdateBoundingBox(true);
}

void BaseEntity::Update(double) {
    quorl::cpu::Profiler profile("BaseEntity::Update", true);
    if (!nodesMoved && !jointsMoved) return;
    for (auto& [name, collider] : colliders) collider.transform = nodeTransforms.at(name);
    UpdateBoundingBox(true);
}

void BaseEntity::UpdateBoundingBox(bool updateCenterOfMass) {
    if (colliders.empty()) {
        boundsMin = boundsMax = box_size = boundsCenter = glm::dvec3(0.0);
        boundsRadius = 0;
        return;
    }
    // The greatest float, as a double.
    const double far = double(std::numeric_limits<float>::max());
    boundsMin = glm::dvec3(far);
    boundsMax = glm::dvec3(-far);
    for (const auto& [name, collider] : colliders) {
        glm::dvec3 a(collider.transform * glm::dvec4(glm::dvec3(collider.box_min), 1.0));
        glm::dvec3 b(collider.transform * glm::dvec4(glm::dvec3(collider.box_max), 1.0));
        boundsMin = glm::min(boundsMin, glm::min(a, b));
        boundsMax = glm::max(boundsMax, glm::max(a, b));
    }
    box_size = glm::abs(boundsMax - boundsMin);
    boundsCenter = (boundsMin + boundsMax) * 0.5;
    boundsRadius = glm::length(boundsMax - boundsMin) * 0.5;
    if (updateCenterOfMass) centerOfMass = boundsCenter;
}

glm::dmat4 BaseEntity::GetTransform() const {
    return glm::translate(glm::dmat4(1.0), position) * glm::mat4_cast(rotation);
}

glm::dvec3 BaseEntity::GetPositionAtCenterOfMass() const {
    return position + rotation * centerOfMass;
}

}  // namespace game::entity
