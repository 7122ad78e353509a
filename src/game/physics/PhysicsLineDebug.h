#pragma once
#include <glm/vec3.hpp>

#include "game/UniqueId.h"

namespace game::physics {

// One line of the physics debug overlay: entity it belongs to (zero for broad-phase lines), the two
// ends and an RGBA colour. Bodies record them in their own space.
struct PhysicsLineDebug {
    entity::Id entity;
    glm::dvec3 from{0.0};
    glm::dvec3 to{0.0};
    float color[4] = {0, 0, 0, 0};
};

}  // namespace game::physics
