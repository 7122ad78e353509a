// Every GAME_Mod hook writes its name to "TS_full.last"; loads and unloads count in "TS_full.loads"/".unloads".
#include <vulkan/vulkan_core.h>

#include "game/GAME_Mod.h"
#include "game/Game.h"

#include "../RendererHooks.h"

using game::Game;

static void Count(const char* channel) { Game::SetIMC(channel, Game::GetNumericIMC(channel, 0) + 1); }

#define TS_HOOK(name) \
    extern "C" void name() { Game::SetIMC("TS_full.last", #name); }
#define TS_HOOK_DT(name)                              \
    extern "C" void name(double deltaTime) {          \
        Game::SetIMC("TS_full.last", #name);          \
        Game::SetIMC("TS_full.dt", deltaTime);        \
    }
#define TS_HOOK_CMD(name) \
    extern "C" void name(VkCommandBuffer) { Game::SetIMC("TS_full.last", #name); }

extern "C" void ModuleLoad() { Count("TS_full.loads"); }
extern "C" void ModuleUnload() { Count("TS_full.unloads"); }
TS_HOOK(ModuleSort)
TS_HOOK(ModuleSetCustomPtr)
TS_HOOK(ModuleGetCustomPtr)

TS_HOOK(Game_Start)
TS_HOOK(Game_Ready)
TS_HOOK(Game_Stop)
TS_HOOK_DT(Game_Update)

// Reads the module list from inside a walk: the count and whether it finds itself.
extern "C" void Game_ClientUpdate() {
    Game::SetIMC("TS_full.last", "Game_ClientUpdate");
    Game::SetIMC("TS_full.count", double(game::GAME_Mod::Count()));
    auto self = game::GAME_Mod::GetModule("TS_full");
    Game::SetIMC("TS_full.self", self && self->Game_ClientUpdate == &Game_ClientUpdate ? "yes" : "no");
}

TS_HOOK_DT(Input_Update)
TS_HOOK_DT(Input_Update_Play)
TS_HOOK_DT(Input_Update_Station)
TS_HOOK(Input_Key_Play)
TS_HOOK(Input_Key_Station)
TS_HOOK(Input_Char_Play)
TS_HOOK(Input_Char_Station)
TS_HOOK(Input_MouseButton_Play)
TS_HOOK(Input_MouseButton_Station)
TS_HOOK(Input_MouseScroll_Play)
TS_HOOK(Input_MouseScroll_Station)
TS_HOOK(Client_Connected)
TS_HOOK(Client_Send)
TS_HOOK(Client_Receive)
TS_HOOK(Physics_PlayerPosition)
TS_HOOK(Physics_CameraPosition)
TS_RENDERER_HOOKS(TS_HOOK, TS_HOOK_CMD)
