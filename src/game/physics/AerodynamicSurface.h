#pragma once
#include <glm/vec3.hpp>

namespace game::physics {

// One lift or drag surface of a moving body: position relative to the centre of mass, normal in
// body axes, area in square metres and the two coefficients.
struct AerodynamicSurface {
    glm::dvec3 position{0.0};
    glm::dvec3 normal{0.0};
    double area = 0;
    double liftCoefficient = 0;
    double dragCoefficient = 0;
};

}  // namespace game::physics
