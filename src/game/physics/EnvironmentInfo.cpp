#include "game/physics/EnvironmentInfo.h"

namespace game::physics {

glm::dvec3 GetDragForce(double density, const glm::dvec3& size, const glm::dvec3& velocity, double dragCoefficient,
                        double viscosity) {
    constexpr double kSixPi = 18.84955592153876;
    const double area[3] = {size.x * size.y, size.y * size.z, size.z * size.x};
    glm::dvec3 force(0.0);
    for (int i = 0; i < 3; ++i) {
        const double v = velocity[i];
        const double sign = v > 0 ? 1.0 : (v < 0 ? -1.0 : 0.0);
        const double pressureDrag = sign * (-0.5 * density * dragCoefficient) * area[i] * v * v;
        const double viscousDrag = -(kSixPi * viscosity) * v * size[i];
        force[i] = pressureDrag + viscousDrag;
    }
    return force;
}

}  // namespace game::physics
