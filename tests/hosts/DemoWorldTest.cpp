// The demo module's pieces inside one process: entity data, kinds, the new world's scene, the planet.
#include <gtest/gtest.h>

#include <cmath>
#include <map>

#include "DemoEntity.h"
#include "DemoScene.h"
#include "DemoWorld.h"
#include "GliderAutopilot.h"
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
    std::map<std::string, size_t> counts;
    for (const auto& [type, entities] : byType) counts[type] = entities.size();
    const std::map<std::string, size_t> expected{{"box", 9}, {"buoy", 1}, {"glider", 1}, {"slab", 1}, {"vehicle", 1}};
    EXPECT_EQ(counts, expected);
    for (const auto& [type, entities] : byType) {
        for (const auto& e : entities) {
            EXPECT_EQ(e->moduleId.String(), demo::kModuleText);
            EXPECT_TRUE(e->isRigidbody) << type;
            EXPECT_GT(e->mass, 0) << type << ": its model file gives the mass";
            EXPECT_EQ(e->relativeEnvironmentId, demo::kPlanetEnvironment) << type;
            EXPECT_EQ(e->isDetachable, type != "slab") << type;
            ASSERT_TRUE(e->_interface) << type;
            EXPECT_TRUE(e->_interface->initialized) << type;
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

    // The planet is registered (its fields are checked in the planet's own tests).
    ASSERT_TRUE(game::Game::_environmentFunctions.count(demo::kPlanetEnvironment));

    // Through the whole physics step the glider flies its circuit at its speed, far above a plasma
    // trail's 100 m/s, counter-clockwise seen from above.
    auto glider = byType["glider"].front();
    auto angle = [&] { return std::atan2(-glider->position.z, glider->position.x); };
    double turned = 0, last = angle();
    for (int tick = 0; tick < 900; ++tick) {
        game::Game::ServerUpdate(1.0 / 60.0, 1);
        const double distance = glm::length(glm::dvec2(glider->position.x, glider->position.z));
        ASSERT_NEAR(glm::length(glider->velocity), demo::GliderAutopilot::kSpeed, 1e-6) << tick;
        ASSERT_NEAR(glider->position.y, demo::GliderAutopilot::kAltitude, 0.01) << tick;
        ASSERT_NEAR(distance, demo::GliderAutopilot::kRadius, 0.01) << tick;
        turned += std::remainder(angle() - last, 2 * M_PI);
        last = angle();
    }
    EXPECT_NEAR(turned, 15.0 * demo::GliderAutopilot::kSpeed / demo::GliderAutopilot::kRadius, 0.01);

    byType.clear();
    glider.reset();
    vehicle.reset();
    Unload();
    ModuleUnload();
    EXPECT_TRUE(EntitiesByType().empty());
    EXPECT_FALSE(ServerSideEntity::_registered_interfaces.count(demo::kModuleText));
    EXPECT_FALSE(ServerSideEntity::_registered_items.count(demo::kModuleText));
    EXPECT_FALSE(ServerSideEntity::_registered_items_module.count("box"));
    EXPECT_FALSE(game::Game::_environmentFunctions.count(demo::kPlanetEnvironment));
}

TEST(DemoWorldGlider, TheAutopilotFliesBackOntoItsCircuitFromAnywhereNoseFirst) {
    using demo::GliderAutopilot;
    for (glm::dvec3 p : {glm::dvec3(0.0, 1.0, 0.0), glm::dvec3(90000.0, 20.0, -500.0), glm::dvec3(-10.0, 9000.0, 40.0)}) {
        for (int step = 0; step < 60 * 60; ++step) {
            const GliderAutopilot::Command c = GliderAutopilot::Steer(p, 1.0 / 60.0);
            ASSERT_NEAR(glm::length(c.velocity), GliderAutopilot::kSpeed, 1e-9);
            // The chord (-z in the model) points along the flight, and the wings are banked.
            const glm::dvec3 nose = c.rotation * glm::dvec3(0.0, 0.0, -1.0);
            ASSERT_NEAR(glm::dot(nose, glm::normalize(c.velocity)), 1.0, 1e-9);
            ASSERT_GT((c.rotation * glm::dvec3(1.0, 0.0, 0.0)).y, 0.1);
            p += c.velocity / 60.0;
        }
        EXPECT_NEAR(glm::length(glm::dvec2(p.x, p.z)), GliderAutopilot::kRadius, 1.0);
        EXPECT_NEAR(p.y, GliderAutopilot::kAltitude, 1.0);
    }
}
