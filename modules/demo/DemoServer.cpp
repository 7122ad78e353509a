// demo.SERVER_Mod: the planet of the demo world and the scene of a new world.
//   ModuleLoad    registers the planet's environment function under kPlanetEnvironment;
//   Server_Load   (called by the host as void(), after the world was restored) makes the scene
//                 when the world has no entities;
//   Server_GameUpdate  posts the poses of the tick to the client half, when it is loaded;
//   ModuleUnload  removes the environment function before the module's code goes away.
#include <iostream>

#include "DemoMirror.h"
#include "DemoScene.h"
#include "DemoWorld.h"
#include "Planet.h"
#include "game/Game.h"
#include "game/entity/ServerSideEntity.h"

using game::entity::ServerSideEntity;

extern "C" {

void ModuleLoad() { game::Game::_environmentFunctions[demo::kPlanetEnvironment] = demo::Planet().Function(); }

void ModuleUnload() { game::Game::_environmentFunctions.erase(demo::kPlanetEnvironment); }

void Server_Load() {
    size_t existing = 0;
    ServerSideEntity::ForEach([&existing](std::shared_ptr<ServerSideEntity>) { ++existing; });
    if (existing > 0) return;
    if (!ServerSideEntity::_registered_interfaces.count(demo::kModuleText)) {
        std::cerr << "demo: the content module demo.ZENDOLA_Mod is not loaded; the scene is not made" << std::endl;
        return;
    }
    size_t made = demo::SpawnScene();
    std::cout << "demo: new world, made the scene of " << made << " entities" << std::endl;
}

void Server_GameUpdate(double) { demo::PostSnapshot(); }

}
