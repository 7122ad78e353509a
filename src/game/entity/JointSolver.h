#pragma once
#include <string>
#include <unordered_map>
#include <vector>

#include <glm/mat4x4.hpp>

#include "game/entity/Joint.h"

namespace game::entity {

class EntityConfig;

// Forward kinematics of one model's joints: clamps each entity's joint values to the ranges of
// the model file and recomputes the transforms of the nodes that hang below joints. Tables are
// built once per read of the file (Init) and read-only afterwards.
class JointSolver {
public:
    struct Joint {
        glm::dmat4 transformFromParent{1.0};  // parent joint (or root) to this joint's parent node
        std::string parentJoint;              // first joint above; empty below the root
        std::vector<std::string> children;    // joints whose parentJoint is this one
        std::unordered_map<std::string, glm::mat4> nodes;  // attached nodes, relative to the joint
    };

    EntityConfig* config = nullptr;
    std::unordered_map<std::string, Joint> joints;

    explicit JointSolver(EntityConfig* owner = nullptr) : config(owner) {}

    void Init();

    // Solves an entity: anything with the maps `joints` (name to entity::Joint) and
    // `nodeTransforms` (name to 4x4 double matrix, relative to the entity's root).
    template <class Entity>
    void operator()(Entity* entity) const {
        Solve(entity->joints, entity->nodeTransforms);
    }

    // Clamps the states that exist (writing the clamped values back), solves every joint
    // (initial values where a state is missing) and updates the transforms of the attached nodes
    // that have an entry. Does nothing without joints or without states.
    void Solve(std::unordered_map<std::string, entity::Joint>& states,
               std::unordered_map<std::string, glm::dmat4>& nodeTransforms) const;
};

}  // namespace game::entity
