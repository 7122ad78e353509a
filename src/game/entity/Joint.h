#pragma once
#include <glm/vec3.hpp>

namespace game::entity {

// Current state of one joint of one entity, in the model file's axes: offset per linear axis and
// angle in degrees per angular axis. The joint solver clamps it to the file's ranges.
struct Joint {
    glm::vec3 position{0.0f};
    glm::vec3 rotation{0.0f};
};

}  // namespace game::entity
