#pragma once
#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

#include "game/physics/Collision.h"

namespace game::physics {

// Query bits of an environment function. The library uses 0 (medium only), 1 (ground test),
// 5 (gravity and altitude with the ground test) and 7 (5 plus the ground normal).
using EnvironmentInfoFlags = uint32_t;

// An environment's answer about one point of space. Fields in the order of the exported class.
struct EnvironmentInfo {
    glm::dmat4 transform{1.0};  // local frame at the point
    glm::dvec3 gravity{0.0};    // m/s^2
    double altitude = 0;        // above the ground
    Collision collision;        // ground under the query; depth > 0 when the point is inside
    glm::dvec3 extra{0.0};      // the environment's own, not read by physics
    double density = 0;         // kg/m^3 of the medium
    double viscosity = 0;       // of the medium
    double extraScalar = 0;     // the environment's own, not read by physics
    double pressure = 0;        // Pa
    std::unordered_map<std::string, double> composition;  // molecule formula -> fraction
};

// (position, flags, radius of the sampled area; 0 for a point)
using EnvironmentFunction = std::function<EnvironmentInfo(const glm::dvec3&, EnvironmentInfoFlags, const double&)>;

// Drag on a box of the given size moving at `velocity` through a medium, per axis i:
// quadratic pressure drag -sign(v_i) 0.5 rho Cd A_i v_i^2 with the cyclic frontal areas
// A_x = s_x s_y, A_y = s_y s_z, A_z = s_z s_x, plus Stokes drag -6 pi mu v_i s_i.
glm::dvec3 GetDragForce(double density, const glm::dvec3& size, const glm::dvec3& velocity, double dragCoefficient,
                        double viscosity);

}  // namespace game::physics
