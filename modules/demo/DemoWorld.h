#pragma once
// Names shared by the two halves of the demo module: the content module (demo.ZENDOLA_Mod), which
// registers the entity kinds and their behaviour, and the server module (demo.SERVER_Mod), which
// registers the planet and makes the scene of a new world.
#include <string>

#include "game/UniqueId.h"
#include "quorl/modular/ModuleID.h"

namespace demo {

// The module's name: its files are modules/demo/demo.<CLASS>.so.
inline constexpr const char* kModuleName = "demo";

// Module text under which the demo's entity kinds are registered and saved.
inline constexpr const char* kModuleText = "ZENDOLA_demo";
inline quorl::modular::ModuleID ModuleId() { return quorl::modular::ModuleID(kModuleText); }

// The planet's environment in Game::_environmentFunctions.
inline constexpr game::entity::EnvironmentId kPlanetEnvironment = 1;

// Entity kinds and the model file of each, relative to the run folder.
struct Kind {
    const char* type;
    const char* model;
};
inline constexpr Kind kKinds[] = {
    {"box", "data/models/cube.ini"},        {"buoy", "data/models/buoy.ini"},
    {"slab", "data/models/slab.ini"},       {"vehicle", "data/models/vehicle.ini"},
    {"glider", "data/models/wing.ini"},
};

}  // namespace demo
