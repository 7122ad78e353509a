// Test module with ModuleLoad only; it counts its loads in "TS_loadonly.loads".
#include "game/Game.h"

extern "C" void ModuleLoad() {
    game::Game::SetIMC("TS_loadonly.loads", game::Game::GetNumericIMC("TS_loadonly.loads", 0) + 1);
}
