#include "GliderAutopilot.h"

#include <algorithm>
#include <cmath>

#include <glm/geometric.hpp>

namespace demo {

GliderAutopilot::Command GliderAutopilot::Steer(const glm::dvec3& position, double deltaTime) {
    const glm::dvec3 up(0.0, 1.0, 0.0);
    const double step = std::max(deltaTime, 1e-3);
    // Angle around the circuit, counter-clockwise seen from above: +x is 0, -z is a quarter turn.
    const double angle = std::atan2(-position.z, position.x) + kSpeed * step / kRadius;
    const glm::dvec3 ahead(kRadius * std::cos(angle), kAltitude, -kRadius * std::sin(angle));
    glm::dvec3 direction = ahead - position;
    const double length = glm::length(direction);
    // Exactly on the circuit's axis there is no "ahead" to speak of: fly out along +x.
    direction = length > 1e-9 ? direction / length : glm::dvec3(1.0, 0.0, 0.0);

    Command c;
    c.velocity = direction * kSpeed;
    const double yaw = std::atan2(-direction.x, -direction.z);
    const double pitch = std::asin(std::clamp(direction.y, -1.0, 1.0));
    // Yaw about +y, pitch about the span (+x), roll about +z: counter-clockwise the centre is on
    // the left, and the left (-x) wing dips towards it.
    c.rotation = glm::angleAxis(yaw, up) * glm::angleAxis(pitch, glm::dvec3(1.0, 0.0, 0.0)) *
                 glm::angleAxis(kBank, glm::dvec3(0.0, 0.0, 1.0));
    // Turning about +y at v / R keeps the attitude with the path within a tick.
    c.angularVelocity = up * (kSpeed / kRadius);
    return c;
}

}  // namespace demo
