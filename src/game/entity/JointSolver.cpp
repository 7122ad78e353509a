#include "game/entity/JointSolver.h"

#include <algorithm>
#include <functional>

#include "game/entity/EntityConfig.h"

namespace game::entity {

void JointSolver::Init() {
    joints.clear();
    if (!config) return;
    for (const auto& entry : config->joints) joints[entry.first];
    for (const auto& [name, record] : config->joints) {
        if (record.parent.empty()) continue;
        std::string parentJoint;
        Joint& joint = joints[name];
        joint.transformFromParent = config->GetTransformRelativeToFirstParentJointOrRoot(record.parent, parentJoint);
        // A JOINT node left from an earlier read of the file, without a joint record now, acts
        // as the root.
        auto parent = joints.find(parentJoint);
        if (parent == joints.end()) continue;
        joint.parentJoint = parentJoint;
        parent->second.children.push_back(name);
    }
    for (const auto& entry : config->nodes) {
        std::string jointName;
        const glm::dmat4 relative = config->GetTransformRelativeToFirstParentJointOrRoot(entry.first, jointName);
        auto joint = joints.find(jointName);
        if (joint != joints.end()) joint->second.nodes[entry.first] = glm::mat4(relative);
    }
}

void JointSolver::Solve(std::unordered_map<std::string, entity::Joint>& states,
                        std::unordered_map<std::string, glm::dmat4>& nodeTransforms) const {
    if (joints.empty() || states.empty() || !config) return;
    std::unordered_map<std::string, glm::dmat4> solved;
    std::function<void(const std::string&)> solve = [&](const std::string& name) {
        const EntityConfig::Joint& cfg = config->joints.at(name);
        const Joint& joint = joints.at(name);
        glm::dvec3 position, rotation;
        auto state = states.find(name);
        if (state != states.end()) {
            for (int k = 0; k < 3; ++k) {
                const float lo = std::min(cfg.linear[0][k], cfg.linear[2][k]);
                const float hi = std::max(cfg.linear[0][k], cfg.linear[2][k]);
                state->second.position[k] = std::clamp(state->second.position[k], lo, hi);
                const float alo = std::min(cfg.angular[0][k], cfg.angular[2][k]);
                const float ahi = std::max(cfg.angular[0][k], cfg.angular[2][k]);
                state->second.rotation[k] = std::clamp(state->second.rotation[k], alo, ahi);
            }
            position = state->second.position;
            rotation = state->second.rotation;
        } else {
            position = cfg.linear[1];
            rotation = cfg.angular[1];
        }
        const glm::dmat4 local = EntityConfig::TransformFromBlender(position, rotation);
        const glm::dmat4 parent = joint.parentJoint.empty() ? glm::dmat4(1.0) : solved.at(joint.parentJoint);
        solved[name] = parent * joint.transformFromParent * local;
        for (const std::string& child : joint.children) solve(child);
    };
    for (const auto& [name, joint] : joints) {
        if (joint.parentJoint.empty()) solve(name);
    }
    for (const auto& [name, joint] : joints) {
        auto matrix = solved.find(name);
        if (matrix == solved.end()) continue;
        for (const auto& [node, relative] : joint.nodes) {
            auto target = nodeTransforms.find(node);
            if (target != nodeTransforms.end()) target->second = matrix->second * glm::dmat4(relative);
        }
    }
}

}  // namespace game::entity
