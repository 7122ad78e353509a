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
        poses.push_back({e->id, e->moduleId, e->type, e->position, e->rotation, e->velocity, e->angularVelocity});
    });
    return poses;
}

void ApplySnapshot(const std::vector<EntityPose>& snapshot) {
    std::unordered_set<game::entity::Id> seen;
    for (const EntityPose& pose : snapshot) {
        seen.insert(pose.id);
        std::shared_ptr<ClientSideEntity> e = ClientSideEntity::Get(pose.id);
        if (!e) e = ClientSideEntity::Create(pose.id, pose.moduleId, pose.type);
        if (e->position != pose.position || e->rotation != pose.rotation) e->nodesMoved = true;
        e->position = pose.position;
        e->rotation = pose.rotation;
        e->velocity = pose.velocity;
        e->angularVelocity = pose.angularVelocity;
    }
    std::vector<game::entity::Id> gone;
    ClientSideEntity::ForEach([&](std::shared_ptr<ClientSideEntity> e) {
        if (!seen.count(e->id) && e->moduleId.String() == kModuleText) gone.push_back(e->id);
    });
    for (const game::entity::Id& id : gone) ClientSideEntity::Destroy(id);
}

void PostSnapshot() {
    if (!game::GAME_Mod::GetModule(kModuleName)) return;
    game::Game::Synchronize([snapshot = TakeSnapshot()] { ApplySnapshot(snapshot); });
}

}  // namespace demo
