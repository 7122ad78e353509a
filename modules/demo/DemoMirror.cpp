#include "DemoMirror.h"

#include <unordered_set>

#include "DemoWorld.h"
#include "game/GAME_Mod.h"
#include "game/Game.h"
#include "game/entity/ClientSideEntity.h"
#include "game/entity/ServerSideEntity.h"

namespace demo {

using game::entity::ClientSideEntity;
using game::entity::ServerSideEntity;

std::vector<EntityPose> TakeSnapshot() {
    std::vector<EntityPose> poses;
    ServerSideEntity::ForEach([&](std::shared_ptr<ServerSideEntity> e) {
        poses.push_back(
            {e->id, e->moduleId, e->type, e->parentEntity, e->position, e->rotation, e->velocity, e->angularVelocity,
             e->isDetachable});
    });
    return poses;
}

namespace {
// The client entities that snapshots made (game thread): only these are destroyed when their
// server entity is gone, so that client-only entities of the module stay.
std::unordered_set<game::entity::Id> gMirrored;
}  // namespace

void ApplySnapshot(const std::vector<EntityPose>& snapshot) {
    std::unordered_set<game::entity::Id> seen;
    for (const EntityPose& pose : snapshot) {
        seen.insert(pose.id);
        std::shared_ptr<ClientSideEntity> e = ClientSideEntity::Get(pose.id);
        if (!e) {
            e = ClientSideEntity::Create(pose.id, pose.moduleId, pose.type);
            gMirrored.insert(pose.id);
        }
        if (e->position != pose.position || e->rotation != pose.rotation || e->parentEntity != pose.parentEntity)
            e->moved = true;
        e->isDetachable = pose.isDetachable;
        e->parentEntity = pose.parentEntity;
        e->position = pose.position;
        e->rotation = pose.rotation;
        e->velocity = pose.velocity;
        e->angularVelocity = pose.angularVelocity;
    }
    for (auto it = gMirrored.begin(); it != gMirrored.end();) {
        if (seen.count(*it)) {
            ++it;
            continue;
        }
        ClientSideEntity::Destroy(*it);
        it = gMirrored.erase(it);
    }
}

void PostSnapshot() {
    if (!game::GAME_Mod::GetModule(kModuleName)) return;
    game::Game::Synchronize([snapshot = TakeSnapshot()] { ApplySnapshot(snapshot); });
}

}  // namespace demo
