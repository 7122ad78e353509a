#pragma once
#include <glm/gtc/quaternion.hpp>
#include <glm/vec3.hpp>

namespace demo {

// The powered glider's autopilot: a level circuit around the world's origin, low in the air and
// fast enough (Mach 9) for the air to glow behind it. Its engine and controls are strong enough
// to hold the circuit against gravity and drag, so the glider's body takes no environment forces:
// each tick the autopilot aims at the point of the circuit one tick ahead and sets the velocity
// and attitude, and the physics step moves the body there. It keeps no state: from any position
// (a new world, an old save, a glider knocked off its path) it heads back onto the circuit,
// which it flies counter-clockwise seen from above.
class GliderAutopilot {
public:
    static constexpr double kRadius = 15000.0;  // m, of the circuit, centred above the origin
    static constexpr double kAltitude = 400.0;  // m above the origin
    static constexpr double kSpeed = 3000.0;    // m/s
    static constexpr double kBank = 0.7;        // radians, into the turn

    struct Command {
        glm::dvec3 velocity{0.0};
        glm::dquat rotation{1.0, 0.0, 0.0, 0.0};
        glm::dvec3 angularVelocity{0.0};
    };

    // What to fly from `position` for the next `deltaTime` seconds. The wing's chord lies along
    // the game's -z in the model's own pose, so the rotation turns -z onto the flight direction.
    static Command Steer(const glm::dvec3& position, double deltaTime);
};

}  // namespace demo
