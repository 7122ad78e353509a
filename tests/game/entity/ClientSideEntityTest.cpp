#include <gtest/gtest.h>

#include <filesystem>

#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/type_ptr.hpp>

#include "VulkanTest.h"
#include "game/Game.h"
#include "game/entity/ClientSideEntity.h"
#include "game/entity/EntityConfig.h"
#include "game/graphics/GameRenderer.h"
#include "game/graphics/Mesh.h"
#include "game/graphics/PlasmaTrail.h"
#include "quorl/graphics/Window.h"

using game::Game;
using game::entity::ClientSideEntity;
using game::entity::EntityConfig;
using game::entity::Id;
using quorl::modular::ModuleID;

namespace {

constexpr const char* kModule = "TEST_client";

struct Client : ClientSideEntity::Interface {};

std::shared_ptr<ClientSideEntity> Bare() {
    return ClientSideEntity::Create(Id::Generate("ENTT"), ModuleID(kModule), "bare");
}

glm::dvec3 Origin(const glm::dmat4& m) { return glm::dvec3(m[3]); }

// A folder of its own holding copies of the named model files.
std::string ModelFolder(const std::vector<std::string>& files) {
    const auto dir = std::filesystem::temp_directory_path() /
                     ("zendola_client_" + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()));
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
    for (const std::string& f : files)
        std::filesystem::copy_file(std::string(ZENDOLA_SOURCE_DIR) + "/data/models/" + f, dir / f);
    return dir.string();
}

void ForgetClients() {
    std::vector<Id> ids;
    ClientSideEntity::ForEach([&](std::shared_ptr<ClientSideEntity> e) { ids.push_back(e->id); });
    for (const Id& id : ids) ClientSideEntity::Destroy(id);
    ClientSideEntity::_registered_interfaces.clear();
    Game::parentEnvironmentId = 0;
    Game::_environmentFunctions.clear();
}

class ClientEntity : public VulkanTest {
protected:
    void TearDown() override {
        ForgetClients();
        VulkanTest::TearDown();
    }
};

double fakeNow = 0;

}  // namespace

TEST_F(ClientEntity, PlasmaTrailFollowsFastFreeBodies) {
    std::vector<glm::dvec3> queried;
    Game::_environmentFunctions[7] = [&](const glm::dvec3& p, uint32_t, const double&) {
        queried.push_back(p);
        game::physics::EnvironmentInfo air;
        air.density = 1.0;
        return air;
    };
    Game::parentEnvironmentId = 7;
    auto e = Bare();
    e->isDetachable = true;
    e->position = {10, 0, 0};
    e->boundsCenter = {0, 1, 0};
    e->boundsRadius = 2;
    e->velocity = {0, 0, -1000};
    e->moved = true;
    ClientSideEntity::PhysicsUpdate(0.016);
    const auto trail = std::dynamic_pointer_cast<game::graphics::PlasmaTrail>(e->renderableInstances["_plasma_trail"]);
    ASSERT_TRUE(trail && trail->visible);
    // The air is asked for at the bounds centre; the trail sits there, its long axis (+y) against the flight.
    ASSERT_EQ(queried, std::vector<glm::dvec3>{glm::dvec3(10, 1, 0)});
    EXPECT_FLOAT_EQ(trail->lastSize, 2.2f);
    EXPECT_EQ(Origin(trail->transform), glm::dvec3(10, 1, 0));
    const glm::dvec3 axis(trail->transform * glm::dvec4(0, 1, 0, 0));
    EXPECT_NEAR(glm::distance(axis, glm::dvec3(0, 0, 1)), 0.0, 1e-9);

    // Too slow, or a part of something: the trail goes dark and stays for next time.
    e->velocity = {0, 0, -99};
    ClientSideEntity::PhysicsUpdate(0.016);
    EXPECT_FALSE(trail->visible);
    e->velocity = {0, 0, -1000};
    e->parentEntity = Id::Generate("ENTT");
    ClientSideEntity::PhysicsUpdate(0.016);
    EXPECT_FALSE(trail->visible);
    EXPECT_EQ(e->renderableInstances.at("_plasma_trail"), trail);

    e->parentEntity = Id();
    Game::parentEnvironmentId = 8;  // an environment nobody registered
    EXPECT_THROW(ClientSideEntity::PhysicsUpdate(0.016), std::out_of_range);
}

TEST_F(ClientEntity, FixedPartsCacheTheirPlaceInTheEnvironment) {
    auto vehicle = Bare();
    vehicle->isDetachable = true;
    vehicle->position = {0, 0, 5};
    auto part = Bare();
    part->parentEntity = vehicle->id;
    part->position = {1, 0, 0};
    bool changed = true;
    EXPECT_EQ(Origin(part->GetAbsoluteTransformInEnvironmentCached(changed)), glm::dvec3(1, 0, 5));
    EXPECT_TRUE(changed);

    vehicle->position = {0, 0, 9};
    EXPECT_EQ(Origin(part->GetAbsoluteTransformInEnvironmentCached(changed)), glm::dvec3(1, 0, 5)) << "paid once";
    EXPECT_EQ(Origin(part->GetAbsoluteTransformInEnvironment()), glm::dvec3(1, 0, 9));
    part->isDetachable = true;
    EXPECT_EQ(Origin(part->GetAbsoluteTransformInEnvironmentCached(changed)), glm::dvec3(1, 0, 9));

    // A parent not (or no longer) known: the stored matrix, and changed comes back false.
    ClientSideEntity::Destroy(vehicle->id);
    EXPECT_EQ(Origin(part->GetAbsoluteTransformInEnvironmentCached(changed)), glm::dvec3(1, 0, 9));
    EXPECT_FALSE(changed);
    EXPECT_EQ(Origin(part->GetAbsoluteTransformInEnvironment()), glm::dvec3(1, 0, 0));
    // A fixed entity placed after a PhysicsUpdate has cached where it was made: the moved flag
    // brings the new place, in that same update.
    auto monitor = Bare();
    ClientSideEntity::PhysicsUpdate(0.016);
    monitor->position = {3, 1, -2};
    monitor->moved = true;
    ClientSideEntity::PhysicsUpdate(0.016);
    EXPECT_FALSE(monitor->moved);
    EXPECT_EQ(Origin(monitor->GetAbsoluteTransformInEnvironmentCached(changed)), glm::dvec3(3, 1, -2));
    monitor->position = {0, 0, 0};
    EXPECT_EQ(Origin(monitor->GetAbsoluteTransformInEnvironmentCached(changed)), glm::dvec3(3, 1, -2)) << "paid once";
    // A loop of parents ends instead of recursing without end.
    part->parentEntity = part->id;
    part->GetAbsoluteTransformInEnvironmentCached(changed);
    part->GetAbsoluteTransformInEnvironment();
}

TEST_F(ClientEntity, ModelsWithoutTheirMeshAreNamed) {
    const std::string dir = ModelFolder({"monitor.ini"});
    auto config = std::make_shared<EntityConfig>(dir + "/monitor.ini");
    ClientSideEntity::_registered_interfaces[kModule]["monitor"] = {config, [] { return std::make_shared<Client>(); }};
    ::testing::internal::CaptureStderr();
    auto e = ClientSideEntity::Create(Id::Generate("ENTT"), ModuleID(kModule), "monitor");
    EXPECT_FALSE(config->GetMesh());
    const std::string err = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(err, "Mesh missing: " + dir + "/monitor.gltf (model " + dir + "/monitor.ini has RENDERABLE monitor)\n");
    EXPECT_TRUE(e->renderableInstances.empty());
    EXPECT_EQ(ClientSideEntity::GetEntityConfig(kModule, "monitor"), config);
    EXPECT_EQ(ClientSideEntity::GetEntityConfig("TEST_unknown", "monitor"), nullptr);
    EXPECT_THROW(ClientSideEntity::GetEntityConfig(kModule, "desk"), std::out_of_range);
}

TEST_F(ClientEntity, InstancesComeFromTheMeshAndF5ReloadsIt) {
    quorl::graphics::Window window;
    game::graphics::GameRenderer renderer(&window, "ClientSideEntityTest", 1, {}, VkExtent2D{64, 64});
    Game::renderer = &renderer;
    Game::window = &window;
    const auto clock = ClientSideEntity::meshCheckClock;
    ClientSideEntity::meshCheckClock = [] { return fakeNow; };
    struct Reset {  // the instances go before the renderer
        decltype(clock) previous;
        ~Reset() {
            ForgetClients();
            ClientSideEntity::meshCheckClock = previous;
            Game::window = nullptr;
            Game::renderer = nullptr;
        }
    } reset{clock};
    const std::string dir = ModelFolder({"vehicle.ini", "vehicle.gltf", "vehicle.bin"});
    auto config = std::make_shared<EntityConfig>(dir + "/vehicle.ini");
    ClientSideEntity::_registered_interfaces[kModule]["rover"] = {config, [] { return std::make_shared<Client>(); }};
    auto e = ClientSideEntity::Create(Id::Generate("ENTT"), ModuleID(kModule), "rover");
    auto other = ClientSideEntity::Create(Id::Generate("ENTT"), ModuleID(kModule), "rover");
    const auto mesh = config->GetMesh();
    ASSERT_TRUE(mesh);
    ASSERT_EQ(e->renderableInstances.size(), 3u);  // body, turret_shell, boom_arm
    const auto body = e->renderableInstances.at("body");
    ASSERT_EQ(body->geometries.size(), mesh->nodes.at("body").size());
    const auto& rubber = body->names.at("rubber");
    ASSERT_EQ(rubber.size(), 1u);
    const auto& geometry = static_cast<const game::graphics::Mesh::Geometry&>(*body->geometries[rubber[0]]);
    EXPECT_EQ(glm::vec4(glm::make_vec4((*body->renderableData)[rubber[0]].color)), geometry.baseColor);

    e->position = {0, 0, 3};
    ClientSideEntity::PhysicsUpdate(0.016);
    EXPECT_EQ(body->transform, glm::translate(glm::dmat4(1.0), {0, 0, 3}) * e->nodeTransforms.at("body"));

    // F5 held: the file is looked at once a second; a change seen then brings a new mesh.
    window.SetKey(294, quorl::graphics::PRESS);
    fakeNow = 100;
    e->Update(0.016);
    EXPECT_EQ(config->GetMesh(), mesh) << "unchanged file";
    std::filesystem::last_write_time(config->GetMeshFilePath(), config->meshWriteTime + std::chrono::seconds(5));
    fakeNow = 100.5;
    e->Update(0.016);
    other->Update(0.016);
    EXPECT_EQ(config->GetMesh(), mesh) << "not looked at again within the second";
    fakeNow = 101.2;
    const size_t trash = renderer.TrashSize();
    ::testing::internal::CaptureStdout();
    e->Update(0.016);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Reloaded mesh: " + config->GetMeshFilePath() + "\n");
    EXPECT_NE(config->GetMesh(), mesh);
    EXPECT_NE(e->renderableInstances.at("body"), body);
    EXPECT_EQ(renderer.TrashSize(), trash + 3) << "the replaced instances wait in the trash";
    // Another entity of the model takes the new mesh at its next update.
    other->Update(0.016);
    EXPECT_EQ(other->shownMesh, config->GetMesh());
}
