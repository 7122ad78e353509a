// An entity built from a model file: InitNodes, the kind resolution reading each model once, and
// the joint solver moving colliders in the entity's update.
#include <gtest/gtest.h>

#include <atomic>

#include "EntityTestWorld.h"
#include "game/entity/ClientSideEntity.h"
#include "game/entity/EntityConfig.h"

using namespace entity_test;
using game::entity::ClientSideEntity;
using game::entity::EntityConfig;
using game::entity::Id;
using quorl::modular::ModuleID;

namespace {

struct CountingConfig : EntityConfig {
    using EntityConfig::EntityConfig;
    std::atomic<int> reads{0};
    void ReadConfig() override {
        ++reads;
        EntityConfig::ReadConfig();
    }
};

std::string Model(const char* name) {
    return std::string(ZENDOLA_SOURCE_DIR) + "/data/models/" + name;
}

}  // namespace

using EntityNodes = EntityWorld;

TEST_F(EntityNodes, ServerEntityFromAModelFile) {
    auto config = std::make_shared<CountingConfig>(Model("vehicle.ini"));
    ServerSideEntity::_registered_interfaces[kModule]["rover"] = {
        config, [] { return std::make_shared<PayloadInterface>(); }};
    auto a = ServerSideEntity::Create(ModuleID(kModule), "rover", Id());
    auto b = ServerSideEntity::Create(ModuleID(kModule), "rover", Id());
    EXPECT_EQ(config->reads, 1);  // read by the first entity that needs it
    EXPECT_EQ(a->config, b->config);
    EXPECT_EQ(a->mass, 850.0);

    EXPECT_TRUE(a->nodeTransforms.count("boom_tip"));
    EXPECT_FALSE(a->nodeTransforms.count("body"));    // renderables belong to the client side
    EXPECT_FALSE(a->nodeTransforms.count("driver"));  // and cameras
    ASSERT_EQ(a->colliders.size(), 3u);
    EXPECT_EQ(a->joints["boom_slider"].position.y, 0.4f);  // the initial value of the file
    for (auto& [name, collider] : a->colliders) EXPECT_EQ(collider.transform, a->nodeTransforms[name]);
    // The chassis box in game axes: x -1..1, y 0.2..0.8 (Blender z), z -2..2 (Blender -y).
    EXPECT_NEAR(a->boundsMin.x, -1.0, 1e-6);
    EXPECT_NEAR(a->boundsMin.y, 0.2, 1e-6);

    // Turning the hinge (the solver's rules are JointSolver's tests) moves the turret's collider.
    glm::dmat4 turret = a->colliders["turret"].transform, chassis = a->colliders["chassis"].transform;
    a->joints["turret_hinge"].rotation.z = 200.0f;
    a->jointsMoved = true;
    a->Update(0.1);
    EXPECT_NE(a->colliders["turret"].transform, turret);
    EXPECT_EQ(a->colliders["chassis"].transform, chassis);
    EXPECT_EQ(b->colliders["turret"].transform, turret);  // per-entity state
}

TEST_F(EntityNodes, ClientEntityFromTheSameModel) {
    auto config = std::make_shared<CountingConfig>(Model("vehicle.ini"));
    struct Client : ClientSideEntity::Interface {};
    ClientSideEntity::_registered_interfaces[kModule]["rover"] = {config, [] { return std::make_shared<Client>(); }};
    auto c = ClientSideEntity::Create(Id::Generate("ENTT"), ModuleID(kModule), "rover");
    EXPECT_EQ(config->reads, 1);
    EXPECT_TRUE(c->nodeTransforms.count("body"));  // renderables and cameras on this side
    EXPECT_TRUE(c->nodeTransforms.count("driver"));
    EXPECT_THROW(ClientSideEntity::Create(c->id, ModuleID(kModule), "rover"), std::runtime_error);
    // An unknown kind is a bare body.
    auto bare = ClientSideEntity::Create(Id::Generate("ENTT"), ModuleID(kModule), "nothing");
    EXPECT_FALSE(bare->_interface);
    bare->AfterUpdate(0.1);  // no behaviour to call
    EXPECT_TRUE(ClientSideEntity::Destroy(c->id));
    EXPECT_TRUE(ClientSideEntity::Destroy(bare->id));
    ClientSideEntity::_registered_interfaces.clear();
}
