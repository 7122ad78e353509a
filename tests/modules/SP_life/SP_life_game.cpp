// Game and renderer hooks of the life-cycle test module.
#include "SP_life.h"

extern "C" {
void Game_Start() { sp_life::Append("Game_Start"); }
void Game_Ready() { sp_life::Append("Game_Ready"); }
void Game_Stop() { sp_life::Append("Game_Stop"); }
void Renderer_StartRendering() { sp_life::Append("Renderer_StartRendering"); }
void Renderer_StopRendering() { sp_life::Append("Renderer_StopRendering"); }
void Game_Update(double deltaTime) {
    sp_life::Count("Game_Update");
    game::Game::SetIMC("SP_life.update_dt", deltaTime);
}
void Game_ClientUpdate() { sp_life::Count("Game_ClientUpdate"); }
void Input_Update(double) { sp_life::Count("Input_Update"); }
void Input_Update_Play(double) { sp_life::Count("Input_Update_Play"); }
void Input_Update_Station(double) { sp_life::Count("Input_Update_Station"); }
}
