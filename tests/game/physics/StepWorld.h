#pragma once
// Tests of the whole physics step: real entities from data/models in a flat, y-up test world.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "game/Game.h"
#include "game/entity/EntityConfig.h"
#include "game/entity/ServerSideEntity.h"
#include "game/physics/EnvironmentWorld.h"

namespace physics_test {

class StepWorld : public ::testing::Test {
public:
    static constexpr const char* kModule = "TEST_physicsstep";
    static constexpr game::entity::EnvironmentId kEnv = 41;
    static constexpr double kDt = 1.0 / 60.0;
    static constexpr int kSubsteps = 4;
    using Entity = game::entity::ServerSideEntity;

protected:
    EnvironmentWorld world;
    std::vector<std::shared_ptr<Entity>> made;

    void SetUp() override {
        world.gravity = {0, -9.81, 0};
        world.up = 1;
        world.groundHeight = -100;
        world.liquidSurface = -1e9;
        world.liquidViscosity = 9.5e-4;
        world.pressure = 101325;
        for (const char* type : {"cube", "slab", "vehicle"}) {
            auto config = std::make_shared<game::entity::EntityConfig>(std::string(ZENDOLA_SOURCE_DIR) +
                                                                       "/data/models/" + type + ".ini");
            Entity::_registered_interfaces[kModule][type] = {config, [] { return std::make_shared<Entity::Interface>(); }};
        }
        game::Game::_environmentFunctions[kEnv] = [this](const glm::dvec3& p, game::physics::EnvironmentInfoFlags f,
                                                         const double&) { return world.Query(p, f); };
        game::Game::debugServerSidePhysics = false;
    }
    void TearDown() override {
        for (auto& e : made) Entity::Destroy(e->id);
        made.clear();
        game::Game::_environmentFunctions.erase(kEnv);
        Entity::_registered_interfaces.erase(kModule);
        game::Game::debugServerSidePhysics = false;
    }

    std::shared_ptr<Entity> Spawn(const std::string& type, glm::dvec3 position, bool detachable = true) {
        auto e = Entity::Create<Entity>(quorl::modular::ModuleID(kModule), type, game::entity::Id());
        e->deleteFilesOnDestroy = false;
        e->isRigidbody = true;
        e->isDetachable = detachable;
        e->relativeEnvironmentId = kEnv;
        e->position = position;
        made.push_back(e);
        return e;
    }
    // Makes `part` a component of `root`, placed at `offset` in the root's space.
    static void Attach(const std::shared_ptr<Entity>& root, const std::shared_ptr<Entity>& part, glm::dvec3 offset) {
        part->isComponent = true;
        part->parentEntity = root->id;
        part->position = offset;
    }
};

}  // namespace physics_test
