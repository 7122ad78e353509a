// MY_beacons.ZENDOLA_Mod: the content pack. Game::Start loads it and calls Load once every content
// module is loaded; Game::Stop calls Unload before the module's code is released.
#include <filesystem>
#include <iostream>
#include <memory>
#include <vector>

#include "BeaconEntity.h"
#include "Beacons.h"
#include "game/entity/EntityConfig.h"
#include "game/entity/ServerSideEntity.h"

using game::entity::ServerSideEntity;

extern "C" {

void Load() {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(beacons::kModel, ec)) {
        std::cerr << "MY_beacons: model file " << std::filesystem::absolute(beacons::kModel).string()
                  << " is missing; the beacon is not registered" << std::endl;
        return;
    }
    // One kind: its model (read once, shared by every beacon) and the factory of its behaviour.
    ServerSideEntity::_registered_interfaces[beacons::kModule][beacons::kType] = {
        std::make_shared<game::entity::EntityConfig>(beacons::kModel),
        [] { return std::make_shared<beacons::BeaconEntity>(); }};
    ServerSideEntity::_registered_items[beacons::kModule].insert(beacons::kType);
    ServerSideEntity::_registered_items_module[beacons::kType] = beacons::kModule;
}

// Nothing of this module may outlive its code: entities still loaded are released without
// touching their files, and the kind is unregistered.
void Unload() {
    std::vector<game::entity::Id> mine;
    ServerSideEntity::ForEach([&mine](std::shared_ptr<ServerSideEntity> e) {
        if (e->moduleId.String() == beacons::kModule) {
            e->deleteFilesOnDestroy = false;
            mine.push_back(e->id);
        }
    });
    for (const auto& id : mine) ServerSideEntity::Destroy(id);
    {
        std::lock_guard lock(ServerSideEntity::_module_entities_mutex);
        ServerSideEntity::_module_entities.erase(beacons::kModule);
    }
    ServerSideEntity::_registered_interfaces.erase(beacons::kModule);
    ServerSideEntity::_registered_items.erase(beacons::kModule);
    ServerSideEntity::_registered_items_module.erase(beacons::kType);
}

}
