#pragma once
#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

namespace demo {

// The player's free-flying view in drone mode: no body, no gravity. Yaw turns about the world's
// up (+y), pitch about the camera's right, limited to straight up and down; moves are along the
// view (forward, right) and the world's up.
class DroneCamera {
public:
    struct Input {
        double yaw = 0, pitch = 0;        // turn this frame, in radians (positive: right, up)
        double forward = 0, right = 0;    // -1..1
        double up = 0;                    // -1..1
        bool sprint = false;
    };

    static constexpr double kSpeed = 8.0;         // m/s
    static constexpr double kSprintFactor = 5.0;

    DroneCamera(const glm::dvec3& position, double yaw, double pitch);

    void Update(double dt, const Input& input);
    // Camera to world: camera space looks along -z with +y up.
    glm::dmat4 Transform() const;
    glm::dvec3 Forward() const;

    glm::dvec3 position;
    double yaw;    // radians, 0 looks along -z
    double pitch;  // radians, 0 is level
    glm::dvec3 velocity{0.0};
};

}  // namespace demo
