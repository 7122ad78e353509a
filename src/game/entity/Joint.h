#pragma once
#include <glm/vec3.hpp>

namespace game::entity {

// Current value of one joint of one entity, in the model file's axes: position in metres,
// rotation in degrees. The joint solver clamps it to the file's ranges.
struct Joint {
    glm::vec3 position{0.0f};
    glm::vec3 rotation{0.0f};
};

}  // namespace game::entity
