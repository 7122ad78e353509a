// A small pile of turned boxes dropped in a block onto the slab, through the whole server tick: it
// must come to rest on the slab, with every box above it, and then stay exactly where it rests.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/quaternion.hpp>

#include "EnvironmentWorld.h"
#include "game/Game.h"
#include "game/entity/EntityConfig.h"
#include "game/entity/ServerSideEntity.h"
#include "game/physics/ConvexCollision.h"
#include "game/physics/EnvironmentRandom.h"

namespace pile_test {
namespace {

using game::Game;
using game::entity::EntityConfig;
using game::entity::ServerSideEntity;
using quorl::modular::ModuleID;

constexpr const char* kModule = "TEST_pile";
constexpr game::entity::EnvironmentId kEnv = 43;

class Pile : public ::testing::Test {
protected:
    physics_test::EnvironmentWorld world;
    std::vector<std::shared_ptr<ServerSideEntity>> boxes;
    std::shared_ptr<ServerSideEntity> slab;

    void SetUp() override {
        // The same run every time: the environment's samplers seeded, the ids numbered (bodies are
        // stepped in the order of their ids).
        game::physics::SeedEnvironmentRandom(1);
        world.gravity = {0, -9.81, 0};
        world.up = 1;
        world.groundHeight = -100;
        for (const char* type : {"cube", "slab"}) {
            auto config = std::make_shared<EntityConfig>(std::string(ZENDOLA_SOURCE_DIR) + "/data/models/" + type + ".ini");
            ServerSideEntity::_registered_interfaces[kModule][type] = {
                config, [] { return std::make_shared<ServerSideEntity::Interface>(); }};
        }
        Game::_environmentFunctions[kEnv] = world.Function();
        slab = Spawn("slab", {0, 0, 0}, false);
    }
    void TearDown() override {
        for (auto& e : boxes) ServerSideEntity::Destroy(e->id);
        ServerSideEntity::Destroy(slab->id);
        Game::_environmentFunctions.erase(kEnv);
        ServerSideEntity::_registered_interfaces.erase(kModule);
    }

    inline static uint64_t _nextId = 0;
    std::shared_ptr<ServerSideEntity> Spawn(const char* type, glm::dvec3 position, bool detachable) {
        game::entity::Id id;
        std::memcpy(id.prefix, "PILE", 4);
        id.owner = 1;
        id.timestamp = ++_nextId;
        id.random = 1;
        auto e = ServerSideEntity::Create<ServerSideEntity>(ModuleID(kModule), type, id);
        e->deleteFilesOnDestroy = false;
        e->isRigidbody = true;
        e->isDetachable = detachable;
        e->relativeEnvironmentId = kEnv;
        e->position = position;
        return e;
    }

    // `side` x `side` columns, `layers` high, 1.5 m apart, each box turned about the vertical by an
    // angle of its own and tipped a little, as the tall-pile bench drops them.
    void DropTurnedBlock(int side, int layers, glm::dvec3 offset = {}) {
        for (int i = 0; i < side * side * layers; ++i) {
            const int layer = i / (side * side), k = i % (side * side);
            const glm::dvec3 p((k % side - (side - 1) * 0.5) * 1.5, 1.0 + 1.5 * layer, (k / side - (side - 1) * 0.5) * 1.5);
            const double yaw = 0.7 * i, tip = 0.05 * ((i * 7) % 5 - 2);
            boxes.push_back(Spawn("cube", p + offset, true));
            boxes.back()->rotation =
                glm::angleAxis(yaw, glm::dvec3(0, 1, 0)) * glm::angleAxis(tip, glm::dvec3(1, 0, 0));
        }
    }

    // The slab's frame is the world's (it lies unturned at the origin), so a carried box's pose reads
    // the same as a free one's. Fails when a corner of a box over the slab is under its top face.
    void ExpectAllAboveTheSlab(int tick) const {
        for (size_t i = 0; i < boxes.size(); ++i) {
            const glm::dvec3 centre = boxes[i]->GetPositionAtCenterOfMass();
            for (int c = 0; c < 8; ++c) {
                const glm::dvec3 corner((c & 4) ? 0.5 : -0.5, (c & 2) ? 0.5 : -0.5, (c & 1) ? 0.5 : -0.5);
                const glm::dvec3 p = centre + boxes[i]->rotation * corner;
                if (std::abs(p.x) < 10 && std::abs(p.z) < 10) {
                    ASSERT_GT(p.y, -0.05) << "box " << i << " corner " << c << " at tick " << tick;
                }
            }
        }
    }
};

// 36 boxes in 4 layers: no box ever goes into the slab or off it, none ends inside another (a box
// falling onto boxes the slab carries meets them), the upper layers land on the lower ones, and
// within ten seconds every box is at rest (a resting box is a fixed body, which doesn't move by a
// bit).
TEST_F(Pile, BlockOfTurnedBoxesComesToRestOnTheSlab) {
    DropTurnedBlock(3, 4);
    for (int tick = 0; tick < 600; ++tick) {
        Game::ServerUpdate(1.0 / 60.0, 4);
        ExpectAllAboveTheSlab(tick);
        if (HasFatalFailure()) return;
    }
    int stacked = 0;
    std::vector<glm::dvec3> rest;
    for (const auto& b : boxes) {
        const glm::dvec3 p = b->GetPositionAtCenterOfMass();
        EXPECT_LT(std::abs(p.x), 10.0);
        EXPECT_LT(std::abs(p.z), 10.0);
        stacked += p.y > 1.2;
        rest.push_back(p);
    }
    EXPECT_GT(stacked, 0) << "every box ended on the slab itself: the layers went through each other";
    for (size_t i = 0; i < boxes.size(); ++i) {
        for (size_t j = i + 1; j < boxes.size(); ++j) {
            auto place = [](const ServerSideEntity& e) {
                return glm::translate(glm::dmat4(1.0), e.position) * glm::mat4_cast(e.rotation) *
                       e.colliders.begin()->second.transform;
            };
            const game::physics::Collision hit =
                game::physics::ConvexCollision(boxes[i]->colliders.begin()->second, place(*boxes[i]),
                                               boxes[j]->colliders.begin()->second, place(*boxes[j]));
            EXPECT_LT(hit.depth, 0.1) << "boxes " << i << " and " << j;
        }
    }
    std::vector<bool> resting;
    for (const auto& b : boxes) resting.push_back(b->restTime >= 1.0);
    EXPECT_EQ(std::count(resting.begin(), resting.end(), true), std::ptrdiff_t(boxes.size()));
    for (int t = 0; t < 60; ++t) Game::ServerUpdate(1.0 / 60.0, 4);
    for (size_t i = 0; i < boxes.size(); ++i) {
        if (resting[i]) {
            EXPECT_EQ(boxes[i]->GetPositionAtCenterOfMass(), rest[i]) << "box " << i;
        }
    }
}

// A box lying on a face and spinning about the normal stops and rests: the contact acts at the
// middle of the face, where that spin slides nothing, so friction takes its share of the spin
// itself. Lying on the slab, and lying on a box that rests there.
TEST_F(Pile, BoxSpinningOnItsFaceStopsAndRests) {
    boxes.push_back(Spawn("cube", {2, 0.499, 1}, true));
    boxes.push_back(Spawn("cube", {-2, 0.499, 1}, true));
    boxes.push_back(Spawn("cube", {-2, 1.499, 1}, true));
    // The two in a column are set in the slab's frame, as boxes that landed there are.
    boxes[1]->parentEntity = boxes[2]->parentEntity = slab->id;
    boxes[0]->angularVelocity = {0, 1.5, 0};
    for (int tick = 0; tick < 30; ++tick) Game::ServerUpdate(1.0 / 60.0, 4);
    ASSERT_GE(boxes[1]->restTime, 1.0);
    boxes[2]->angularVelocity = {0, -1.5, 0};
    boxes[2]->restTime = 0;
    for (int tick = 0; tick < 240; ++tick) Game::ServerUpdate(1.0 / 60.0, 4);
    for (size_t i : {size_t(0), size_t(2)}) {
        EXPECT_GE(boxes[i]->restTime, 1.0) << "box " << i;
        EXPECT_NEAR(boxes[i]->GetPositionAtCenterOfMass().y, i == 0 ? 0.5 : 1.5, 0.05) << "box " << i;
    }
}

}  // namespace
}  // namespace pile_test
