#include "DroneCamera.h"

#include <algorithm>
#include <cmath>

#include <glm/gtc/matrix_transform.hpp>

namespace demo {

namespace {
constexpr double kPitchLimit = 1.55;  // a little short of straight up, so the view never flips
}

DroneCamera::DroneCamera(const glm::dvec3& position_, double yaw_, double pitch_)
    : position(position_), yaw(yaw_), pitch(pitch_) {}

glm::dmat4 DroneCamera::Transform() const {
    glm::dmat4 m = glm::translate(glm::dmat4(1.0), position);
    m = glm::rotate(m, -yaw, glm::dvec3(0, 1, 0));
    return glm::rotate(m, pitch, glm::dvec3(1, 0, 0));
}

glm::dvec3 DroneCamera::Forward() const { return glm::dvec3(Transform() * glm::dvec4(0, 0, -1, 0)); }

void DroneCamera::Update(double dt, const Input& input) {
    yaw = std::remainder(yaw + input.yaw, 2.0 * M_PI);
    pitch = std::clamp(pitch + input.pitch, -kPitchLimit, kPitchLimit);
    glm::dmat4 m = Transform();
    glm::dvec3 forward(m * glm::dvec4(0, 0, -1, 0)), right(m * glm::dvec4(1, 0, 0, 0));
    auto clamp1 = [](double v) { return std::clamp(v, -1.0, 1.0); };
    glm::dvec3 direction = forward * clamp1(input.forward) + right * clamp1(input.right) +
                           glm::dvec3(0, 1, 0) * clamp1(input.up);
    double speed = kSpeed * (input.sprint ? kSprintFactor : 1.0);
    velocity = direction * speed;
    position += velocity * dt;
}

}  // namespace demo
