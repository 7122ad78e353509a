#pragma once
#include <cstdint>
#include <string>
#include <unordered_map>

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

#include "game/physics/Collision.h"

namespace game::physics {

// Query bits of an environment function: 0 medium only, 1 ground collision, 2 ground normal,
// 4 gravity and altitude.
using EnvironmentInfoFlags = uint32_t;

// What an environment function answers for a point. The default is all zeros with an identity
// transform.
struct EnvironmentInfo {
    glm::dmat4 transform{1.0};
    glm::dvec3 gravity{0.0};
    double altitude = 0;
    Collision collision;
    glm::dvec3 extra{0.0};  // filled by the environment, not read by physics
    double density = 0;
    double viscosity = 0;
    double extraScalar = 0;  // filled by the environment, not read by physics
    double pressure = 0;
    std::unordered_map<std::string, double> composition;
};

}  // namespace game::physics
