#include "DemoScene.h"

#include <mutex>

#include <glm/gtc/quaternion.hpp>

#include "DemoWorld.h"

namespace demo {

using game::entity::ServerSideEntity;

std::shared_ptr<ServerSideEntity> Spawn(const std::string& type, const glm::dvec3& position,
                                        const glm::dquat& rotation, const glm::dvec3& velocity) {
    auto module = ServerSideEntity::_registered_interfaces.find(kModuleText);
    if (module == ServerSideEntity::_registered_interfaces.end() || !module->second.count(type)) return nullptr;
    std::shared_ptr<ServerSideEntity> e = ServerSideEntity::Create(ModuleId(), type, game::entity::Id());
    e->position = position;
    e->rotation = rotation;
    e->velocity = velocity;
    e->relativeEnvironmentId = kPlanetEnvironment;
    // Everything but the ground slab moves on its own.
    e->isDetachable = type != "slab";
    if (std::shared_ptr<ServerSideEntity::Interface> iface = e->_interface) {
        iface->entity = e;
        iface->self = iface;
        iface->id = e->id;
        iface->config = e->config;
        iface->Init();
        iface->initialized = true;
        std::lock_guard lock(ServerSideEntity::_module_entities_mutex);
        ServerSideEntity::_module_entities[kModuleText].push_back(iface);
    }
    return e;
}

size_t SpawnScene() {
    size_t made = 0;
    auto add = [&](const std::string& type, const glm::dvec3& p, const glm::dquat& q = glm::dquat(1, 0, 0, 0),
                   const glm::dvec3& v = glm::dvec3(0.0)) {
        if (Spawn(type, p, q, v)) ++made;
    };
    // The slab's top face is its origin: raised by its thickness it lies on the ground.
    add("slab", {0, 0.5, 0});
    // Two layers of four boxes, a little apart and turned, falling from 2 m and 4 m onto the slab,
    // and one more tumbling from 7 m.
    for (int layer = 0; layer < 2; ++layer) {
        for (int i = 0; i < 4; ++i) {
            double x = (i % 2) * 1.6 - 0.8 + 0.1 * layer;
            double z = (i / 2) * 1.6 - 0.8;
            glm::dquat turn = glm::angleAxis(0.2 * (i + layer), glm::dvec3(0, 1, 0));
            add("box", {x, 2.5 + 2.0 * layer, z}, turn);
        }
    }
    add("box", {0.3, 7.5, 0.2}, glm::angleAxis(0.7, glm::normalize(glm::dvec3(1, 0, 1))));
    // The buoy drops into the sea, beyond the beach.
    add("buoy", {130, 2, 0});
    // The vehicle stands on the ground beside the slab; its chassis collider is 0.2 m above its origin.
    add("vehicle", {-20, 0.0, 0});
    // The glider is launched from 60 m at 25 m/s, leading edge first: the wing's chord runs along
    // the model's Y axis (forward), which is the game's -z.
    add("glider", {-40, 60, 5}, glm::dquat(1, 0, 0, 0), {0, 0, -25});
    return made;
}

}  // namespace demo
