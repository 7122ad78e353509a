#pragma once
#include <memory>
#include <string>

#include <glm/gtc/quaternion.hpp>
#include <glm/vec3.hpp>

#include "game/Config.h"
#include "game/entity/ServerSideEntity.h"

namespace demo {

// Creates a demo entity of `type` in the planet's environment and gives it its behaviour, as a
// load does. Null when the content module has not registered the type.
std::shared_ptr<game::entity::ServerSideEntity> Spawn(const std::string& type, const glm::dvec3& position,
                                                      const glm::dquat& rotation = glm::dquat(1, 0, 0, 0),
                                                      const glm::dvec3& velocity = glm::dvec3(0.0));

// The scene document of a new world, relative to the run folder.
inline constexpr const char* kSceneFile = "data/scenes/demo.yaml";

// Makes the entities listed under "scene" in the document (kind, position, optional turn and
// velocity; see data/scenes/demo.yaml). An item that can't be read is skipped with a message on
// the error stream. Returns the number of entities made.
size_t SpawnScene(const game::Config& document);

// The scene of a new world from kSceneFile, on the planet's land near the origin (+y up): a slab
// with boxes dropped on it, a buoy over the sea, the small vehicle on the ground and a powered
// glider on its circuit. A missing or broken file makes nothing and says why on the error stream.
size_t SpawnScene();

}  // namespace demo
