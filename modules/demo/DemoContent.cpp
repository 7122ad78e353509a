// demo.ZENDOLA_Mod: the demo's entity kinds, each with its model file and the DemoEntity
// behaviour. Game::Start calls Load; Game::Stop calls Unload before the module is released.
#include <filesystem>
#include <iostream>
#include <memory>
#include <vector>

#include "DemoEntity.h"
#include "DemoWorld.h"
#include "game/entity/EntityConfig.h"
#include "game/entity/ServerSideEntity.h"

using game::entity::ServerSideEntity;

extern "C" {

void Load() {
    std::unordered_map<std::string, ServerSideEntity::RegisteredInterface> kinds;
    for (const demo::Kind& kind : demo::kKinds) {
        std::error_code ec;
        if (!std::filesystem::is_regular_file(kind.model, ec)) {
            std::cerr << "demo: model file " << std::filesystem::absolute(kind.model).string()
                      << " is missing; the demo's entity kinds are not registered" << std::endl;
            return;
        }
        kinds[kind.type] = {std::make_shared<game::entity::EntityConfig>(kind.model),
                            [] { return std::make_shared<demo::DemoEntity>(); }};
    }
    ServerSideEntity::_registered_interfaces[demo::kModuleText] = std::move(kinds);
    for (const demo::Kind& kind : demo::kKinds) {
        ServerSideEntity::_registered_items[demo::kModuleText].insert(kind.type);
        ServerSideEntity::_registered_items_module[kind.type] = demo::kModuleText;
    }
}

// The module's code goes away after this: no entity of ours may keep a behaviour object, and
// nothing of ours may stay registered. Entities still alive here were not unloaded by the host;
// they are released without touching their files.
void Unload() {
    std::vector<game::entity::Id> mine;
    ServerSideEntity::ForEach([&mine](std::shared_ptr<ServerSideEntity> e) {
        if (e->moduleId.String() == demo::kModuleText) {
            e->deleteFilesOnDestroy = false;
            mine.push_back(e->id);
        }
    });
    for (const auto& id : mine) ServerSideEntity::Destroy(id);
    {
        std::lock_guard lock(ServerSideEntity::_module_entities_mutex);
        ServerSideEntity::_module_entities.erase(demo::kModuleText);
    }
    ServerSideEntity::_registered_interfaces.erase(demo::kModuleText);
    ServerSideEntity::_registered_items.erase(demo::kModuleText);
    for (const demo::Kind& kind : demo::kKinds) ServerSideEntity::_registered_items_module.erase(kind.type);
}

}
