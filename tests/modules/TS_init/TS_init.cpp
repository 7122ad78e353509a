// Every GAME_Init name writes its name to "TS_init.last".
#include "game/Game.h"

#define TS_HOOK(name) \
    extern "C" void name() { game::Game::SetIMC("TS_init.last", #name); }

TS_HOOK(ModuleLoad)
TS_HOOK(ModuleUnload)
TS_HOOK(ModuleSort)
TS_HOOK(ModuleSetCustomPtr)
TS_HOOK(ModuleGetCustomPtr)
TS_HOOK(Vulkan_Init)
TS_HOOK(Vulkan_ScoreGPU)
TS_HOOK(SplashBegin)
TS_HOOK(SplashEnd)
