#pragma once
#include <glm/vec3.hpp>

namespace game::physics {

// A contact: world position, unit normal, penetration depth along it.
struct Collision {
    glm::dvec3 position{0.0};
    glm::dvec3 normal{0.0};
    double depth = 0;
};

}  // namespace game::physics
