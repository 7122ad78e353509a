// Test module with a single hook: Game_Update stores its argument in "TS_partial.dt".
#include "game/Game.h"

extern "C" void Game_Update(double deltaTime) { game::Game::SetIMC("TS_partial.dt", deltaTime); }
