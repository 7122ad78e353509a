// The demo module's pieces inside one process: entity data, kinds, the new world's scene, the planet.
#include <gtest/gtest.h>

#include <map>

#include "DemoEntity.h"
#include "DemoScene.h"
#include "DemoWorld.h"
#include "game/Game.h"
#include "quorl/filesystem/ReadOnlyStream.h"
#include "quorl/filesystem/WriteOnlyStream.h"

extern "C" {
void Load();
void Unload();
void ModuleLoad();
void ModuleUnload();
void Server_Load();
}

using game::entity::ServerSideEntity;

namespace {

std::map<std::string, std::vector<std::shared_ptr<ServerSideEntity>>> EntitiesByType() {
    std::map<std::string, std::vector<std::shared_ptr<ServerSideEntity>>> byType;
    ServerSideEntity::ForEach([&](std::shared_ptr<ServerSideEntity> e) { byType[e->type].push_back(e); });
    return byType;
}

}  // namespace

TEST(DemoWorldEntity, DataRoundTripsAndOtherFormatsAreRefused) {
    demo::DemoEntity a;
    a.age = 12.625;
    a.turretAngle = -33.5f;
    quorl::filesystem::WriteOnlyStream out(0);
    a.Serialize(out);
    demo::DemoEntity b;
    quorl::filesystem::ReadOnlyStream in(out.Bytes());
    b.Deserialize(in);
    EXPECT_EQ(b.age, a.age);
    EXPECT_EQ(b.turretAngle, a.turretAngle);
    EXPECT_EQ(in.Remaining(), 0u);

    quorl::filesystem::WriteOnlyStream other(0);
    other.Write(uint32_t(2));
    other.Write(1.0);
    other.Write(0.0f);
    quorl::filesystem::ReadOnlyStream otherIn(other.Bytes());
    EXPECT_THROW(b.Deserialize(otherIn), std::runtime_error);

    quorl::filesystem::WriteOnlyStream shortBlock(0);
    shortBlock.Write(demo::DemoEntity::kFormat);
    quorl::filesystem::ReadOnlyStream shortIn(shortBlock.Bytes());
    EXPECT_THROW(b.Deserialize(shortIn), quorl::filesystem::StreamError);
}

TEST(DemoWorldScene, ANewWorldGetsTheSceneOnceAndUnloadLeavesNothingOfTheModule) {
    ASSERT_TRUE(ServerSideEntity::_registered_interfaces.empty());
    // Without the content module's kinds there is nothing to make.
    EXPECT_EQ(demo::Spawn("box", glm::dvec3(0.0)), nullptr);

    ModuleLoad();
    Load();
    ASSERT_TRUE(ServerSideEntity::_registered_interfaces.count(demo::kModuleText));
    Server_Load();
    auto byType = EntitiesByType();
    EXPECT_EQ(byType["slab"].size(), 1u);
    EXPECT_EQ(byType["box"].size(), 9u);
    EXPECT_EQ(byType["buoy"].size(), 1u);
    EXPECT_EQ(byType["vehicle"].size(), 1u);
    EXPECT_EQ(byType["glider"].size(), 1u);
    EXPECT_EQ(byType.size(), 5u);
    for (const auto& [type, entities] : byType) {
        for (const auto& e : entities) {
            EXPECT_EQ(e->moduleId.String(), demo::kModuleText);
            EXPECT_TRUE(e->isRigidbody) << type;
            EXPECT_GT(e->mass, 0) << type << ": its model file gives the mass";
            EXPECT_FALSE(e->colliders.empty()) << type;
            EXPECT_NE(e->saveOnUnload, 0u) << type;
            EXPECT_EQ(e->relativeEnvironmentId, demo::kPlanetEnvironment) << type;
            EXPECT_EQ(e->isDetachable, type != "slab") << type;
            ASSERT_TRUE(e->_interface) << type;
            EXPECT_TRUE(e->_interface->initialized) << type;
            EXPECT_EQ(e->_interface->id, e->id) << type;
            EXPECT_EQ(e->_interface->entity.lock(), e) << type;
        }
    }
    // A world that has entities is left alone.
    Server_Load();
    EXPECT_EQ(EntitiesByType()["box"].size(), 9u);

    // The vehicle sweeps its turret, and keeps the angle in its data.
    auto vehicle = byType["vehicle"].front();
    auto* behaviour = dynamic_cast<demo::DemoEntity*>(vehicle->_interface.get());
    ASSERT_NE(behaviour, nullptr);
    ASSERT_TRUE(vehicle->joints.count("turret_hinge"));
    vehicle->BeforeUpdate(2.0);
    vehicle->Update(2.0);
    EXPECT_EQ(behaviour->age, 2.0);
    EXPECT_NE(behaviour->turretAngle, 0.0f);
    EXPECT_EQ(vehicle->joints["turret_hinge"].rotation.z, behaviour->turretAngle);

    // The planet pulls down at the origin, with about the surface gravity.
    ASSERT_TRUE(game::Game::_environmentFunctions.count(demo::kPlanetEnvironment));
    game::physics::EnvironmentInfo info = game::Game::_environmentFunctions[demo::kPlanetEnvironment](
        glm::dvec3(0.0, 10.0, 0.0), 5, 0.0);
    EXPECT_LT(info.gravity.y, -9.0);
    EXPECT_GT(info.density, 1.0);

    byType.clear();
    vehicle.reset();
    Unload();
    ModuleUnload();
    size_t left = 0;
    ServerSideEntity::ForEach([&](std::shared_ptr<ServerSideEntity>) { ++left; });
    EXPECT_EQ(left, 0u);
    EXPECT_FALSE(ServerSideEntity::_registered_interfaces.count(demo::kModuleText));
    EXPECT_FALSE(ServerSideEntity::_registered_items.count(demo::kModuleText));
    EXPECT_FALSE(ServerSideEntity::_registered_items_module.count("box"));
    EXPECT_FALSE(game::Game::_environmentFunctions.count(demo::kPlanetEnvironment));
}
