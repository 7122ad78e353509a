#pragma once
#include <string>
#include <vector>

#include <glm/gtc/quaternion.hpp>
#include <glm/vec3.hpp>

#include "game/UniqueId.h"
#include "quorl/modular/ModuleID.h"

namespace demo {

// The client's view of the server world. The server half takes a snapshot of every server
// entity at the end of each tick, on the server thread, and posts it with Game::Synchronize; the
// game thread applies it to the client registry. The two halves share no entity: only these
// copied values cross.
struct EntityPose {
    game::entity::Id id;
    quorl::modular::ModuleID moduleId;
    std::string type;
    game::entity::Id parentEntity;  // the pose is in this entity's frame (null: the environment's)
    glm::dvec3 position{0.0};
    glm::dquat rotation{1.0, 0.0, 0.0, 0.0};
    glm::dvec3 velocity{0.0};
    glm::dvec3 angularVelocity{0.0};
    bool isDetachable = false;  // a part that can move: its transform is not cached for good
};

// Every server entity's pose (server thread).
std::vector<EntityPose> TakeSnapshot();

// Makes the client entities of new ids, moves the others, and destroys the client entities it
// made whose server entity is gone; client-only entities are left alone (game thread).
void ApplySnapshot(const std::vector<EntityPose>& snapshot);

// Posts the snapshot for the game thread when the demo's client half is loaded in this process;
// a dedicated server, which runs no game loop, posts nothing.
void PostSnapshot();

}  // namespace demo
