#pragma once
#include <memory>
#include <string>

#include <glm/gtc/quaternion.hpp>
#include <glm/vec3.hpp>

#include "game/entity/ServerSideEntity.h"

namespace demo {

// Creates a demo entity of `type` in the planet's environment and gives it its behaviour, as a
// load does. Null when the content module has not registered the type.
std::shared_ptr<game::entity::ServerSideEntity> Spawn(const std::string& type, const glm::dvec3& position,
                                                      const glm::dquat& rotation = glm::dquat(1, 0, 0, 0),
                                                      const glm::dvec3& velocity = glm::dvec3(0.0));

// The scene of a new world, on the planet's land near the origin (+y up): a slab with boxes
// dropped on it, a buoy over the sea, the small vehicle on the ground and a glider launched
// above it. Returns the number of entities made.
size_t SpawnScene();

}  // namespace demo
