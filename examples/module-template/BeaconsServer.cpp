// MY_beacons.SERVER_Mod: the server half. zendola-server calls Server_Load, as void(), after the
// saved world was restored; a world without a beacon gets one.
#include <iostream>
#include <memory>
#include <mutex>

#include "Beacons.h"
#include "game/entity/ServerSideEntity.h"
#include "quorl/modular/ModuleID.h"

using game::entity::ServerSideEntity;

extern "C" {

void Server_Load() {
    bool found = false;
    ServerSideEntity::ForEach([&found](std::shared_ptr<ServerSideEntity> e) {
        if (e->moduleId.String() == beacons::kModule) found = true;
    });
    if (found) return;
    if (!ServerSideEntity::_registered_interfaces.count(beacons::kModule)) {
        std::cerr << "MY_beacons: the content module is not loaded; no beacon placed" << std::endl;
        return;
    }
    // A new entity of the kind: the library makes its behaviour with the registered factory and
    // places its nodes from the model; the module links the two and runs Init.
    std::shared_ptr<ServerSideEntity> e =
        ServerSideEntity::Create(quorl::modular::ModuleID(beacons::kModule), beacons::kType, game::entity::Id());
    e->position = {0, 10, 0};
    if (std::shared_ptr<ServerSideEntity::Interface> iface = e->_interface) {
        iface->entity = e;
        iface->self = iface;
        iface->id = e->id;
        iface->config = e->config;
        iface->Init();
        iface->initialized = true;
        std::lock_guard lock(ServerSideEntity::_module_entities_mutex);
        ServerSideEntity::_module_entities[beacons::kModule].push_back(iface);
    }
    std::cout << "MY_beacons: placed beacon " << e->id.ToString() << std::endl;
}

}
